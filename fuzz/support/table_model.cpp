#include "fuzz/support/table_model.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "fuzz/support/target.h"
#include "tsl_base/table.h"

namespace fuzz {
namespace {

// A long double has all 64 digits of the longest integers here, so that every comparison is exact.
static_assert(std::numeric_limits<long double>::digits >= 64, "the model needs a wide long double");

template <class T>
bool IntegerBytes(long double value, bool negative, std::string* bytes) {
  using Limits = std::numeric_limits<T>;
  if (!(value >= static_cast<long double>(Limits::min()) && value <= static_cast<long double>(Limits::max())))
    return false;
  if (std::floor(value) != value || (value == 0 && negative)) return false;
  *bytes = OwnBytes(static_cast<T>(value));
  return true;
}

bool RealBytes(char letter, long double value, std::string* bytes) {
  if (letter == 'd') {
    const auto number = static_cast<double>(value);
    if (!std::isnan(value) && static_cast<long double>(number) != value) return false;
    *bytes = OwnBytes(number);
    return true;
  }
  if (std::isfinite(value) && std::fabs(value) > static_cast<long double>(std::numeric_limits<float>::max()))
    return false;
  const auto number = static_cast<float>(value);
  if (!std::isnan(value) && static_cast<long double>(number) != value) return false;
  *bytes = OwnBytes(number);
  return true;
}

// NaN of any kind is NaN.
bool SameBytes(char letter, const std::string& expected, const void* got) {
  if (letter == 'd' || letter == 'f') {
    double a = 0;
    double b = 0;
    float c = 0;
    float d = 0;
    if (letter == 'd') {
      std::memcpy(&a, expected.data(), sizeof a);
      std::memcpy(&b, got, sizeof b);
      if (std::isnan(a)) return std::isnan(b);
    } else {
      std::memcpy(&c, expected.data(), sizeof c);
      std::memcpy(&d, got, sizeof d);
      if (std::isnan(c)) return std::isnan(d);
    }
  }
  return std::memcmp(expected.data(), got, expected.size()) == 0;
}

}  // namespace

int CodeOf(char letter) {
  static const std::string kLetters = "?chiqfdsbCHIQtTPV";
  return static_cast<int>(kLetters.find(letter));
}

int WidthOf(char letter) {
  switch (letter) {
    case '?':
    case 's':
    case 'b':
    case 't': return 0;
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

bool NumberBytes(char letter, long double value, bool negative, std::string* bytes) {
  switch (letter) {
    case 'c': return IntegerBytes<int8_t>(value, negative, bytes);
    case 'h': return IntegerBytes<int16_t>(value, negative, bytes);
    case 'i': return IntegerBytes<int32_t>(value, negative, bytes);
    case 'q': return IntegerBytes<int64_t>(value, negative, bytes);
    case 'C': return IntegerBytes<uint8_t>(value, negative, bytes);
    case 'H': return IntegerBytes<uint16_t>(value, negative, bytes);
    case 'I': return IntegerBytes<uint32_t>(value, negative, bytes);
    case 'Q': return IntegerBytes<uint64_t>(value, negative, bytes);
    case 'f':
    case 'd': return RealBytes(letter, value, bytes);
    default: return false;
  }
}

void CheckCell(const ModelTable& model, int row, int col) {
  const ModelColumn* column = model.ColumnOf(row, col);
  const auto found = model.cells.find({row, col});
  const ModelCell* cell = found == model.cells.end() ? nullptr : &found->second;
  FUZZ_CHECK(table_is_set(model.real, row, col) == (cell != nullptr ? 1 : 0));
  const char* text = table_get_str(model.real, row, col);
  int binary_size = -1;
  const void* binary = table_get_binary(model.real, row, col, &binary_size);
  int buff_size = -1;
  const void* buff = table_get_buff(model.real, row, col, &buff_size);
  void* child = table_get_table(model.real, row, col);
  const char letter = cell != nullptr && column != nullptr ? column->letter : '?';
  FUZZ_CHECK((text != nullptr) == (letter == 's'));
  FUZZ_CHECK((binary != nullptr) == (letter == 'b'));
  FUZZ_CHECK((buff != nullptr) == (WidthOf(letter) != 0));
  if (cell == nullptr) {
    FUZZ_CHECK(binary_size == 0 && buff_size == 0 && child == nullptr);
    return;
  }
  if (text != nullptr) FUZZ_CHECK(cell->bytes == text);
  if (binary != nullptr)
    FUZZ_CHECK(cell->bytes ==
               std::string(static_cast<const char*>(binary), static_cast<size_t>(binary_size)));
  if (buff != nullptr) {
    FUZZ_CHECK(static_cast<size_t>(buff_size) == cell->bytes.size());
    FUZZ_CHECK(SameBytes(column->count == 1 ? letter : '?', cell->bytes, buff));
  }
  FUZZ_CHECK(child == (cell->child != nullptr ? cell->child->real : nullptr));
}

void CheckTable(const ModelTable& model) {
  constexpr int kEdge = 40;
  const int cols = static_cast<int>(model.columns->size());
  FUZZ_CHECK(table_rows(model.real) == model.rows);
  FUZZ_CHECK(table_cols(model.real) == cols);
  FUZZ_CHECK(table_name(model.real) == model.name);
  for (int col = 0; col < cols; ++col) {
    const ModelColumn& column = (*model.columns)[static_cast<size_t>(col)];
    FUZZ_CHECK(table_col_type(model.real, col) == CodeOf(column.letter));
    FUZZ_CHECK(table_col_count(model.real, col) == column.count);
  }
  // All cells that are set with their neighbours, and the edges of the table.
  for (const auto& [at, cell] : model.cells) {
    CheckCell(model, at.first, at.second);
    CheckCell(model, at.first, at.second + 1);
    if (at.first < model.rows - 1) CheckCell(model, at.first + 1, at.second);
    if (cell.child != nullptr) CheckTable(*cell.child);
  }
  for (int col = -1; col <= cols && col < kEdge; ++col) {
    for (int row = -1; row < kEdge; ++row)
      CheckCell(model, row, col);
    CheckCell(model, model.rows, col);
    CheckCell(model, model.rows - 1, col);
  }
}

}  // namespace fuzz
