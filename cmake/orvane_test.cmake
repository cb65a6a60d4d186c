# How tests are declared. Test presets run 32 "processors" of them at a time: an ordinary test counts as eight, one that
# only waits (label "slow") as one, so that all long waits run side by side and beside three or four others.
find_package(GTest REQUIRED)
include(GoogleTest)

set(ORVANE_ORDINARY_TEST_PROCESSORS 8)

# orvane_test(<name> SOURCES <files> LIBRARIES <targets> [LABEL <label>] [TIMEOUT <seconds>] [DEFINITIONS <macros>])
#
# Declares one GoogleTest executable and registers each of its tests with ctest, under "<name>.<suite>.<test>".
function(orvane_test name)
  cmake_parse_arguments(arg "" "LABEL;TIMEOUT" "SOURCES;LIBRARIES;DEFINITIONS" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  if(NOT arg_LABEL)
    set(arg_LABEL unit)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  target_compile_definitions(${name} PRIVATE ORVANE_SOURCE_DIR="${PROJECT_SOURCE_DIR}" ${arg_DEFINITIONS})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} orvane_warnings GTest::gmock GTest::gtest GTest::gtest_main)
  set(processors ${ORVANE_ORDINARY_TEST_PROCESSORS})
  set(cost 1)
  if(arg_LABEL STREQUAL "slow")
    set(processors 1)
    set(cost 100)  # the costly ones start first
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${name}." NO_PRETTY_VALUES DISCOVERY_TIMEOUT 60
                       PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${arg_TIMEOUT} COST ${cost} PROCESSORS ${processors})
endfunction()

# orvane_command_test(<name> LABEL <label> TIMEOUT <seconds> [COST <cost>] COMMAND <command...>)
#
# Registers a command as a test, which passes if the command ends with 0, and is skipped if it ends with 77. It runs at
# the top of the repository.
function(orvane_command_test name)
  cmake_parse_arguments(arg "" "LABEL;TIMEOUT;COST" "COMMAND" ${ARGN})
  if(NOT arg_COST)
    set(arg_COST 1)
  endif()
  add_test(NAME ${name} COMMAND ${arg_COMMAND} WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}")
  set_tests_properties(${name} PROPERTIES LABELS "${arg_LABEL}" TIMEOUT ${arg_TIMEOUT} COST ${arg_COST}
                       SKIP_RETURN_CODE 77 PROCESSORS ${ORVANE_ORDINARY_TEST_PROCESSORS})
endfunction()
