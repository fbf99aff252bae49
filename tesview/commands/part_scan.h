// The replies of a stream in a file, looked at by several threads at once.
//
// What one sees of a part counts only if a single reader would see the same: if the reading in order comes to
// the place where the part's first reply was found, and nothing in the part is damaged. Whoever reads takes
// the parts in their order, and reads by itself what no thread could see.
#ifndef TESVIEW_COMMANDS_PART_SCAN_H_
#define TESVIEW_COMMANDS_PART_SCAN_H_

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "replies/reply_reader.h"
#include "replies/source.h"

namespace tesview {

// What is kept of the replies of a part. Used by one thread at a time.
class Tally {
 public:
  virtual ~Tally() = default;
  virtual void See(const replies::ReplyView& reply) = 0;
};

using MakeTally = std::function<std::unique_ptr<Tally>()>;  // from any thread

class PartScan {
 public:
  struct Seen {
    uint64_t end = 0;  // where the reading goes on
    uint64_t replies = 0;
    std::unique_ptr<Tally> tally;
  };

  // The file is a regular one with replies of that form, which has lengths, and stays the caller's. With as
  // many threads as can be started; without any, nothing is seen.
  PartScan(const replies::FileSource* file, replies::Form form, uint64_t part_bytes, int threads,
           MakeTally make);
  ~PartScan();
  PartScan(const PartScan&) = delete;
  PartScan& operator=(const PartScan&) = delete;

  size_t threads() const { return threads_.size(); }

  // What was seen from `position` on, where a reply begins; waits for it. Null if that is to be read in
  // order, up to EndOfPart(). To be asked with positions in ascending order. Throws Interrupted.
  std::optional<Seen> Take(uint64_t position);

  // Where the part ends in which `position` is. The last one goes on for as long as there are bytes.
  uint64_t EndOfPart(uint64_t position) const;

 private:
  // A part that a thread looks at, or has looked at.
  struct Part {
    bool done = false;
    bool whole = false;  // nothing in it is damaged
    uint64_t begin = 0;  // of its first reply
    Seen seen;
  };

  void Work();
  void Look(uint64_t number, Part* part) const;

  const replies::FileSource* const file_;
  const replies::Form form_;
  const uint64_t part_bytes_;
  const uint64_t parts_;
  const MakeTally make_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::shared_ptr<Part>> ahead_;  // from number first_ on
  uint64_t first_ = 0;
  bool stop_ = false;
  std::vector<std::thread> threads_;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_PART_SCAN_H_
