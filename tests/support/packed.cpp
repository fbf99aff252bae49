#include "tests/support/packed.h"

#include <bzlib.h>
#include <lz4frame.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

#include <cstdint>
#include <stdexcept>

namespace replies {
namespace {

void Expect(bool done) {
  if (!done) throw std::runtime_error("cannot pack");
}

size_t Gzip(const std::string& bytes, std::string* room) {
  constexpr int kGzipWindow = 15 + 16;
  constexpr int kUsualMemory = 8;
  z_stream stream{};
  Expect(deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzipWindow, kUsualMemory, Z_DEFAULT_STRATEGY) ==
         Z_OK);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(room->data());
  stream.avail_out = static_cast<uInt>(room->size());
  const int code = deflate(&stream, Z_FINISH);
  deflateEnd(&stream);
  Expect(code == Z_STREAM_END);
  return stream.total_out;
}

size_t Bzip2(const std::string& bytes, std::string* room) {
  auto size = static_cast<unsigned>(room->size());
  Expect(BZ2_bzBuffToBuffCompress(room->data(), &size, const_cast<char*>(bytes.data()),
                                  static_cast<unsigned>(bytes.size()), 1, 0, 0) == BZ_OK);
  return size;
}

size_t Xz(const std::string& bytes, std::string* room) {
  size_t size = 0;
  Expect(lzma_easy_buffer_encode(0, LZMA_CHECK_CRC32, nullptr, reinterpret_cast<const uint8_t*>(bytes.data()),
                                 bytes.size(), reinterpret_cast<uint8_t*>(room->data()), &size,
                                 room->size()) == LZMA_OK);
  return size;
}

size_t Zstd(const std::string& bytes, std::string* room) {
  const size_t size = ZSTD_compress(room->data(), room->size(), bytes.data(), bytes.size(), 1);
  Expect(ZSTD_isError(size) == 0);
  return size;
}

size_t Lz4(const std::string& bytes, std::string* room) {
  LZ4F_preferences_t preferences{};
  preferences.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
  const size_t size =
      LZ4F_compressFrame(room->data(), room->size(), bytes.data(), bytes.size(), &preferences);
  Expect(LZ4F_isError(size) == 0);
  return size;
}

}  // namespace

std::string Packed(Packing packing, const std::string& bytes) {
  // More than any of them needs where nothing can be made smaller.
  std::string room(bytes.size() + bytes.size() / 50 + 4096, '\0');
  size_t size = 0;
  switch (packing) {
    case Packing::kNone: return bytes;
    case Packing::kGzip: size = Gzip(bytes, &room); break;
    case Packing::kBzip2: size = Bzip2(bytes, &room); break;
    case Packing::kXz: size = Xz(bytes, &room); break;
    case Packing::kZstd: size = Zstd(bytes, &room); break;
    case Packing::kLz4: size = Lz4(bytes, &room); break;
  }
  room.resize(size);
  return room;
}

}  // namespace replies
