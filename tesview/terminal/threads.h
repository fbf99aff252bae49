// Threads beside the one that reads.
#ifndef TESVIEW_TERMINAL_THREADS_H_
#define TESVIEW_TERMINAL_THREADS_H_

#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace tesview {

// Starts threads until there are `wanted`. False if not so many can be started; those that were are there.
// Signals are left to the calling thread: it is the one that may have to be woken, and it wakes the others
// (Wake()).
bool StartThreads(size_t wanted, const std::function<void()>& work, std::vector<std::thread>* threads);

}  // namespace tesview

#endif  // TESVIEW_TERMINAL_THREADS_H_
