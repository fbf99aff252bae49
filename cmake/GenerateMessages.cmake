# Runs protoc over all schema files in IN and puts what changed into OUT, so that a change to one schema file rebuilds
# only what it touches.
#
# With proto_h a message's header only declares the messages of other files: whoever includes MSG.proto.h reads the
# envelope without the 147 headers of all that it may carry.
file(GLOB protos ${IN}/*.proto)
set(fresh ${OUT}.fresh)
file(REMOVE_RECURSE ${fresh})
file(MAKE_DIRECTORY ${fresh} ${OUT})
execute_process(
  COMMAND ${PROTOC} -I${IN} --cpp_out=proto_h:${fresh} --descriptor_set_out=${fresh}/tesparser.desc ${protos}
  RESULT_VARIABLE result
  ERROR_VARIABLE errors)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "protoc failed:\n${errors}")
endif()
file(GLOB outputs RELATIVE ${fresh} ${fresh}/*)
foreach(name IN LISTS outputs)
  file(COPY_FILE ${fresh}/${name} ${OUT}/${name} ONLY_IF_DIFFERENT)
endforeach()
file(REMOVE_RECURSE ${fresh})
