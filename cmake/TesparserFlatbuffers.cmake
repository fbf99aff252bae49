# Makes the C++ header of a FlatBuffers schema: "replies/x_generated.h" of replies/x.fbs. Those who link `target` find it.
find_program(TESPARSER_FLATC flatc REQUIRED)

function(tesparser_flatbuffers target schema)
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
  cmake_path(GET schema STEM name)
  set(root ${CMAKE_CURRENT_BINARY_DIR}/flatbuffers)
  set(header ${root}/${folder}/${name}_generated.h)
  add_custom_command(
    OUTPUT ${header}
    COMMAND ${TESPARSER_FLATC} --cpp --scoped-enums -o ${root}/${folder} ${CMAKE_CURRENT_SOURCE_DIR}/${schema}
    DEPENDS ${schema}
    VERBATIM)
  add_custom_target(${target}_flatbuffers DEPENDS ${header})
  add_dependencies(${target} ${target}_flatbuffers)
  # Whatever reads the sources without building them asks for this target alone.
  add_dependencies(tesparser_generate ${target}_flatbuffers)
  target_include_directories(${target} SYSTEM PUBLIC ${root})
endfunction()
