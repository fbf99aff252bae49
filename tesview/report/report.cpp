#include "tesview/report/report.h"

#include <fmt/format.h>

#include "replies/columns.h"
#include "replies/text.h"
#include "replies/vocabulary.h"
#include "tesview/report/embedded.h"
#include "tesview/report/page.h"

namespace tesview {

using replies::ColumnDescription;
using replies::ElementDescription;
using replies::Printable;
using replies::TableDescription;

namespace {

// What base64 makes of so many bytes.
size_t InBase64(size_t bytes) {
  return (bytes + 2) / 3 * 4;
}

void AppendMember(const char* key, std::string_view text, std::string* json) {
  *json += fmt::format(",\"{}\":", key);
  AppendEmbeddedString(json, text);
}

void AppendItem(std::string_view text, std::string* json) {
  if (json->back() != '[') *json += ',';
  AppendEmbeddedString(json, text);
}

void AppendElements(const ColumnDescription& column, std::string* json) {
  *json += ",[";
  for (const ElementDescription& element : column.elements) {
    if (json->back() != '[') *json += ',';
    *json += fmt::format("[{}", element.index);
    for (const std::string& text :
         {element.english.Marked(), element.chinese.Marked(), element.unit.Marked(), element.kind.Marked()}) {
      *json += ',';
      AppendEmbeddedString(json, text);
    }
    *json += ',';
    AppendEmbeddedString(json, element.source);
    *json += ']';
  }
  *json += ']';
}

// name, letter, English, Chinese, meaning, unit, kind, source, made, unset, elements
void AppendColumn(const ColumnDescription& column, std::string* json) {
  *json += '[';
  AppendItem(column.name, json);
  AppendItem(column.letter, json);
  AppendItem(column.english.Marked(), json);
  AppendItem(column.chinese.Marked(), json);
  AppendItem(column.meaning.Marked(), json);
  AppendItem(column.unit.Marked(), json);
  AppendItem(column.kind.Marked(), json);
  AppendItem(column.source, json);
  AppendItem(column.made, json);
  AppendItem(column.unset, json);
  AppendElements(column, json);
  *json += ']';
}

void AppendTable(const TableDescription& table, std::string* json) {
  *json += "{\"path\":";
  AppendEmbeddedString(json, table.path);
  AppendMember("english", table.english, json);
  AppendMember("chinese", table.chinese, json);
  AppendMember("rows", table.rows, json);
  *json += ",\"columns\":[";
  for (const ColumnDescription& column : table.columns) {
    if (json->back() != '[') *json += ',';
    AppendColumn(column, json);
  }
  *json += "]}";
}

std::string KindKey(int id, int type) {
  return fmt::format("{}/{}", id, type);
}

}  // namespace

Report::Report(Output* output, const ReportLimits& limits) : output_(output), limits_(limits) {
  output_->WriteBytes(ReportPage().before);
}

void Report::CheckRoom() {
  full_ = listed_ == limits_.replies;
  if (full_) throw ReportFull();
}

bool Report::Fits(const ReportPart& part) const {
  return bytes_ + InBase64(part.table.size()) + InBase64(part.tree.size()) <= limits_.bytes;
}

void Report::AppendBlock(const char* key, const std::string& bytes, std::string* entry) {
  if (bytes.empty()) return;
  *entry += fmt::format(",\"{}\":{}", key, blocks_);
  output_->WriteBytes(EmbeddedBlock(blocks_, bytes));
  bytes_ += InBase64(bytes.size());
  ++blocks_;
}

void Report::Add(const Item& item, const ReportPart& part) {
  CheckRoom();
  ++replies_;
  std::string entry =
      fmt::format("{{\"id\":{},\"bytes\":{},\"number\":{},\"offset\":{},\"many\":{}", part.id,
                  item.reply.bytes.size(), item.reply.number, item.reply.offset, item.number_reply);
  AppendMember("file", Printable(item.source), &entry);
  if (const replies::Payload* payload = replies::FindPayload(part.id)) {
    AppendMember("payload", payload->name, &entry);
  }
  if (const replies::PayloadDescription* told = replies::DescribePayload(part.id)) {
    AppendMember("english", told->english.Marked(), &entry);
    AppendMember("chinese", told->chinese.Marked(), &entry);
    AppendMember("family", told->family, &entry);
  }
  if (!part.note.empty()) AppendMember("note", part.note, &entry);
  if (!part.table.empty()) {
    entry += fmt::format(",\"rows\":{},\"columns\":{},\"decoded\":{}", part.rows, part.columns, part.decoded);
    if (!part.decoded) AppendMember("kind", KindKey(part.id, part.type), &entry);
  }
  if (Fits(part)) {
    AppendBlock("table", part.table, &entry);
    AppendBlock("tree", part.tree, &entry);
    if (!part.table.empty() && !part.decoded) kinds_.emplace(part.id, part.type);
  } else {
    entry += ",\"leftOut\":true";
    ++left_out_;
  }
  Fill(entry + "}");
}

void Report::AddFailure(const std::string& what) {
  CheckRoom();
  std::string entry = "{\"id\":null";
  AppendMember("failure", Printable(what), &entry);
  Fill(entry + "}");
}

void Report::Fill(const std::string& entry) {
  if (!entries_.empty()) entries_ += ",\n";
  entries_ += entry;
  ++listed_;
}

// Once for each kind of table, however many replies have it.
std::string Report::Kinds() const {
  std::string json;
  for (const auto& [id, type] : kinds_) {
    if (!json.empty()) json += ",\n";
    json += fmt::format("\"{}\":[", KindKey(id, type));
    for (const TableDescription& table : replies::DescribedTables()) {
      if (table.id != id || table.type != type) continue;
      if (json.back() != '[') json += ',';
      AppendTable(table, &json);
    }
    json += ']';
  }
  return json;
}

void Report::End() {
  std::string json = fmt::format(
      "<script type=\"application/json\" id=\"report\">{{\"program\":\"tesview {}\",\"most\":{{\"replies\":{},"
      "\"bytes\":{}}},\"leftOut\":{},\"full\":{},\n\"replies\":[\n",
      TESVIEW_VERSION, limits_.replies, limits_.bytes, left_out_, full_);
  json += entries_ + "\n],\n\"kinds\":{" + Kinds() + "}}</script>\n";
  output_->WriteBytes(json);
  output_->WriteBytes(ReportPage().behind);
}

std::string Report::LeftOut() const {
  std::string what;
  if (left_out_ != 0) {
    what = fmt::format("the report lists {} of {} replies without their data, as it takes {} MB at most",
                       left_out_, replies_, limits_.bytes / (size_t{1024} * 1024));
  }
  if (full_) {
    what += fmt::format("{}it ends after {} replies, and what follows was not read",
                        what.empty() ? "the report is full: " : "; ", limits_.replies);
  }
  return what;
}

}  // namespace tesview
