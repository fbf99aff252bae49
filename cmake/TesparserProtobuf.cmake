# Which protobuf runtime the libraries have: the system's shared one, or one of their own that nobody else sees, built
# from a source tree. With their own a host may hold any protobuf, and any file names, beside it.
if(NOT TESPARSER_PROTOBUF_SOURCE)
  find_package(Protobuf REQUIRED)
  return()
endif()

# What protoc writes compiles with a runtime of its own version alone.
find_program(Protobuf_PROTOC_EXECUTABLE protoc REQUIRED)
execute_process(COMMAND ${Protobuf_PROTOC_EXECUTABLE} --version OUTPUT_VARIABLE protoc_version)
string(REGEX MATCH "([0-9]+)[.]([0-9]+)[.]([0-9]+)" protoc_version "${protoc_version}")
math(EXPR protoc_number "${CMAKE_MATCH_1} * 1000000 + ${CMAKE_MATCH_2} * 1000 + ${CMAKE_MATCH_3}")
file(STRINGS ${TESPARSER_PROTOBUF_SOURCE}/src/google/protobuf/stubs/common.h source_number
     REGEX "^#define GOOGLE_PROTOBUF_VERSION [0-9]+")
string(REGEX REPLACE "[^0-9]" "" source_number "${source_number}")
if(NOT source_number STREQUAL protoc_number)
  message(FATAL_ERROR "protobuf in ${TESPARSER_PROTOBUF_SOURCE} is ${source_number}, ${Protobuf_PROTOC_EXECUTABLE} "
                      "is ${protoc_number}: they must be the same")
endif()
add_executable(protobuf::protoc IMPORTED GLOBAL)
set_target_properties(protobuf::protoc PROPERTIES IMPORTED_LOCATION ${Protobuf_PROTOC_EXECUTABLE})

block(SCOPE_FOR VARIABLES)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)  # options may be set from here
  set(protobuf_BUILD_TESTS OFF)
  set(protobuf_BUILD_PROTOC_BINARIES OFF)
  set(protobuf_INSTALL OFF)
  set(protobuf_WITH_ZLIB OFF)
  set(BUILD_SHARED_LIBS OFF)
  add_subdirectory(${TESPARSER_PROTOBUF_SOURCE} ${PROJECT_BINARY_DIR}/protobuf EXCLUDE_FROM_ALL SYSTEM)
endblock()
target_compile_options(libprotobuf PRIVATE -w)
