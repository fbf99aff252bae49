#include "replies/table_stream.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace replies {
namespace {

// Ends the stream; caught where the consumer's call began.
struct Ended {
  int code;
  std::string why;
};

std::string WhereIs(const Misfit& misfit) {
  return fmt::format("reply {} at offset {}: {}", misfit.number, misfit.offset, misfit.why);
}

class TableStream {
 public:
  TableStream(NextReply next, const TableRequest& request, const StreamOptions& options,
              std::function<void(const Misfit&)> on_misfit, StreamCounts* counts)
      : next_(std::move(next)),
        request_(request),
        options_(options),
        on_misfit_(std::move(on_misfit)),
        counts_(counts != nullptr ? counts : &own_counts_) {}

  // False and why if there is no such table.
  bool Open(std::string* error) {
    if (TablePlan::NeedsReply(request_)) return true;
    SetPlan(TablePlan::Make(request_, Shown(), error));
    return plan_ != nullptr;
  }

  int GetSchema(ArrowSchema* out) {
    return Run([&] {
      FindPlan();
      *out = plan_ != nullptr ? plan_->MakeSchema() : EmptySchema();
    });
  }

  int GetNext(ArrowArray* out) {
    *out = ArrowArray{};
    return Run([&] {
      FindPlan();
      if (plan_ == nullptr) return;
      Fill();
      while (!batch_->empty()) {
        if (Take(out)) return;
        Fill();
      }
      if (failure_) throw Ended(*failure_);
    });
  }

  const char* last_error() const { return error_.empty() ? nullptr : error_.c_str(); }

 private:
  ShownTables Shown() const {
    return {options_.flat, options_.columns, {false, options_.number, options_.offset}};
  }

  static ArrowSchema EmptySchema() { return MakeArrowSchema({"+s", "", false, {}, {}}); }

  void SetPlan(std::unique_ptr<TablePlan> plan) {
    plan_ = std::move(plan);
    if (plan_ != nullptr) batch_ = std::make_unique<TableBatch>(plan_.get());
  }

  // Runs a call of the consumer's.
  template <class Call>
  int Run(Call call) {
    if (code_ != 0) return code_;
    try {
      call();
    } catch (Ended& ended) {
      code_ = ended.code;
      error_ = std::move(ended.why);
    } catch (const std::bad_alloc&) {
      code_ = ENOMEM;
      // Short enough to need no memory.
      error_ = "out of memory";
    } catch (const std::exception& error) {
      code_ = EIO;
      SetError(error.what());
    } catch (...) {
      code_ = EIO;
      error_ = "the source";
    }
    return code_;
  }

  void SetError(const char* what) {
    try {
      error_ = what;
    } catch (const std::bad_alloc&) {
      error_ = "the source";
    }
  }

  // Reads replies until one tells the columns. It is kept for the first batch.
  void FindPlan() {
    while (plan_ == nullptr && !at_end_) {
      if (failure_) throw Ended(*failure_);
      if (!Read()) continue;
      std::string why;
      Taken taken = Taken::kMisfit;
      SetPlan(TablePlan::MakeFrom(reply_.bytes, request_, Shown(), &taken, &why));
      if (plan_ == nullptr && taken == Taken::kRows) throw Ended{EINVAL, why};
      pending_ = plan_ != nullptr;
      if (plan_ == nullptr) Note(taken, std::move(why));
    }
  }

  // A reply, in `reply_`. False at the end and where one is lost.
  bool Read() {
    reply_.number = 0;
    reply_.offset = 0;
    std::string error;
    const Next step = next_(&reply_, &error);
    if (step == Next::kEnd) {
      at_end_ = true;
      return false;
    }
    ++counts_->replies;
    // Such an error says which reply it was.
    if (step == Next::kBad) Reject({reply_.number, reply_.offset, error}, error);
    return step == Next::kReply;
  }

  void Fill() {
    const auto most = static_cast<uint64_t>(std::max<int64_t>(options_.batch_rows, 1));
    while (!failure_ && !batch_->IsFull(most)) {
      if (!pending_ && at_end_) return;
      if (!pending_ && !Read()) continue;
      pending_ = false;
      std::string why;
      const uint64_t before = batch_->rows();
      const Taken taken = batch_->Add(reply_, std::string(), 0, &why);
      counts_->rows += batch_->rows() - before;
      Note(taken, std::move(why));
    }
  }

  // False where a reply turns out to be a misfit. Under kStop nothing behind it is given.
  bool Take(ArrowArray* out) {
    RowOrigin origin;
    std::string why;
    const uint64_t before = batch_->rows();
    if (batch_->Take(out, &origin, &why)) return true;
    counts_->rows -= before - batch_->rows();
    const Misfit misfit{origin.number, origin.offset, std::move(why)};
    Reject(misfit, WhereIs(misfit));
    if (options_.on_misfit == OnMisfit::kStop) throw Ended(*failure_);
    return false;
  }

  void Note(Taken taken, std::string why) {
    if (taken == Taken::kEmpty || taken == Taken::kNoRows) {
      ++counts_->empty;
    } else if (taken == Taken::kPassedOver && request_.id != 0) {
      ++counts_->passed_over;
    } else if (taken != Taken::kRows) {
      const Misfit misfit{reply_.number, reply_.offset, std::move(why)};
      Reject(misfit, WhereIs(misfit));
    }
  }

  void Reject(const Misfit& misfit, std::string error) {
    ++counts_->misfits;
    if (options_.on_misfit == OnMisfit::kStop) {
      failure_ = std::make_unique<Ended>(Ended{EINVAL, std::move(error)});
    } else if (on_misfit_) {
      on_misfit_(misfit);
    }
  }

  NextReply next_;
  const TableRequest request_;
  const StreamOptions options_;
  std::function<void(const Misfit&)> on_misfit_;
  StreamCounts own_counts_;
  StreamCounts* counts_;

  std::unique_ptr<TablePlan> plan_;
  std::unique_ptr<TableBatch> batch_;
  Reply reply_;
  bool pending_ = false;  // the reply is not in a batch yet
  bool at_end_ = false;
  std::unique_ptr<Ended> failure_;  // told behind the rows before it
  int code_ = 0;
  std::string error_;
};

TableStream* Of(ArrowArrayStream* stream) {
  return static_cast<TableStream*>(stream->private_data);
}

}  // namespace

bool MakeTableStream(NextReply next, const TableRequest& request, const StreamOptions& options,
                     std::function<void(const Misfit&)> on_misfit, StreamCounts* counts,
                     ArrowArrayStream* out, std::string* error) {
  auto stream =
      std::make_unique<TableStream>(std::move(next), request, options, std::move(on_misfit), counts);
  if (!stream->Open(error)) return false;
  *out = ArrowArrayStream{};
  out->get_schema = [](ArrowArrayStream* self, ArrowSchema* schema) { return Of(self)->GetSchema(schema); };
  out->get_next = [](ArrowArrayStream* self, ArrowArray* array) { return Of(self)->GetNext(array); };
  out->get_last_error = [](ArrowArrayStream* self) { return Of(self)->last_error(); };
  out->release = [](ArrowArrayStream* self) {
    delete Of(self);
    self->release = nullptr;
  };
  out->private_data = stream.release();
  return true;
}

}  // namespace replies
