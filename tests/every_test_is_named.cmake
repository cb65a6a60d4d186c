# A test that nobody builds cannot fail; configuring fails instead, for each *_test.cpp that the CMakeLists.txt of its
# folder of tests/ does not name.
set(here "${CMAKE_CURRENT_LIST_DIR}")
file(GLOB tests RELATIVE "${here}" CONFIGURE_DEPENDS "${here}/*/*_test.cpp" "${here}/*/*/*_test.cpp")
foreach(test IN LISTS tests)
  string(REGEX MATCH "^([^/]*)/(.*)$" test "${test}")
  set(list_file "${here}/${CMAKE_MATCH_1}/CMakeLists.txt")
  set(name "${CMAKE_MATCH_2}")
  file(READ "${list_file}" text)
  string(REPLACE "." "\\." pattern "${name}")
  if(NOT text MATCHES "[ \n]${pattern}[ \n)]")
    message(FATAL_ERROR "${list_file} does not name ${name}.")
  endif()
endforeach()
