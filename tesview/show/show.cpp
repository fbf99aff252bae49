#include "tesview/show/show.h"

#include <fmt/format.h>

#include <map>
#include <new>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "replies/decode.h"
#include "replies/diagnosis.h"
#include "replies/fill_required.h"
#include "replies/layouts.h"
#include "replies/parse_reply.h"
#include "replies/schema.h"
#include "replies/suggest.h"
#include "replies/table_columns.h"
#include "replies/text.h"
#include "replies/text_form.h"
#include "replies/vocabulary.h"
#include "replies/wire.h"
#include "tesview/show/choose.h"
#include "tesview/show/csv.h"
#include "tesview/show/kept_rows.h"
#include "tesview/show/limits.h"
#include "tesview/show/ndjson.h"
#include "tesview/show/pretty_json.h"
#include "tesview/show/style.h"
#include "tesview/show/summary.h"
#include "tesview/show/table_form.h"
#include "tesview/show/where.h"
#include "tsl_base/table.hpp"
#include "tsl_base/text.h"

namespace tesview {

using replies::BytesToText;
using replies::DidYouMean;
using replies::FindId;
using replies::HasTable;
using replies::IdWithName;
using replies::NameOfType;
using replies::OnlyLayoutOf;
using replies::Printable;
using replies::PrintableJson;
using replies::PrintableTextForm;
using replies::TypedLayoutsOf;
using replies::WhyNoReply;
using replies::WhyNoTable;
using replies::WhyNoTableBriefly;
using tsl_base::Table;
using tsl_base::TableView;

namespace {

// A reply as a table.
struct Rendered {
  int32_t id = 0;
  Table table;
  std::optional<TPType> type;  // the layout that was taken, null for that of the Id
  bool decoded = false;        // by the schema alone
  std::string error;           // why that gave no table
};

TableKind KindOf(const View& view, const Rendered& rendered) {
  if (rendered.decoded) return {};
  return {rendered.id, rendered.type ? static_cast<int>(*rendered.type) : 0, view.iso_times};
}

// Why there is no table.
std::string WhyNone(const Rendered& rendered, const std::string& bytes) {
  return rendered.decoded ? rendered.error : WhyNoTable(bytes, rendered.type);
}

// The same of a reply that is to be shown. What is wrong is the same for others, unless the reply is damaged.
void SayWhyNone(const Rendered& rendered, const std::string& bytes, Shown* shown) {
  shown->error = WhyNone(rendered, bytes);
  if (replies::DiagnoseReply(bytes).reason == replies::Reason::kNone) shown->repeats = shown->error;
}

Rendered Decoded(const replies::Unpack& unpack, const std::string& bytes) {
  Rendered rendered;
  rendered.decoded = true;
  FindId(bytes, &rendered.id);
  const auto reply = replies::ParseReply(bytes, &rendered.error);
  if (reply != nullptr) rendered.table = replies::DecodePayload(*reply, unpack, &rendered.error);
  return rendered;
}

// With UTF-8 in its texts.
Rendered MakeTable(const View& view, const std::string& bytes) {
  const tsl_base::KeepUtf8 keep;
  if (view.decode) return Decoded(*view.decode, bytes);
  Rendered rendered;
  rendered.type = view.type;
  FindId(bytes, &rendered.id);
  if (!view.type) {
    rendered.table = Table(TesparserPB2Table(bytes));
    if (rendered.table) return rendered;
    rendered.type = OnlyLayoutOf(rendered.id);
  }
  if (rendered.type) rendered.table = Table(TesparserPB2TableType(bytes, *rendered.type));
  return rendered;
}

// What --where leaves of the rows, in `kept`. False where it leaves nothing, which `shown` then tells, or why
// there is no table to compare anything in.
bool KeepRows(const View& view, const Item& item, const Rendered& rendered, KeptRows* kept, Shown* shown) {
  if (view.where == nullptr) return true;
  if (rendered.table && view.where->Choose(rendered.table.view(), KindOf(view, rendered), kept)) return true;
  shown->dropped =
      rendered.table || replies::DiagnoseReply(item.reply.bytes).reason == replies::Reason::kNone;
  if (!shown->dropped) shown->error = WhyNone(rendered, item.reply.bytes);
  return false;
}

// The same of a form that shows replies as a whole.
bool KeepReply(const View& view, const Item& item, Shown* shown) {
  if (view.where == nullptr) return true;
  KeptRows kept;
  return KeepRows(view, item, MakeTable(view, item.reply.bytes), &kept, shown);
}

// Which reply this is, over what is shown of it.
std::string Title(const View& view, const Item& item, int32_t id, const std::string& rest) {
  const Style style{view.color};
  std::string title;
  if (item.name_source) title += Printable(item.source) + "  ";
  if (item.number_reply) title += fmt::format("reply {}  ", item.reply.number);
  return style.Bold(title + "Id " + IdWithName(id)) + "  " + style.Dim(rest) + "\n";
}

// The table that the path and the columns ask for; no table and why, or that it is dropped.
TableView Chosen(const View& view, Choice* choice, TableView root, Shown* shown) {
  std::string* const error = &shown->error;
  const TableView table = choice->TableAt(root, error);
  if (table) {
    choice->Take(table);
    *error = choice->MissingPath(table);
  }
  shown->dropped = !table && error->empty();
  if (!error->empty()) shown->repeats = fmt::format("path \"{}\" leads to no table", view.path);
  if (!table || !error->empty()) return TableView();
  const std::string missing = choice->MissingColumn();
  if (missing.empty()) return table;
  *error = fmt::format("no column \"{}\" in this table", missing);
  shown->repeats = *error;
  const std::vector<std::string> names = choice->AllColumnNames(table);
  // Columns inside are asked for without the path that ndjson and csv have before them.
  const std::string suggestion = DidYouMean(missing.substr(missing.rfind('.') + 1), names);
  if (!suggestion.empty()) {
    *error += suggestion;
    return TableView();
  }
  for (const std::string& name : names)
    *error += (&name == &names[0] ? "; it has: " : ", ") + name;
  return TableView();
}

std::string Figures(TableView table, size_t bytes) {
  const int rows = table.rows();
  const int cols = table.cols();
  return fmt::format("{} {}, {} {}, {} bytes", rows, rows == 1 ? "row" : "rows", cols,
                     cols == 1 ? "column" : "columns", bytes);
}

// Empty if the bytes are no reply.
std::string JsonOf(const View& view, const std::string& bytes) {
  std::string json = TesparserPB2Json(bytes);
  return view.visible ? PrintableJson(json) : json;
}

void ShowJson(const View& view, const Item& item, Shown* shown) {
  if (!KeepReply(view, item, shown)) return;
  const std::string json = JsonOf(view, item.reply.bytes);
  if (json.empty()) {
    shown->error = WhyNoReply(item.reply.bytes);
    return;
  }
  shown->out = view.to == To::kPretty ? PrettyJson(json, view.color) : json + "\n";
}

// Nothing of a table was asked for, so that JSON may be shown in its place.
bool IsWhole(const View& view) {
  return !view.table_or_nothing && !view.type && !view.decode && view.path.empty() && view.columns.empty();
}

// For people, in the place of a table.
void ShowInsteadOfTable(const View& view, const Item& item, const Rendered& rendered, Shown* shown) {
  const std::string json = IsWhole(view) ? JsonOf(view, item.reply.bytes) : std::string();
  if (json.empty()) {
    SayWhyNone(rendered, item.reply.bytes, shown);
    return;
  }
  std::string why = rendered.type ? fmt::format("nothing to show as type {}", NameOfType(*rendered.type))
                                  : WhyNoTableBriefly(item.reply.bytes);
  const auto layouts = TypedLayoutsOf(rendered.id);
  if (!layouts.empty() && !rendered.type)
    why += fmt::format(" (--type {} gives one)", NameOfType(layouts[0]));
  shown->out =
      Title(view, item, rendered.id, fmt::format("{}, as JSON, {} bytes", why, item.reply.bytes.size())) +
      PrettyJson(json, view.color);
}

void ShowTable(const View& view, const Item& item, Shown* shown) {
  const Rendered root = MakeTable(view, item.reply.bytes);
  KeptRows kept;
  if (!KeepRows(view, item, root, &kept, shown)) return;
  if (!root.table) return ShowInsteadOfTable(view, item, root, shown);
  Choice choice(view, KindOf(view, root), &kept);
  const TableView table = Chosen(view, &choice, root.table.view(), shown);
  if (!table) return;
  shown->out =
      Title(view, item, root.id, Figures(table, item.reply.bytes.size())) + RenderTable(view, &choice, table);
}

void ShowNdjson(const View& view, const Item& item, Shown* shown) {
  const Rendered root = MakeTable(view, item.reply.bytes);
  shown->id = root.id;
  KeptRows kept;
  if (!KeepRows(view, item, root, &kept, shown)) return;
  if (root.table) {
    Choice choice(view, KindOf(view, root), &kept);
    const TableView table = Chosen(view, &choice, root.table.view(), shown);
    if (table) RenderNdjson(view, &choice, item, table, shown);
  } else {
    const std::string json = IsWhole(view) ? TesparserPB2Json(item.reply.bytes) : std::string();
    if (json.empty()) {
      SayWhyNone(root, item.reply.bytes, shown);
      return;
    }
    RenderNdjsonWhole(item, json, shown);
  }
  if (view.visible) shown->out = PrintableJson(shown->out);
}

// The columns of all such tables; null where they depend on the reply. Of an inner table nothing is known.
// Kept by each thread from one reply to the next.
const replies::TableColumns* ColumnsKnownOf(const View& view, const Rendered& rendered) {
  using Kind = std::tuple<int32_t, int, bool>;
  thread_local std::map<Kind, replies::TableColumns> kept;
  if (!view.path.empty()) return nullptr;
  const int type = rendered.type ? static_cast<int>(*rendered.type) : 0;
  const Kind kind{rendered.id, type, rendered.decoded};
  const auto known = kept.find(kind);
  if (known != kept.end()) return &known->second;
  auto columns = rendered.decoded ? replies::DecodedColumns(rendered.id, *view.decode)
                                  : replies::DescribedColumns(rendered.id, type);
  // A stream may have any Id; of few of them something is known.
  return columns ? &kept.emplace(kind, std::move(*columns)).first->second : nullptr;
}

void ShowCsv(const View& view, const Item& item, Shown* shown) {
  const Rendered root = MakeTable(view, item.reply.bytes);
  shown->id = root.id;
  KeptRows kept;
  if (!KeepRows(view, item, root, &kept, shown)) return;
  if (!root.table) {
    SayWhyNone(root, item.reply.bytes, shown);
    return;
  }
  Choice choice(view, KindOf(view, root), &kept);
  const TableView table = Chosen(view, &choice, root.table.view(), shown);
  if (!table) return;
  RenderCsv(
      view, &choice, item, table, [&] { return ColumnsKnownOf(view, root); }, shown);
}

void ShowSummary(const View& view, const Item& item, Shown* shown) {
  if (!KeepReply(view, item, shown)) return;
  int32_t id = 0;
  if (!FindId(item.reply.bytes, &id) || TesparserPB2Json(item.reply.bytes).empty()) {
    shown->error = WhyNoReply(item.reply.bytes);
    return;
  }
  shown->header = SummaryHeader(item);
  // An Id with a table of its own has no other one.
  shown->out = RenderSummary(item, id, view.type ? view.type : OnlyLayoutOf(id));
}

// The table, which is taken out, if it is one that Arrow can hold; otherwise the note says why not.
void EmbedTable(Rendered* rendered, ReportPart* part) {
  part->type = rendered->type ? static_cast<int>(*rendered->type) : 0;
  part->decoded = rendered->decoded;
  part->rows = rendered->table.view().rows();
  part->columns = rendered->table.view().cols();
  std::string error;
  if (TableToIpc(std::move(rendered->table), &part->table, &error)) return;
  part->table.clear();
  part->note = fmt::format("its table cannot be embedded: {}", error);
}

// The reply in a report: its table; where it has none, its JSON, and a table by the schema alone, which is
// what pictures are made of.
void ShowHtml(const View& view, const Item& item, Shown* shown) {
  const tsl_base::KeepUtf8 keep_utf8;
  Rendered rendered = MakeTable(view, item.reply.bytes);
  KeptRows kept;
  if (!KeepRows(view, item, rendered, &kept, shown)) return;
  if (view.where != nullptr) rendered.table = CopyOfKept(rendered.table.view(), kept);
  ReportPart& part = shown->part;
  part.id = rendered.id;
  if (rendered.table) EmbedTable(&rendered, &part);
  if (!part.table.empty()) return;
  if (part.note.empty()) part.note = WhyNoTableBriefly(item.reply.bytes);
  part.tree = IsWhole(view) ? TesparserPB2Json(item.reply.bytes) : std::string();
  if (part.tree.empty()) {
    shown->error = WhyNone(rendered, item.reply.bytes);
    return;
  }
  Rendered decoded = Decoded({true, {}}, item.reply.bytes);
  // Without columns it says nothing that the tree does not.
  if (decoded.table && decoded.table.view().cols() != 0) {
    std::string note = std::move(part.note);
    EmbedTable(&decoded, &part);
    part.note = std::move(note);
  }
}

void ShowText(const View& view, const Item& item, Shown* shown) {
  if (!KeepReply(view, item, shown)) return;
  BytesToText(item.reply.bytes, &shown->out, &shown->error);
  if (view.visible) shown->out = PrintableTextForm(shown->out);
}

// The reply as a stream has it, whatever is in it.
void ShowBin(const View& view, const Item& item, Shown* shown) {
  if (!KeepReply(view, item, shown)) return;
  replies::AppendVarint(&shown->out, item.reply.bytes.size());
  shown->out += item.reply.bytes;
}

constexpr char kNoMemory[] = "not enough memory to show it";

// Of a reply that could not be expressed.
std::string WhyNoJson(const std::string& bytes) {
  const replies::Diagnosis found = replies::DiagnoseJson(bytes);
  return found.reason == replies::Reason::kNotExpressible ? found.message : kNoMemory;
}

void ShowAs(const View& view, const Item& item, Shown* shown) {
  switch (view.to) {
    case To::kTable: return ShowTable(view, item, shown);
    case To::kJson:
    case To::kPretty: return ShowJson(view, item, shown);
    case To::kNdjson: return ShowNdjson(view, item, shown);
    case To::kCsv:
    case To::kTsv: return ShowCsv(view, item, shown);
    case To::kArrow: break;  // not one by one
    case To::kSummary: return ShowSummary(view, item, shown);
    case To::kText: return ShowText(view, item, shown);
    case To::kHtml: return ShowHtml(view, item, shown);
    case To::kBin: return ShowBin(view, item, shown);
  }
}

}  // namespace

void PrepareToShow(const View& view) {
  if (view.to == To::kCsv || view.to == To::kTsv || view.to == To::kBin) return;
  // A reply with an element of every payload: the first JSON of each makes its descriptors.
  const auto reply = replies::Schema::Get().NewReply();
  const google::protobuf::Descriptor* envelope = reply->GetDescriptor();
  const google::protobuf::Reflection* reflection = reply->GetReflection();
  for (int i = 0; i < envelope->field_count(); ++i) {
    const google::protobuf::FieldDescriptor* field = envelope->field(i);
    if (field->message_type() == nullptr) continue;
    replies::FillRequired(field->is_repeated() ? reflection->AddMessage(reply.get(), field)
                                               : reflection->MutableMessage(reply.get(), field));
  }
  replies::FillRequired(reply.get());
  TesparserPB2Json(reply->SerializePartialAsString());
}

Shown Show(const View& view, const Item& item) {
  Shown shown;
  if (view.split.id) FindId(item.reply.bytes, &shown.id);
  try {
    ShowAs(view, item, &shown);
  } catch (const j2pb_error&) {
    shown.error = WhyNoJson(item.reply.bytes);
  } catch (const TooMuch&) {
    shown.error = "too large to be shown as a whole; take --head, --columns or --path";
  } catch (const std::bad_alloc&) {
    shown.error = kNoMemory;
  }
  return shown;
}

}  // namespace tesview
