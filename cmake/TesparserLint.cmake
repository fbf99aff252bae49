# For the preset "lint", in which clang-tidy reads all sources of a target as one file (a "unity" build): most of its
# time goes into what they all include, the message classes above all.
#
# Read by themselves are sources whose file-local names stand in another source of the target as well. (clang-tidy says
# "redefinition" where this list lacks one.)
set_source_files_properties(${PROJECT_SOURCE_DIR}/tesview/show/ndjson.cpp
  TARGET_DIRECTORY tesview_parts PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
# Of the fuzz targets each is the only one of its program.
set_property(TARGET fuzz_replay PROPERTY UNITY_BUILD OFF)
