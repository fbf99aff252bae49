#include "tesview/commands/part_scan.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <string>
#include <utility>

#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/threads.h"

namespace tesview {
namespace {

// Parts that may be looked at ahead of the one that is next.
constexpr size_t kMostAhead = 64;

// A file from an offset on, beside others that read it.
class SourceFrom : public replies::ByteSource {
 public:
  SourceFrom(const replies::FileSource* file, uint64_t offset) : file_(file), offset_(offset) {}

  size_t Read(char* to, size_t size) override {
    const size_t got = file_->ReadAt(offset_, to, size);
    offset_ += got;
    return got;
  }
  bool MayWait() const override { return false; }

 private:
  const replies::FileSource* file_;
  uint64_t offset_;
};

}  // namespace

PartScan::PartScan(const replies::FileSource* file, replies::Form form, uint64_t part_bytes, int threads,
                   MakeTally make)
    : file_(file),
      form_(form),
      part_bytes_(part_bytes),
      parts_((file->size().value_or(0) + part_bytes - 1) / part_bytes),
      make_(std::move(make)) {
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(static_cast<uint64_t>(threads), parts_));
  StartThreads(
      wanted, [this] { Work(); }, &threads_);
}

PartScan::~PartScan() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_)
    thread.join();
}

uint64_t PartScan::EndOfPart(uint64_t position) const {
  const uint64_t number = position / part_bytes_;
  return number + 1 >= parts_ ? std::numeric_limits<uint64_t>::max() : (number + 1) * part_bytes_;
}

std::optional<PartScan::Seen> PartScan::Take(uint64_t position) {
  const uint64_t number = position / part_bytes_;
  if (threads_.empty() || number >= parts_) return std::nullopt;
  std::unique_lock<std::mutex> lock(mutex_);
  // A reply that reaches over parts leaves nothing to take in these.
  for (; first_ < number; ++first_) {
    if (ahead_.empty()) {
      first_ = number;
      break;
    }
    ahead_.pop_front();
  }
  changed_.notify_all();
  // A signal does not wake this thread from a condition, hence the short waits.
  while (first_ == number && (ahead_.empty() || !ahead_.front()->done)) {
    changed_.wait_for(lock, std::chrono::milliseconds(100));
    if (WasInterrupted()) throw Interrupted();
  }
  if (first_ != number) return std::nullopt;
  const std::shared_ptr<Part> part = std::move(ahead_.front());
  ahead_.pop_front();
  ++first_;
  lock.unlock();
  changed_.notify_all();
  if (!part->whole || part->begin != position) return std::nullopt;
  return std::move(part->seen);
}

void PartScan::Work() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (true) {
    changed_.wait(
        lock, [this] { return stop_ || (ahead_.size() < kMostAhead && first_ + ahead_.size() < parts_); });
    if (stop_) return;
    const uint64_t number = first_ + ahead_.size();
    const std::shared_ptr<Part> part = ahead_.emplace_back(std::make_shared<Part>());
    lock.unlock();
    Look(number, part.get());
    lock.lock();
    part->done = true;
    changed_.notify_all();
  }
}

// Whatever goes wrong here does so again where it is told.
void PartScan::Look(uint64_t number, Part* part) const {
  try {
    const uint64_t begin = number * part_bytes_;
    SourceFrom source(file_, begin);
    replies::ReplyReader reader(&source, form_, replies::Part{begin, EndOfPart(begin), number != 0});
    part->seen.tally = make_();
    uint64_t replies = 0;
    reader.OnlyIf([&](const replies::ReplyView& reply) {
      if (replies++ == 0) part->begin = reply.offset;
      part->seen.tally->See(reply);
      return false;
    });
    replies::Reply reply;
    std::string error;
    part->whole = reader.Read(&reply, &error) == replies::Next::kEnd && replies != 0;
    part->seen.end = reader.position();
    part->seen.replies = replies;
  } catch (const std::exception&) {
    part->whole = false;
  }
}

}  // namespace tesview
