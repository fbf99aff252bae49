# What a release promises to programs that were built against an earlier one.
add_executable(version_test version_test.c)
target_compile_definitions(version_test PRIVATE PROJECT_VERSION="${PROJECT_VERSION}")
target_link_libraries(version_test PRIVATE tesparser::tsl_base)
tesparser_own_code(version_test)
add_test(NAME version_test COMMAND version_test)
if(TARGET tesview)
  add_test(NAME tesview_version COMMAND tesview --version)
  string(REPLACE "." "\\." version ${PROJECT_VERSION})
  set_tests_properties(tesview_version PROPERTIES PASS_REGULAR_EXPRESSION "^tesview ${version}\n$")
endif()

# The libraries once more, with debugging information in the few files that define their interface: that is where
# abidiff reads types. The shipped ones carry none.
function(tesparser_abi_test library)
  set_target_properties(${library}_abi PROPERTIES OUTPUT_NAME ${library} VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR} LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/abi)
  target_compile_options(${library}_abi PRIVATE -g)
  tesparser_exports_only(${library}_abi ${PROJECT_SOURCE_DIR}/${library}/${library}.map)
  set(dump ${PROJECT_SOURCE_DIR}/packaging/abi-dumps/lib${library}.so.${PROJECT_VERSION_MAJOR}.xml)
  set(arguments ${dump} $<TARGET_FILE:${library}_abi> ${PROJECT_SOURCE_DIR}/${library})
  add_test(NAME abi_${library} COMMAND ${PROJECT_SOURCE_DIR}/packaging/abi check ${arguments})
  set_tests_properties(abi_${library} PROPERTIES SKIP_RETURN_CODE 77)
  add_custom_target(dump_abi_${library} COMMAND ${PROJECT_SOURCE_DIR}/packaging/abi dump ${arguments}
                    DEPENDS ${library}_abi VERBATIM)
  add_dependencies(dump_abi dump_abi_${library})
endfunction()

if(NOT TESPARSER_SANITIZE AND NOT TESPARSER_COVERAGE)
  add_custom_target(dump_abi)
  get_target_property(sources tsl_base SOURCES)
  list(FILTER sources INCLUDE REGEX "^[a-z_0-9]+\\.cpp$")
  list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/tsl_base/)
  add_library(tsl_base_abi SHARED ${sources})
  target_include_directories(tsl_base_abi PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR}/tsl_base)
  target_compile_definitions(tsl_base_abi PRIVATE TSL_BASE_BUILDING TSL_BASE_VERSION="${PROJECT_VERSION}")
  add_dependencies(tsl_base_abi tsl_base)
  tesparser_abi_test(tsl_base)

  add_library(tesparser_abi SHARED
    ${PROJECT_SOURCE_DIR}/tesparser/tesparser.cpp ${PROJECT_SOURCE_DIR}/tesparser/packed_decimal.cpp
    "$<FILTER:$<TARGET_OBJECTS:tesparser_objects>,EXCLUDE,/(tesparser|packed_decimal)[.]cpp[.]o>")
  target_compile_definitions(tesparser_abi PRIVATE TESPARSER_BUILDING)
  target_include_directories(tesparser_abi SYSTEM PRIVATE ${PROJECT_BINARY_DIR}/tesparser/tesproto)
  target_include_directories(tesparser_abi PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(tesparser_abi PRIVATE tesparser_envelope tesparser_messages tsl_base PkgConfig::JANSSON)
  add_dependencies(tesparser_abi tesparser_generate)
  tesparser_abi_test(tesparser)
endif()
