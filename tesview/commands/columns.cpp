// tesview columns: what the columns of a reply's tables mean.
#include "replies/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "replies/decode.h"
#include "replies/layouts.h"
#include "replies/schema.h"
#include "replies/suggest.h"
#include "replies/text.h"
#include "replies/vocabulary.h"
#include "tesview/commands/commands.h"
#include "tesview/terminal/complain.h"

namespace tesview {

using replies::AppendJsonString;
using replies::ColumnDescription;
using replies::DecodedTable;
using replies::DescribedTables;
using replies::DescribePayload;
using replies::DidYouMean;
using replies::DisplayWidth;
using replies::ElementDescription;
using replies::FindPayload;
using replies::Payload;
using replies::TableDescription;
using replies::Told;

namespace {

using Cells = std::vector<std::string>;

// ---- lines ------------------------------------------------------------------------------------------------

// Columns below each other, two blanks apart; the last one as long as it is.
std::string Aligned(const std::vector<Cells>& lines) {
  std::vector<size_t> widths;
  for (const Cells& line : lines) {
    widths.resize(std::max(widths.size(), line.size()), 0);
    for (size_t i = 0; i < line.size(); ++i)
      widths[i] = std::max(widths[i], DisplayWidth(line[i]));
  }
  std::string text;
  for (const Cells& line : lines) {
    std::string padded;
    for (size_t i = 0; i < line.size(); ++i) {
      padded += line[i];
      if (i + 1 != line.size()) padded.append(widths[i] + 2 - DisplayWidth(line[i]), ' ');
    }
    padded.erase(padded.find_last_not_of(' ') + 1);
    text += padded + "\n";
  }
  return text;
}

std::string MarkdownTable(const std::vector<Cells>& lines) {
  std::string text;
  for (size_t i = 0; i < lines.size(); ++i) {
    text += "|";
    for (const std::string& cell : lines[i])
      text += cell.empty() ? " |" : " " + cell + " |";
    text += "\n";
    if (i != 0) continue;
    text += "|";
    for (size_t k = 0; k < lines[0].size(); ++k)
      text += "---|";
    text += "\n";
  }
  return text;
}

std::string OrDash(std::string_view text) {
  return text.empty() ? "-" : std::string(text);
}

// ---- described tables -------------------------------------------------------------------------------------

std::string PlaceOf(const TableDescription& table) {
  std::string place = fmt::format("{}", table.id);
  if (!table.path.empty()) place += fmt::format("/{}", table.path);
  if (table.type != 0) place += " --type " + replies::NameOfType(static_cast<TPType>(table.type));
  return place;
}

std::string Heading(const TableDescription& table) {
  std::string text = PlaceOf(table);
  if (!table.english.empty()) text += fmt::format("  {}  {}", table.english, table.chinese);
  text += fmt::format("\nrows: {}", table.rows);
  if (!table.empty.empty()) text += fmt::format("; without any: {}", table.empty);
  if (!table.name.empty()) text += fmt::format("; label: {}", table.name);
  return text + "\n";
}

// How a value was made, and of what.
std::string Origin(const ColumnDescription& column) {
  if (column.source.empty()) return std::string(column.made);
  return fmt::format("{}, {}", column.source, column.made);
}

std::string ForPeople(const TableDescription& table) {
  std::vector<Cells> lines = {
      {"#", "column", "letter", "heading", "", "unit", "kind", "unset", "from", "meaning"}};
  for (const ColumnDescription& column : table.columns) {
    lines.push_back({fmt::format("{}", &column - table.columns.data()), std::string(column.name),
                     std::string(column.letter), column.english.Marked(), column.chinese.Marked(),
                     OrDash(column.unit.Marked()), OrDash(column.kind.Marked()), std::string(column.unset),
                     Origin(column), column.meaning.Marked()});
    for (const ElementDescription& element : column.elements) {
      lines.push_back({"", fmt::format("  [{}]", element.index), "", element.english.Marked(),
                       element.chinese.Marked(), OrDash(element.unit.Marked()), OrDash(element.kind.Marked()),
                       "", std::string(element.source), ""});
    }
  }
  return Heading(table) + (table.columns.empty() ? "columns as the reply describes them\n" : Aligned(lines));
}

// In a table of Markdown a bar would end the cell.
std::string InMarkdown(std::string_view text) {
  std::string escaped;
  for (const char c : text)
    escaped += c == '|' ? std::string("\\|") : std::string(1, c);
  return escaped;
}

std::string AsMarkdown(const TableDescription& table) {
  std::vector<Cells> lines = {
      {"#", "Column", "Letter", "Heading", "Meaning", "Unit", "Kind", "From", "Unset"}};
  for (const ColumnDescription& column : table.columns) {
    lines.push_back({fmt::format("{}", &column - table.columns.data()), fmt::format("`{}`", column.name),
                     fmt::format("`{}`", column.letter),
                     fmt::format("{} {}", column.english.Marked(), column.chinese.Marked()),
                     InMarkdown(column.meaning.Marked()), column.unit.Marked(), column.kind.Marked(),
                     column.source.empty() ? std::string(column.made)
                                           : fmt::format("`{}`, {}", column.source, column.made),
                     std::string(column.unset)});
    for (const ElementDescription& element : column.elements) {
      lines.push_back({"", fmt::format("[{}]", element.index), "",
                       fmt::format("{} {}", element.english.Marked(), element.chinese.Marked()), "",
                       element.unit.Marked(), element.kind.Marked(), fmt::format("`{}`", element.source),
                       ""});
    }
  }
  return MarkdownTable(lines);
}

class JsonObject {
 public:
  void Text(std::string_view key, std::string_view value) {
    Key(key);
    AppendJsonString(&text_, value);
  }
  void Raw(std::string_view key, std::string_view value) {
    Key(key);
    text_ += value;
  }
  // And whether it is a guess.
  void TextOf(std::string_view key, const Told& told) {
    Text(key, told.text);
    if (told.guess) guesses_ += fmt::format("{}\"{}\"", guesses_.empty() ? "" : ", ", key);
  }
  std::string Done() {
    if (!guesses_.empty()) Raw("guesses", "[" + guesses_ + "]");
    return text_ + "}";
  }

 private:
  void Key(std::string_view key) {
    text_ += text_.size() == 1 ? "" : ", ";
    AppendJsonString(&text_, key);
    text_ += ": ";
  }

  std::string text_ = "{";
  std::string guesses_;
};

std::string JsonList(const std::vector<std::string>& items) {
  std::string text = "[";
  for (const std::string& item : items)
    text += (text.size() == 1 ? "" : ", ") + item;
  return text + "]";
}

std::string AsJson(const ElementDescription& element) {
  JsonObject object;
  object.Raw("index", fmt::format("{}", element.index));
  object.TextOf("english", element.english);
  object.TextOf("chinese", element.chinese);
  object.TextOf("unit", element.unit);
  object.TextOf("kind", element.kind);
  object.Text("source", element.source);
  return object.Done();
}

std::string AsJson(const ColumnDescription& column) {
  JsonObject object;
  object.Text("column", column.name);
  object.Text("letter", column.letter);
  object.TextOf("english", column.english);
  object.TextOf("chinese", column.chinese);
  object.TextOf("meaning", column.meaning);
  object.TextOf("unit", column.unit);
  object.TextOf("kind", column.kind);
  object.Text("source", column.source);
  object.Text("made", column.made);
  object.Text("unset", column.unset);
  std::vector<std::string> elements;
  for (const ElementDescription& element : column.elements)
    elements.push_back(AsJson(element));
  if (!elements.empty()) object.Raw("elements", JsonList(elements));
  return object.Done();
}

std::string AsJson(const TableDescription& table) {
  JsonObject object;
  object.Raw("id", fmt::format("{}", table.id));
  object.Raw("type", fmt::format("{}", table.type));
  object.Text("path", table.path);
  object.Text("english", table.english);
  object.Text("chinese", table.chinese);
  object.Text("rows", table.rows);
  object.Text("empty", table.empty);
  object.Text("name", table.name);
  std::vector<std::string> columns;
  for (const ColumnDescription& column : table.columns)
    columns.push_back(AsJson(column));
  object.Raw("columns", JsonList(columns));
  return object.Done();
}

// ---- tables by the schema alone ---------------------------------------------------------------------------

std::string PlaceOf(int32_t id, const DecodedTable& table) {
  return table.path.empty() ? fmt::format("{}", id) : fmt::format("{}/{}", id, table.path);
}

std::vector<Cells> LinesOf(const DecodedTable& table, const char* quote) {
  std::vector<Cells> lines = {{"#", "column", "letter", "field"}};
  for (const auto& column : table.columns) {
    lines.push_back({fmt::format("{}", &column - table.columns.data()),
                     fmt::format("{0}{1}{0}", quote, column.name),
                     fmt::format("{0}{1}{0}", quote, column.letter), column.type});
  }
  return lines;
}

std::string ForPeople(int32_t id, const DecodedTable& table) {
  std::string text = PlaceOf(id, table);
  if (table.path.empty()) {
    const auto* payload = DescribePayload(id);
    if (payload != nullptr)
      text += fmt::format("  {}  {}", payload->english.Marked(), payload->chinese.Marked());
    text += "\nno table form; with --decode, by the schema alone";
  }
  return text + "\n" + Aligned(LinesOf(table, ""));
}

std::string AsJson(int32_t id, const DecodedTable& table) {
  JsonObject object;
  object.Raw("id", fmt::format("{}", id));
  object.Raw("decode", "true");
  object.Text("path", table.path);
  std::vector<std::string> columns;
  for (const auto& column : table.columns) {
    JsonObject each;
    each.Text("column", column.name);
    each.Text("letter", std::string(1, column.letter));
    each.Text("field", column.type);
    columns.push_back(each.Done());
  }
  object.Raw("columns", JsonList(columns));
  return object.Done();
}

// ---- which tables -----------------------------------------------------------------------------------------

// "21", "QuoteKlineSingle/Data", "21/" for the outer table alone.
struct Wanted {
  const Payload* payload = nullptr;
  std::string path;
  bool alone = false;  // without the tables inside
};

std::string WithoutLastSlash(std::string path) {
  if (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

bool Understand(const std::string& word, Wanted* wanted) {
  const size_t slash = word.find('/');
  wanted->payload = FindPayload(std::string_view(word).substr(0, slash));
  wanted->alone = slash != std::string::npos;
  if (wanted->alone) wanted->path = WithoutLastSlash(word.substr(slash + 1));
  return wanted->payload != nullptr;
}

bool Takes(const Wanted& wanted, std::string_view path) {
  return !wanted.alone || path == wanted.path;
}

// All that was printed is one list in JSON.
class ColumnPrinter {
 public:
  ColumnPrinter(ColumnsForm form, Output* output) : form_(form), output_(output) {}

  void Print(const TableDescription& table) {
    switch (form_) {
      case ColumnsForm::kTable: return Write(ForPeople(table));
      case ColumnsForm::kMarkdown: return Write(AsMarkdown(table));
      case ColumnsForm::kJson: json_.push_back(AsJson(table)); return;
      case ColumnsForm::kNames:
        for (const ColumnDescription& column : table.columns)
          names_.emplace(column.name);
        return;
    }
  }
  void Print(int32_t id, const DecodedTable& table) {
    switch (form_) {
      case ColumnsForm::kTable: return Write(ForPeople(id, table));
      case ColumnsForm::kMarkdown: return Write(MarkdownTable(LinesOf(table, "`")));
      case ColumnsForm::kJson: json_.push_back(AsJson(id, table)); return;
      case ColumnsForm::kNames:
        for (const auto& column : table.columns)
          names_.insert(column.name);
        return;
    }
  }
  void Finish() {
    if (form_ == ColumnsForm::kJson) output_->Write(JsonList(json_) + "\n");
    for (const std::string& name : names_)
      output_->Write(name + "\n");
  }

 private:
  void Write(const std::string& text) {
    if (written_) output_->Write("\n");
    output_->Write(text);
    written_ = true;
  }

  ColumnsForm form_;
  Output* output_;
  std::vector<std::string> json_;
  std::set<std::string> names_;
  bool written_ = false;
};

// The description of the Id's own table, or of one typed layout; says whether there is any.
bool PrintDescribed(const Wanted& wanted, int type, ColumnPrinter* printer) {
  bool any = false;
  for (const TableDescription& table : DescribedTables()) {
    if (table.id != wanted.payload->id || table.type != type || !Takes(wanted, table.path)) continue;
    printer->Print(table);
    any = true;
  }
  return any;
}

bool PrintDecoded(const Wanted& wanted, ColumnPrinter* printer) {
  const auto* envelope = replies::Schema::Get().Type("MSG");
  bool any = false;
  for (const DecodedTable& table : replies::DecodedTables(*envelope, wanted.payload->id, {})) {
    if (!Takes(wanted, table.path)) continue;
    printer->Print(wanted.payload->id, table);
    any = true;
  }
  return any;
}

// Without a type also the typed layouts of an Id that has no table of its own.
bool PrintAny(const Wanted& wanted, const ColumnsRequest& request, ColumnPrinter* printer) {
  if (request.type) return PrintDescribed(wanted, static_cast<int>(*request.type), printer);
  if (PrintDescribed(wanted, 0, printer)) return true;
  if (replies::HasTable(wanted.payload->id)) return false;
  const auto types = replies::TypedLayoutsOf(wanted.payload->id);
  if (types.size() == 1) return PrintDescribed(wanted, static_cast<int>(types[0]), printer);
  return PrintDecoded(wanted, printer);
}

std::string WhyNone(const std::string& word, const Wanted& wanted) {
  if (wanted.payload == nullptr) {
    std::vector<std::string> names;
    for (const Payload& payload : replies::Vocabulary())
      names.push_back(payload.name);
    const std::string near = DidYouMean(word.substr(0, word.find('/')), names);
    return fmt::format("no Id is called \"{}\"{}", word,
                       near.empty() ? "; tesview ids lists them all" : near);
  }
  const std::string id = replies::IdWithName(wanted.payload->id);
  if (wanted.path.empty()) return fmt::format("Id {} has no such table", id);
  return fmt::format("Id {} has no table \"{}\" in its tables", id, wanted.path);
}

}  // namespace

void Answer(const ColumnsRequest& request, Output* output, ExitCode* code) {
  ColumnPrinter printer(request.form, output);
  if (request.words.empty()) {
    for (const TableDescription& table : DescribedTables()) {
      if (!request.type || table.type == static_cast<int>(*request.type)) printer.Print(table);
    }
  }
  for (const std::string& word : request.words) {
    Wanted wanted;
    if (Understand(word, &wanted) && PrintAny(wanted, request, &printer)) continue;
    output->Flush();
    Complain(WhyNone(word, wanted));
    *code = kSomeNotShown;
  }
  printer.Finish();
}

}  // namespace tesview
