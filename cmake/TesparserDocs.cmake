# The reference, out of the public headers: cmake --build --preset quick --target docs
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E echo "The reference is made by doxygen, which is missing: scripts/setup checks installs it"
    COMMAND ${CMAKE_COMMAND} -E false
    VERBATIM)
  return()
endif()
set(DOXYGEN_PROJECT_NAME tesparser)
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/reference)
set(DOXYGEN_INPUT_FILTER "awk -f ${PROJECT_SOURCE_DIR}/docs/doxygen.awk")
set(DOXYGEN_FILTER_SOURCE_FILES NO)
set(DOXYGEN_FILTER_PATTERNS "*.md=cat")
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/docs/reference.md)
set(DOXYGEN_STRIP_FROM_PATH ${PROJECT_SOURCE_DIR})
set(DOXYGEN_STRIP_FROM_INC_PATH ${PROJECT_SOURCE_DIR})
# Many functions are documented as a group, by the conventions of their header.
set(DOXYGEN_EXTRACT_ALL YES)
set(DOXYGEN_WARN_IF_INCOMPLETE_DOC NO)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
set(DOXYGEN_QT_AUTOBRIEF YES)
set(DOXYGEN_MACRO_EXPANSION YES)
set(DOXYGEN_EXPAND_ONLY_PREDEF YES)
set(DOXYGEN_PREDEFINED TESPARSER_API= TESPARSER_TYPE_API= TSL_BASE_API= TESPARSER_C_API= __cplusplus=201703L)
set(DOXYGEN_EXCLUDE_SYMBOLS *::detail google google::*)
set(DOXYGEN_SHOW_NAMESPACES NO)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_GENERATE_TREEVIEW YES)
set(DOXYGEN_QUIET YES)
doxygen_add_docs(docs docs/reference.md tesparser/tesparser.h capi/tesparser_c.h ${TSL_BASE_HEADERS}
  COMMENT "Making the reference from the headers")
