# Installs the server into a folder of its own and compares its run path.
cmake_minimum_required(VERSION 3.25)

set(prefix "${BUILD}/tests/repository/installed")
file(REMOVE_RECURSE "${prefix}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}"
                OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${READELF}" --dynamic "${prefix}/bin/OrvaneMCPServer"
                OUTPUT_VARIABLE dynamic COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCH "(RUNPATH|RPATH)[^\n]*\\[([^\n]*)\\]" ignored "${dynamic}")
if(NOT CMAKE_MATCH_2 STREQUAL "$ORIGIN/../lib:$ORIGIN/../.")
  message(FATAL_ERROR "the run path is '${CMAKE_MATCH_2}'")
endif()
file(GLOB_RECURSE hosts "${prefix}/*devhost*")
if(hosts)
  message(FATAL_ERROR "the development host is installed with the server: ${hosts}")
endif()
file(REMOVE_RECURSE "${prefix}")
