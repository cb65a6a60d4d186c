# orvane_test(<name> SOURCES <files> LIBRARIES <targets> [LABELS <labels>] [TIMEOUT <seconds>] [DEFINITIONS <macros>])
#
# Declares one GoogleTest executable and registers each of its tests with ctest, under "<name>.<suite>.<test>".
find_package(GTest REQUIRED)
include(GoogleTest)

function(orvane_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBRARIES;LABELS;DEFINITIONS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  if(NOT arg_LABELS)
    set(arg_LABELS unit)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(${name} PRIVATE ORVANE_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ${arg_DEFINITIONS})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} orvane_warnings GTest::gmock GTest::gtest GTest::gtest_main)
  # ctest starts the costly ones first, so that long waits run beside all the rest.
  set(cost 1)
  if("slow" IN_LIST arg_LABELS)
    set(cost 100)
  endif()
  string(REPLACE ";" "\\;" labels "${arg_LABELS}")
  gtest_discover_tests(${name} TEST_PREFIX "${name}." NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS "${labels}" TIMEOUT ${arg_TIMEOUT} COST ${cost})
endfunction()
