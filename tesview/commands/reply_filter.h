// Which replies of all files are taken: --id, --sample, --skip and --limit.
//
// Replies are chosen where they were read, by their first bytes: those that are passed over are neither
// copied nor decoded.
#ifndef TESVIEW_COMMANDS_REPLY_FILTER_H_
#define TESVIEW_COMMANDS_REPLY_FILTER_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "replies/reply_reader.h"
#include "tesview/commands/reply_files.h"
#include "tesview/commands/requests.h"

namespace tesview {

// Some in the midst of many: without the first `skip`, and then no more than `limit`.
class ReplyWindow {
 public:
  ReplyWindow(uint64_t skip, std::optional<uint64_t> limit) : skip_(skip), limit_(limit) {}

  // To be asked for each in its order.
  bool Takes();
  // Takes() will not be true again.
  bool is_full() const { return limit_ && taken_ >= *limit_; }

 private:
  uint64_t skip_;
  std::optional<uint64_t> limit_;
  uint64_t taken_ = 0;
};

class ReplyFilter {
 public:
  explicit ReplyFilter(const FilterRequest& request);

  // Whether what is taken depends on the replies before it.
  static bool NeedsOrder(const FilterRequest& request) {
    return request.every != 1 || request.skip != 0 || request.limit.has_value();
  }

  // Whether the reply is wanted; to be asked for each in its order.
  bool Takes(const replies::ReplyView& reply);
  // No more are wanted.
  bool is_full() const { return window_.is_full(); }

  // Has the files give only what is wanted, and stop where no more is. The filter has to live longer.
  void ApplyTo(ReplyFiles* files);

 private:
  bool IsWantedId(const replies::ReplyView& reply) const;

  std::vector<int32_t> ids_;  // in ascending order
  uint64_t every_;
  ReplyWindow window_;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_REPLY_FILTER_H_
