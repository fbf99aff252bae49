#include "tesview/commands/reply_filter.h"

#include <algorithm>

#include "replies/wire.h"

namespace tesview {

bool ReplyWindow::Takes() {
  if (skip_ != 0) {
    --skip_;
    return false;
  }
  if (is_full()) return false;
  ++taken_;
  return true;
}

ReplyFilter::ReplyFilter(const FilterRequest& request)
    : ids_(request.ids), every_(request.every), window_(request.skip, request.limit) {
  std::sort(ids_.begin(), ids_.end());
}

bool ReplyFilter::IsWantedId(const replies::ReplyView& reply) const {
  int32_t id = 0;
  return ids_.empty() ||
         (replies::IdInFront(reply.bytes, &id) && std::binary_search(ids_.begin(), ids_.end(), id));
}

bool ReplyFilter::Takes(const replies::ReplyView& reply) {
  // A division takes longer than all the rest.
  const bool sampled = every_ == 1 || (reply.number - 1) % every_ == 0;
  return sampled && IsWantedId(reply) && window_.Takes();
}

void ReplyFilter::ApplyTo(ReplyFiles* files) {
  files->OnlyIf([this](const replies::ReplyView& reply) { return Takes(reply); });
  files->StopWhen([this] { return is_full(); });
}

}  // namespace tesview
