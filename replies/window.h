// The part of a source that has been read and not yet dealt with.
//
// Memory grows with the bytes that arrive, never with what the input announces.
#ifndef REPLIES_WINDOW_H_
#define REPLIES_WINDOW_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "replies/byte_source.h"

namespace replies {

// What is read from a source at once.
inline constexpr size_t kBlock = size_t{64} * 1024;

// All reading throws what the source throws.
class Window {
 public:
  explicit Window(ByteSource* source) : source_(source) {}

  // Until the next call that reads.
  std::string_view bytes() const { return std::string_view(storage_).substr(begin_, end_ - begin_); }
  // The source has no more bytes than these. Known once a read has found none.
  bool ended() const { return ended_; }
  bool HasPaused() { return source_->HasPaused(); }
  // Bytes of the source that have been dropped.
  uint64_t position() const { return position_; }

  // Reads once; false at the end of the source.
  bool ReadMore();
  // Reads until there are `size` bytes or the source ends. True if there are.
  bool Fill(size_t size);
  // Takes `size` bytes from the front; there must be so many.
  void Drop(size_t size);

 private:
  void MakeRoom();

  ByteSource* source_;
  std::string storage_;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t position_ = 0;
  bool ended_ = false;
};

}  // namespace replies

#endif  // REPLIES_WINDOW_H_
