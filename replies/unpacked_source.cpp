#include "replies/unpacked_source.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>

namespace replies {
namespace {

constexpr size_t kPackedBlock = size_t{64} * 1024;

}  // namespace

size_t UnpackedSource::MostAtOnce() const {
  return packing_ == Packing::kNone ? std::numeric_limits<size_t>::max() : kMostUnpacked;
}

size_t UnpackedSource::Read(char* to, size_t size) {
  if (size == 0) return 0;
  if (!known_) return ReadFirst(to, size);
  if (!head_.empty()) return ReadHead(to, size);
  if (unpacker_ != nullptr) return ReadUnpacked(to, size);
  const size_t got = source_->Read(to, size);
  taken_ += got;
  return got;
}

// Most sources tell by their first byte, which then is where it belongs already.
size_t UnpackedSource::ReadFirst(char* to, size_t size) {
  while (!known_) {
    const size_t got = source_->Read(to, size);
    taken_ += got;
    const std::string_view read(to, got);
    if (got != 0 && head_.empty() && RecognisePacking(read) == Packing::kNone) {
      known_ = true;
      return got;
    }
    head_.append(read);
    const auto packing = RecognisePacking(head_);
    known_ = packing.has_value() || got == 0;
    packing_ = packing.value_or(Packing::kNone);
  }
  if (packing_ == Packing::kNone) return ReadHead(to, size);
  BeginUnpacking();
  return ReadUnpacked(to, size);
}

void UnpackedSource::BeginUnpacking() {
  unpacker_ = MakeUnpacker(packing_);
  block_.assign(head_.begin(), head_.end());
  packed_ = std::string_view(block_.data(), block_.size());
  head_.clear();
}

size_t UnpackedSource::ReadHead(char* to, size_t size) {
  const size_t given = std::min(size, head_.size());
  std::memcpy(to, head_.data(), given);
  head_ = head_.substr(given);
  return given;
}

size_t UnpackedSource::ReadUnpacked(char* to, size_t size) {
  Room room{to, size};
  while (room.size == size) {
    if (!broken_.empty()) Fail(broken_);
    if (packed_.empty() && !may_hold_more_ && !ReadPacked()) {
      if (between_streams_) return 0;
      Fail("the source ends inside them");
    }
    // Joined streams are often filled up with zeros to full blocks.
    while (between_streams_ && !packed_.empty() && packed_.front() == '\0')
      packed_.remove_prefix(1);
    if (between_streams_ && packed_.empty()) continue;
    const size_t before = packed_.size();
    const Unpacker::Step step = unpacker_->Unpack(&packed_, &room, &broken_);
    between_streams_ = step == Unpacker::Step::kEnd;
    may_hold_more_ = step == Unpacker::Step::kMore && room.size == 0;
    const bool stuck = step == Unpacker::Step::kMore && !packed_.empty() && packed_.size() == before;
    if (stuck && room.size == size) broken_ = "they lead nowhere";
  }
  const size_t got = size - room.size;
  if (given_ == 0) RefusePackedAgain(std::string_view(to, got));
  given_ += got;
  return got;
}

bool UnpackedSource::ReadPacked() {
  block_.resize(kPackedBlock);
  const size_t got = source_->Read(block_.data(), block_.size());
  taken_ += got;
  packed_ = std::string_view(block_.data(), got);
  return got != 0;
}

void UnpackedSource::RefusePackedAgain(std::string_view unpacked) const {
  const Packing inside = RecognisePacking(unpacked).value_or(Packing::kNone);
  if (inside != Packing::kNone)
    throw InputError(fmt::format("{} inside {}: unpack it once before", NameOf(inside), NameOf(packing_)));
}

void UnpackedSource::Fail(const std::string& what) const {
  throw InputError(fmt::format("the {} data are damaged at offset {}, behind {} unpacked bytes: {}",
                               NameOf(packing_), taken_ - packed_.size(), given_, what));
}

}  // namespace replies
