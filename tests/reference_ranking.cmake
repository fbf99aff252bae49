tesparser_test(reference_test reference_test.cpp)
tesparser_test(ranking_test ranking_test.cpp)
