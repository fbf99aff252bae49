#include "replies/packing.h"

#include <bzlib.h>
#include <lz4frame.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>
#include <zstd_errors.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>

// The programs' own libraries, and no archive reader above them: that gives blocks of 64 KB and more, and the
// replies of the last one are lost where a writer died; it also leaves gzip's checksums alone.
namespace replies {
namespace {

// The libraries count in 32 bits.
constexpr size_t kMostAtATime = size_t{1} << 30;
// The memory of a decoder. xz asks for as much as its file says.
constexpr uint64_t kMostMemory = uint64_t{1} << 30;

struct Magic {
  Packing packing;
  std::string_view bytes;
};

// bzip2 has its block size behind "BZh", and then pi, or the root of it where there is no block.
constexpr std::string_view kBzip2 = "BZh";
constexpr std::string_view kBzip2Block = "\x31\x41\x59\x26\x53\x59";
constexpr std::string_view kBzip2End = "\x17\x72\x45\x38\x50\x90";
constexpr std::array<Magic, 4> kMagics = {{{Packing::kGzip, "\x1F\x8B\x08"},
                                           {Packing::kXz, std::string_view("\xFD"
                                                                           "7zXZ\0",
                                                                           6)},
                                           {Packing::kZstd, "\x28\xB5\x2F\xFD"},
                                           {Packing::kLz4, "\x04\x22\x4D\x18"}}};

bool BeginAlike(std::string_view a, std::string_view b) {
  const size_t size = std::min(a.size(), b.size());
  return a.substr(0, size) == b.substr(0, size);
}

bool MayBeBzip2(std::string_view begin) {
  if (!BeginAlike(begin, kBzip2)) return false;
  if (begin.size() <= kBzip2.size()) return true;
  const char level = begin[kBzip2.size()];
  const std::string_view behind = begin.substr(kBzip2.size() + 1);
  return level >= '1' && level <= '9' && (BeginAlike(behind, kBzip2Block) || BeginAlike(behind, kBzip2End));
}

// ---- one class for each library ----

class GzipUnpacker : public Unpacker {
 public:
  GzipUnpacker() {
    constexpr int kGzipWindow = 15 + 16;
    if (inflateInit2(&stream_, kGzipWindow) != Z_OK) throw std::bad_alloc();
  }
  ~GzipUnpacker() override { inflateEnd(&stream_); }
  GzipUnpacker(const GzipUnpacker&) = delete;
  GzipUnpacker& operator=(const GzipUnpacker&) = delete;

  Step Unpack(std::string_view* packed, Room* room, std::string* why) override {
    // The library only reads what it is given.
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed->data()));
    stream_.avail_in = static_cast<uInt>(std::min(packed->size(), kMostAtATime));
    stream_.next_out = reinterpret_cast<Bytef*>(room->to);
    const auto size = static_cast<uInt>(std::min(room->size, kMostAtATime));
    stream_.avail_out = size;
    const uInt before = stream_.avail_in;
    const int code = inflate(&stream_, Z_NO_FLUSH);
    packed->remove_prefix(before - stream_.avail_in);
    room->Take(size - stream_.avail_out);
    if (code == Z_MEM_ERROR) throw std::bad_alloc();
    if (code == Z_OK || code == Z_BUF_ERROR) return Step::kMore;
    if (code == Z_STREAM_END && inflateReset(&stream_) == Z_OK) return Step::kEnd;
    *why = stream_.msg == nullptr ? "no gzip" : stream_.msg;
    return Step::kBroken;
  }

 private:
  z_stream stream_{};
};

class Bzip2Unpacker : public Unpacker {
 public:
  Bzip2Unpacker() { Begin(); }
  ~Bzip2Unpacker() override { BZ2_bzDecompressEnd(&stream_); }
  Bzip2Unpacker(const Bzip2Unpacker&) = delete;
  Bzip2Unpacker& operator=(const Bzip2Unpacker&) = delete;

  Step Unpack(std::string_view* packed, Room* room, std::string* why) override {
    stream_.next_in = const_cast<char*>(packed->data());
    stream_.avail_in = static_cast<unsigned>(std::min(packed->size(), kMostAtATime));
    stream_.next_out = room->to;
    const auto size = static_cast<unsigned>(std::min(room->size, kMostAtATime));
    stream_.avail_out = size;
    const unsigned before = stream_.avail_in;
    const int code = BZ2_bzDecompress(&stream_);
    packed->remove_prefix(before - stream_.avail_in);
    room->Take(size - stream_.avail_out);
    switch (code) {
      case BZ_OK: return Step::kMore;
      case BZ_MEM_ERROR: throw std::bad_alloc();
      case BZ_STREAM_END:
        BZ2_bzDecompressEnd(&stream_);
        Begin();
        return Step::kEnd;
      case BZ_DATA_ERROR_MAGIC: *why = "no bzip2"; return Step::kBroken;
      default: *why = "a checksum or a code in it is wrong"; return Step::kBroken;
    }
  }

 private:
  void Begin() {
    stream_ = bz_stream();
    if (BZ2_bzDecompressInit(&stream_, 0, 0) != BZ_OK) throw std::bad_alloc();
  }

  bz_stream stream_{};
};

class XzUnpacker : public Unpacker {
 public:
  XzUnpacker() { Begin(); }
  ~XzUnpacker() override { lzma_end(&stream_); }
  XzUnpacker(const XzUnpacker&) = delete;
  XzUnpacker& operator=(const XzUnpacker&) = delete;

  Step Unpack(std::string_view* packed, Room* room, std::string* why) override {
    stream_.next_in = reinterpret_cast<const uint8_t*>(packed->data());
    stream_.avail_in = packed->size();
    stream_.next_out = reinterpret_cast<uint8_t*>(room->to);
    stream_.avail_out = room->size;
    const lzma_ret code = lzma_code(&stream_, LZMA_RUN);
    packed->remove_prefix(packed->size() - stream_.avail_in);
    room->Take(room->size - stream_.avail_out);
    switch (code) {
      case LZMA_OK:
      case LZMA_BUF_ERROR: return Step::kMore;
      case LZMA_MEM_ERROR: throw std::bad_alloc();
      case LZMA_STREAM_END: Begin(); return Step::kEnd;
      case LZMA_MEMLIMIT_ERROR: *why = "unpacking it takes more than 1 GB of memory"; return Step::kBroken;
      case LZMA_FORMAT_ERROR: *why = "no xz"; return Step::kBroken;
      case LZMA_OPTIONS_ERROR: *why = "an xz that is not known here"; return Step::kBroken;
      default: *why = "a checksum or a code in it is wrong"; return Step::kBroken;
    }
  }

 private:
  // Also for another stream: the library keeps the memory.
  void Begin() {
    if (lzma_stream_decoder(&stream_, kMostMemory, 0) != LZMA_OK) throw std::bad_alloc();
  }

  lzma_stream stream_ = LZMA_STREAM_INIT;
};

class ZstdUnpacker : public Unpacker {
 public:
  ZstdUnpacker() : stream_(ZSTD_createDStream()) {
    if (stream_ == nullptr) throw std::bad_alloc();
  }
  ~ZstdUnpacker() override { ZSTD_freeDStream(stream_); }
  ZstdUnpacker(const ZstdUnpacker&) = delete;
  ZstdUnpacker& operator=(const ZstdUnpacker&) = delete;

  Step Unpack(std::string_view* packed, Room* room, std::string* why) override {
    ZSTD_inBuffer in{packed->data(), packed->size(), 0};
    ZSTD_outBuffer out{room->to, room->size, 0};
    const size_t code = ZSTD_decompressStream(stream_, &out, &in);
    packed->remove_prefix(in.pos);
    room->Take(out.pos);
    if (ZSTD_isError(code) == 0) return code == 0 ? Step::kEnd : Step::kMore;
    if (ZSTD_getErrorCode(code) == ZSTD_error_memory_allocation) throw std::bad_alloc();
    *why = ZSTD_getErrorName(code);
    return Step::kBroken;
  }

 private:
  ZSTD_DStream* stream_;
};

class Lz4Unpacker : public Unpacker {
 public:
  Lz4Unpacker() {
    if (LZ4F_isError(LZ4F_createDecompressionContext(&stream_, LZ4F_VERSION)) != 0) throw std::bad_alloc();
  }
  ~Lz4Unpacker() override { LZ4F_freeDecompressionContext(stream_); }
  Lz4Unpacker(const Lz4Unpacker&) = delete;
  Lz4Unpacker& operator=(const Lz4Unpacker&) = delete;

  Step Unpack(std::string_view* packed, Room* room, std::string* why) override {
    size_t taken = packed->size();
    size_t given = room->size;
    const size_t code = LZ4F_decompress(stream_, room->to, &given, packed->data(), &taken, nullptr);
    if (LZ4F_isError(code) != 0) {
      *why = LZ4F_getErrorName(code);
      if (*why == "ERROR_allocation_failed") throw std::bad_alloc();
      return Step::kBroken;
    }
    packed->remove_prefix(taken);
    room->Take(given);
    return code == 0 ? Step::kEnd : Step::kMore;
  }

 private:
  LZ4F_dctx* stream_ = nullptr;
};

}  // namespace

const char* NameOf(Packing packing) {
  switch (packing) {
    case Packing::kNone: return "not packed";
    case Packing::kGzip: return "gzip";
    case Packing::kBzip2: return "bzip2";
    case Packing::kXz: return "xz";
    case Packing::kZstd: return "zstd";
    case Packing::kLz4: return "lz4";
  }
  return "";
}

std::optional<Packing> RecognisePacking(std::string_view begin) {
  constexpr size_t kBzip2Size = kBzip2.size() + 1 + kBzip2Block.size();
  if (MayBeBzip2(begin)) {
    return begin.size() < kBzip2Size ? std::nullopt : std::optional<Packing>(Packing::kBzip2);
  }
  for (const Magic& magic : kMagics) {
    if (!BeginAlike(begin, magic.bytes)) continue;
    return begin.size() < magic.bytes.size() ? std::nullopt : std::optional<Packing>(magic.packing);
  }
  return Packing::kNone;
}

std::unique_ptr<Unpacker> MakeUnpacker(Packing packing) {
  switch (packing) {
    case Packing::kNone: return nullptr;
    case Packing::kGzip: return std::make_unique<GzipUnpacker>();
    case Packing::kBzip2: return std::make_unique<Bzip2Unpacker>();
    case Packing::kXz: return std::make_unique<XzUnpacker>();
    case Packing::kZstd: return std::make_unique<ZstdUnpacker>();
    case Packing::kLz4: return std::make_unique<Lz4Unpacker>();
  }
  return nullptr;
}

}  // namespace replies
