# ORVANE_HARDENED: the defences that compiler and linker build in. On in a build of our own that optimises, which
# _FORTIFY_SOURCE needs; the sanitizers bring their own.
set(hardened ${PROJECT_IS_TOP_LEVEL})
if(ORVANE_SANITIZERS OR ORVANE_COVERAGE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(hardened OFF)
endif()
option(ORVANE_HARDENED "Build with the compiler's and the linker's defences" ${hardened})
unset(hardened)

# Marks every target of an indirect branch. Each processor has a name of its own for it.
set(control_flow_protection "")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  set(control_flow_protection -fcf-protection=full)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  set(control_flow_protection -mbranch-protection=standard)
endif()

if(ORVANE_HARDENED)
  add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong ${control_flow_protection})
  # Where clang does not support it, it warns about the option for each file.
  include(CheckCXXCompilerFlag)
  set(CMAKE_REQUIRED_FLAGS -Werror)
  check_cxx_compiler_flag(-fstack-clash-protection ORVANE_STACK_CLASH_PROTECTION)
  unset(CMAKE_REQUIRED_FLAGS)
  if(ORVANE_STACK_CLASH_PROTECTION)
    add_compile_options(-fstack-clash-protection)
  endif()
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    # Leaves return addresses alone. The linker records that branches are marked only if the system's start-up files are
    # marked too, which Debian's are not; for the shadow stack they need nothing.
    add_link_options(-Wl,-z,shstk)
  endif()
  add_link_options(-Wl,-z,relro -Wl,-z,now -pie)
endif()
