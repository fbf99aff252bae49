// The Ids whose replies have a table, in the one place where they are listed: a lost case of the dispatch
// shows as a difference to it. A new converter adds its Id.
#ifndef TESTS_SUPPORT_IDS_WITH_TABLE_H_
#define TESTS_SUPPORT_IDS_WITH_TABLE_H_

#include <set>

inline const std::set<int> kIdsWithTable = {3,   20,  21,  27,  28,  55,  115, 130, 271, 272,
                                            273, 274, 303, 313, 321, 346, 385, 386, 392, 399,
                                            405, 406, 414, 421, 433, 437, 442, 443, 465};

#endif  // TESTS_SUPPORT_IDS_WITH_TABLE_H_
