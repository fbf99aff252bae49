#include "tesview/commands/arrow_renderer.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "replies/arrow_ipc.h"
#include "replies/arrow_schema.h"
#include "replies/diagnosis.h"
#include "replies/text.h"
#include "tesview/show/kept_rows.h"
#include "tesview/show/limits.h"
#include "tesview/show/where.h"

namespace tesview {

using replies::AppendTo;
using replies::ArrowOwner;
using replies::Taken;

namespace {

constexpr uint64_t kBatchRows = 65536;

replies::TableRequest RequestOf(const View& view) {
  replies::TableRequest request;
  request.type = view.type;
  request.decode = view.decode.has_value();
  if (view.decode) request.unpack = *view.decode;
  if (view.where != nullptr) {
    request.choose_rows = [&view](tsl_base::Table table, int32_t id, std::optional<TPType> type) {
      const TableKind kind =
          view.decode ? TableKind() : TableKind{id, type ? static_cast<int>(*type) : 0, false};
      KeptRows kept;
      const bool any = view.where->Choose(table.view(), kind, &kept);
      if (!any) kept.Keep(table.view(), {});
      return CopyOfKept(table.view(), kept);
    };
  }
  return request;
}

// Where rows come from, as far as there are several sources or replies.
replies::ShownTables TablesOf(const View& view, const Item& item) {
  replies::ShownTables tables;
  tables.flat = !view.nested;
  tables.columns = view.columns;
  tables.origin.file = item.name_source;
  tables.origin.number = item.name_source || item.number_reply;
  return tables;
}

constexpr char kNotEnough[] = "not enough memory to show it";

// The shown ones of some replies, until their rows are written.
class Waiting {
 public:
  Waiting(const std::vector<ReadItem>& read, const Renderer::Show& show) : read_(read), show_(show) {}

  void Add(Shown shown) { shown_.push_back(std::move(shown)); }
  // The last one, or one by its index among all.
  Shown* Last() { return &shown_.back(); }
  Shown* At(size_t index) { return &shown_[index - first_]; }

  void ShowAll() {
    for (Shown& shown : shown_)
      show_(read_[first_++], std::move(shown));
    shown_.clear();
  }

 private:
  const std::vector<ReadItem>& read_;
  const Renderer::Show& show_;
  std::vector<Shown> shown_;
  size_t first_ = 0;
};

}  // namespace

struct ArrowRenderer::Plan {
  std::unique_ptr<replies::TablePlan> plan;
  ArrowOwner<ArrowSchema> schema;
  std::string header;

  // Takes all rows of the batch for the last reply of those that wait.
  void Write(replies::TableBatch* batch, Waiting* waiting) const;
};

ArrowRenderer::ArrowRenderer(const View& view, bool strict) : view_(view), strict_(strict) {}

ArrowRenderer::~ArrowRenderer() = default;

void ArrowRenderer::Look(const ReadItem& read) {
  if (made_ != nullptr || !read.error.empty()) return;
  Taken taken = Taken::kMisfit;
  std::string why;  // is said when it is rendered
  auto made = std::make_unique<Plan>();
  try {
    made->plan = replies::TablePlan::MakeFrom(read.item.reply.bytes, RequestOf(view_),
                                              TablesOf(view_, read.item), &taken, &why);
    if (made->plan == nullptr) return;
    made->schema = ArrowOwner<ArrowSchema>(made->plan->MakeSchema());
  } catch (const std::bad_alloc&) {
    return;
  }
  if (!replies::WriteIpcSchema(*made->schema, AppendTo(&made->header), &why)) throw std::runtime_error(why);
  made_ = std::move(made);
  plan_ = made_.get();
}

void ArrowRenderer::Plan::Write(replies::TableBatch* batch, Waiting* waiting) const {
  while (!batch->empty()) {
    ArrowOwner<ArrowArray> array;
    replies::RowOrigin misfit;
    std::string why;
    if (!batch->Take(array.get(), &misfit, &why)) {
      waiting->At(static_cast<size_t>(misfit.tag))->error = why;
      continue;
    }
    Shown* shown = waiting->Last();
    shown->header = header;
    if (!replies::WriteIpcBatch(*schema, *array, AppendTo(&shown->out), &why)) throw std::runtime_error(why);
  }
}

Taken ArrowRenderer::Add(const Plan* plan, const Item& item, uint64_t index, replies::TableBatch* batch,
                         std::string* error) const {
  try {
    if (plan != nullptr) return batch->Add(item.reply, replies::ToUtf8(item.source), index, error);
    // It has been asked for its columns before; why it has none is asked for now.
    Taken taken = Taken::kMisfit;
    replies::TablePlan::MakeFrom(item.reply.bytes, RequestOf(view_), TablesOf(view_, item), &taken, error);
    // Of a good reply nothing can be shown, and of others like it neither.
    const bool good = replies::DiagnoseReply(item.reply.bytes).reason == replies::Reason::kNone;
    return good ? Taken::kPassedOver : Taken::kMisfit;
  } catch (const TooMuch&) {
    *error = "too large to be compared";
    return Taken::kMisfit;
  } catch (const std::bad_alloc&) {
    *error = kNotEnough;
    return Taken::kMisfit;
  }
}

void ArrowRenderer::Render(const std::vector<ReadItem>& read, const Show& show) const {
  const Plan* plan = plan_;
  std::unique_ptr<replies::TableBatch> batch;
  if (plan != nullptr) batch = std::make_unique<replies::TableBatch>(plan->plan.get());
  Waiting waiting(read, show);
  for (size_t i = 0; i < read.size(); ++i) {
    Shown shown;
    bool failed = !read[i].error.empty();
    if (!failed) {
      const Taken taken = Add(plan, read[i].item, i, batch.get(), &shown.error);
      failed = taken != Taken::kRows && taken != Taken::kNoRows;
      if (taken == Taken::kNoRows) shown.header = plan->header;
      if (!failed) shown.error.clear();
      if (failed && shown.error.empty()) shown.error = kNotEnough;
      if (taken == Taken::kPassedOver) shown.repeats = shown.error;
    }
    if (failed && strict_ && plan != nullptr) plan->Write(batch.get(), &waiting);
    waiting.Add(std::move(shown));
    if (plan != nullptr && batch->IsFull(kBatchRows)) plan->Write(batch.get(), &waiting);
    if (plan == nullptr || batch->empty()) waiting.ShowAll();
  }
  if (plan != nullptr) plan->Write(batch.get(), &waiting);
  waiting.ShowAll();
}

std::string ArrowRenderer::Header() const {
  return made_ == nullptr ? std::string() : made_->header;
}

std::string ArrowRenderer::Footer() const {
  std::string end;
  replies::WriteIpcEnd(AppendTo(&end));
  return end;
}

}  // namespace tesview
