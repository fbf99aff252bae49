#include "walk.h"

#include <pybind11/stl.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "inputs.h"
#include "replies/reply_reader.h"
#include "replies/wire.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;

// A file, of which what is decided must not depend on how it comes.
class WholeFile : public ObjectSource {
 public:
  using ObjectSource::ObjectSource;
  bool MayWait() const override { return false; }
};

// A stretch of whole replies.
struct Stretch {
  uint64_t begin = 0;
  uint64_t end = 0;
  uint64_t replies = 0;
};

// What the replies that begin in a part are.
class Walk {
 public:
  Walk(replies::ByteSource* source, replies::Form form, const replies::Part& part)
      : part_(part), reader_(source, form, part) {
    reader_.OnlyIf([this](const replies::ReplyView& reply) {
      Take(reply);
      return false;
    });
  }

  void Run() {
    replies::Reply reply;
    std::string error;
    while (reader_.Read(&reply, &error) != replies::Next::kEnd) {
      const uint64_t damage = reply.offset;
      Close(damage);
      // Between two damaged stretches there is none of no replies, as they are told apart.
      if (damage_end_ == damage) runs_.push_back({damage, damage, 0});
      if (!first_) first_ = damage;
      damage_end_ = damage + reply.lost;
    }
    Close(reader_.position());
  }

  // Where the first one begins: the part does so, unless that had to be looked for.
  uint64_t begin() const { return part_.search ? first_.value_or(end()) : part_.begin; }
  uint64_t end() const { return reader_.position(); }
  const std::vector<Stretch>& runs() const { return runs_; }
  const std::map<int32_t, uint64_t>& ids() const { return ids_; }

 private:
  void Take(const replies::ReplyView& reply) {
    if (!open_) runs_.emplace_back().begin = reply.offset;
    open_ = true;
    ++runs_.back().replies;
    int32_t id = -1;
    ++ids_[replies::FindId(reply.bytes, &id) ? id : -1];
    if (!first_) first_ = reply.offset;
  }

  void Close(uint64_t end) {
    if (open_) runs_.back().end = end;
    open_ = false;
  }

  replies::Part part_;
  replies::ReplyReader reader_;
  std::vector<Stretch> runs_;
  std::map<int32_t, uint64_t> ids_;
  std::optional<uint64_t> first_;
  uint64_t damage_end_ = std::numeric_limits<uint64_t>::max();
  bool open_ = false;  // the last stretch goes on
};

// (begin, end, [(begin, end, replies)], {id: replies}) of the replies that begin in [begin, end) of a file
// that is at `begin`.
py::tuple WalkReplies(const py::object& file, const std::string& form, uint64_t begin,
                      std::optional<uint64_t> end, bool searching) {
  WholeFile source(file.ptr());
  replies::Part part{begin, end.value_or(std::numeric_limits<uint64_t>::max()), searching};
  Walk walk(&source, FormOf(form), part);
  {
    const py::gil_scoped_release unlocked;
    walk.Run();
  }
  py::list runs;
  for (const Stretch& run : walk.runs())
    runs.append(py::make_tuple(run.begin, run.end, run.replies));
  return py::make_tuple(walk.begin(), walk.end(), runs, walk.ids());
}

}  // namespace

void BindWalk(py::module_* module) {
  module->def("walk", WalkReplies);
}

}  // namespace tesparser_python
