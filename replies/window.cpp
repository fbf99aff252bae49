#include "replies/window.h"

#include <algorithm>
#include <cstring>

namespace replies {

size_t MemorySource::Read(char* to, size_t size) {
  const size_t n = std::min(size, bytes_.size());
  if (n != 0) std::memcpy(to, bytes_.data(), n);
  bytes_.remove_prefix(n);
  return n;
}

// Bytes are moved to the front only when the room behind them is used up, so each is moved a few times at
// most.
void Window::MakeRoom() {
  if (storage_.size() - end_ >= kBlock) return;
  storage_.erase(0, begin_);
  end_ -= begin_;
  begin_ = 0;
  storage_.resize(end_ + std::max(2 * kBlock, end_ / 2));
}

bool Window::ReadMore() {
  if (ended_) return false;
  MakeRoom();
  const size_t got = source_->Read(storage_.data() + end_, storage_.size() - end_);
  end_ += got;
  ended_ = got == 0;
  return !ended_;
}

bool Window::Fill(size_t size) {
  while (bytes().size() < size && ReadMore()) {
  }
  return bytes().size() >= size;
}

void Window::Drop(size_t size) {
  begin_ += size;
  position_ += size;
}

}  // namespace replies
