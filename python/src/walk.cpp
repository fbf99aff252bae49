#include "walk.h"

#include <pybind11/stl.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "replies/wire.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;

// How much of a reply is looked at to tell whether it is one. What is decided must not depend on how much of
// the file is at hand.
constexpr size_t kLook = size_t{1} << 12;
constexpr size_t kLongestLength = 10;
constexpr size_t kLeast = 2;  // an Id

enum class Is { kYes, kNo, kUnknown };  // as long as more of the file is needed

// A stretch of whole replies.
struct Stretch {
  uint64_t begin = 0;
  uint64_t end = 0;
  uint64_t replies = 0;
};

// Goes from one reply to the next in a stream of delimited replies. All that it decides about a place depends
// on the bytes from there on alone, so that a stream that is walked in parts gives what it gives as a whole.
class Walk {
 public:
  // `left`: the bytes of the file from those of `bytes` on, or -1 where that is not known yet.
  Walk(std::string_view bytes, int64_t left) : bytes_(bytes), left_(left) {}

  // From position() on, as far as replies begin before `limit` and the bytes suffice. `searching`: whether
  // the next reply has to be looked for, and afterwards, whether it has to be yet.
  void Run(uint64_t limit, bool* searching);

  uint64_t position() const { return position_; }
  const std::vector<Stretch>& runs() const { return runs_; }
  const std::map<int32_t, uint64_t>& ids() const { return ids_; }

 private:
  struct Frame {
    size_t content = 0;
    size_t size = 0;
    size_t end() const { return content + size; }
  };

  bool at_hand(size_t end) const { return end <= bytes_.size(); }
  bool all_at_hand() const { return left_ >= 0 && bytes_.size() >= static_cast<uint64_t>(left_); }
  bool beyond_file(size_t end) const { return left_ >= 0 && end > static_cast<uint64_t>(left_); }
  bool is_end_of_file(size_t end) const { return left_ >= 0 && end == static_cast<uint64_t>(left_); }

  Is ReadFrame(size_t at, Frame* frame) const;
  Is BeginsLikeReply(size_t at) const;
  Is LooksLikeReply(const Frame& frame) const;
  Is IsReply(size_t at, Frame* frame) const;
  Is IsBegun(size_t at, Frame* frame) const;
  Is MayResume(size_t at) const;
  Is IsInsideOfReply(size_t from, size_t place) const;
  bool Search();
  void Take(const Frame& frame);

  std::string_view bytes_;
  int64_t left_;
  size_t position_ = 0;
  std::vector<Stretch> runs_;
  std::map<int32_t, uint64_t> ids_;
};

Is Walk::ReadFrame(size_t at, Frame* frame) const {
  uint64_t size = 0;
  frame->content = at;
  if (!replies::ReadVarint(bytes_, &frame->content, &size))
    return at_hand(at + kLongestLength) || all_at_hand() ? Is::kNo : Is::kUnknown;
  if (size > replies::kMaxReplyBytes) return Is::kNo;
  frame->size = static_cast<size_t>(size);
  return beyond_file(frame->end()) ? Is::kNo : Is::kYes;
}

// A length, and an Id behind it.
Is Walk::BeginsLikeReply(size_t at) const {
  Frame frame;
  const Is is = ReadFrame(at, &frame);
  if (is != Is::kYes) return is;
  if (frame.size < kLeast) return Is::kNo;
  if (!at_hand(frame.content + 1)) return Is::kUnknown;
  return bytes_[frame.content] == 0x08 ? Is::kYes : Is::kNo;
}

// As far as one looks.
Is Walk::LooksLikeReply(const Frame& frame) const {
  const size_t look = std::min(frame.size, kLook);
  if (!at_hand(frame.content + look)) return Is::kUnknown;
  const std::string_view content = bytes_.substr(frame.content, look);
  const bool looks =
      look == frame.size ? replies::LooksLikeEnvelope(content) : replies::LooksLikeStartOfReply(content);
  return looks ? Is::kYes : Is::kNo;
}

// A whole reply, as far as one looks, or the end of the file.
Is Walk::IsBegun(size_t at, Frame* frame) const {
  frame->content = at;
  frame->size = 0;
  if (is_end_of_file(at)) return Is::kYes;
  const Is begins = BeginsLikeReply(at);
  if (begins != Is::kYes) return begins;
  ReadFrame(at, frame);
  return LooksLikeReply(*frame);
}

// Two replies in a row, or one at the end: much of what is inside replies looks like one.
Is Walk::MayResume(size_t at) const {
  Frame frame;
  Frame behind;
  const Is is = IsBegun(at, &frame);
  return is == Is::kYes ? IsBegun(frame.end(), &behind) : is;
}

// Whether a place behind which no reply begins is in the middle of one. Then what has its end there has lost
// some of its own bytes, and has those of others instead.
Is Walk::IsInsideOfReply(size_t from, size_t place) const {
  for (size_t at = from; at < place; ++at) {
    Is is = MayResume(at);
    if (is == Is::kUnknown) return is;
    Frame frame;
    for (size_t next = at; is == Is::kYes && next < place; next = frame.end()) {
      is = IsBegun(next, &frame);
      if (is == Is::kYes && frame.end() > place) return Is::kYes;
    }
    if (is == Is::kUnknown) return is;
  }
  return Is::kNo;
}

// A reply that was damaged inside is one still, if others are behind it: whoever decodes it says what is
// wrong.
Is Walk::IsReply(size_t at, Frame* frame) const {
  const Is is = ReadFrame(at, frame);
  if (is != Is::kYes) return is;
  Is looks = LooksLikeReply(*frame);
  if (looks == Is::kYes && frame->size > kLook) {
    // A false length is seldom followed by what looks like a reply for so long; only then memory for all is
    // needed.
    if (!at_hand(frame->end())) return Is::kUnknown;
    if (!replies::LooksLikeEnvelope(bytes_.substr(frame->content, frame->size))) looks = Is::kNo;
  }
  if (looks == Is::kUnknown) return looks;
  if (looks == Is::kNo) return frame->size > kLook ? Is::kNo : MayResume(frame->end());
  Frame behind;
  const Is goes_on = IsBegun(frame->end(), &behind);
  if (goes_on != Is::kNo) return goes_on;
  const Is inside = IsInsideOfReply(at + 1, frame->end());
  if (inside == Is::kUnknown) return inside;
  return inside == Is::kYes ? Is::kNo : Is::kYes;
}

// Moves to the next place where a reply may begin. False if more of the file is needed, or there is none.
bool Walk::Search() {
  while (position_ < bytes_.size()) {
    const Is is = MayResume(position_);
    if (is == Is::kYes) return true;
    if (is == Is::kUnknown) return false;
    ++position_;
  }
  return false;
}

void Walk::Take(const Frame& frame) {
  if (runs_.empty() || runs_.back().end != position_) runs_.push_back({position_, position_, 0});
  runs_.back().end = frame.end();
  runs_.back().replies += 1;
  int32_t id = -1;
  ids_[replies::FindId(bytes_.substr(frame.content, frame.size), &id) ? id : -1] += 1;
  position_ = frame.end();
}

void Walk::Run(uint64_t limit, bool* searching) {
  while (position_ < bytes_.size()) {
    if (*searching) {
      if (!Search()) return;
      *searching = false;
    }
    if (position_ >= limit) return;
    Frame frame;
    const Is is = IsReply(position_, &frame);
    if (is == Is::kUnknown || (is == Is::kYes && !at_hand(frame.end()))) return;
    if (is == Is::kYes) {
      Take(frame);
    } else {
      *searching = true;
      ++position_;
    }
  }
}

// (position, searching, [(begin, end, replies)], {id: replies}).
py::tuple WalkReplies(const py::buffer& part, int64_t left, uint64_t limit, bool searching) {
  const py::buffer_info info = part.request();
  const std::string_view bytes(static_cast<const char*>(info.ptr),
                               static_cast<size_t>(info.size * info.itemsize));
  Walk walk(bytes, left);
  {
    const py::gil_scoped_release unlocked;
    walk.Run(limit, &searching);
  }
  py::list runs;
  for (const Stretch& run : walk.runs())
    runs.append(py::make_tuple(run.begin, run.end, run.replies));
  return py::make_tuple(walk.position(), searching, runs, walk.ids());
}

}  // namespace

void BindWalk(py::module_* module) {
  module->def("walk", WalkReplies);
}

}  // namespace tesparser_python
