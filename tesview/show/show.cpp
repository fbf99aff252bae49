#include <new>

#include "replies/diagnosis.h"
#include "replies/layouts.h"
#include "replies/suggest.h"
#include "replies/text.h"
#include "replies/text_form.h"
#include "replies/vocabulary.h"
#include "replies/wire.h"
#include "tesview/show/choose.h"
#include "tesview/show/view.h"

namespace tesview {

using replies::BytesToText;
using replies::DidYouMean;
using replies::FindId;
using replies::IdWithName;
using replies::NameOfType;
using replies::Printable;
using replies::TypedLayoutsOf;
using replies::WhyNoReply;
using replies::WhyNoTable;
using replies::WhyNoTableBriefly;

namespace {

OwnedTable MakeTable(const View& view, const std::string& bytes) {
  return OwnedTable(view.type ? TesparserPB2TableType(bytes, *view.type) : TesparserPB2Table(bytes));
}

// Which reply this is, over what is shown of it.
std::string Title(const View& view, const Item& item, int32_t id, const std::string& rest) {
  const Style style{view.color};
  std::string title;
  if (item.name_source) title += Printable(item.source) + "  ";
  if (item.number_reply) title += fmt::format("reply {}  ", item.reply.number);
  return style.Bold(title + "Id " + IdWithName(id)) + "  " + style.Dim(rest) + "\n";
}

// The table that the paths and columns ask for; null and why.
void* Chosen(const View& view, void* root, std::string* error) {
  void* table = TableAt(root, view.path, error);
  if (table == nullptr) return nullptr;
  const std::string missing = MissingColumn(view, table);
  if (missing.empty()) {
    CheckCells(view, table);
    return table;
  }
  *error = fmt::format("no column \"{}\" in this table", missing);
  // Columns inside are asked for without the path that ndjson and csv have before them.
  const std::string suggestion = DidYouMean(missing.substr(missing.rfind('.') + 1), AllColumnNames(table));
  if (!suggestion.empty()) {
    *error += suggestion;
    return nullptr;
  }
  std::string names;
  for (const std::string& name : AllColumnNames(table))
    names += (names.empty() ? "" : ", ") + name;
  *error += "; it has: " + names;
  return nullptr;
}

std::string Figures(void* table, size_t bytes) {
  const int rows = table_rows(table);
  const int cols = table_cols(table);
  return fmt::format("{} {}, {} {}, {} bytes", rows, rows == 1 ? "row" : "rows", cols,
                     cols == 1 ? "column" : "columns", bytes);
}

void ShowJson(const View& view, const Item& item, Shown* shown) {
  const std::string json = TesparserPB2Json(item.reply.bytes);
  if (json.empty()) {
    shown->error = WhyNoReply(item.reply.bytes);
    return;
  }
  shown->out = view.to == To::kPretty ? PrettyJson(json, view.color) : json + "\n";
}

// For people, in the place of a table.
void ShowInsteadOfTable(const View& view, const Item& item, int32_t id, Shown* shown) {
  const std::string json = TesparserPB2Json(item.reply.bytes);
  if (json.empty() || view.table_or_nothing || view.type || !view.path.empty() || !view.columns.empty()) {
    shown->error = WhyNoTable(item.reply.bytes, view.type);
    return;
  }
  std::string why = WhyNoTableBriefly(item.reply.bytes);
  const auto layouts = TypedLayoutsOf(id);
  if (!layouts.empty()) why += fmt::format(" (--type {} gives one)", NameOfType(layouts[0]));
  shown->out = Title(view, item, id, fmt::format("{}, as JSON, {} bytes", why, item.reply.bytes.size())) +
               PrettyJson(json, view.color);
}

void ShowTable(const View& view, const Item& item, Shown* shown) {
  int32_t id = 0;
  FindId(item.reply.bytes, &id);
  const OwnedTable root = MakeTable(view, item.reply.bytes);
  if (root == nullptr) return ShowInsteadOfTable(view, item, id, shown);
  void* table = Chosen(view, root.get(), &shown->error);
  if (table == nullptr) return;
  shown->out = Title(view, item, id, Figures(table, item.reply.bytes.size())) + RenderTable(view, table);
}

void ShowNdjson(const View& view, const Item& item, Shown* shown) {
  int32_t id = 0;
  FindId(item.reply.bytes, &id);
  const OwnedTable root = MakeTable(view, item.reply.bytes);
  if (root != nullptr) {
    void* table = Chosen(view, root.get(), &shown->error);
    if (table != nullptr) RenderNdjson(view, item, id, table, &shown->out);
    return;
  }
  const bool whole = !view.table_or_nothing && !view.type && view.path.empty() && view.columns.empty();
  const std::string json = whole ? TesparserPB2Json(item.reply.bytes) : std::string();
  if (json.empty()) {
    shown->error = WhyNoTable(item.reply.bytes, view.type);
    return;
  }
  RenderNdjsonWhole(item, id, json, &shown->out);
}

void ShowCsv(const View& view, const Item& item, Shown* shown) {
  const OwnedTable root = MakeTable(view, item.reply.bytes);
  if (root == nullptr) {
    shown->error = WhyNoTable(item.reply.bytes, view.type);
    return;
  }
  void* table = Chosen(view, root.get(), &shown->error);
  if (table != nullptr) RenderCsv(view, item, table, &shown->header, &shown->out);
}

void ShowSummary(const View& view, const Item& item, Shown* shown) {
  int32_t id = 0;
  if (!FindId(item.reply.bytes, &id) || TesparserPB2Json(item.reply.bytes).empty()) {
    shown->error = WhyNoReply(item.reply.bytes);
    return;
  }
  shown->header = SummaryHeader(item);
  shown->out = RenderSummary(view, item, id);
}

void ShowText(const Item& item, Shown* shown) {
  BytesToText(item.reply.bytes, &shown->out, &shown->error);
}

void ShowAs(const View& view, const Item& item, Shown* shown) {
  switch (view.to) {
    case To::kTable: return ShowTable(view, item, shown);
    case To::kJson:
    case To::kPretty: return ShowJson(view, item, shown);
    case To::kNdjson: return ShowNdjson(view, item, shown);
    case To::kCsv: return ShowCsv(view, item, shown);
    case To::kSummary: return ShowSummary(view, item, shown);
    case To::kText: return ShowText(item, shown);
  }
}

}  // namespace

Shown Show(const View& view, const Item& item) {
  Shown shown;
  try {
    ShowAs(view, item, &shown);
  } catch (const j2pb_error& error) {
    shown.error = fmt::format("no JSON can hold it: {}", error.what());
  } catch (const TooMuch&) {
    shown.error = "too large to be shown as a whole; take --head, --columns or --path";
  } catch (const std::bad_alloc&) {
    shown.error = "not enough memory to show it";
  }
  if (!shown.error.empty()) shown.out.clear();
  return shown;
}

}  // namespace tesview
