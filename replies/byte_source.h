// Where bytes come from.
#ifndef REPLIES_BYTE_SOURCE_H_
#define REPLIES_BYTE_SOURCE_H_

#include <cstddef>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace replies {

// The source cannot be read.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Up to `size` bytes; 0 at the end. Waits until there is one. Throws InputError.
  virtual size_t Read(char* to, size_t size) = 0;

  // Whether the source has paused, so that what has come from it should be looked at before more is waited
  // for.
  virtual bool HasPaused() { return false; }

  // Whether a read may have to wait for whoever writes. What has come whole is then given before more is
  // read.
  virtual bool MayWait() const { return true; }

  // The most that may be kept of its bytes at once, for a reply: less where many of them cost the sender few.
  // Known once something has been read.
  virtual size_t MostAtOnce() const { return std::numeric_limits<size_t>::max(); }
};

class MemorySource : public ByteSource {
 public:
  // The bytes stay the caller's, and have to live as long as this.
  explicit MemorySource(std::string_view bytes) : bytes_(bytes) {}
  size_t Read(char* to, size_t size) override;
  bool MayWait() const override { return false; }

 private:
  std::string_view bytes_;
};

}  // namespace replies

#endif  // REPLIES_BYTE_SOURCE_H_
