#include "tesview/show/kept_rows.h"

#include "tesview/show/cells.h"
#include "tesview/show/limits.h"

namespace tesview {
namespace {

using tsl_base::Table;
using tsl_base::TableView;
using tsl_base::Type;

class KeptCopy {
 public:
  explicit KeptCopy(const KeptRows& kept) : kept_(kept) {}

  Table Of(TableView table) {
    const std::vector<int>* kept = kept_.Of(table);
    const int rows = kept == nullptr ? table.rows() : static_cast<int>(kept->size());
    const int cols = table.cols();
    cells_ += static_cast<uint64_t>(rows) * static_cast<uint64_t>(cols);
    CheckCount(cells_);
    Table copy(table_create_like(table.get(), rows, table_name(table.get())));
    int to = 0;
    for (const int row : RowList(kept, 0, rows)) {
      for (int col = 0; col < cols; ++col) {
        if (table.is_set(row, col)) Cell(table, row, col, copy.get(), to);
      }
      ++to;
    }
    return copy;
  }

 private:
  void Cell(TableView table, int row, int col, void* copy, int to) {
    int size = 0;
    switch (table.column(col).type) {
      case Type::kText: table_set_str(copy, to, col, table_get_str(table.get(), row, col), 1); break;
      case Type::kBinary: {
        const void* bytes = table_get_binary(table.get(), row, col, &size);
        table_set_binary(copy, to, col, size, bytes, 1);
        break;
      }
      case Type::kTable: {
        const TableView child = ChildOf(table, row, col);
        // Null marks the cell as set.
        table_set_table(copy, to, col, child ? Of(child).release() : nullptr, 0);
        break;
      }
      default: {
        const void* numbers = table_get_buff(table.get(), row, col, &size);
        table_set_buff(copy, to, col, numbers, size, 0);
      }
    }
  }

  const KeptRows& kept_;
  uint64_t cells_ = 0;
};

}  // namespace

Table CopyOfKept(TableView table, const KeptRows& kept) {
  return KeptCopy(kept).Of(table);
}

}  // namespace tesview
