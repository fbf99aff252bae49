// How much of one reply is shown.
//
// A reply can announce far more cells than it has bytes, and text that is repeated or padded grows without
// bound. What would come out larger than this is not shown at all, in whatever form.
#ifndef TESVIEW_SHOW_LIMITS_H_
#define TESVIEW_SHOW_LIMITS_H_

#include <cstddef>
#include <cstdint>
#include <exception>

#include "tesview/terminal/interrupt.h"

namespace tesview {

constexpr uint64_t kMostCells = 10'000'000;
constexpr size_t kMostOutput = size_t{512} * 1024 * 1024;

class TooMuch : public std::exception {};

// Asked before memory of that size is filled, line by line: an interrupt ends a long reply here.
inline void CheckSize(size_t size) {
  if (WasInterrupted()) throw Interrupted();
  if (size > kMostOutput) throw TooMuch();
}

inline void CheckCount(uint64_t cells) {
  if (cells > kMostCells) throw TooMuch();
}

}  // namespace tesview

#endif  // TESVIEW_SHOW_LIMITS_H_
