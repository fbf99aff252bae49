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
