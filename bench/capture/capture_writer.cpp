#include "bench/capture/capture_writer.h"

#include <iterator>

#include <protozero/varint.hpp>

CaptureWriter::CaptureWriter(std::FILE* file, Prefix prefix, uint64_t seed)
    : file_(file), prefix_(prefix), chance_(seed) {}

std::string CaptureWriter::LengthOf(std::string_view reply) const {
  std::string bytes;
  if (prefix_ == Prefix::kVarint) {
    protozero::write_varint(std::back_inserter(bytes), reply.size());
    return bytes;
  }
  for (int i = 0; i < 4; ++i) {
    const int shift = 8 * (prefix_ == Prefix::kFixed32Le ? i : 3 - i);
    bytes += static_cast<char>(static_cast<unsigned char>(reply.size() >> shift & 0xFF));
  }
  return bytes;
}

void CaptureWriter::Put(std::string_view bytes) {
  good_ = std::fwrite(bytes.data(), 1, bytes.size(), file_) == bytes.size() && good_;
  bytes_ += bytes.size();
}

// Neither nothing of it nor all.
size_t CaptureWriter::Middle(size_t size) {
  return static_cast<size_t>(chance_.Between(1, static_cast<int64_t>(size) - 1));
}

void CaptureWriter::Begin(Harm harm, uint64_t lost) {
  damage_.push_back({bytes_, 0, harm, lost});
  whole_since_ = 0;
}

void CaptureWriter::Write(std::string_view reply) {
  if (in_gap_ > 0) {
    AddToGap(reply);
    return;
  }
  Put(LengthOf(reply));
  Put(reply);
  ++whole_since_;
}

void CaptureWriter::AddToGap(std::string_view reply) {
  damage_.back().lost += 1;
  if (--in_gap_ > 0) return;
  const std::string all = LengthOf(reply) + std::string(reply);
  Put(std::string_view(all).substr(Middle(all.size())));
  damage_.back().length = bytes_ - damage_.back().offset;
}

void CaptureWriter::PutStrayBytes() {
  for (int64_t left = chance_.Between(1, 64); left > 0; --left) {
    const char byte = static_cast<char>(chance_.Between(-128, 127));
    Put({&byte, 1});
  }
}

void CaptureWriter::PutWithFalseLength(std::string_view reply) {
  std::string length = LengthOf(reply);
  const auto bit = static_cast<size_t>(chance_.Between(0, static_cast<int64_t>(length.size()) * 8 - 1));
  length[bit / 8] = static_cast<char>(length[bit / 8] ^ 1 << bit % 8);
  Put(length);
  Put(reply);
}

void CaptureWriter::WriteHarmed(std::string_view reply, Harm harm) {
  Begin(harm, harm == Harm::kStray ? 0 : 1);
  const std::string all = LengthOf(reply) + std::string(reply);
  switch (harm) {
    case Harm::kStray: PutStrayBytes(); break;
    case Harm::kLength: PutWithFalseLength(reply); break;
    case Harm::kGap:
      in_gap_ = chance_.Between(1, 6);
      Put(std::string_view(all).substr(0, Middle(all.size())));
      break;
    case Harm::kTruncated: Put(std::string_view(all).substr(0, Middle(all.size()))); break;
  }
  damage_.back().length = bytes_ - damage_.back().offset;
  if (harm == Harm::kStray) Write(reply);
}

bool CaptureWriter::Finish() {
  return std::fflush(file_) == 0 && good_;
}
