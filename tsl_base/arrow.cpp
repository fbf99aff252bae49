// Tables as Arrow arrays.
//
// All parts of one export share a store: it owns the tables, whose cells some buffers are, the buffers that
// were filled here and the small blocks that the arrays are made of. Each part counts as one user of the
// store, so that parts can be moved away and released in any order.
#include "tsl_base/arrow.h"

#include <errno.h>
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "tsl_base/detail/bytes.h"
#include "tsl_base/detail/cells.h"
#include "tsl_base/detail/spec.h"
#include "tsl_base/detail/tree.h"
#include "tsl_base/detail/utf8.h"
#include "tsl_base/values.h"

namespace {

using namespace tsl_base::detail;

using Tables = std::vector<TableData*>;

// Far beyond what a reply nests; the walks here and in whoever reads the arrays are recursive.
constexpr int kDeepest = 128;

// Ends an export; caught where it began.
struct Failure {
  int code;
  int64_t misfit = -1;
};

// ---- the type ---------------------------------------------------------------------------------------------

// A column as the type has it.
struct Field {
  std::string name;  // as the table has it
  int code = TABLE_NOTHING;
  uint32_t count = 1;         // elements of a cell
  std::vector<Field> inside;  // of a table
};

bool IsCounted(const Field& field) {
  return field.count > 1;
}

uint32_t CountOf(const Column& column) {
  return column.counted() ? column.width / ElementWidth(column.code()) : 1;
}

bool Fits(const Spec& spec, const std::vector<Field>& fields) {
  if (spec.cols != fields.size()) return false;
  for (uint32_t i = 0; i < spec.cols; ++i) {
    const Column& column = spec.columns()[i];
    const Field& field = fields[i];
    if (column.code() != field.code || CountOf(column) != field.count) return false;
    const std::string_view name = spec.name_of(column);
    if (name != field.name && ValidUtf8(name) != field.name) return false;
  }
  return true;
}

// The first of the tables that does not have these columns; how many there are if all do.
size_t FirstMisfit(const Tables& tables, const std::vector<Field>& fields) {
  const Spec* known = nullptr;
  for (size_t i = 0; i < tables.size(); ++i) {
    if (tables[i]->spec == known) continue;
    if (!Fits(*tables[i]->spec, fields)) return i;
    known = tables[i]->spec;
  }
  return tables.size();
}

// The tables in a column, without the cells that are set and empty.
Tables ChildrenIn(const Tables& tables, uint32_t col) {
  Tables children;
  for (TableData* table : tables) {
    if (!table->had_children()) continue;
    VisitCells(table, table->spec->columns()[col], [&children](uint32_t, const unsigned char* cell) {
      if (TableData* child = Load<TableData*>(cell)) children.push_back(child);
    });
  }
  return children;
}

// The columns that all of the tables have.
std::vector<Field> FieldsOf(const Tables& tables, int depth) {
  std::vector<Field> fields;
  if (tables.empty()) return fields;
  if (depth > kDeepest) throw Failure{EOVERFLOW};
  const Spec& spec = *tables[0]->spec;
  for (uint32_t i = 0; i < spec.cols; ++i) {
    const Column& column = spec.columns()[i];
    fields.push_back({spec.name_of(column), column.code(), CountOf(column), {}});
  }
  if (FirstMisfit(tables, fields) != tables.size()) throw Failure{EINVAL};
  for (uint32_t i = 0; i < spec.cols; ++i) {
    if (fields[i].code == TABLE_CHILD) fields[i].inside = FieldsOf(ChildrenIn(tables, i), depth + 1);
  }
  return fields;
}

const char* FormatOf(int code) {
  switch (code) {
    case TABLE_INT8: return "c";
    case TABLE_INT16: return "s";
    case TABLE_INT32: return "i";
    case TABLE_INT64: return "l";
    case TABLE_FLOAT: return "f";
    case TABLE_DOUBLE:
    case TABLE_PFLOAT:
    case TABLE_VFLOAT: return "g";
    case TABLE_TEXT: return "u";
    case TABLE_BINARY: return "z";
    case TABLE_UINT8: return "C";
    case TABLE_UINT16: return "S";
    case TABLE_UINT32: return "I";
    case TABLE_UINT64: return "L";
    case TABLE_CHILD: return "+l";
    case TABLE_TIME: return "tss:";
    default: return "n";
  }
}

// A type as the interface has it. Each node owns what it is made of and the structs of its children, so that
// children can be moved away.
struct SchemaNode {
  std::string format;
  std::string name;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> pointers;
};

void ReleaseSchema(ArrowSchema* schema) {
  auto* node = static_cast<SchemaNode*>(schema->private_data);
  for (ArrowSchema& child : node->children) {
    if (child.release != nullptr) child.release(&child);
  }
  schema->release = nullptr;
  delete node;
}

// With room for the children, which are to be made in their places.
SchemaNode* MakeSchema(std::string format, std::string name, size_t children, bool nullable,
                       ArrowSchema* out) {
  auto node = std::make_unique<SchemaNode>();
  node->format = std::move(format);
  node->name = std::move(name);
  node->children.resize(children);
  for (ArrowSchema& child : node->children)
    node->pointers.push_back(&child);
  *out = ArrowSchema{};
  out->format = node->format.c_str();
  out->name = node->name.c_str();
  out->flags = nullable ? ARROW_FLAG_NULLABLE : 0;
  out->n_children = static_cast<int64_t>(children);
  out->children = node->pointers.data();
  out->release = ReleaseSchema;
  out->private_data = node.get();
  return node.release();
}

void MakeStructSchema(const std::vector<Field>& fields, const char* name, bool nullable, ArrowSchema* out);

void MakeFieldSchema(const Field& field, ArrowSchema* out) {
  if (field.code == TABLE_CHILD) {
    SchemaNode* list = MakeSchema("+l", ValidUtf8(field.name), 1, true, out);
    MakeStructSchema(field.inside, "item", false, list->pointers[0]);
  } else if (IsCounted(field)) {
    SchemaNode* array = MakeSchema("+w:" + std::to_string(field.count), ValidUtf8(field.name), 1, true, out);
    MakeSchema(FormatOf(field.code), "item", 0, false, array->pointers[0]);
  } else {
    MakeSchema(FormatOf(field.code), ValidUtf8(field.name), 0, true, out);
  }
}

void MakeStructSchema(const std::vector<Field>& fields, const char* name, bool nullable, ArrowSchema* out) {
  SchemaNode* node = MakeSchema("+s", name, fields.size(), nullable, out);
  for (size_t i = 0; i < fields.size(); ++i)
    MakeFieldSchema(fields[i], node->pointers[i]);
}

int CodeOfFormat(std::string_view format) {
  for (const int code :
       {TABLE_INT8, TABLE_INT16, TABLE_INT32, TABLE_INT64, TABLE_FLOAT, TABLE_DOUBLE, TABLE_TEXT,
        TABLE_BINARY, TABLE_UINT8, TABLE_UINT16, TABLE_UINT32, TABLE_UINT64, TABLE_TIME, TABLE_NOTHING}) {
    if (format == FormatOf(code)) return code;
  }
  throw Failure{EINVAL};
}

std::vector<Field> FieldsOf(const ArrowSchema& schema, int depth);

Field FieldOf(const ArrowSchema& schema, int depth) {
  Field field;
  field.name = schema.name != nullptr ? schema.name : "";
  const std::string_view format = schema.format;
  if (format == "+l") {
    if (schema.n_children != 1) throw Failure{EINVAL};
    field.code = TABLE_CHILD;
    field.inside = FieldsOf(*schema.children[0], depth + 1);
  } else if (format.substr(0, 3) == "+w:") {
    if (schema.n_children != 1) throw Failure{EINVAL};
    field.code = CodeOfFormat(schema.children[0]->format);
    field.count = static_cast<uint32_t>(strtoul(schema.format + 3, nullptr, 10));
  } else {
    field.code = CodeOfFormat(format);
  }
  return field;
}

std::vector<Field> FieldsOf(const ArrowSchema& schema, int depth) {
  if (depth > kDeepest) throw Failure{EOVERFLOW};
  if (std::string_view(schema.format) != "+s") throw Failure{EINVAL};
  std::vector<Field> fields;
  for (int64_t i = 0; i < schema.n_children; ++i)
    fields.push_back(FieldOf(*schema.children[i], depth));
  return fields;
}

// ---- the store --------------------------------------------------------------------------------------------

struct FreeBlock {
  void operator()(void* block) const { free(block); }
};
using Block = std::unique_ptr<void, FreeBlock>;

// What one export may make. A column with one cell far down takes as much as a full one, so a reply can
// announce far more than it holds.
constexpr uint64_t kMostBytes = uint64_t{1} << 30;

class Store {
 public:
  // Bytes of any content, aligned as malloc does.
  void* Bytes(uint64_t size) {
    Spend(size);
    return Keep(malloc(std::max<size_t>(static_cast<size_t>(size), 1)));
  }

  // Zeros, the same for all who ask: columns that nothing was written to cost nothing each.
  const void* Zeros(uint64_t size) {
    if (size <= zeros_size_) return zeros_;
    Spend(size);
    zeros_ = Keep(calloc(std::max<size_t>(static_cast<size_t>(size), 1), 1));
    zeros_size_ = size;
    return zeros_;
  }

  // Nobody else may use the store yet. It owns the tables from now on.
  void Own(Tables tables) { tables_ = std::move(tables); }

  void AddUser() { users_.fetch_add(1, std::memory_order_relaxed); }
  // Ends the store with its last user.
  void DropUser() {
    if (users_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    for (TableData* table : tables_)
      FreeTree(table);
    delete this;
  }

 private:
  void Spend(uint64_t size) {
    if (size > kMostBytes - spent_) throw Failure{EOVERFLOW};
    spent_ += size;
  }

  void* Keep(void* block) {
    Block held(block);
    if (!held) throw std::bad_alloc();
    blocks_.push_back(std::move(held));
    return block;
  }

  std::atomic<uint64_t> users_{1};
  Tables tables_;
  std::vector<Block> blocks_;
  const void* zeros_ = nullptr;
  uint64_t zeros_size_ = 0;
  uint64_t spent_ = 0;
};

void ReleasePart(ArrowArray* array) {
  for (int64_t i = 0; i < array->n_children; ++i) {
    ArrowArray* child = array->children[i];
    if (child->release != nullptr) child->release(child);
  }
  array->release = nullptr;
  static_cast<Store*>(array->private_data)->DropUser();
}

// An array with room for so many buffers and children. Its parts are made in their places; should that fail,
// the store goes with all of them.
void MakeArray(Store* store, int64_t length, int64_t buffers, int64_t children, ArrowArray* out) {
  *out = ArrowArray{};
  out->length = length;
  out->n_buffers = buffers;
  if (buffers != 0) {
    out->buffers = static_cast<const void**>(store->Bytes(static_cast<uint64_t>(buffers) * sizeof(void*)));
    std::fill_n(out->buffers, buffers, nullptr);
  }
  if (children != 0) {
    const auto count = static_cast<uint64_t>(children);
    auto* structs = static_cast<ArrowArray*>(store->Bytes(count * sizeof(ArrowArray)));
    std::fill_n(structs, count, ArrowArray{});
    out->children = static_cast<ArrowArray**>(store->Bytes(count * sizeof(ArrowArray*)));
    for (uint64_t i = 0; i < count; ++i)
      out->children[i] = structs + i;
    out->n_children = children;
  }
  out->release = ReleasePart;
  out->private_data = store;
}

// Users are counted when everything is made.
void CountUsers(Store* store, ArrowArray* array) {
  store->AddUser();
  for (int64_t i = 0; i < array->n_children; ++i)
    CountUsers(store, array->children[i]);
}

// ---- bits -------------------------------------------------------------------------------------------------

// Validity bits as they are filled, from the first one on.
class Bits {
 public:
  Bits(Store* store, uint64_t count)
      : words_(static_cast<uint64_t*>(store->Bytes((count / 64 + 2) * sizeof(uint64_t)))), set_(0), at_(0) {
    memset(words_, 0, (count / 64 + 2) * sizeof(uint64_t));
  }

  void Append(bool bit) {
    words_[at_ >> 6] |= uint64_t{bit} << (at_ & 63);
    set_ += bit;
    ++at_;
  }

  void Append(const uint64_t* from, uint64_t first, uint64_t count) {
    while (count != 0) {
      const uint64_t taken = std::min<uint64_t>(count, 64 - (first & 63));
      uint64_t word = from[first >> 6] >> (first & 63);
      if (taken < 64) word &= (uint64_t{1} << taken) - 1;
      words_[at_ >> 6] |= word << (at_ & 63);
      if ((at_ & 63) + taken > 64) words_[(at_ >> 6) + 1] |= word >> (64 - (at_ & 63));
      set_ += static_cast<uint64_t>(__builtin_popcountll(word));
      at_ += taken;
      first += taken;
      count -= taken;
    }
  }

  void Skip(uint64_t count) { at_ += count; }
  // Sets a bit that was skipped.
  void Set(uint64_t index) {
    words_[index >> 6] |= uint64_t{1} << (index & 63);
    ++set_;
  }

  uint64_t at() const { return at_; }
  uint64_t set() const { return set_; }
  const void* words() const { return words_; }

 private:
  uint64_t* words_;
  uint64_t set_;
  uint64_t at_;
};

uint64_t CountSet(const uint64_t* bits, uint64_t first, uint64_t count) {
  uint64_t set = 0;
  while (count != 0) {
    const uint64_t taken = std::min<uint64_t>(count, 64 - (first & 63));
    uint64_t word = bits[first >> 6] >> (first & 63);
    if (taken < 64) word &= (uint64_t{1} << taken) - 1;
    set += static_cast<uint64_t>(__builtin_popcountll(word));
    first += taken;
    count -= taken;
  }
  return set;
}

// Arrow counts on little-endian bits; 64-bit words have them in the same order there only.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "Arrow export needs a little-endian machine"
#endif

void SetValidity(const Bits& bits, ArrowArray* out) {
  out->null_count = static_cast<int64_t>(bits.at() - bits.set());
  if (out->null_count != 0) out->buffers[0] = bits.words();
}

// ---- columns ----------------------------------------------------------------------------------------------

uint64_t RowsOf(const Tables& tables) {
  uint64_t rows = 0;
  for (const TableData* table : tables)
    rows += table->rows;
  return rows;
}

// Whether any cell of the column may be set.
bool IsWritten(const Tables& tables, uint32_t col) {
  return std::any_of(tables.begin(), tables.end(), [col](const TableData* table) {
    if (!table->is_large) return table->rows != 0;
    const Slab* slab = FindSlab(table, table->spec->columns()[col]);
    return slab != nullptr && (slab->capacity != 0 || slab->outliers != 0);
  });
}

void MakeUnset(Store* store, int64_t rows, ArrowArray* out) {
  out->null_count = rows;
  out->buffers[0] = store->Zeros((static_cast<uint64_t>(rows) + 63) / 64 * 8);
}

// What is not set reads as 0, whoever looks at it: memory's old content leaves with no array.
void ClearUnset(unsigned char* cells, const uint64_t* bits, uint64_t first, uint64_t rows, size_t width) {
  for (uint64_t row = 0; row < rows; ++row) {
    if ((bits[(first + row) >> 6] >> ((first + row) & 63) & 1) == 0) memset(cells + row * width, 0, width);
  }
}

// The cells of one column of a table where they lie in one piece, all rows of them.
struct Piece {
  unsigned char* cells = nullptr;
  const uint64_t* bits = nullptr;
  uint64_t first = 0;  // of the bits, and in a small table of the cells
};

Piece PieceOf(TableData* table, const Column& column, size_t width) {
  if (!table->is_large) {
    // Cells of a small table are 8 bytes apart.
    if (width != 8) return {};
    return {table->small_cell(0), table->small_bits(), uint64_t{column.slot} * table->rows};
  }
  const Slab* slab = FindSlab(table, column);
  if (slab == nullptr || slab->capacity < table->rows) return {};
  return {slab->cells, slab->bits, 0};
}

bool ShareNumbers(const Tables& tables, uint32_t col, size_t width, ArrowArray* out) {
  if (tables.size() != 1) return false;
  TableData* table = tables[0];
  const Piece piece = PieceOf(table, table->spec->columns()[col], width);
  if (piece.cells == nullptr) return false;
  out->offset = static_cast<int64_t>(piece.first);
  out->null_count = static_cast<int64_t>(table->rows - CountSet(piece.bits, piece.first, table->rows));
  if (out->null_count != 0) {
    ClearUnset(piece.cells + piece.first * width, piece.bits, piece.first, table->rows, width);
    out->buffers[0] = piece.bits;
  }
  out->buffers[1] = piece.cells;
  return true;
}

// The cells of a table without slabs in one piece.
void CopyCells(const TableData* table, const Column& column, size_t width, unsigned char* to, Bits* bits) {
  memset(to, 0, table->rows * width);
  const uint64_t base = bits->at();
  bits->Skip(table->rows);
  VisitCells(table, column, [=](uint32_t row, const unsigned char* cell) {
    memcpy(to + row * width, cell, width);
    bits->Set(base + row);
  });
}

void CopyPiece(const TableData* table, const Piece& piece, size_t width, unsigned char* to, Bits* bits) {
  const uint64_t before = bits->set();
  bits->Append(piece.bits, piece.first, table->rows);
  memcpy(to, piece.cells + piece.first * width, table->rows * width);
  if (bits->set() - before != table->rows) ClearUnset(to, piece.bits, piece.first, table->rows, width);
}

template <class T>
void CopyRow(const TableData* table, const Column& column, unsigned char* to, Bits* bits) {
  const bool set = TestBit(table->small_bits(), column.slot);
  bits->Append(set);
  Save(to, set ? Load<T>(table->small_cell(column.slot)) : T{});
}

void CopyNumbers(Store* store, const Tables& tables, uint32_t col, uint64_t rows, size_t width,
                 ArrowArray* out) {
  auto* to = static_cast<unsigned char*>(store->Bytes(rows * width));
  out->buffers[1] = to;
  Bits bits(store, rows);
  for (TableData* table : tables) {
    const Column& column = table->spec->columns()[col];
    // Most nested tables have a single row.
    if (!table->is_large && table->rows == 1 && width == 8) {
      CopyRow<uint64_t>(table, column, to, &bits);
    } else if (!table->is_large && table->rows == 1 && width == 4) {
      CopyRow<uint32_t>(table, column, to, &bits);
    } else if (const Piece piece = PieceOf(table, column, width); piece.cells != nullptr) {
      CopyPiece(table, piece, width, to, &bits);
    } else {
      CopyCells(table, column, width, to, &bits);
    }
    to += table->rows * width;
  }
  SetValidity(bits, out);
}

void MakeNumbers(Store* store, const Tables& tables, uint32_t col, uint64_t rows, size_t width,
                 ArrowArray* out) {
  MakeArray(store, static_cast<int64_t>(rows), 2, 0, out);
  if (!IsWritten(tables, col)) {
    MakeUnset(store, static_cast<int64_t>(rows), out);
    out->buffers[1] = store->Zeros(rows * width);
  } else if (!ShareNumbers(tables, col, width, out)) {
    CopyNumbers(store, tables, col, rows, width, out);
  }
}

// Calls visit(row of the whole, cell) for every set cell.
template <class Visit>
void VisitColumn(const Tables& tables, uint32_t col, Visit visit) {
  uint64_t base = 0;
  for (const TableData* table : tables) {
    VisitCells(table, table->spec->columns()[col],
               [&visit, base](uint32_t row, const unsigned char* cell) { visit(base + row, cell); });
    base += table->rows;
  }
}

double DoubleOf(int64_t mantissa, unsigned decimals) {
  return static_cast<double>(mantissa) / pow(10.0, static_cast<double>(decimals));
}

void MakeDecimals(Store* store, const Tables& tables, uint32_t col, uint64_t rows, int code,
                  ArrowArray* out) {
  MakeArray(store, static_cast<int64_t>(rows), 2, 0, out);
  auto* values = static_cast<double*>(store->Bytes(rows * sizeof(double)));
  std::fill_n(values, rows, 0.0);
  Bits bits(store, rows);
  bits.Skip(rows);
  VisitColumn(tables, col, [&](uint64_t row, const unsigned char* cell) {
    const auto pfloat = Load<PFloat>(cell);
    const auto vfloat = Load<VFloat>(cell);
    values[row] = code == TABLE_PFLOAT ? DoubleOf(pfloat.mantissa(), pfloat.decimals())
                                       : DoubleOf(vfloat.mantissa(), vfloat.decimals());
    bits.Set(row);
  });
  out->buffers[1] = values;
  SetValidity(bits, out);
}

// The bytes of a text or byte string in a cell, as the array holds them.
struct Item {
  const char* bytes;
  size_t size;
};

Item BinaryOf(const unsigned char* cell) {
  int size = 0;
  const void* bytes = BinaryBytes(cell, &size);
  return {static_cast<const char*>(bytes), static_cast<size_t>(size)};
}

int32_t Offset(uint64_t value) {
  if (value > INT32_MAX) throw Failure{EOVERFLOW};
  return static_cast<int32_t>(value);
}

// Bytes that grow. They may move, so they are handed to the store at the end.
class Growing {
 public:
  void Append(const char* bytes, size_t size) {
    if (size > capacity_ - size_) Grow(size);
    if (size != 0) memcpy(static_cast<char*>(block_.get()) + size_, bytes, size);
    size_ += size;
  }
  uint64_t size() const { return size_; }
  const void* MoveTo(Store* store) {
    void* to = store->Bytes(size_);
    if (size_ != 0) memcpy(to, block_.get(), size_);
    return to;
  }

 private:
  void Grow(size_t size) {
    const size_t capacity = std::max({size_ + size, 2 * capacity_, size_t{1024}});
    void* block = realloc(block_.get(), capacity);
    if (block == nullptr) throw std::bad_alloc();
    static_cast<void>(block_.release());
    block_.reset(block);
    capacity_ = capacity;
  }

  Block block_;
  size_t size_ = 0;
  size_t capacity_ = 0;
};

void MakeItems(Store* store, const Tables& tables, uint32_t col, uint64_t rows, int code, ArrowArray* out) {
  MakeArray(store, static_cast<int64_t>(rows), 3, 0, out);
  if (!IsWritten(tables, col)) {
    MakeUnset(store, static_cast<int64_t>(rows), out);
    out->buffers[1] = store->Zeros((rows + 1) * sizeof(int32_t));
    out->buffers[2] = store->Zeros(1);
    return;
  }
  auto* offsets = static_cast<int32_t*>(store->Bytes((rows + 1) * sizeof(int32_t)));
  Growing bytes;
  Bits bits(store, rows);
  bits.Skip(rows);
  uint64_t next = 0;  // row of the first offset that is not known yet
  VisitColumn(tables, col, [&](uint64_t row, const unsigned char* cell) {
    const int32_t from = Offset(bytes.size());
    while (next <= row)
      offsets[next++] = from;
    bits.Set(row);
    if (code == TABLE_BINARY) {
      const Item item = BinaryOf(cell);
      bytes.Append(item.bytes, item.size);
      return;
    }
    const char* text = Load<const char*>(cell);
    const size_t size = strlen(text);
    if (IsUtf8(text, size)) {
      bytes.Append(text, size);
    } else {
      const std::string valid = ValidUtf8(std::string_view(text, size));
      bytes.Append(valid.data(), valid.size());
    }
  });
  const int32_t end = Offset(bytes.size());
  while (next <= rows)
    offsets[next++] = end;
  out->buffers[1] = offsets;
  out->buffers[2] = bytes.MoveTo(store);
  SetValidity(bits, out);
}

void MakeCounted(Store* store, const Tables& tables, uint32_t col, uint64_t rows, const Field& field,
                 ArrowArray* out) {
  MakeArray(store, static_cast<int64_t>(rows), 1, 1, out);
  const uint64_t elements = rows * field.count;
  static_cast<void>(Offset(elements));
  const size_t width = ElementWidth(field.code) * size_t{field.count};
  ArrowArray* values = out->children[0];
  MakeArray(store, static_cast<int64_t>(elements), 2, 0, values);
  if (!IsWritten(tables, col)) {
    MakeUnset(store, static_cast<int64_t>(rows), out);
    values->buffers[1] = store->Zeros(rows * width);
    return;
  }
  auto* to = static_cast<unsigned char*>(store->Bytes(rows * width));
  memset(to, 0, rows * width);
  values->buffers[1] = to;
  Bits bits(store, rows);
  bits.Skip(rows);
  VisitColumn(tables, col, [&](uint64_t row, const unsigned char* cell) {
    memcpy(to + row * width, Load<const void*>(cell), width);
    bits.Set(row);
  });
  SetValidity(bits, out);
}

void MakeStruct(Store* store, const Tables& tables, const std::vector<Field>& fields, int depth,
                ArrowArray* out);

void MakeChildren(Store* store, const Tables& tables, uint32_t col, uint64_t rows, const Field& field,
                  int depth, ArrowArray* out) {
  MakeArray(store, static_cast<int64_t>(rows), 2, 1, out);
  auto* offsets = static_cast<int32_t*>(store->Bytes((rows + 1) * sizeof(int32_t)));
  Tables children;
  Bits bits(store, rows);
  bits.Skip(rows);
  uint64_t next = 0;
  uint64_t inside = 0;
  VisitColumn(tables, col, [&](uint64_t row, const unsigned char* cell) {
    const int32_t from = Offset(inside);
    while (next <= row)
      offsets[next++] = from;
    bits.Set(row);
    if (TableData* child = Load<TableData*>(cell)) {
      children.push_back(child);
      inside += child->rows;
    }
  });
  const int32_t end = Offset(inside);
  while (next <= rows)
    offsets[next++] = end;
  out->buffers[1] = offsets;
  SetValidity(bits, out);
  MakeStruct(store, children, field.inside, depth + 1, out->children[0]);
}

void MakeColumn(Store* store, const Tables& tables, uint32_t col, uint64_t rows, const Field& field,
                int depth, ArrowArray* out) {
  if (IsCounted(field)) return MakeCounted(store, tables, col, rows, field, out);
  switch (field.code) {
    case TABLE_NOTHING:
      MakeArray(store, static_cast<int64_t>(rows), 0, 0, out);
      out->null_count = static_cast<int64_t>(rows);
      return;
    case TABLE_TEXT:
    case TABLE_BINARY: return MakeItems(store, tables, col, rows, field.code, out);
    case TABLE_CHILD: return MakeChildren(store, tables, col, rows, field, depth, out);
    case TABLE_PFLOAT:
    case TABLE_VFLOAT: return MakeDecimals(store, tables, col, rows, field.code, out);
    default: return MakeNumbers(store, tables, col, rows, ElementWidth(field.code), out);
  }
}

void MakeStruct(Store* store, const Tables& tables, const std::vector<Field>& fields, int depth,
                ArrowArray* out) {
  if (depth > kDeepest) throw Failure{EOVERFLOW};
  const size_t misfit = FirstMisfit(tables, fields);
  if (misfit != tables.size()) throw Failure{EINVAL, depth == 0 ? static_cast<int64_t>(misfit) : -1};
  const uint64_t rows = RowsOf(tables);
  MakeArray(store, static_cast<int64_t>(rows), 1, static_cast<int64_t>(fields.size()), out);
  for (size_t i = 0; i < fields.size(); ++i)
    MakeColumn(store, tables, static_cast<uint32_t>(i), rows, fields[i], depth, out->children[i]);
}

// The array, whose store then owns the tables.
ArrowArray MakeExport(const Tables& tables, const std::vector<Field>& fields) {
  struct End {
    void operator()(Store* store) const { store->DropUser(); }
  };
  std::unique_ptr<Store, End> store(new Store);
  ArrowArray array{};
  Tables owned = tables;
  MakeStruct(store.get(), tables, fields, 0, &array);
  store->Own(std::move(owned));
  CountUsers(store.get(), &array);
  return array;
}

// Runs an export and says how it went.
template <class Export>
int Result(int64_t* misfit, Export run) {
  if (misfit != nullptr) *misfit = -1;
  try {
    run();
    return 0;
  } catch (const Failure& failure) {
    if (misfit != nullptr) *misfit = failure.misfit;
    return failure.code;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  }
}

TableData* Exportable(void* table) {
  auto* data = static_cast<TableData*>(table);
  if (data == nullptr || data->parent != nullptr) throw Failure{EINVAL};
  return data;
}

}  // namespace

extern "C" {

int table_export_arrow(void* table, struct ArrowSchema* schema, struct ArrowArray* array) {
  return Result(nullptr, [=] {
    const Tables tables = {Exportable(table)};
    const std::vector<Field> fields = FieldsOf(tables, 0);
    ArrowSchema made{};
    try {
      MakeStructSchema(fields, "", false, &made);
      *array = MakeExport(tables, fields);
    } catch (...) {
      if (made.release != nullptr) made.release(&made);
      throw;
    }
    *schema = made;
  });
}

int table_export_arrow_batch(void* const* tables, int64_t count, const struct ArrowSchema* schema,
                             struct ArrowArray* array, int64_t* misfit) {
  return Result(misfit, [=] {
    const std::vector<Field> fields = FieldsOf(*schema, 0);
    Tables all;
    for (int64_t i = 0; i < count; ++i)
      all.push_back(Exportable(tables[i]));
    *array = MakeExport(all, fields);
  });
}

}  // extern "C"
