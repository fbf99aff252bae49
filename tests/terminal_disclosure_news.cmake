tesparser_test(terminal_test terminal_test.cpp)
tesparser_test(disclosure_test disclosure_test.cpp)
tesparser_test(news_test news_test.cpp)
