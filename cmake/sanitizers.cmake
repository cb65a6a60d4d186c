# ORVANE_SANITIZERS: a comma-separated list as -fsanitize takes it, for the whole build.
set(ORVANE_SANITIZERS "" CACHE STRING "Sanitizers to build with, for example address,undefined")

if(ORVANE_SANITIZERS)
  add_compile_options(-fsanitize=${ORVANE_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORVANE_SANITIZERS})
endif()
