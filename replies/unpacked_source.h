// A source whose bytes may be packed, unpacked.
#ifndef REPLIES_UNPACKED_SOURCE_H_
#define REPLIES_UNPACKED_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "replies/byte_source.h"
#include "replies/packing.h"

namespace replies {

// The most that a reply out of packed bytes may have: a few of them could announce, and bring, 2 GB.
inline constexpr size_t kMostUnpacked = size_t{256} * 1024 * 1024;

// Bytes of any other source pass through as they are, into the memory that Read() is given. Streams that were
// packed one by one and joined are one. What was whole before a damage is given before the error.
class UnpackedSource : public ByteSource {
 public:
  // The source stays the caller's.
  explicit UnpackedSource(ByteSource* source) : source_(source) {}

  // Throws InputError, with the offset in the packed bytes, where these are damaged or end too soon.
  size_t Read(char* to, size_t size) override;
  bool HasPaused() override { return packed_.empty() && !may_hold_more_ && source_->HasPaused(); }
  bool MayWait() const override { return source_->MayWait(); }
  size_t MostAtOnce() const override;

  // Known once something has been read.
  Packing packing() const { return packing_; }
  // Bytes that have been read from the source below.
  uint64_t packed_bytes() const { return taken_; }

 private:
  size_t ReadFirst(char* to, size_t size);
  size_t ReadHead(char* to, size_t size);
  void BeginUnpacking();
  size_t ReadUnpacked(char* to, size_t size);
  bool ReadPacked();
  void RefusePackedAgain(std::string_view unpacked) const;
  [[noreturn]] void Fail(const std::string& what) const;

  ByteSource* source_;
  bool known_ = false;
  Packing packing_ = Packing::kNone;
  uint64_t taken_ = 0;
  uint64_t given_ = 0;
  std::string head_;  // what told the packing, and was none

  // While unpacking.
  std::unique_ptr<Unpacker> unpacker_;
  std::vector<char> block_;
  std::string_view packed_;      // of the block, what is still to be unpacked
  bool between_streams_ = true;  // where the source may end
  bool may_hold_more_ = false;   // the room was too small for all that was there
  std::string broken_;           // what is wrong behind the bytes that have been given
};

}  // namespace replies

#endif  // REPLIES_UNPACKED_SOURCE_H_
