// Column specs against a second reader that is written for plainness.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "fuzz/support/walk_table.h"
#include "tsl_base/table.h"

namespace {

struct Column {
  std::string name;
  int type = 0;
  uint64_t count = 0;
};

std::string Trim(const std::string& text) {
  const size_t from = text.find_first_not_of(" \t");
  return from == std::string::npos ? std::string()
                                   : text.substr(from, text.find_last_not_of(" \t") - from + 1);
}

uint64_t WidthOf(char letter) {
  switch (letter) {
    case 'c':
    case 'C': return 1;
    case 'h':
    case 'H': return 2;
    case 'i':
    case 'I':
    case 'f': return 4;
    default: return 8;
  }
}

// "q" or "53q" into the column; anything else leaves it without a type.
void ReadType(const std::string& text, Column* column) {
  static const std::string kLetters = "chiqfdsbCHIQtTPV";
  if (text.empty()) return;
  const char letter = text.back();
  const size_t code = kLetters.find(letter);
  if (code == std::string::npos) return;
  uint64_t count = 1;
  if (text.size() > 1) {
    if (letter == 's' || letter == 'b' || letter == 't') return;
    count = 0;
    for (size_t i = 0; i + 1 < text.size(); ++i) {
      if (text[i] < '0' || text[i] > '9') return;
      count = count * 10 + static_cast<uint64_t>(text[i] - '0');
      if (count * WidthOf(letter) > 2147483647) return;
    }
    if (count == 0) return;
  }
  column->type = static_cast<int>(code) + 1;
  column->count = count;
}

std::vector<Column> ReadSpec(const std::string& spec) {
  std::vector<std::string> entries(1);
  for (const char c : spec) {
    if (c == ';') {
      entries.emplace_back();
    } else {
      entries.back() += c;
    }
  }
  // Blanks behind a separator belong to nobody, those of the first entry to its name.
  for (size_t i = 1; i < entries.size(); ++i)
    entries[i].erase(0, std::min(entries[i].find_first_not_of(" \t"), entries[i].size()));
  if (entries.back().empty()) entries.pop_back();
  std::vector<Column> columns;
  for (const std::string& entry : entries) {
    Column column;
    const size_t colon = entry.rfind(':');
    column.name = entry.substr(0, colon);
    if (colon != std::string::npos) ReadType(Trim(entry.substr(colon + 1)), &column);
    columns.push_back(column);
  }
  return columns;
}

// Cells of fixed width take exactly their width.
void CheckWidth(void* table, int col, const Column& column) {
  static const std::string kLetters = "?chiqfdsbCHIQtTPV";
  const char letter = kLetters[static_cast<size_t>(column.type)];
  const uint64_t width = column.count * WidthOf(letter);
  if (column.type == 0 || letter == 's' || letter == 'b' || letter == 't' || width > 512) return;
  const std::vector<unsigned char> bytes(static_cast<size_t>(width) + 1, 0x5A);
  const int size = static_cast<int>(width);
  table_set_buff(table, 0, col, bytes.data(), size + 1, 0);
  table_set_buff(table, 0, col, bytes.data(), size - 1, 0);
  FUZZ_CHECK(table_is_set(table, 0, col) == 0);
  table_set_buff(table, 0, col, bytes.data(), size, 0);
  FUZZ_CHECK(table_is_set(table, 0, col) == 1);
}

void CheckTable(void* table, const std::vector<Column>& expected) {
  constexpr size_t kColumnsWritten = 300;
  FUZZ_CHECK(table_cols(table) == static_cast<int>(expected.size()));
  for (size_t i = 0; i < expected.size(); ++i) {
    const int col = static_cast<int>(i);
    FUZZ_CHECK(table_col_name(table, col) == expected[i].name);
    FUZZ_CHECK(table_col_type(table, col) == expected[i].type);
    FUZZ_CHECK(static_cast<uint64_t>(table_col_count(table, col)) == expected[i].count);
    if (i < kColumnsWritten) CheckWidth(table, col, expected[i]);
  }
}

void column_spec(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const int rows = 1 + input.Byte() % 40;
  std::string spec = input.Rest();
  spec.resize(std::strlen(spec.c_str()));
  const std::vector<Column> expected = ReadSpec(spec);
  // Twice, as the second one finds what the first one left, and at another address.
  for (const std::string& text : {spec, std::string(spec)}) {
    void* table = table_create(text.c_str(), rows, text.c_str());
    FUZZ_CHECK(table_name(table) == spec);
    CheckTable(table, expected);
    fuzz::WalkAndFree(table);
  }
}

}  // namespace

FUZZ_TARGET(column_spec, 6000, fuzz::Kind::kBytes)
