# For the preset "lint", in which clang-tidy reads all sources of a target as one file (a "unity" build): most of its
# time goes into what they all include, the message classes above all. No two sources of a target have a file-local
# name in common. (clang-tidy says "redefinition" where two have.)
#
# Of the fuzz targets each is the only one of its program.
set_property(TARGET fuzz_replay PROPERTY UNITY_BUILD OFF)
