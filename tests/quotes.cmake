tesparser_test(quote_test quote_test.cpp)
