# Tests of tsl_base. One program would do, but for two: the memory tests replace the allocation functions of their
# whole program, and the thread tests are what the thread sanitizer is run on.
find_package(GTest REQUIRED)
include(GoogleTest)

function(tsl_base_test name)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/ OUTPUT_VARIABLE sources)
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE tesparser::tsl_base GTest::gtest_main Threads::Threads)
  tesparser_own_code(${name})
  gtest_discover_tests(${name} PROPERTIES TIMEOUT 300)
endfunction()

tsl_base_test(tsl_base_test
  tsl_base_c_caller.c
  tsl_base_c_test.cpp
  tsl_base_cells_test.cpp
  tsl_base_children_test.cpp
  tsl_base_hpp_test.cpp
  tsl_base_like_test.cpp
  tsl_base_numbers_test.cpp
  tsl_base_spec_test.cpp
  tsl_base_storage_test.cpp
  tsl_base_text_test.cpp
  tsl_base_values_test.cpp)
set_target_properties(tsl_base_test PROPERTIES C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)

tsl_base_test(tsl_base_memory_test tsl_base_memory_test.cpp)
tsl_base_test(tsl_base_threads_test tsl_base_threads_test.cpp)

# The tool that asks iconv for the code page while building: what it wrote then, it writes again, and it says what is
# wrong.
set(CP936_AGAIN ${CMAKE_CURRENT_BINARY_DIR}/cp936_again.inc)
add_test(NAME make_cp936 COMMAND make_cp936 ${CP936_AGAIN})
set_tests_properties(make_cp936 PROPERTIES FIXTURES_SETUP cp936_again)
add_test(NAME make_cp936_writes_the_same
         COMMAND ${CMAKE_COMMAND} -E compare_files ${CP936_AGAIN} ${PROJECT_BINARY_DIR}/tsl_base/cp936_table.inc)
set_tests_properties(make_cp936_writes_the_same PROPERTIES FIXTURES_REQUIRED cp936_again)
add_test(NAME make_cp936_without_a_file COMMAND make_cp936)
set_tests_properties(make_cp936_without_a_file PROPERTIES PASS_REGULAR_EXPRESSION "^usage: make_cp936 FILE\n$")
add_test(NAME make_cp936_into_no_directory COMMAND make_cp936 ${CMAKE_CURRENT_BINARY_DIR}/none/table.inc)
set_tests_properties(make_cp936_into_no_directory PROPERTIES
  PASS_REGULAR_EXPRESSION "^make_cp936: .*/none/table\\.inc: cannot be written\n$")
