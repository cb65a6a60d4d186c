# cmake -DBUILD=<folder> -DCOMPONENTS="server[ devhost]" -DPROGRAMS="<names with blanks between>"
#   -P installed_files_test.cmake
#
# Installs each component into a folder of its own and compares the files: by default the programs, their man pages
# and notices; the development host only when asked for.
cmake_minimum_required(VERSION 3.25)

function(compare_installation prefix)
  file(GLOB_RECURSE files RELATIVE "${prefix}" "${prefix}/*")
  list(SORT files)
  set(expected ${ARGN})
  list(SORT expected)
  if(NOT files STREQUAL expected)
    message(SEND_ERROR "installed are\n  ${files}\ninstead of\n  ${expected}")
  endif()
  file(REMOVE_RECURSE "${prefix}")
endfunction()

function(install_component prefix)
  file(REMOVE_RECURSE "${prefix}")
  execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}" ${ARGN}
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

separate_arguments(PROGRAMS)
separate_arguments(COMPONENTS)
set(folder "${BUILD}/tests/repository/installed_files")
set(documents share/doc/orvane-mcp-server)

install_component("${folder}/default")
set(expected ${documents}/copyright ${documents}/CHANGELOG.md)
foreach(program IN LISTS PROGRAMS)
  list(APPEND expected bin/${program} share/man/man1/${program}.1)
endforeach()
if("orvane-mcp" IN_LIST PROGRAMS)
  list(APPEND expected ${documents}/licences/libtomlplusplus-dev.copyright
       ${documents}/licences/nlohmann-json3-dev.copyright)
endif()
compare_installation("${folder}/default" ${expected})

if("devhost" IN_LIST COMPONENTS)
  install_component("${folder}/devhost" --component devhost)
  compare_installation("${folder}/devhost" bin/orvane-devhost share/doc/orvane-devhost/copyright
                       share/man/man1/orvane-devhost.1)
endif()
