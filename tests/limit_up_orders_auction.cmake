tesparser_test(limit_up_test limit_up_test.cpp)
tesparser_test(large_order_test large_order_test.cpp)
tesparser_test(auction_test auction_test.cpp)
