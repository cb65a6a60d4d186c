# ORVANE_HARDENED: the defences that compiler and linker build in. On in the builds that optimise, which
# _FORTIFY_SOURCE needs; the sanitizers bring their own.
option(ORVANE_HARDENED "Build with the compiler's and the linker's defences" OFF)

if(ORVANE_HARDENED)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    # Marks every target of an indirect branch and leaves return addresses alone. The linker says so in the executable
    # only if the system's start-up files do too, which Debian's do not; for the shadow stack they need nothing.
    add_compile_options(-fcf-protection=full)
    add_link_options(-Wl,-z,shstk)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now -pie)
endif()
