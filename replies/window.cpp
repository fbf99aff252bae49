#include "replies/window.h"

#include <algorithm>
#include <cstring>

namespace replies {
namespace {

// As much as is read at once: the second level of a processor's cache holds it beside what is done with it.
constexpr size_t kReadAtOnce = size_t{256} * 1024;

}  // namespace

size_t MemorySource::Read(char* to, size_t size) {
  const size_t n = std::min(size, bytes_.size());
  if (n != 0) std::memcpy(to, bytes_.data(), n);
  bytes_.remove_prefix(n);
  return n;
}

// Bytes are moved only when the room behind them is used up, and the new room is as large as half of them at
// least, so each is moved a few times at most.
void Window::MakeRoom() {
  if (capacity_ - end_ >= kBlock) return;
  const size_t held = end_ - begin_;
  const size_t needed = held + std::max(kReadAtOnce, held / 2);
  if (needed > capacity_) {
    std::unique_ptr<char[]> larger(new char[needed]);
    if (held != 0) std::memcpy(larger.get(), storage_.get() + begin_, held);
    storage_ = std::move(larger);
    capacity_ = needed;
  } else if (held != 0) {
    std::memmove(storage_.get(), storage_.get() + begin_, held);
  }
  begin_ = 0;
  end_ = held;
}

bool Window::ReadMore() {
  if (ended_) return false;
  MakeRoom();
  size_t got = 0;
  try {
    got = source_->Read(storage_.get() + end_, capacity_ - end_);
  } catch (const InputError&) {
    failure_ = std::current_exception();
  }
  end_ += got;
  ended_ = got == 0;
  return !ended_;
}

bool Window::Fill(size_t size) {
  while (bytes().size() < size && ReadMore()) {
  }
  return bytes().size() >= size;
}

void Window::Rethrow() const {
  if (failure_) std::rethrow_exception(failure_);
}

}  // namespace replies
