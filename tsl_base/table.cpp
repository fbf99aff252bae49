// The table operations: checks, conversions between number types, and the way into the storage.
#include "tsl_base/table.h"

#include <float.h>
#include <math.h>

#include <limits>
#include <memory>

#include "tsl_base/detail/bits.h"
#include "tsl_base/detail/bytes.h"
#include "tsl_base/detail/cells.h"
#include "tsl_base/detail/spec_cache.h"
#include "tsl_base/detail/tree.h"

namespace {

using namespace tsl_base::detail;

// ---- finding the cell -------------------------------------------------------------------------------------

TableData* AsTable(void* table) {
  return static_cast<TableData*>(table);
}
const TableData* AsTable(const void* table) {
  return static_cast<const TableData*>(table);
}

// The column of a cell; null if the cell is outside the table.
inline const Column* ColumnOfCell(const TableData* table, int row, int col) {
  // Negative numbers become large ones.
  if (!table || static_cast<uint32_t>(row) >= table->rows ||
      static_cast<uint32_t>(col) >= table->spec->cols) {
    return nullptr;
  }
  return table->spec->columns() + col;
}

const Column* ColumnAt(const void* table, int col) {
  const TableData* data = AsTable(table);
  return data && static_cast<uint32_t>(col) < data->spec->cols ? data->spec->columns() + col : nullptr;
}

// The stored bytes of a set cell of that kind, otherwise null.
inline const unsigned char* CellOfKind(const void* table, int row, int col, uint8_t kind) {
  const Column* column = ColumnOfCell(AsTable(table), row, col);
  return column && column->kind == kind ? FindCell(AsTable(table), *column, static_cast<uint32_t>(row))
                                        : nullptr;
}

// ---- numbers ----------------------------------------------------------------------------------------------

template <typename T>
inline void Put(TableData* table, const Column& column, int row, T value) {
  Save(PlaceCell(table, column, static_cast<uint32_t>(row)), value);
}

// The bits between the highest and the lowest one: what a mantissa has to hold.
int SignificantBits(uint64_t value) {
  return value == 0 ? 0 : 64 - static_cast<int>(BitsAbove(value) + BitsBelow(value));
}

template <typename T>
void PutIfBelow(TableData* table, const Column& column, int row, uint64_t value) {
  if (value <= static_cast<uint64_t>(std::numeric_limits<T>::max()))
    Put(table, column, row, static_cast<T>(value));
}

template <typename T>
void PutIfAbove(TableData* table, const Column& column, int row, int64_t value) {
  if (value >= std::numeric_limits<T>::min()) Put(table, column, row, static_cast<T>(value));
}

// The three below store a number in whatever column can hold it exactly and drop it otherwise. They are the
// rare case: as a rule a setter meets its own column type.

[[gnu::noinline]] void PutUnsigned(TableData* table, const Column& column, int row, uint64_t value) {
  switch (column.kind) {
    case TABLE_INT8: PutIfBelow<int8_t>(table, column, row, value); return;
    case TABLE_INT16: PutIfBelow<int16_t>(table, column, row, value); return;
    case TABLE_INT32: PutIfBelow<int32_t>(table, column, row, value); return;
    case TABLE_INT64: PutIfBelow<int64_t>(table, column, row, value); return;
    case TABLE_UINT8: PutIfBelow<uint8_t>(table, column, row, value); return;
    case TABLE_UINT16: PutIfBelow<uint16_t>(table, column, row, value); return;
    case TABLE_UINT32: PutIfBelow<uint32_t>(table, column, row, value); return;
    case TABLE_UINT64: Put(table, column, row, value); return;
    case TABLE_FLOAT:
      if (SignificantBits(value) <= FLT_MANT_DIG) Put(table, column, row, static_cast<float>(value));
      return;
    case TABLE_DOUBLE:
      if (SignificantBits(value) <= DBL_MANT_DIG) Put(table, column, row, static_cast<double>(value));
      return;
    default: return;
  }
}

[[gnu::noinline]] void PutSigned(TableData* table, const Column& column, int row, int64_t value) {
  if (value >= 0) {
    PutUnsigned(table, column, row, static_cast<uint64_t>(value));
    return;
  }
  const uint64_t magnitude = 0 - static_cast<uint64_t>(value);
  switch (column.kind) {
    case TABLE_INT8: PutIfAbove<int8_t>(table, column, row, value); return;
    case TABLE_INT16: PutIfAbove<int16_t>(table, column, row, value); return;
    case TABLE_INT32: PutIfAbove<int32_t>(table, column, row, value); return;
    case TABLE_INT64: Put(table, column, row, value); return;
    case TABLE_FLOAT:
      if (SignificantBits(magnitude) <= FLT_MANT_DIG) Put(table, column, row, static_cast<float>(value));
      return;
    case TABLE_DOUBLE:
      if (SignificantBits(magnitude) <= DBL_MANT_DIG) Put(table, column, row, static_cast<double>(value));
      return;
    default: return;
  }
}

// Whether a float says the same as the double. NaN and the infinities have their counterpart.
bool FitsFloat(double value) {
  if (isnan(value) || isinf(value)) return true;
  if (fabs(value) > double{FLT_MAX}) return false;
  return static_cast<double>(static_cast<float>(value)) == value;
}

[[gnu::noinline]] void PutReal(TableData* table, const Column& column, int row, double value) {
  if (column.kind == TABLE_DOUBLE) {
    Put(table, column, row, value);
    return;
  }
  if (column.kind == TABLE_FLOAT) {
    if (FitsFloat(value)) Put(table, column, row, static_cast<float>(value));
    return;
  }
  // What is left are integers: these have neither fractions nor a minus zero.
  const bool in_range = value >= -9223372036854775808.0 && value < 18446744073709551616.0;
  if (!in_range || trunc(value) != value || (value == 0 && signbit(value))) return;
  if (value < 0) {
    PutSigned(table, column, row, static_cast<int64_t>(value));
  } else {
    PutUnsigned(table, column, row, static_cast<uint64_t>(value));
  }
}

inline void PutOther(TableData* table, const Column& column, int row, double value) {
  PutReal(table, column, row, value);
}
inline void PutOther(TableData* table, const Column& column, int row, int64_t value) {
  PutSigned(table, column, row, value);
}
inline void PutOther(TableData* table, const Column& column, int row, uint64_t value) {
  PutUnsigned(table, column, row, value);
}

// The usual cell of a large table is stored without a look at the spec: the slab has the column's type, and
// its rows and columns are some of the table's. Tells whether the cell was one.
template <typename T>
inline bool PutInSlab(TableData* table, int row, int col, uint8_t own, T value) {
  if (!table || !table->is_large || static_cast<uint32_t>(col) >= kSlabsOfGroup) return false;
  const Slab& slab = table->large()->first[col];
  const auto index = static_cast<uint32_t>(row);
  if (slab.kind != own || index >= slab.capacity) return false;
  SetBit(slab.bits, index);
  Save(slab.cells + index * sizeof value, value);
  return true;
}

// Stores in the setter's own column type, and by way of `Wide` in the others.
template <typename Wide, typename T>
inline void SetNumber(void* table, int row, int col, uint8_t own, T value) {
  TableData* data = AsTable(table);
  if (PutInSlab(data, row, col, own, value)) return;
  const Column* column = ColumnOfCell(data, row, col);
  if (!column) return;
  if (column->kind == own) {
    Put(data, *column, row, value);
  } else {
    PutOther(data, *column, row, static_cast<Wide>(value));
  }
}

template <typename T>
inline void SetOwn(void* table, int row, int col, uint8_t own, T value) {
  TableData* data = AsTable(table);
  const Column* column = ColumnOfCell(data, row, col);
  if (column && column->kind == own) Put(data, *column, row, value);
}

template <typename T>
inline T GetCell(const void* table, int row, int col, uint8_t kind) {
  const unsigned char* cell = CellOfKind(table, row, col, kind);
  return cell ? Load<T>(cell) : T{};
}

// ---- children ---------------------------------------------------------------------------------------------

// Whether `child` is `table` or one of those that it hangs from.
bool IsAncestor(const TableData* child, const TableData* table) {
  if (child == table) return true;
  if (!child->had_children()) return false;
  for (const TableData* up = table->parent; up; up = up->parent) {
    if (up == child) return true;
  }
  return false;
}

const Column* TableColumn(const void* table, int row, int col) {
  const Column* column = ColumnOfCell(AsTable(table), row, col);
  return column && column->kind == TABLE_CHILD ? column : nullptr;
}

}  // namespace

extern "C" {

// ---- making and freeing -----------------------------------------------------------------------------------

void* table_create(const char* spec, int rows, const char* name) {
  struct Release {
    void operator()(Spec* held) const noexcept { ReleaseSpec(held); }
  };
  std::unique_ptr<Spec, Release> parsed(AcquireSpec(spec ? spec : ""));
  TableData* table = NewTable(parsed.get(), rows < 0 ? 0 : static_cast<uint32_t>(rows), name ? name : "");
  static_cast<void>(parsed.release());
  return table;
}

void* table_create_like(const void* model, int rows, const char* name) {
  if (!model) return table_create("", rows, name);
  return NewTableLike(AsTable(model), rows < 0 ? 0 : static_cast<uint32_t>(rows), name ? name : "");
}

void table_free(void* table) {
  if (table && !AsTable(table)->parent) FreeTree(AsTable(table));
}

// ---- writing ----------------------------------------------------------------------------------------------

void table_set_str(void* table, int row, int col, const char* text, int /*copy*/) {
  TableData* data = AsTable(table);
  const Column* column = ColumnOfCell(data, row, col);
  if (column && column->kind == TABLE_TEXT && text)
    StoreText(data, *column, static_cast<uint32_t>(row), text);
}

void table_set_double(void* table, int row, int col, double value) {
  SetNumber<double>(table, row, col, TABLE_DOUBLE, value);
}

void table_set_float(void* table, int row, int col, float value) {
  SetNumber<double>(table, row, col, TABLE_FLOAT, value);
}

void table_set_int(void* table, int row, int col, int value) {
  SetNumber<int64_t>(table, row, col, TABLE_INT32, value);
}

void table_set_uint(void* table, int row, int col, unsigned int value) {
  SetNumber<uint64_t>(table, row, col, TABLE_UINT32, value);
}

void table_set_int64(void* table, int row, int col, long long value) {
  SetNumber<int64_t>(table, row, col, TABLE_INT64, value);
}

void table_set_uint64(void* table, int row, int col, unsigned long long value) {
  TableData* data = AsTable(table);
  const Column* column = ColumnOfCell(data, row, col);
  if (!column) return;
  if (column->kind == TABLE_UINT64 || column->kind == TABLE_TIME) {
    Put(data, *column, row, value);
  } else {
    PutUnsigned(data, *column, row, value);
  }
}

void table_set_short(void* table, int row, int col, unsigned short value) {
  TableData* data = AsTable(table);
  const Column* column = ColumnOfCell(data, row, col);
  if (!column) return;
  if (column->kind == TABLE_INT16 || column->kind == TABLE_UINT16) {
    Put(data, *column, row, value);
  } else {
    PutUnsigned(data, *column, row, value);
  }
}

void table_set_pfloat(void* table, int row, int col, PFloat value) {
  SetOwn(table, row, col, TABLE_PFLOAT, value);
}

void table_set_vfloat(void* table, int row, int col, VFloat value) {
  SetOwn(table, row, col, TABLE_VFLOAT, value);
}

void table_set_binary(void* table, int row, int col, int size, const void* bytes, int /*copy*/) {
  TableData* data = AsTable(table);
  const Column* column = ColumnOfCell(data, row, col);
  if (!column || column->kind != TABLE_BINARY || size < 0 || (!bytes && size != 0)) return;
  StoreBinary(data, *column, static_cast<uint32_t>(row), bytes, size);
}

void table_set_buff(void* table, int row, int col, const void* bytes, int size, int /*flag*/) {
  TableData* data = AsTable(table);
  const Column* column = ColumnOfCell(data, row, col);
  if (!column || !bytes || size <= 0 || static_cast<uint32_t>(size) != column->width) return;
  if (column->counted()) {
    StoreArray(data, *column, static_cast<uint32_t>(row), bytes);
    return;
  }
  if (column->kind == TABLE_TEXT || column->kind == TABLE_BINARY || column->kind == TABLE_CHILD) return;
  // The cell's own bytes may be what is passed, and placing them may move the cell.
  unsigned char held[8];
  memcpy(held, bytes, column->width);
  memcpy(PlaceCell(data, *column, static_cast<uint32_t>(row)), held, column->width);
}

void table_set_table_raw(void* table, int row, int col, void* child) {
  TableData* data = AsTable(table);
  TableData* content = AsTable(child);
  if (content && (content->parent || (data && IsAncestor(content, data)))) return;
  const Column* column = TableColumn(table, row, col);
  if (!column) {
    // Handed over without a place to go to: nobody else will free it.
    if (content) FreeTree(content);
    return;
  }
  if (content) {
    StoreChild(data, *column, static_cast<uint32_t>(row), content);
    return;
  }
  const unsigned char* cell = FindCell(data, *column, static_cast<uint32_t>(row));
  if (!cell) return;
  TableData* old = Load<TableData*>(cell);
  UnsetCell(data, *column, static_cast<uint32_t>(row));
  if (old) FreeTree(old);
}

void table_set_table(void* table, int row, int col, void* child, int copy) {
  if (child && copy == 0) {
    table_set_table_raw(table, row, col, child);
    return;
  }
  TableData* data = AsTable(table);
  const Column* column = TableColumn(table, row, col);
  if (!column) return;
  struct Free {
    void operator()(TableData* held) const noexcept { FreeTree(held); }
  };
  std::unique_ptr<TableData, Free> content(child ? CopyTree(AsTable(child)) : nullptr);
  StoreChild(data, *column, static_cast<uint32_t>(row), content.get());
  static_cast<void>(content.release());
}

// ---- reading: the table -----------------------------------------------------------------------------------

int table_rows(const void* table) {
  return table ? static_cast<int>(AsTable(table)->rows) : 0;
}

int table_cols(void* table) {
  return table ? static_cast<int>(AsTable(table)->spec->cols) : 0;
}

const char* table_name(const void* table) {
  return table ? AsTable(table)->name() : "";
}

const char* table_col_name(const void* table, int col) {
  const Column* column = ColumnAt(table, col);
  return column ? AsTable(table)->spec->name_of(*column) : "";
}

int table_col_index(void* table, const char* name) {
  if (!table || !name) return -1;
  const Spec* spec = AsTable(table)->spec;
  for (uint32_t i = 0; i < spec->cols; ++i) {
    if (strcmp(spec->name_of(spec->columns()[i]), name) == 0) return static_cast<int>(i);
  }
  return -1;
}

int table_col_type(void* table, int col) {
  const Column* column = ColumnAt(table, col);
  return column ? column->code() : 0;
}

int table_col_count(const void* table, int col) {
  const Column* column = ColumnAt(table, col);
  if (!column || column->kind == TABLE_NOTHING) return 0;
  return static_cast<int>(column->width / ElementWidth(column->code()));
}

// ---- reading: cells ---------------------------------------------------------------------------------------

int table_is_set(const void* table, int row, int col) {
  const Column* column = ColumnOfCell(AsTable(table), row, col);
  if (!column || column->kind == TABLE_NOTHING) return 0;
  return FindCell(AsTable(table), *column, static_cast<uint32_t>(row)) ? 1 : 0;
}

const char* table_get_str(const void* table, int row, int col) {
  return GetCell<const char*>(table, row, col, TABLE_TEXT);
}

double table_get_double(const void* table, int row, int col) {
  return GetCell<double>(table, row, col, TABLE_DOUBLE);
}

float table_get_float(const void* table, int row, int col) {
  return GetCell<float>(table, row, col, TABLE_FLOAT);
}

int table_get_int(const void* table, int row, int col) {
  return GetCell<int32_t>(table, row, col, TABLE_INT32);
}

unsigned int table_get_uint(const void* table, int row, int col) {
  return GetCell<uint32_t>(table, row, col, TABLE_UINT32);
}

long long table_get_int64(const void* table, int row, int col) {
  return GetCell<int64_t>(table, row, col, TABLE_INT64);
}

unsigned long long table_get_uint64(const void* table, int row, int col) {
  const unsigned char* cell = CellOfKind(table, row, col, TABLE_UINT64);
  if (!cell) cell = CellOfKind(table, row, col, TABLE_TIME);
  return cell ? Load<uint64_t>(cell) : 0;
}

unsigned short table_get_short(const void* table, int row, int col) {
  const unsigned char* cell = CellOfKind(table, row, col, TABLE_INT16);
  if (!cell) cell = CellOfKind(table, row, col, TABLE_UINT16);
  return cell ? Load<uint16_t>(cell) : uint16_t{0};
}

PFloat table_get_pfloat(const void* table, int row, int col) {
  return GetCell<PFloat>(table, row, col, TABLE_PFLOAT);
}

VFloat table_get_vfloat(const void* table, int row, int col) {
  return GetCell<VFloat>(table, row, col, TABLE_VFLOAT);
}

const void* table_get_binary(const void* table, int row, int col, int* size) {
  int length = 0;
  const unsigned char* cell = CellOfKind(table, row, col, TABLE_BINARY);
  const void* bytes = cell ? BinaryBytes(cell, &length) : nullptr;
  if (size) *size = length;
  return bytes;
}

const void* table_get_buff(const void* table, int row, int col, int* size) {
  if (size) *size = 0;
  const Column* column = ColumnOfCell(AsTable(table), row, col);
  if (!column || column->kind == TABLE_NOTHING) return nullptr;
  if (column->kind == TABLE_TEXT || column->kind == TABLE_BINARY || column->kind == TABLE_CHILD)
    return nullptr;
  const unsigned char* cell = FindCell(AsTable(table), *column, static_cast<uint32_t>(row));
  if (!cell) return nullptr;
  if (size) *size = static_cast<int>(column->width);
  return column->counted() ? Load<const void*>(cell) : cell;
}

void* table_get_table(const void* table, int row, int col) {
  return GetCell<TableData*>(table, row, col, TABLE_CHILD);
}

}  // extern "C"
