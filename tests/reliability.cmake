# What the library promises for any bytes, any load and too little memory. The samples are what all of these decode.
function(reliability_sources name)
  target_link_libraries(${name} PRIVATE tesparser test_support Threads::Threads)
  target_compile_definitions(${name} PRIVATE TESPARSER_SAMPLES="${CMAKE_BINARY_DIR}/samples")
  tesparser_own_code(${name})
  add_dependencies(${name} samples)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # These measure time and stack, their own part included.
    target_compile_options(${name} PRIVATE -O2)
  endif()
endfunction()

add_library(reliability_replies STATIC reliability_replies.cpp)
reliability_sources(reliability_replies)

function(reliability_program name)
  add_executable(${name} ${ARGN})
  reliability_sources(${name})
  target_link_libraries(${name} PRIVATE reliability_replies)
endfunction()

# A program that replaces malloc, which under a sanitizer is the sanitizer's.
function(reliability_malloc_test name)
  if(TESPARSER_SANITIZE)
    add_test(NAME ${name} COMMAND ${CMAKE_COMMAND} -E echo "skipped: malloc is the sanitizer's")
    set_tests_properties(${name} PROPERTIES SKIP_REGULAR_EXPRESSION "^skipped")
  else()
    reliability_program(${name} ${ARGN} reliability_malloc.cpp)
    target_link_libraries(${name} PRIVATE GTest::gtest_main PkgConfig::JANSSON)
    add_test(NAME ${name} COMMAND ${name})
    # Times are measured: nothing else of the suite runs beside it.
    set_tests_properties(${name} PROPERTIES RUN_SERIAL ON)
  endif()
endfunction()

reliability_malloc_test(reliability_memory_test reliability_memory_test.cpp)
reliability_malloc_test(reliability_cost_test reliability_cost_test.cpp)

# One process for each first use. Under the thread sanitizer nothing is suppressed: libprotobuf, though not built with
# it, gives no report.
reliability_program(reliability_threads reliability_threads.cpp)
foreach(first each json table "type 1" "type 101")
  string(REPLACE " " "_" name "reliability_threads_first_${first}")
  add_test(NAME ${name} COMMAND reliability_threads ${first})
endforeach()

reliability_program(reliability_stack reliability_stack.cpp)
add_test(NAME reliability_stack COMMAND reliability_stack)
set_tests_properties(reliability_stack PROPERTIES SKIP_RETURN_CODE 77)

reliability_program(reliability_soak reliability_soak.cpp)
add_test(NAME reliability_soak COMMAND reliability_soak --seconds 10)
