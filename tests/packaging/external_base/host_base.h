#ifndef TESTS_EXTERNAL_BASE_HOST_BASE_H_
#define TESTS_EXTERNAL_BASE_HOST_BASE_H_

#include <string>

// All calls since the last time, a line each.
std::string TakeCalls();

void FreeHostTable(void* table);

#endif  // TESTS_EXTERNAL_BASE_HOST_BASE_H_
