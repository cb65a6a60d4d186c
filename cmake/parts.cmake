# The parts that may be left out. ORVANE_BUILD_<part> is ON (what it needs must be there), OFF, or AUTO: built where all
# that it needs is there. AUTO is what a build of our own does; within another project only the server is built.
# Sets each of these variables to ON or OFF, and at the end orvane_tell_parts() tells what came of them.

set(needs
  # name       look for                    Debian's package
  "LLVM        package SharedLLVM          llvm-dev"
  "Capstone    package Capstone 4.0        libcapstone-dev"
  "JSON        package nlohmann_json 3.11  nlohmann-json3-dev"
  "Editline    package Editline            libedit-dev"
  "TOML        header toml++/toml.h        libtomlplusplus-dev"
  "pidfd       header sys/pidfd.h          libc6-dev"
  "GoogleTest  package GTest               libgtest-dev"
  "GoogleMock  header gmock/gmock.h        libgmock-dev"
  "Python      package Python3             python3"
  "groff       program groff               groff-base"
  "readelf     program readelf             binutils"
  "benchmark   package benchmark           libbenchmark-dev")

set(parts
  # part        needs                                     default
  "DEVHOST     LLVM Capstone JSON pidfd                   AUTO"
  "COMPANION   JSON Editline TOML pidfd                   AUTO"
  "TESTS       GoogleTest GoogleMock Python groff readelf AUTO"
  "FUZZERS     JSON                                       AUTO"
  "BENCHMARKS  benchmark JSON                             OFF")

set(purpose_DEVHOST "the development host, which stands in for Orvane")
set(purpose_COMPANION "the companion orvane-mcp")
set(purpose_TESTS "the tests")
set(purpose_FUZZERS "the fuzz targets")
set(purpose_BENCHMARKS "the benchmarks")

# Whether what a need looks for is there.
function(orvane_is_there result kind name)
  if(kind STREQUAL "package")
    find_package(${name} ${ARGN} QUIET)
    set(${result} ${${name}_FOUND} PARENT_SCOPE)
    return()
  endif()
  string(MAKE_C_IDENTIFIER "ORVANE_FOUND_${name}" found)
  if(kind STREQUAL "header")
    find_path(${found} "${name}")
  else()
    find_program(${found} "${name}")
  endif()
  mark_as_advanced(${found})
  set(${result} ${${found}} PARENT_SCOPE)
endfunction()

foreach(need IN LISTS needs)
  separate_arguments(need)
  list(POP_FRONT need name)
  list(POP_BACK need package)
  orvane_is_there(there ${need})
  if(NOT there)
    set(missing_${name} "${package}")
  endif()
endforeach()

foreach(row IN LISTS parts)
  separate_arguments(row)
  list(POP_FRONT row part)
  list(POP_BACK row default)
  if(NOT PROJECT_IS_TOP_LEVEL)
    set(default OFF)
  endif()
  set(ORVANE_BUILD_${part} ${default} CACHE STRING "Build ${purpose_${part}}: ON, OFF or AUTO")
  set_property(CACHE ORVANE_BUILD_${part} PROPERTY STRINGS AUTO ON OFF)
  set(missing_for_${part} "")
  foreach(need IN LISTS row)
    list(APPEND missing_for_${part} ${missing_${need}})
  endforeach()
  list(JOIN missing_for_${part} " " missing_for_${part})
  if(ORVANE_BUILD_${part} STREQUAL "AUTO")
    set(ORVANE_BUILD_${part} ON)
    if(missing_for_${part})
      set(ORVANE_BUILD_${part} OFF)
    endif()
  elseif(ORVANE_BUILD_${part} AND missing_for_${part})
    message(FATAL_ERROR "ORVANE_BUILD_${part} is ON, but what it needs is missing or too old: "
                        "Debian's ${missing_for_${part}}")
  endif()
endforeach()

# They are built with the tests; where somebody leaves those out, they are left out too.
if(NOT ORVANE_BUILD_TESTS)
  set(asked "$CACHE{ORVANE_BUILD_FUZZERS}")
  if(asked AND NOT asked STREQUAL "AUTO" AND "$CACHE{ORVANE_BUILD_TESTS}" STREQUAL "AUTO")
    message(FATAL_ERROR "ORVANE_BUILD_FUZZERS is ON, but the tests that it comes with cannot be built. "
                        "Missing or too old: Debian's ${missing_for_TESTS}")
  endif()
  set(ORVANE_BUILD_FUZZERS OFF)
  set(what_brings_FUZZERS "the tests")
endif()

function(orvane_tell_parts)
  set(built "the server")
  foreach(row IN LISTS parts)
    string(REGEX REPLACE " .*" "" part "${row}")
    if(ORVANE_BUILD_${part})
      string(APPEND built "; ${purpose_${part}}")
    elseif(DEFINED what_brings_${part})
      list(APPEND left_out "Not built: ${purpose_${part}}, which come with ${what_brings_${part}}")
    elseif(missing_for_${part})
      list(APPEND left_out "Not built: ${purpose_${part}}. Missing or too old: Debian's ${missing_for_${part}}")
    else()
      list(APPEND left_out "Not built: ${purpose_${part}}. ORVANE_BUILD_${part} asks for it")
    endif()
  endforeach()
  message(STATUS "Built (${CMAKE_BUILD_TYPE}, hardened: ${ORVANE_HARDENED}): ${built}")
  foreach(line IN LISTS left_out)
    message(STATUS "${line}")
  endforeach()
endfunction()
