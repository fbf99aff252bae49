#include "tesview/commands/row_counter.h"

#include <new>
#include <optional>

#include "replies/diagnosis.h"
#include "replies/layouts.h"
#include "replies/wire.h"
#include "tesview/show/cells.h"
#include "tesview/show/columns.h"
#include "tesview/show/limits.h"
#include "tsl_base/table.hpp"

namespace tesview {
namespace {

using tsl_base::Table;
using tsl_base::TableView;

// The first element of the first column that may hold times.
struct TimePlace {
  const Column* column = nullptr;  // null if there is none
  int element = 0;
};

TimePlace TimePlaceOf(const std::vector<Column>& columns) {
  for (const Column& column : columns) {
    for (int element = 0; column.is_number() && element < column.count; ++element) {
      if (MayBeTime(column, element)) return {&column, element};
    }
  }
  return {};
}

// Of one reply.
class RowWalk {
 public:
  RowWalk(const TableKind& kind, RowCounts* counts) : layouts_(kind), counts_(counts) {}

  // The innermost rows: those that a flat form has.
  uint64_t Rows(TableView table) {
    Layout& layout = layouts_.Of(table);
    visited_ += static_cast<uint64_t>(table.rows()) * (1 + layout.tables().size());
    CheckCount(visited_);
    AddTimes(table, layout.columns());
    uint64_t rows = 0;
    for (int row = 0; row < table.rows(); ++row) {
      uint64_t inner = 0;
      for (const int col : layout.tables()) {
        if (const TableView child = ChildOf(table, row, col)) inner += Rows(child);
      }
      rows += inner == 0 ? 1 : inner;
    }
    return rows;
  }

 private:
  void AddTimes(TableView table, const std::vector<Column>& columns) {
    const TimePlace place = TimePlaceOf(columns);
    for (int row = 0; place.column != nullptr && row < table.rows(); ++row) {
      const void* numbers = NumbersOf(table, row, *place.column);
      if (numbers == nullptr) continue;
      const auto time = TimeOf(*place.column, numbers, place.element);
      if (!time) continue;
      const TimePoint point{time->kind, time->value, time->millis};
      (replies::HasDate(time->kind) ? counts_->moments : counts_->of_a_day).Add(point);
    }
  }

  Layouts layouts_;
  RowCounts* counts_;
  uint64_t visited_ = 0;
};

// Why the reply cannot be decoded; nothing where it can, with a table or without.
std::string CountRows(const std::string& bytes, int32_t id, RowCounts* counts) {
  std::optional<TPType> type;
  Table table(TesparserPB2Table(bytes));
  if (!table) {
    type = replies::OnlyLayoutOf(id);
    if (type) table = Table(TesparserPB2TableType(bytes, *type));
  }
  if (!table) return replies::DiagnoseReply(bytes).message;
  RowCounts counted;
  counted.rows = RowWalk({id, type ? static_cast<int>(*type) : 0, false}, &counted).Rows(table.view());
  counted.has_table = true;
  counts->Add(counted);
  return std::string();
}

std::string CountOrSayWhyNot(const std::string& bytes, int32_t id, RowCounts* counts) {
  try {
    return CountRows(bytes, id, counts);
  } catch (const TooMuch&) {
    return "too large to be counted";
  } catch (const std::bad_alloc&) {
    return "not enough memory to decode it";
  }
}

}  // namespace

void RowCounter::Look(const ReadItem& read) {
  if (!read.error.empty() && read.error_code == kSomeNotShown) ++damaged_;
}

void RowCounter::Render(const std::vector<ReadItem>& read, const Show& show) const {
  std::map<int64_t, RowCounts> mine;
  for (const ReadItem& each : read) {
    Shown shown;
    int32_t id = 0;
    if (each.error.empty()) {
      const bool has_id = replies::IdInFront(each.item.reply.bytes, &id);
      RowCounts& counts = mine[has_id ? id : kNoId];
      shown.error = CountOrSayWhyNot(each.item.reply.bytes, id, &counts);
      counts.failed += shown.error.empty() ? 0 : 1;
    }
    show(each, std::move(shown));
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [id, counts] : mine)
    counts_.Of(id).Add(counts);
}

}  // namespace tesview
