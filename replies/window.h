// The part of a source that has been read and not yet dealt with.
//
// Memory grows with the bytes that arrive, never with what the input announces.
#ifndef REPLIES_WINDOW_H_
#define REPLIES_WINDOW_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string_view>

#include "replies/byte_source.h"

namespace replies {

// A first block: what is looked at to tell a form.
inline constexpr size_t kBlock = size_t{64} * 1024;

// A source that fails ends where it does, so that what came before is dealt with first; Rethrow() then says
// so. Anything but InputError is thrown at once.
class Window {
 public:
  // The source stands at the offset `position` of what it is a source of.
  explicit Window(ByteSource* source, uint64_t position = 0) : source_(source), position_(position) {}

  // Until the next call that reads.
  std::string_view bytes() const { return {storage_.get() + begin_, end_ - begin_}; }
  // The source has no more bytes than these. Known once a read has found none.
  bool ended() const { return ended_; }
  bool HasPaused() { return source_->HasPaused(); }
  bool MayWait() const { return source_->MayWait(); }
  // As ByteSource has it; known once something has been read.
  size_t MostAtOnce() const { return source_->MostAtOnce(); }
  // Where the bytes begin in the source.
  uint64_t position() const { return position_; }

  // Reads once; false at the end of the source.
  bool ReadMore();
  // Reads until there are `size` bytes or the source ends. True if there are.
  bool Fill(size_t size);
  // Throws what the source ended with, if that was no end.
  void Rethrow() const;
  // Takes `size` bytes from the front; there must be so many.
  void Drop(size_t size) {
    begin_ += size;
    position_ += size;
  }

 private:
  void MakeRoom();

  ByteSource* source_;
  std::unique_ptr<char[]> storage_;  // not a string, which would be filled with zeros before each read
  size_t capacity_ = 0;
  size_t begin_ = 0;
  size_t end_ = 0;
  uint64_t position_;
  bool ended_ = false;
  std::exception_ptr failure_;
};

}  // namespace replies

#endif  // REPLIES_WINDOW_H_
