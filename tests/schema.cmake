tesparser_test(schema_test schema_test.cpp)
target_compile_definitions(schema_test PRIVATE
  SCHEMA_DIR="${TESPARSER_PROTO_DIR}" SCHEMA_PAGE="${PROJECT_SOURCE_DIR}/docs/schema.md")

tesparser_test(all_payloads_test all_payloads_test.cpp)
target_link_libraries(all_payloads_test PRIVATE PkgConfig::JANSSON)

add_test(NAME schema_files_alone
  COMMAND ${CMAKE_COMMAND} -D PROTOC=$<TARGET_FILE:protobuf::protoc> -D IN=${TESPARSER_PROTO_DIR}
          -D OUT=${CMAKE_CURRENT_BINARY_DIR}/schema_files_alone -P ${CMAKE_CURRENT_SOURCE_DIR}/schema_files_alone.cmake)
