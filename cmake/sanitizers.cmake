# ORVANE_SANITIZERS: a comma-separated list as -fsanitize takes it, for the whole build.
set(ORVANE_SANITIZERS "" CACHE STRING "Sanitizers to build with, for example address,undefined")

if(ORVANE_SANITIZERS)
  add_compile_options(-fsanitize=${ORVANE_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORVANE_SANITIZERS})
  # Code that must know asks these: the compilers have no macro in common.
  if(ORVANE_SANITIZERS MATCHES "address")
    add_compile_definitions(ORVANE_ADDRESS_SANITIZER)
  endif()
  if(ORVANE_SANITIZERS MATCHES "thread")
    add_compile_definitions(ORVANE_THREAD_SANITIZER)
  endif()
endif()
