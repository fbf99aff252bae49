#include "replies/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>

// As with the schema's descriptors, the assembler copies the files.
asm(".section .rodata.replies_columns, \"a\"\n"
    ".balign 8\n"
    "replies_columns_begin:\n"
    ".incbin \"" REPLIES_COLUMNS
    "\"\n"
    "replies_columns_end:\n"
    ".byte 0\n"
    ".balign 8\n"
    "replies_payloads_begin:\n"
    ".incbin \"" REPLIES_PAYLOADS
    "\"\n"
    "replies_payloads_end:\n"
    ".byte 0\n"
    ".text\n");

extern "C" {
extern const char replies_columns_begin[] __attribute__((visibility("hidden")));
extern const char replies_columns_end[] __attribute__((visibility("hidden")));
extern const char replies_payloads_begin[] __attribute__((visibility("hidden")));
extern const char replies_payloads_end[] __attribute__((visibility("hidden")));
}

namespace replies {
namespace {

std::string_view Between(const char* begin, const char* end) {
  return {begin, static_cast<size_t>(end - begin)};
}

std::string_view Trim(std::string_view text) {
  const size_t from = text.find_first_not_of(' ');
  if (from == std::string_view::npos) return {};
  return text.substr(from, text.find_last_not_of(' ') - from + 1);
}

// The parts of a line, which bars separate.
std::vector<std::string_view> Parts(std::string_view line) {
  constexpr size_t kPartsOfAColumn = 10;
  std::vector<std::string_view> parts;
  parts.reserve(kPartsOfAColumn);
  while (true) {
    const size_t bar = line.find(" | ");
    parts.push_back(Trim(line.substr(0, bar)));
    if (bar == std::string_view::npos) return parts;
    line.remove_prefix(bar + 3);
  }
}

std::vector<std::string_view> Words(std::string_view line) {
  std::vector<std::string_view> words;
  for (size_t from = 0; (from = line.find_first_not_of(' ', from)) != std::string_view::npos;) {
    const size_t to = std::min(line.find(' ', from), line.size());
    words.push_back(line.substr(from, to - from));
    from = to;
  }
  return words;
}

// Whether a bar is the second word, as in a line for a column: nearly all are.
bool IsColumnLine(std::string_view line) {
  const size_t word = line.find_first_not_of(' ');
  const size_t behind = line.find(' ', word);
  if (word == std::string_view::npos || behind == std::string_view::npos) return false;
  const size_t bar = line.find_first_not_of(' ', behind);
  return bar != std::string_view::npos && line.substr(bar, line.find(' ', bar) - bar) == "|";
}

// Takes the first line off a text.
std::string_view TakeLine(std::string_view* text) {
  const size_t end = std::min(text->find('\n'), text->size());
  const std::string_view line = text->substr(0, end);
  text->remove_prefix(std::min(end + 1, text->size()));
  return line;
}

Told ReadTold(std::string_view part) {
  if (part == "-") return {};
  if (part.size() > 2 && part.substr(part.size() - 2) == " ?") return {part.substr(0, part.size() - 2), true};
  return {part, false};
}

std::string_view OrNothing(std::string_view part) {
  return part == "-" ? std::string_view() : part;
}

template <class Int>
Int ReadNumber(std::string_view word) {
  Int number = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
  if (error != std::errc() || end != word.data() + word.size())
    throw std::runtime_error(fmt::format("\"{}\" is no number", word));
  return number;
}

// "20" or "20/Data" into the number and the path.
int32_t ReadPlace(std::string_view word, std::string_view* path) {
  const size_t slash = word.find('/');
  if (slash != std::string_view::npos) *path = word.substr(slash + 1);
  return ReadNumber<int32_t>(word.substr(0, slash));
}

// "table 20 FIELD", "table 20/Data", "type 1 DaDan 321 FIELD", "type 1/Data 321".
TableDescription ReadHead(const std::vector<std::string_view>& words) {
  TableDescription table;
  const bool typed = words[0] == "type";
  if (words.size() < (typed ? 3 : 2)) throw std::runtime_error("a head without a number");
  const int32_t number = ReadPlace(words[1], &table.path);
  const size_t outer = typed ? 5 : 3;
  if (words.size() != (table.path.empty() ? outer : outer - (typed ? 2 : 1)))
    throw std::runtime_error("a head with too few words or too many");
  if (typed) {
    table.type = number;
    table.id = ReadNumber<int32_t>(words[table.path.empty() ? 3 : 2]);
    if (table.path.empty()) table.type_name = words[2];
  } else {
    table.id = number;
  }
  if (table.path.empty()) table.field = words.back();
  return table;
}

ColumnDescription ReadColumn(const std::vector<std::string_view>& parts) {
  if (parts.size() != 10)
    throw std::runtime_error(fmt::format("a column has 10 parts, not {}", parts.size()));
  ColumnDescription column;
  column.name = parts[0];
  column.letter = parts[1];
  column.english = ReadTold(parts[2]);
  column.chinese = ReadTold(parts[3]);
  column.meaning = ReadTold(parts[4]);
  column.unit = ReadTold(parts[5]);
  column.kind = ReadTold(parts[6]);
  column.source = OrNothing(parts[7]);
  column.made = parts[8];
  column.unset = parts[9];
  return column;
}

// "[0] | Publication date | 发布日期 | - | yyyymmdd ? | FaBuRiQi"
ElementDescription ReadElement(const std::vector<std::string_view>& parts) {
  if (parts.size() != 6 || parts[0].size() < 3 || parts[0].back() != ']')
    throw std::runtime_error("an element has 6 parts, the first one its index in brackets");
  ElementDescription element;
  element.index = ReadNumber<int>(parts[0].substr(1, parts[0].size() - 2));
  element.english = ReadTold(parts[1]);
  element.chinese = ReadTold(parts[2]);
  element.unit = ReadTold(parts[3]);
  element.kind = ReadTold(parts[4]);
  element.source = OrNothing(parts[5]);
  return element;
}

void ReadTitle(std::string_view text, TableDescription* table) {
  const auto parts = Parts(text);
  if (parts.size() != 2) throw std::runtime_error("a title is in English and in Chinese");
  table->english = parts[0];
  table->chinese = parts[1];
}

// A line that begins with one of these words tells of the whole table.
bool ReadProperty(std::string_view line, const std::vector<std::string_view>& words,
                  TableDescription* table) {
  const std::string_view rest = Trim(line.substr(words[0].size()));
  if (words[0] == "title") {
    ReadTitle(rest, table);
  } else if (words[0] == "rows") {
    table->rows = rest;
  } else if (words[0] == "empty") {
    table->empty = rest;
  } else if (words[0] == "name") {
    table->name = rest;
  } else {
    return false;
  }
  return true;
}

// The first words of these lines say what they are. No column line can be meant.
bool ReadHeadOrProperty(std::string_view line, std::vector<TableDescription>* tables) {
  const auto words = Words(line);
  if (words.size() < 2) return false;
  if (words[0] != "table" && words[0] != "type")
    return !tables->empty() && ReadProperty(line, words, &tables->back());
  tables->push_back(ReadHead(words));
  return true;
}

void ReadLine(std::string_view line, std::vector<TableDescription>* tables) {
  if (!IsColumnLine(line) && ReadHeadOrProperty(line, tables)) return;
  if (tables->empty()) throw std::runtime_error("a line before the first table");
  const auto parts = Parts(line);
  if (line[0] != '[') {
    tables->back().columns.push_back(ReadColumn(parts));
    return;
  }
  if (tables->back().columns.empty()) throw std::runtime_error("an element without a column");
  tables->back().columns.back().elements.push_back(ReadElement(parts));
}

bool Before(const TableDescription& a, const TableDescription& b) {
  return a.type != b.type ? a.type < b.type : a.id < b.id;
}

std::vector<PayloadDescription> ParsePayloads(std::string_view text) {
  std::vector<PayloadDescription> payloads;
  while (!text.empty()) {
    const std::string_view line = TakeLine(&text);
    if (line.empty() || line[0] == '#') continue;
    const auto parts = Parts(line);
    if (parts.size() != 5) throw std::runtime_error(fmt::format("a payload has 5 parts: {}", line));
    payloads.push_back(
        {ReadNumber<int32_t>(parts[0]), parts[1], parts[2], ReadTold(parts[3]), ReadTold(parts[4])});
  }
  return payloads;
}

}  // namespace

std::string Told::Marked() const {
  return guess ? std::string(text) + " ?" : std::string(text);
}

bool Told::Has(std::string_view word) const {
  const auto words = Words(text);
  return std::find(words.begin(), words.end(), word) != words.end();
}

std::string TableDescription::Spec() const {
  std::string spec;
  for (const ColumnDescription& column : columns)
    spec += fmt::format("{}:{};", column.name, column.letter);
  return spec;
}

std::vector<TableDescription> ParseDescriptions(std::string_view text) {
  std::vector<TableDescription> tables;
  for (int number = 1; !text.empty(); ++number) {
    const std::string_view line = TakeLine(&text);
    if (Trim(line).empty() || line[0] == '#') continue;
    try {
      ReadLine(line, &tables);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error(fmt::format("line {}: {}: {}", number, error.what(), line));
    }
  }
  std::stable_sort(tables.begin(), tables.end(), Before);
  return tables;
}

const std::vector<TableDescription>& DescribedTables() {
  static const auto* const tables = new std::vector<TableDescription>(
      ParseDescriptions(Between(replies_columns_begin, replies_columns_end)));
  return *tables;
}

const TableDescription* DescribeTable(int32_t id, int type, std::string_view path) {
  for (const TableDescription& table : DescribedTables()) {
    if (table.id == id && table.type == type && table.path == path) return &table;
  }
  return nullptr;
}

const ColumnDescription* FindColumn(const TableDescription& table, std::string_view name) {
  for (const ColumnDescription& column : table.columns) {
    if (column.name == name) return &column;
  }
  return nullptr;
}

const std::vector<PayloadDescription>& DescribedPayloads() {
  static const auto* const payloads = new std::vector<PayloadDescription>(
      ParsePayloads(Between(replies_payloads_begin, replies_payloads_end)));
  return *payloads;
}

const PayloadDescription* DescribePayload(int32_t id) {
  const auto& all = DescribedPayloads();
  const auto at = std::lower_bound(all.begin(), all.end(), id,
                                   [](const PayloadDescription& p, int32_t wanted) { return p.id < wanted; });
  return at != all.end() && at->id == id ? &*at : nullptr;
}

}  // namespace replies
