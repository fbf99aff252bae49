// A table as plainly as it can be said: a map from cells to bytes.
#ifndef FUZZ_SUPPORT_TABLE_MODEL_H_
#define FUZZ_SUPPORT_TABLE_MODEL_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

struct ModelColumn {
  char letter;  // '?' for a column that holds nothing
  int count;
};

struct ModelTable;

struct ModelCell {
  std::string bytes;  // number, text, byte string or array
  std::unique_ptr<ModelTable> child;
};

struct ModelTable {
  void* real = nullptr;
  const std::vector<ModelColumn>* columns = nullptr;
  int rows = 0;
  std::string name;
  ModelTable* parent = nullptr;
  std::map<std::pair<int, int>, ModelCell> cells;  // by row and column

  // Null for a cell outside the table.
  const ModelColumn* ColumnOf(int row, int col) const {
    const bool inside = row >= 0 && row < rows && col >= 0 && col < static_cast<int>(columns->size());
    return inside ? &(*columns)[static_cast<size_t>(col)] : nullptr;
  }
};

int CodeOf(char letter);
int WidthOf(char letter);

// The bytes that a number becomes in a column of that letter; false if the column cannot hold it exactly.
// `negative` is the sign, that of a zero too.
bool NumberBytes(char letter, long double value, bool negative, std::string* bytes);

// The same for a number that already has the column's own type.
template <class T>
std::string OwnBytes(T value) {
  return std::string(reinterpret_cast<const char*>(&value), sizeof value);
}

// Compares one cell, and all cells, by way of the reading side.
void CheckCell(const ModelTable& model, int row, int col);
void CheckTable(const ModelTable& model);

}  // namespace fuzz

#endif  // FUZZ_SUPPORT_TABLE_MODEL_H_
