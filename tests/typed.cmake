tesparser_test(typed_test typed_test.cpp)
tesparser_inner_test(typed_inner_test typed_inner_test.cpp support/tables.cpp)
