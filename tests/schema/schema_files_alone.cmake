# Gives each schema file in IN to protoc by itself: what a file needs, it imports. OUT is emptied first.
file(GLOB protos RELATIVE ${IN} ${IN}/*.proto)
list(LENGTH protos count)
if(count LESS 2)
  message(FATAL_ERROR "no schema files in ${IN}")
endif()
file(REMOVE_RECURSE ${OUT})
file(MAKE_DIRECTORY ${OUT})
set(failed)
foreach(proto IN LISTS protos)
  execute_process(
    COMMAND ${PROTOC} -I${IN} --descriptor_set_out=${OUT}/${proto}.desc ${proto}
    RESULT_VARIABLE result
    ERROR_VARIABLE errors)
  if(NOT result EQUAL 0 OR NOT EXISTS ${OUT}/${proto}.desc)
    list(APPEND failed ${proto})
    message(STATUS "${proto}:\n${errors}")
  endif()
endforeach()
file(REMOVE_RECURSE ${OUT})
if(failed)
  message(FATAL_ERROR "do not compile alone: ${failed}")
endif()
message(STATUS "${count} schema files")
