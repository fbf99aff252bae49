// Captures: compressed bytes, and streams of replies with their lengths in which any bytes may stand.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/target.h"
#include "replies/reply_reader.h"
#include "replies/unpacked_source.h"

namespace {

using replies::Form;

// A reply of Id 20 with a payload of one letter, ten times.
std::string Letters(char letter) {
  return "\x08\x14\xA2\x01\x0A" + std::string(10, letter);
}

std::string InFrame(const std::string& reply, Form form) {
  const std::string length(1, static_cast<char>(reply.size()));
  if (form == Form::kFixed32Be) return std::string(3, '\0') + length + reply;
  if (form == Form::kFixed32Le) return length + std::string(3, '\0') + reply;
  return length + reply;
}

// A file, so that it is known where it ends.
class FilePieces : public replies::ByteSource {
 public:
  FilePieces(std::string_view bytes, size_t piece) : bytes_(bytes), piece_(piece) {}
  size_t Read(char* to, size_t size) override {
    const size_t n = std::min({size, piece_, bytes_.size()});
    if (n != 0) std::memcpy(to, bytes_.data(), n);
    bytes_.remove_prefix(n);
    return n;
  }
  bool MayWait() const override { return false; }

 private:
  std::string_view bytes_;
  size_t piece_;
};

// Checks that what is given and what is skipped is all of the stream, in its order.
std::vector<std::string> ReadStream(const std::string& bytes, Form form, size_t piece) {
  FilePieces source(bytes, piece);
  replies::ReplyReader reader(&source, form, nullptr);
  std::vector<std::string> all;
  uint64_t end = 0;
  while (true) {
    replies::Reply reply;
    std::string error;
    const replies::Next next = reader.Read(&reply, &error);
    if (next == replies::Next::kEnd) break;
    FUZZ_CHECK(reply.offset == end);
    end = reader.position();
    FUZZ_CHECK(end > reply.offset);
    if (next == replies::Next::kReply) {
      all.push_back(reply.bytes);
      continue;
    }
    FUZZ_CHECK(!error.empty() && reply.lost == end - reply.offset);
  }
  FUZZ_CHECK(end == bytes.size());
  return all;
}

constexpr size_t kLongestLength = 4;

// Whatever stands between them, the replies in front are given, and the last one is, which no other can hide.
void CheckStray(const std::string& stray, Form form) {
  std::string stream;
  for (const char letter : {'a', 'b'})
    stream += InFrame(Letters(letter), form);
  stream += stray;
  for (const char letter : {'c', 'd', 'e'})
    stream += InFrame(Letters(letter), form);
  const auto all = ReadStream(stream, form, stream.size());
  FUZZ_CHECK(all.size() >= 3 && all[0] == Letters('a') && all.back() == Letters('e'));
  // The second one is as whole as the first. Only an Id right behind it may make a reply with its last bytes
  // for a length, and nobody can tell which of the two it is.
  const bool hides_second = stray.substr(0, kLongestLength).find('\x08') != std::string::npos;
  FUZZ_CHECK(hides_second || std::find(all.begin(), all.end(), Letters('b')) != all.end());
  FUZZ_CHECK(all == ReadStream(stream, form, 7));
}

void CheckUnpacked(std::string_view bytes) {
  constexpr size_t kEnough = size_t{1} << 20;
  replies::MemorySource source(bytes);
  replies::UnpackedSource unpacked(&source);
  std::string room(size_t{64} * 1024, '\0');
  size_t given = 0;
  try {
    while (given < kEnough) {
      const size_t got = unpacked.Read(room.data(), room.size());
      if (got == 0) break;
      given += got;
    }
    const bool packed = unpacked.packing() != replies::Packing::kNone;
    FUZZ_CHECK(packed || given == bytes.size());
  } catch (const replies::InputError&) {
    FUZZ_CHECK(unpacked.packing() != replies::Packing::kNone);
  }
  FUZZ_CHECK(unpacked.packed_bytes() <= bytes.size());
}

void capture(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  CheckUnpacked(bytes);
  for (const Form form : {Form::kDelimited, Form::kFixed32Be, Form::kFixed32Le})
    CheckStray(bytes, form);
}

}  // namespace

FUZZ_TARGET(capture, 4096, fuzz::Kind::kBytes)
