# What the viewer is made of, without the program around it.
add_executable(tesview_core_test tesview_core_test.cpp)
target_link_libraries(tesview_core_test PRIVATE tesview_core test_support GTest::gtest_main)
tesparser_own_code(tesview_core_test)
add_test(NAME tesview_core_test COMMAND tesview_core_test)

# The built program, driven as a person would.
add_executable(tesview_test tesview_test.cpp support/program.cpp)
target_link_libraries(tesview_test PRIVATE tesview_core test_support GTest::gtest_main Threads::Threads)
target_compile_definitions(tesview_test PRIVATE
  TESVIEW="$<TARGET_FILE:tesview>"
  SOURCE_DIR="${PROJECT_SOURCE_DIR}"
  SAMPLE_DIR="${CMAKE_BINARY_DIR}/samples")
add_dependencies(tesview_test tesview samples)
tesparser_own_code(tesview_test)
add_test(NAME tesview_test COMMAND tesview_test)

# Parts of it that the program needs more than the core for.
add_executable(tesview_parts_test tesview_parts_test.cpp
  ${PROJECT_SOURCE_DIR}/tools/progress.cpp ${PROJECT_SOURCE_DIR}/tools/table.cpp
  ${PROJECT_SOURCE_DIR}/tools/terminal.cpp)
target_link_libraries(tesview_parts_test PRIVATE tesview_core test_support GTest::gtest_main)
tesparser_own_code(tesview_parts_test)
add_test(NAME tesview_parts_test COMMAND tesview_parts_test)

add_executable(tesview_rare_test tesview_rare_test.cpp support/program.cpp)
target_link_libraries(tesview_rare_test PRIVATE test_support GTest::gtest_main Threads::Threads)
target_compile_definitions(tesview_rare_test PRIVATE TESVIEW="$<TARGET_FILE:tesview>")
add_dependencies(tesview_rare_test tesview)
tesparser_own_code(tesview_rare_test)
add_test(NAME tesview_rare_test COMMAND tesview_rare_test)
