# Run by ctest when it starts: asks a test program for its test suites and makes each a test.
#
# TEST_PROGRAM, TEST_EMULATOR (may be empty), TEST_LABEL, TEST_FOLDER: what is run, with which label and where.
if(NOT EXISTS ${TEST_PROGRAM})
  add_test(${TEST_LABEL}.NOT_BUILT ${TEST_PROGRAM})
  return()
endif()
execute_process(COMMAND ${TEST_EMULATOR} ${TEST_PROGRAM} --gtest_list_tests
  WORKING_DIRECTORY ${TEST_FOLDER} OUTPUT_VARIABLE listing RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  add_test(${TEST_LABEL}.NOT_LISTED ${TEST_PROGRAM} --gtest_list_tests)
  return()
endif()
# A suite's line ends with a dot, but for a comment; those of its tests are indented.
# The latter go first: what a parameter prints may hold brackets, which CMake's lists do not bear.
string(REGEX REPLACE "\n +[^\n]*" "" listing "${listing}")
string(REGEX REPLACE " +#[^\n]*" "" listing "${listing}")
string(REPLACE "\n" ";" listing "${listing}")
foreach(line IN LISTS listing)
  if(line MATCHES "^([^ ]+)\\.$")
    set(suite ${CMAKE_MATCH_1})
    add_test(${TEST_LABEL}.${suite} ${TEST_EMULATOR} ${TEST_PROGRAM} --gtest_brief=1 --gtest_filter=${suite}.*)
    set_tests_properties(${TEST_LABEL}.${suite} PROPERTIES
      LABELS ${TEST_LABEL} TIMEOUT 300 WORKING_DIRECTORY ${TEST_FOLDER})
  endif()
endforeach()
