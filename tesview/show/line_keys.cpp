#include "tesview/show/line_keys.h"

#include "replies/text.h"
#include "replies/times.h"
#include "tesview/show/cells.h"

namespace tesview {

using tsl_base::TableView;
using tsl_base::Type;

const LineKeys::Sources& LineKeys::SourcesOf(Layout* layout) {
  const auto [at, is_new] = sources_.try_emplace(layout);
  Sources& sources = at->second;
  if (!is_new) return sources;
  for (const Column& column : layout->columns()) {
    if (by_.obj && column.name == "Obj" && column.type == Type::kText) sources.obj = &column;
    if (by_.date && column.told != nullptr && replies::IsTime(column.told->kind))
      sources.dates.push_back(&column);
  }
  return sources;
}

void LineKeys::Push(TableView table, int row, Layout* layout) {
  const Sources& sources = SourcesOf(layout);
  Key key;
  if (!keys_.empty()) key = keys_.back();
  const char* obj = sources.obj == nullptr ? nullptr : TextOf(table, row, *sources.obj);
  if (obj != nullptr && *obj != '\0') key.obj = replies::ToUtf8(obj);
  for (const Column* column : sources.dates) {
    std::string date = DateOf(table, row, *column);
    if (date.empty()) continue;
    key.date = std::move(date);
    break;
  }
  keys_.push_back(std::move(key));
}

void LineKeys::Add(size_t end) {
  const Key& key = keys_.back();
  if (lines_->empty() || lines_->back().obj != key.obj || lines_->back().date != key.date)
    lines_->push_back({key.obj, key.date, 0});
  lines_->back().end = end;
}

}  // namespace tesview
