tesparser_test(replies_doc_test replies_doc_test.cpp)
target_compile_definitions(replies_doc_test PRIVATE
  REPLIES_PAGE="${PROJECT_SOURCE_DIR}/docs/replies.md" SAMPLE_DIR="${CMAKE_BINARY_DIR}/samples"
  TESVIEW="$<TARGET_FILE:tesview>")
add_dependencies(replies_doc_test tesview samples)
