# The frame of the exports, the packed decimal, the JSON rendering, the dispatch and wire tables.
tesparser_test(packed_decimal_test packed_decimal_test.cpp)
tesparser_inner_test(packed_decimal_inner_test packed_decimal_inner_test.cpp)

tesparser_test(exports_test exports_test.cpp)
target_link_libraries(exports_test PRIVATE PkgConfig::JANSSON)
tesparser_test(exports_memory_test exports_memory_test.cpp)
target_link_libraries(exports_memory_test PRIVATE PkgConfig::JANSSON)

tesparser_test(json_test json_test.cpp)
target_link_libraries(json_test PRIVATE PkgConfig::JANSSON)
tesparser_inner_test(message_to_json_inner_test message_to_json_inner_test.cpp)

tesparser_test(dispatch_test dispatch_test.cpp)
tesparser_inner_test(tes2table_inner_test tes2table_inner_test.cpp support/tables.cpp)
tesparser_test(wire_table_test wire_table_test.cpp)

# Opens the library at run time, so it must not be linked with it.
add_executable(dlopen_test dlopen_test.cpp)
target_include_directories(dlopen_test PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(dlopen_test PRIVATE TESPARSER_LIBRARY="$<TARGET_FILE:tesparser>")
target_link_libraries(dlopen_test PRIVATE GTest::gtest_main ${CMAKE_DL_LIBS})
add_dependencies(dlopen_test tesparser)
tesparser_own_code(dlopen_test)
add_test(NAME dlopen_test COMMAND dlopen_test)

# binutils' nm, whatever the compiler brings: the lists hold the names as it spells them.
find_program(TESPARSER_NM nm REQUIRED)
foreach(library tesparser tsl_base)
  add_test(NAME exported_symbols_${library}
           COMMAND ${CMAKE_COMMAND} -D NM=${TESPARSER_NM} -D LIBRARY=$<TARGET_FILE:${library}>
                   -D EXPECTED=${CMAKE_CURRENT_SOURCE_DIR}/symbols/lib${library}.txt
                   -P ${CMAKE_CURRENT_SOURCE_DIR}/exported_symbols.cmake)
endforeach()
