#include "replies/packer.h"

#include <bzlib.h>
#include <lz4frame.h>
#include <lzma.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace replies {
namespace {

constexpr size_t kMadeAtOnce = size_t{64} * 1024;
// The libraries count in 32 bits.
constexpr size_t kMostTaken = size_t{1} << 30;

void ExpectPacked(bool done, const char* library) {
  if (!done) throw std::runtime_error(std::string("cannot compress: ") + library + " fails");
}

// Of the libraries that write as much as there is room for.
class BlockPacker : public Packer {
 public:
  explicit BlockPacker(Sink sink) : sink_(std::move(sink)), block_(kMadeAtOnce, '\0') { BeginBlock(); }

  void Add(std::string_view bytes) override {
    while (!bytes.empty()) {
      Pack(&bytes, &room_);
      if (room_.size == 0) GiveBlock();
    }
  }

  void End() override {
    while (!Finish(&room_))
      GiveBlock();
    GiveBlock();
  }

 private:
  // Takes bytes from the front of `bytes` and writes to the front of `room`; both are shortened by that.
  virtual void Pack(std::string_view* bytes, Room* room) = 0;
  // Whether all is written.
  virtual bool Finish(Room* room) = 0;

  void BeginBlock() { room_ = {block_.data(), block_.size()}; }

  void GiveBlock() {
    const size_t size = block_.size() - room_.size;
    if (size != 0) sink_(std::string_view(block_).substr(0, size));
    BeginBlock();
  }

  const Sink sink_;
  std::string block_;
  Room room_;
};

class GzipPacker : public BlockPacker {
 public:
  explicit GzipPacker(Sink sink) : BlockPacker(std::move(sink)) {
    constexpr int kGzipWindow = 15 + 16;
    constexpr int kUsualMemory = 8;
    if (deflateInit2(&stream_, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzipWindow, kUsualMemory,
                     Z_DEFAULT_STRATEGY) != Z_OK) {
      throw std::bad_alloc();
    }
  }
  ~GzipPacker() override { deflateEnd(&stream_); }
  GzipPacker(const GzipPacker&) = delete;
  GzipPacker& operator=(const GzipPacker&) = delete;

 private:
  void Pack(std::string_view* bytes, Room* room) override {
    // The library only reads what it is given.
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes->data()));
    stream_.avail_in = static_cast<uInt>(std::min(bytes->size(), kMostTaken));
    const uInt before = stream_.avail_in;
    const int code = Deflate(Z_NO_FLUSH, room);
    ExpectPacked(code == Z_OK, "zlib");
    bytes->remove_prefix(before - stream_.avail_in);
  }

  bool Finish(Room* room) override {
    stream_.avail_in = 0;
    const int code = Deflate(Z_FINISH, room);
    ExpectPacked(code == Z_OK || code == Z_BUF_ERROR || code == Z_STREAM_END, "zlib");
    return code == Z_STREAM_END;
  }

  int Deflate(int flush, Room* room) {
    stream_.next_out = reinterpret_cast<Bytef*>(room->to);
    stream_.avail_out = static_cast<uInt>(room->size);
    const int code = deflate(&stream_, flush);
    room->Take(room->size - stream_.avail_out);
    return code;
  }

  z_stream stream_{};
};

class Bzip2Packer : public BlockPacker {
 public:
  explicit Bzip2Packer(Sink sink) : BlockPacker(std::move(sink)) {
    constexpr int kLargestBlock = 9;
    if (BZ2_bzCompressInit(&stream_, kLargestBlock, 0, 0) != BZ_OK) throw std::bad_alloc();
  }
  ~Bzip2Packer() override { BZ2_bzCompressEnd(&stream_); }
  Bzip2Packer(const Bzip2Packer&) = delete;
  Bzip2Packer& operator=(const Bzip2Packer&) = delete;

 private:
  void Pack(std::string_view* bytes, Room* room) override {
    stream_.next_in = const_cast<char*>(bytes->data());
    stream_.avail_in = static_cast<unsigned>(std::min(bytes->size(), kMostTaken));
    const unsigned before = stream_.avail_in;
    ExpectPacked(Compress(BZ_RUN, room) == BZ_RUN_OK, "bzip2");
    bytes->remove_prefix(before - stream_.avail_in);
  }

  bool Finish(Room* room) override {
    stream_.avail_in = 0;
    const int code = Compress(BZ_FINISH, room);
    ExpectPacked(code == BZ_FINISH_OK || code == BZ_STREAM_END, "bzip2");
    return code == BZ_STREAM_END;
  }

  int Compress(int action, Room* room) {
    stream_.next_out = room->to;
    stream_.avail_out = static_cast<unsigned>(room->size);
    const int code = BZ2_bzCompress(&stream_, action);
    room->Take(room->size - stream_.avail_out);
    return code;
  }

  bz_stream stream_{};
};

class XzPacker : public BlockPacker {
 public:
  explicit XzPacker(Sink sink) : BlockPacker(std::move(sink)) {
    if (lzma_easy_encoder(&stream_, LZMA_PRESET_DEFAULT, LZMA_CHECK_CRC64) != LZMA_OK) throw std::bad_alloc();
  }
  ~XzPacker() override { lzma_end(&stream_); }
  XzPacker(const XzPacker&) = delete;
  XzPacker& operator=(const XzPacker&) = delete;

 private:
  void Pack(std::string_view* bytes, Room* room) override {
    stream_.next_in = reinterpret_cast<const uint8_t*>(bytes->data());
    stream_.avail_in = bytes->size();
    const lzma_ret code = Code(LZMA_RUN, room);
    if (code == LZMA_MEM_ERROR) throw std::bad_alloc();
    ExpectPacked(code == LZMA_OK, "liblzma");
    bytes->remove_prefix(bytes->size() - stream_.avail_in);
  }

  bool Finish(Room* room) override {
    stream_.avail_in = 0;
    const lzma_ret code = Code(LZMA_FINISH, room);
    if (code == LZMA_MEM_ERROR) throw std::bad_alloc();
    ExpectPacked(code == LZMA_OK || code == LZMA_STREAM_END, "liblzma");
    return code == LZMA_STREAM_END;
  }

  lzma_ret Code(lzma_action action, Room* room) {
    stream_.next_out = reinterpret_cast<uint8_t*>(room->to);
    stream_.avail_out = room->size;
    const lzma_ret code = lzma_code(&stream_, action);
    room->Take(room->size - stream_.avail_out);
    return code;
  }

  lzma_stream stream_ = LZMA_STREAM_INIT;
};

class ZstdPacker : public BlockPacker {
 public:
  explicit ZstdPacker(Sink sink) : BlockPacker(std::move(sink)), stream_(ZSTD_createCCtx()) {
    if (stream_ == nullptr) throw std::bad_alloc();
    ExpectPacked(ZSTD_isError(ZSTD_CCtx_setParameter(stream_, ZSTD_c_checksumFlag, 1)) == 0, "libzstd");
  }
  ~ZstdPacker() override { ZSTD_freeCCtx(stream_); }
  ZstdPacker(const ZstdPacker&) = delete;
  ZstdPacker& operator=(const ZstdPacker&) = delete;

 private:
  void Pack(std::string_view* bytes, Room* room) override { Compress(ZSTD_e_continue, bytes, room); }

  bool Finish(Room* room) override {
    std::string_view none;
    return Compress(ZSTD_e_end, &none, room) == 0;
  }

  // What is still to be written, as far as it is known.
  size_t Compress(ZSTD_EndDirective end, std::string_view* bytes, Room* room) {
    ZSTD_inBuffer in{bytes->data(), bytes->size(), 0};
    ZSTD_outBuffer out{room->to, room->size, 0};
    const size_t left = ZSTD_compressStream2(stream_, &out, &in, end);
    ExpectPacked(ZSTD_isError(left) == 0, "libzstd");
    bytes->remove_prefix(in.pos);
    room->Take(out.pos);
    return left;
  }

  ZSTD_CCtx* stream_;
};

// Its library wants room for the worst that may become of what it is given.
class Lz4Packer : public Packer {
 public:
  explicit Lz4Packer(Sink sink) : sink_(std::move(sink)) {
    preferences_.frameInfo.contentChecksumFlag = LZ4F_contentChecksumEnabled;
    block_.resize(std::max(LZ4F_compressBound(kMadeAtOnce, &preferences_), size_t{LZ4F_HEADER_SIZE_MAX}));
    if (LZ4F_isError(LZ4F_createCompressionContext(&stream_, LZ4F_VERSION)) != 0) throw std::bad_alloc();
  }
  ~Lz4Packer() override { LZ4F_freeCompressionContext(stream_); }
  Lz4Packer(const Lz4Packer&) = delete;
  Lz4Packer& operator=(const Lz4Packer&) = delete;

  void Add(std::string_view bytes) override {
    Begin();
    while (!bytes.empty()) {
      const size_t size = std::min(bytes.size(), kMadeAtOnce);
      Give(LZ4F_compressUpdate(stream_, block_.data(), block_.size(), bytes.data(), size, nullptr));
      bytes.remove_prefix(size);
    }
  }

  void End() override {
    Begin();
    Give(LZ4F_compressEnd(stream_, block_.data(), block_.size(), nullptr));
  }

 private:
  void Begin() {
    if (begun_) return;
    begun_ = true;
    Give(LZ4F_compressBegin(stream_, block_.data(), block_.size(), &preferences_));
  }

  void Give(size_t size) {
    ExpectPacked(LZ4F_isError(size) == 0, "liblz4");
    if (size != 0) sink_(std::string_view(block_).substr(0, size));
  }

  const Sink sink_;
  LZ4F_preferences_t preferences_{};
  std::string block_;
  LZ4F_cctx* stream_ = nullptr;
  bool begun_ = false;
};

}  // namespace

std::unique_ptr<Packer> MakePacker(Packing packing, Packer::Sink sink) {
  switch (packing) {
    case Packing::kNone: return nullptr;
    case Packing::kGzip: return std::make_unique<GzipPacker>(std::move(sink));
    case Packing::kBzip2: return std::make_unique<Bzip2Packer>(std::move(sink));
    case Packing::kXz: return std::make_unique<XzPacker>(std::move(sink));
    case Packing::kZstd: return std::make_unique<ZstdPacker>(std::move(sink));
    case Packing::kLz4: return std::make_unique<Lz4Packer>(std::move(sink));
  }
  return nullptr;
}

}  // namespace replies
