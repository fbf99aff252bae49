// Tables for C++: an owner that frees, and views with typed access and iteration over rows and columns.
//
//   tsl_base::Table reply(TesparserPB2Table(bytes));
//   for (tsl_base::RowView row : reply.view()) {
//     if (auto price = row.as_double("ZuiXinJia")) Show(row.index(), *price);
//   }
//
// Ownership  A Table frees its table. Views own nothing and are cheap to copy.
// Lifetime   A view, and all text and bytes that it returned, are valid as long as the table that owns them.
//            A temporary Table is freed at the end of its statement: keep it in a variable while its views
//            are used.
// Errors     Reading never fails. Where there is no value, get() and as_...() give an empty optional, and
//            find() says why: no such column (a misspelled name, say), a column of another type, or an unset
//            cell. Nothing here throws, except that making a table throws std::bad_alloc.
// Threads    As the table itself: any number of readers as long as nobody writes.
//
// A name is looked up among the columns with every call. For many rows, look up the index once with
// column_index().
#ifndef TSL_BASE_TABLE_HPP_
#define TSL_BASE_TABLE_HPP_

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "tsl_base/arrow.h"
#include "tsl_base/table.h"

namespace tsl_base {

// The type codes of columns, as table_col_type() gives them.
enum class Type : int {
  kNothing = TABLE_NOTHING,
  kInt8 = TABLE_INT8,
  kInt16 = TABLE_INT16,
  kInt32 = TABLE_INT32,
  kInt64 = TABLE_INT64,
  kFloat = TABLE_FLOAT,
  kDouble = TABLE_DOUBLE,
  kText = TABLE_TEXT,
  kBinary = TABLE_BINARY,
  kUint8 = TABLE_UINT8,
  kUint16 = TABLE_UINT16,
  kUint32 = TABLE_UINT32,
  kUint64 = TABLE_UINT64,
  kTable = TABLE_CHILD,
  kTime = TABLE_TIME,
  kPFloat = TABLE_PFLOAT,
  kVFloat = TABLE_VFLOAT
};

// Bytes that belong to a table.
class BytesView {
 public:
  BytesView() = default;
  BytesView(const void* data, size_t size) : data_(static_cast<const unsigned char*>(data)), size_(size) {}

  const unsigned char* data() const { return data_; }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const unsigned char* begin() const { return data_; }
  const unsigned char* end() const { return data_ + size_; }

 private:
  const unsigned char* data_ = nullptr;
  size_t size_ = 0;
};

struct ColumnInfo {
  int index;
  std::string_view name;
  Type type;
  int count;  // elements of one cell; 0 for a column that holds nothing
};

// What there is where a cell was asked for.
enum class CellState {
  kValue,
  kUnset,      // the cell was never written, or its row is outside the table
  kOtherType,  // the column holds values of another type, arrays, or nothing
  kNoColumn    // no column of that name or index
};

// A cell's value, or why there is none.
//
//   const auto price = row.find<double>("ZuiXinJia");
//   if (price.state() == tsl_base::CellState::kNoColumn) ...
template <typename T>
class Found {
 public:
  // `state` is kValue exactly if there is a value.
  Found(std::optional<T> value, CellState state) : value_(std::move(value)), state_(state) {}

  CellState state() const { return state_; }
  bool has_value() const { return value_.has_value(); }
  explicit operator bool() const { return has_value(); }

  // Only where there is a value.
  const T& operator*() const { return *value_; }
  const T* operator->() const { return &*value_; }

  T value_or(T other) const { return value_.value_or(other); }
  const std::optional<T>& optional() const { return value_; }

 private:
  std::optional<T> value_;
  CellState state_;
};

class RowView;
class TableView;

namespace detail {

template <typename T>
constexpr Type TypeOf() {
  if constexpr (std::is_same_v<T, double>) return Type::kDouble;
  if constexpr (std::is_same_v<T, float>) return Type::kFloat;
  if constexpr (std::is_same_v<T, std::string_view>) return Type::kText;
  if constexpr (std::is_same_v<T, TableView>) return Type::kTable;
  if constexpr (std::is_same_v<T, PFloat>) return Type::kPFloat;
  if constexpr (std::is_same_v<T, VFloat>) return Type::kVFloat;
  if constexpr (std::is_same_v<T, tsl_time_t>) return Type::kTime;
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
    constexpr bool is_signed = std::is_signed_v<T>;
    if constexpr (sizeof(T) == 1) return is_signed ? Type::kInt8 : Type::kUint8;
    if constexpr (sizeof(T) == 2) return is_signed ? Type::kInt16 : Type::kUint16;
    if constexpr (sizeof(T) == 4) return is_signed ? Type::kInt32 : Type::kUint32;
    if constexpr (sizeof(T) == 8) return is_signed ? Type::kInt64 : Type::kUint64;
  }
  return Type::kNothing;
}

// Whether cells of the column can be read as T.
template <typename T>
bool CanRead(const ColumnInfo& column) {
  if constexpr (std::is_same_v<T, BytesView>) {
    return column.type != Type::kNothing && column.type != Type::kText && column.type != Type::kTable;
  } else {
    return column.type == TypeOf<T>() && column.count == 1;
  }
}

template <typename T>
constexpr bool IsDecimal() {
  return std::is_same_v<T, PFloat> || std::is_same_v<T, VFloat>;
}

inline std::optional<int64_t> WholeNumber(double value) {
  const bool in_range = value >= -9223372036854775808.0 && value < 9223372036854775808.0;
  if (!in_range || std::trunc(value) != value) return std::nullopt;
  return static_cast<int64_t>(value);
}

inline std::optional<int64_t> WholeNumber(int64_t mantissa, int decimals) {
  // A mantissa other than 0 has no more than 14 zeros at its end.
  for (; mantissa != 0 && decimals != 0; --decimals) {
    if (mantissa % 10 != 0) return std::nullopt;
    mantissa /= 10;
  }
  return mantissa;
}

}  // namespace detail

// A table that somebody else owns. A view of no table reads as a table without rows and columns.
class TableView {
 public:
  template <typename Item>
  class Iterator;
  using RowIterator = Iterator<RowView>;
  class Columns;

  TableView() = default;
  explicit TableView(const void* table) : table_(table) {}

  explicit operator bool() const { return table_ != nullptr; }
  const void* get() const { return table_; }

  int rows() const { return table_rows(table_); }
  int cols() const { return table_cols(mutable_table()); }
  std::string_view name() const { return table_name(table_); }

  // For an index outside the table: an empty name, kNothing and count 0.
  ColumnInfo column(int col) const {
    return {col, table_col_name(table_, col), static_cast<Type>(table_col_type(mutable_table(), col)),
            table_col_count(table_, col)};
  }

  // All columns in their order: for (const ColumnInfo& column : view.columns()) ...
  Columns columns() const;

  // The first column of that name.
  std::optional<int> column_index(std::string_view name) const {
    if (name.find('\0') != std::string_view::npos) return std::nullopt;
    const int columns = cols();
    for (int col = 0; col < columns; ++col) {
      if (name == table_col_name(table_, col)) return col;
    }
    return std::nullopt;
  }

  bool is_set(int row, int col) const { return table_is_set(table_, row, col) != 0; }

  // The value of a cell whose column is of exactly the type T: a floating-point or integer type of the
  // column's width and signedness, std::string_view for text, PFloat, VFloat, tsl_time_t, TableView for a
  // child, or BytesView for binary, counted and all other cells of fixed width. A child cell that is set and
  // empty gives a TableView of no table.
  template <typename T>
  std::optional<T> get(int row, int col) const {
    if constexpr (std::is_same_v<T, BytesView>) {
      return bytes(row, col);
    } else {
      constexpr Type type = detail::TypeOf<T>();
      static_assert(type != Type::kNothing, "no column holds values of this type");
      if (!holds(row, col, type)) return std::nullopt;
      if constexpr (std::is_same_v<T, std::string_view>) {
        return std::string_view(table_get_str(table_, row, col));
      } else if constexpr (std::is_same_v<T, TableView>) {
        return TableView(table_get_table(table_, row, col));
      } else {
        int size = 0;
        const void* cell = table_get_buff(table_, row, col, &size);
        if (size != static_cast<int>(sizeof(T))) return std::nullopt;
        T value;
        memcpy(&value, cell, sizeof value);
        return value;
      }
    }
  }

  template <typename T>
  std::optional<T> get(int row, std::string_view name) const {
    const std::optional<int> col = column_index(name);
    return col ? get<T>(row, *col) : std::nullopt;
  }

  // The same as get(), and why there is no value.
  template <typename T>
  Found<T> find(int row, int col) const {
    const std::optional<T> value = get<T>(row, col);
    if (value) return {value, CellState::kValue};
    if (!has_column(col)) return {value, CellState::kNoColumn};
    return {value, detail::CanRead<T>(column(col)) ? CellState::kUnset : CellState::kOtherType};
  }

  template <typename T>
  Found<T> find(int row, std::string_view name) const {
    const std::optional<int> col = column_index(name);
    return col ? find<T>(row, *col) : Found<T>(std::nullopt, CellState::kNoColumn);
  }

  // The same whatever the column's type: never kOtherType.
  CellState state(int row, int col) const {
    if (!has_column(col)) return CellState::kNoColumn;
    return is_set(row, col) ? CellState::kValue : CellState::kUnset;
  }
  CellState state(int row, std::string_view name) const {
    const std::optional<int> col = column_index(name);
    return col ? state(row, *col) : CellState::kNoColumn;
  }

  // Calls visitor(value) with the value of a cell in the type of its column, BytesView for binary and counted
  // cells. Returns whether there was a value.
  template <typename Visitor>
  bool visit(int row, int col, Visitor&& visitor) const {
    const ColumnInfo info = column(col);
    if (info.count != 1) return pass(get<BytesView>(row, col), visitor);
    switch (info.type) {
      case Type::kInt8: return pass(get<int8_t>(row, col), visitor);
      case Type::kInt16: return pass(get<int16_t>(row, col), visitor);
      case Type::kInt32: return pass(get<int32_t>(row, col), visitor);
      case Type::kInt64: return pass(get<int64_t>(row, col), visitor);
      case Type::kFloat: return pass(get<float>(row, col), visitor);
      case Type::kDouble: return pass(get<double>(row, col), visitor);
      case Type::kText: return pass(get<std::string_view>(row, col), visitor);
      case Type::kBinary: return pass(get<BytesView>(row, col), visitor);
      case Type::kUint8: return pass(get<uint8_t>(row, col), visitor);
      case Type::kUint16: return pass(get<uint16_t>(row, col), visitor);
      case Type::kUint32: return pass(get<uint32_t>(row, col), visitor);
      case Type::kUint64: return pass(get<uint64_t>(row, col), visitor);
      case Type::kTable: return pass(get<TableView>(row, col), visitor);
      case Type::kTime: return pass(get<tsl_time_t>(row, col), visitor);
      case Type::kPFloat: return pass(get<PFloat>(row, col), visitor);
      case Type::kVFloat: return pass(get<VFloat>(row, col), visitor);
      case Type::kNothing: break;
    }
    return false;
  }

  // Any number as a double, rounded to the nearest one if it has more digits. Times and counted cells are not
  // numbers.
  std::optional<double> as_double(int row, int col) const {
    std::optional<double> number;
    visit(row, col, [&number](auto value) {
      using Value = decltype(value);
      if constexpr (std::is_arithmetic_v<Value>) {
        number = static_cast<double>(value);
      } else if constexpr (detail::IsDecimal<Value>()) {
        number = static_cast<double>(value.mantissa()) / std::pow(10.0, value.decimals());
      }
    });
    return number;
  }
  std::optional<double> as_double(int row, std::string_view name) const {
    const std::optional<int> col = column_index(name);
    return col ? as_double(row, *col) : std::nullopt;
  }

  // Any whole number that fits into 64 bits, exactly; nothing for a fraction or a number that does not fit.
  std::optional<int64_t> as_int64(int row, int col) const {
    std::optional<int64_t> number;
    visit(row, col, [&number](auto value) {
      using Value = decltype(value);
      if constexpr (std::is_same_v<Value, uint64_t>) {
        if (value <= uint64_t{INT64_MAX}) number = static_cast<int64_t>(value);
      } else if constexpr (std::is_integral_v<Value>) {
        number = value;
      } else if constexpr (std::is_floating_point_v<Value>) {
        number = detail::WholeNumber(double{value});
      } else if constexpr (detail::IsDecimal<Value>()) {
        number = detail::WholeNumber(value.mantissa(), value.decimals());
      }
    });
    return number;
  }
  std::optional<int64_t> as_int64(int row, std::string_view name) const {
    const std::optional<int> col = column_index(name);
    return col ? as_int64(row, *col) : std::nullopt;
  }

  // Iteration over rows.
  RowView row(int index) const;
  RowIterator begin() const;
  RowIterator end() const;

 private:
  // Some reading functions take the table as void*, although they do not change it.
  void* mutable_table() const { return const_cast<void*>(table_); }

  bool has_column(int col) const { return col >= 0 && col < cols(); }

  bool holds(int row, int col, Type type) const {
    return table_col_type(mutable_table(), col) == static_cast<int>(type) && is_set(row, col);
  }

  std::optional<BytesView> bytes(int row, int col) const {
    int size = 0;
    const void* data = holds(row, col, Type::kBinary) ? table_get_binary(table_, row, col, &size)
                                                      : table_get_buff(table_, row, col, &size);
    if (!data) return std::nullopt;
    return BytesView(data, static_cast<size_t>(size));
  }

  template <typename T, typename Visitor>
  static bool pass(const std::optional<T>& value, Visitor& visitor) {
    if (!value) return false;
    visitor(*value);
    return true;
  }

  const void* table_ = nullptr;
};

// One row of a table; it reads like TableView without the row.
class RowView {
 public:
  RowView(TableView table, int index) : table_(table), index_(index) {}

  TableView table() const { return table_; }
  int index() const { return index_; }

  bool is_set(int col) const { return table_.is_set(index_, col); }
  bool is_set(std::string_view name) const {
    const std::optional<int> col = table_.column_index(name);
    return col && is_set(*col);
  }

  template <typename T>
  std::optional<T> get(int col) const {
    return table_.get<T>(index_, col);
  }
  template <typename T>
  std::optional<T> get(std::string_view name) const {
    return table_.get<T>(index_, name);
  }

  template <typename T>
  Found<T> find(int col) const {
    return table_.find<T>(index_, col);
  }
  template <typename T>
  Found<T> find(std::string_view name) const {
    return table_.find<T>(index_, name);
  }
  CellState state(int col) const { return table_.state(index_, col); }
  CellState state(std::string_view name) const { return table_.state(index_, name); }

  template <typename Visitor>
  bool visit(int col, Visitor&& visitor) const {
    return table_.visit(index_, col, std::forward<Visitor>(visitor));
  }

  std::optional<double> as_double(int col) const { return table_.as_double(index_, col); }
  std::optional<double> as_double(std::string_view name) const { return table_.as_double(index_, name); }
  std::optional<int64_t> as_int64(int col) const { return table_.as_int64(index_, col); }
  std::optional<int64_t> as_int64(std::string_view name) const { return table_.as_int64(index_, name); }

 private:
  TableView table_;
  int index_;
};

// Over rows, or over columns where Item is ColumnInfo.
template <typename Item>
class TableView::Iterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = Item;
  using difference_type = int;
  using pointer = const Item*;
  using reference = Item;

  Iterator(TableView table, int index) : table_(table), index_(index) {}

  Item operator*() const {
    if constexpr (std::is_same_v<Item, RowView>) {
      return RowView(table_, index_);
    } else {
      return table_.column(index_);
    }
  }
  Iterator& operator++() {
    ++index_;
    return *this;
  }
  Iterator operator++(int) {  // NOLINT(cert-dcl21-cpp): as iterators do
    Iterator before = *this;
    ++index_;
    return before;
  }
  friend bool operator==(const Iterator& a, const Iterator& b) {
    return a.table_.get() == b.table_.get() && a.index_ == b.index_;
  }
  friend bool operator!=(const Iterator& a, const Iterator& b) { return !(a == b); }

 private:
  TableView table_;
  int index_;
};

class TableView::Columns {
 public:
  explicit Columns(TableView table) : table_(table) {}

  Iterator<ColumnInfo> begin() const { return {table_, 0}; }
  Iterator<ColumnInfo> end() const { return {table_, table_.cols()}; }

 private:
  TableView table_;
};

inline RowView TableView::row(int index) const {
  return RowView(*this, index);
}
inline TableView::Columns TableView::columns() const {
  return Columns(*this);
}
inline TableView::RowIterator TableView::begin() const {
  return RowIterator(*this, 0);
}
inline TableView::RowIterator TableView::end() const {
  return RowIterator(*this, rows());
}

// Owns a table, or none.
class Table {
 public:
  Table() = default;

  // Takes over a table that has no parent, or null.
  explicit Table(void* table) : table_(table) {}

  Table(const std::string& spec, int rows, const std::string& name = std::string())
      : table_(table_create(spec.c_str(), rows, name.c_str())) {}

  Table(Table&& other) noexcept : table_(other.release()) {}
  Table& operator=(Table&& other) noexcept {
    reset(other.release());
    return *this;
  }
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;
  ~Table() { table_free(table_); }

  explicit operator bool() const { return table_ != nullptr; }

  // For the writing functions, which take the table as it is.
  void* get() const { return table_; }
  TableView view() const { return TableView(table_); }

  // Hands the table over to the caller.
  [[nodiscard]] void* release() { return std::exchange(table_, nullptr); }
  void reset(void* table = nullptr) {
    // A table assigned to itself stays.
    if (table != table_) table_free(std::exchange(table_, table));
  }

  // Hands the table over as Arrow arrays, see arrow.h. Returns 0, or an error number, and the table is still
  // here.
  [[nodiscard]] int export_arrow(ArrowSchema* schema, ArrowArray* array) {
    const int error = table_export_arrow(table_, schema, array);
    if (error == 0) table_ = nullptr;
    return error;
  }

  // Hands `child` to the cell. Returns false, and `child` keeps its table, if the cell cannot take it.
  bool attach(int row, int col, Table&& child) {
    const bool has_cell = row >= 0 && row < view().rows() && view().column(col).type == Type::kTable;
    if (!child || !has_cell) return false;
    table_set_table_raw(table_, row, col, child.get());
    if (table_get_table(table_, row, col) != child.get()) return false;
    static_cast<void>(child.release());
    return true;
  }

 private:
  void* table_ = nullptr;
};

}  // namespace tsl_base

#endif  // TSL_BASE_TABLE_HPP_
