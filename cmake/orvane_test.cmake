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
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS "${arg_LABELS}" TIMEOUT ${arg_TIMEOUT})
endfunction()
