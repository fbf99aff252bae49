// Text that grows at its end, for millions of short pieces: room is asked for once for several of them, and
// they are written into it without a further check.
#ifndef TESVIEW_SHOW_BUFFER_H_
#define TESVIEW_SHOW_BUFFER_H_

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace tesview {

class Buffer {
 public:
  size_t size() const { return size_; }
  size_t capacity() const { return capacity_; }
  std::string_view text() const { return {bytes_.get(), size_}; }
  // Back to the first `size` bytes.
  void Shorten(size_t size) { size_ = size; }

  // Where up to `size` bytes may be written; Wrote() then says how far.
  char* Room(size_t size) {
    if (size > capacity_ - size_) Grow(size);
    return bytes_.get() + size_;
  }
  void Wrote(const char* end) { size_ = static_cast<size_t>(end - bytes_.get()); }

  void Append(std::string_view text) { Wrote(Write(Room(text.size()), text)); }

  // Writes into room that was asked for; returns its end.
  static char* Write(char* to, std::string_view text) {
    if (!text.empty()) std::memcpy(to, text.data(), text.size());
    return to + text.size();
  }

 private:
  void Grow(size_t size) {
    const size_t capacity = std::max({size_ + size, capacity_ * 2, size_t{4096}});
    std::unique_ptr<char[]> bytes(new char[capacity]);
    if (size_ != 0) std::memcpy(bytes.get(), bytes_.get(), size_);
    bytes_ = std::move(bytes);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> bytes_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

}  // namespace tesview

#endif  // TESVIEW_SHOW_BUFFER_H_
