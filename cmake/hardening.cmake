# ORVANE_HARDENED: the defences that compiler and linker build in. On in a build of our own that optimises, which
# _FORTIFY_SOURCE needs; the sanitizers bring their own.
set(hardened ${PROJECT_IS_TOP_LEVEL})
if(ORVANE_SANITIZERS OR ORVANE_COVERAGE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(hardened OFF)
endif()
option(ORVANE_HARDENED "Build with the compiler's and the linker's defences" ${hardened})
unset(hardened)

if(ORVANE_HARDENED)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    # Marks every target of an indirect branch and leaves return addresses alone. The linker says so in the executable
    # only if the system's start-up files do too, which Debian's do not; for the shadow stack they need nothing.
    add_compile_options(-fcf-protection=full)
    add_link_options(-Wl,-z,shstk)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    add_compile_options(-mbranch-protection=standard)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now -pie)
endif()
