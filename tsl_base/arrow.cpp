// Tables as Arrow arrays.
//
// What belongs together is made in one store: the parts of a type, or the parts of an array with the buffers
// that were filled here and the tables whose cells the other buffers are. Each part counts as one user of its
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
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tsl_base/detail/bits.h"
#include "tsl_base/detail/bytes.h"
#include "tsl_base/detail/cells.h"
#include "tsl_base/detail/spec.h"
#include "tsl_base/detail/tree.h"
#include "tsl_base/detail/utf8.h"
#include "tsl_base/values.h"

// Arrow's bits count from the lowest of the first byte on; 64-bit words have them in that order there only.
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "Arrow export needs a little-endian machine"
#endif

namespace {

using namespace tsl_base::detail;

using Tables = std::vector<TableData*>;

// Tables below each other, each of which is a list of structs. Most readers of Arrow refuse more than 64
// levels.
constexpr int kDeepest = 31;

// Ends an export; caught where it began.
struct Failure {
  int code;
  const TableData* misfit = nullptr;
};

// ---- the type ---------------------------------------------------------------------------------------------

// A column as the type has it. Names are not copied.
struct Field {
  std::string_view name;
  int code = TABLE_NOTHING;   // TABLE_DOUBLE for the decimal classes
  uint32_t count = 1;         // elements of a cell
  std::vector<Field> inside;  // of a table
};

bool IsCounted(const Field& field) {
  return field.count > 1;
}

bool IsNumber(const Field& field) {
  switch (field.code) {
    case TABLE_NOTHING:
    case TABLE_TEXT:
    case TABLE_BINARY:
    case TABLE_CHILD: return false;
    default: return !IsCounted(field);
  }
}

bool IsDecimal(const Column& column) {
  return column.code() == TABLE_PFLOAT || column.code() == TABLE_VFLOAT;
}

int CodeOf(const Column& column) {
  return IsDecimal(column) ? int{TABLE_DOUBLE} : column.code();
}

uint32_t CountOf(const Column& column) {
  return column.counted() ? column.width / ElementWidth(column.code()) : 1;
}

bool Fits(const Spec& spec, const std::vector<Field>& fields) {
  if (spec.cols != fields.size()) return false;
  for (uint32_t i = 0; i < spec.cols; ++i) {
    const Column& column = spec.columns()[i];
    const Field& field = fields[i];
    if (CodeOf(column) != field.code || CountOf(column) != field.count) return false;
    const std::string_view name = spec.name_of(column);
    if (name != field.name && ValidUtf8(name) != ValidUtf8(field.name)) return false;
  }
  return true;
}

// Whether the tables of two specs look alike without a look at each name. Short specs are read again and
// again rather than shared. For as many columns one text says one thing.
bool IsSame(const Spec& spec, const Spec& other) {
  return spec.cols == other.cols && spec.text_size == other.text_size &&
         memcmp(spec.text(), other.text(), spec.text_size) == 0;
}

void MustFit(const Tables& tables, const std::vector<Field>& fields) {
  const Spec* known = nullptr;
  for (const TableData* table : tables) {
    const Spec* spec = table->spec;
    if (spec == known || (known != nullptr && IsSame(*spec, *known))) continue;
    if (!Fits(*spec, fields)) throw Failure{EINVAL, table};
    known = spec;
  }
}

// The tables in each column as far as there are any, without the cells that are set and empty. What a table
// costs here depends on where its last child is, not on how many columns it has.
std::vector<Tables> ChildrenIn(const Tables& tables) {
  std::vector<Tables> children;
  for (const TableData* table : tables) {
    const uint32_t end = table->had_children() ? table->columns_with_children() : 0;
    if (end > children.size()) children.resize(end);
    for (uint32_t i = 0; i < end; ++i) {
      const Column& column = table->spec->columns()[i];
      if (column.kind != TABLE_CHILD) continue;
      VisitCells(table, column, [&](uint32_t, const unsigned char* cell) {
        if (TableData* child = Load<TableData*>(cell)) children[i].push_back(child);
      });
    }
  }
  return children;
}

// The columns that all of the tables have.
std::vector<Field> FieldsOf(const Tables& tables, int depth) {
  std::vector<Field> fields;
  if (tables.empty()) return fields;
  if (depth > kDeepest) throw Failure{EOVERFLOW};
  const Spec& spec = *tables[0]->spec;
  fields.reserve(spec.cols);
  bool nested = false;
  for (uint32_t i = 0; i < spec.cols; ++i) {
    const Column& column = spec.columns()[i];
    fields.push_back({spec.name_of(column), CodeOf(column), CountOf(column), {}});
    nested = nested || column.code() == TABLE_CHILD;
  }
  if (!nested) return fields;
  MustFit(tables, fields);
  const std::vector<Tables> children = ChildrenIn(tables);
  for (size_t i = 0; i < children.size(); ++i)
    fields[i].inside = FieldsOf(children[i], depth + 1);
  return fields;
}

const char* FormatOf(int code) {
  switch (code) {
    case TABLE_INT8: return "c";
    case TABLE_INT16: return "s";
    case TABLE_INT32: return "i";
    case TABLE_INT64: return "l";
    case TABLE_FLOAT: return "f";
    case TABLE_DOUBLE: return "g";
    case TABLE_TEXT: return "u";
    case TABLE_BINARY: return "z";
    case TABLE_UINT8: return "C";
    case TABLE_UINT16: return "S";
    case TABLE_UINT32: return "I";
    case TABLE_UINT64: return "L";
    case TABLE_TIME: return "tss:";
    default: return "n";
  }
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
    const bool is_array =
        field.code != TABLE_TEXT && field.code != TABLE_BINARY && field.code != TABLE_NOTHING;
    if (!is_array || !IsCounted(field)) throw Failure{EINVAL};
  } else {
    field.code = CodeOfFormat(format);
  }
  return field;
}

std::vector<Field> FieldsOf(const ArrowSchema& schema, int depth) {
  if (depth > kDeepest) throw Failure{EOVERFLOW};
  if (std::string_view(schema.format) != "+s") throw Failure{EINVAL};
  std::vector<Field> fields;
  fields.reserve(static_cast<size_t>(schema.n_children));
  for (int64_t i = 0; i < schema.n_children; ++i)
    fields.push_back(FieldOf(*schema.children[i], depth));
  return fields;
}

// ---- the store --------------------------------------------------------------------------------------------

struct FreeBlock {
  void operator()(void* block) const { free(block); }
};
using Block = std::unique_ptr<void, FreeBlock>;

// What the buffers of an array may take: this, and so many times what the cells take in its tables. A column
// with one cell far down takes as much as a full one here, so a small reply could ask for very much.
constexpr uint64_t kAlwaysAllowed = uint64_t{16} << 20;
constexpr uint64_t kAllowedFactor = 8;

// A size as memory has it. Where addresses have 32 bits, more may be asked for than there can be.
size_t InMemory(uint64_t size) {
  const auto fits = static_cast<size_t>(size);
  if (fits != size) throw std::bad_alloc();
  return fits;
}

class Store {
 public:
  Store() = default;
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // A block aligned for what the interface's structs hold.
  void* Allocate(uint64_t size) {
    size = std::max<uint64_t>((size + 7) / 8 * 8, 8);
    if (size > room_) {
      if (size >= kLargestChunk / 4) return Keep(size);
      chunk_ = std::min(2 * chunk_, kLargestChunk);
      const uint64_t room = std::max(chunk_, size);
      at_ = static_cast<char*>(Keep(room));
      room_ = room;
    }
    at_ += size;
    room_ -= size;
    return at_ - size;
  }

  // A buffer of any content, for as many cells as the tables have rows.
  void* Buffer(uint64_t size) {
    Spend(size);
    return Allocate(size);
  }

  // Zeros, the same for all who ask: columns that nothing was written to cost nothing each.
  const void* Zeros(uint64_t size) {
    if (zeros_ != nullptr && size <= zeros_size_) return zeros_;
    const uint64_t wanted = std::max({size, std::min(2 * zeros_size_, kAlwaysAllowed / 4), uint64_t{64}});
    Spend(wanted);
    zeros_ = Keep(Block(calloc(InMemory(wanted), 1)));
    zeros_size_ = wanted;
    return zeros_;
  }

  // Tells of cells that take so many bytes.
  void Allow(uint64_t size) { allowed_ += kAllowedFactor * size; }

  // Nobody else may use the store yet. It owns the tables from now on.
  void Own(Tables tables) noexcept { tables_ = std::move(tables); }

  // Nobody else may use the store yet.
  void AddUsers(uint64_t count) { users_.fetch_add(count, std::memory_order_relaxed); }
  // Ends the store with its last user.
  void DropUsers(uint64_t count) {
    if (users_.fetch_sub(count, std::memory_order_acq_rel) != count) return;
    for (TableData* table : tables_)
      FreeTree(table);
    delete this;
  }

 private:
  static constexpr uint64_t kLargestChunk = 32768;

  void Spend(uint64_t size) {
    if (size > allowed_ - spent_) throw Failure{EOVERFLOW};
    spent_ += size;
  }

  void* Keep(Block block) {
    if (!block) throw std::bad_alloc();
    blocks_.push_back(std::move(block));
    return blocks_.back().get();
  }
  void* Keep(uint64_t size) { return Keep(Block(malloc(std::max<size_t>(InMemory(size), 1)))); }

  std::atomic<uint64_t> users_{1};
  Tables tables_;
  std::vector<Block> blocks_;
  char* at_ = nullptr;
  uint64_t room_ = 0;
  uint64_t chunk_ = 512;
  const void* zeros_ = nullptr;
  uint64_t zeros_size_ = 0;
  uint64_t allowed_ = kAlwaysAllowed;
  uint64_t spent_ = 0;
};

struct DropStore {
  void operator()(Store* store) const { store->DropUsers(1); }
};
using OwnedStore = std::unique_ptr<Store, DropStore>;

// What follows is the same for both structs of the interface.

template <class Part>
void ReleasePart(Part* part);

// Marks a part as released with all below it that is still its own. Returns how many users these were; what
// was put in the place of a child is released by itself.
template <class Part>
uint64_t Leave(Part* part) {
  uint64_t users = 1;
  for (int64_t i = 0; i < part->n_children; ++i) {
    Part* child = part->children[i];
    if (child->release == ReleasePart<Part> && child->private_data == part->private_data) {
      users += Leave(child);
    } else if (child->release != nullptr) {
      child->release(child);
    }
  }
  part->release = nullptr;
  return users;
}

template <class Part>
void ReleasePart(Part* part) {
  auto* store = static_cast<Store*>(part->private_data);
  store->DropUsers(Leave(part));
}

// Room for the children, which are to be made in their places. Should that fail, the store goes with all.
template <class Part>
void StartPart(Store* store, uint64_t children, Part* out) {
  *out = Part{};
  out->release = ReleasePart<Part>;
  out->private_data = store;
  if (children == 0) return;
  auto* parts = static_cast<Part*>(store->Allocate(children * sizeof(Part)));
  std::uninitialized_fill_n(parts, children, Part{});
  out->children = static_cast<Part**>(store->Allocate(children * sizeof(Part*)));
  for (uint64_t i = 0; i < children; ++i)
    out->children[i] = parts + i;
  out->n_children = static_cast<int64_t>(children);
}

template <class Part>
uint64_t CountParts(const Part& part) {
  uint64_t parts = 1;
  for (int64_t i = 0; i < part.n_children; ++i)
    parts += CountParts(*part.children[i]);
  return parts;
}

// ---- the schema -------------------------------------------------------------------------------------------

const char* KeepText(Store* store, std::string_view text) {
  char* kept = static_cast<char*>(store->Allocate(text.size() + 1));
  std::copy(text.begin(), text.end(), kept);
  kept[text.size()] = '\0';
  return kept;
}

const char* KeepName(Store* store, std::string_view name) {
  if (IsUtf8(name.data(), name.size())) return KeepText(store, name);
  return KeepText(store, ValidUtf8(name));
}

// `format` and `name` are the store's or there for ever.
void MakeSchema(Store* store, const char* format, const char* name, uint64_t children, bool nullable,
                ArrowSchema* out) {
  StartPart(store, children, out);
  out->format = format;
  out->name = name;
  out->flags = nullable ? ARROW_FLAG_NULLABLE : 0;
}

void MakeStructSchema(Store* store, const std::vector<Field>& fields, const char* name, ArrowSchema* out);

void MakeFieldSchema(Store* store, const Field& field, ArrowSchema* out) {
  const char* name = KeepName(store, field.name);
  if (field.code == TABLE_CHILD) {
    MakeSchema(store, "+l", name, 1, true, out);
    MakeStructSchema(store, field.inside, "item", out->children[0]);
  } else if (IsCounted(field)) {
    MakeSchema(store, KeepText(store, "+w:" + std::to_string(field.count)), name, 1, true, out);
    MakeSchema(store, FormatOf(field.code), "item", 0, false, out->children[0]);
  } else {
    MakeSchema(store, FormatOf(field.code), name, 0, true, out);
  }
}

void MakeStructSchema(Store* store, const std::vector<Field>& fields, const char* name, ArrowSchema* out) {
  MakeSchema(store, "+s", name, fields.size(), false, out);
  for (size_t i = 0; i < fields.size(); ++i)
    MakeFieldSchema(store, fields[i], out->children[i]);
}

ArrowSchema ExportSchema(const std::vector<Field>& fields) {
  const OwnedStore store(new Store);
  ArrowSchema schema{};
  MakeStructSchema(store.get(), fields, "", &schema);
  store->AddUsers(CountParts(schema));
  return schema;
}

// ---- bits -------------------------------------------------------------------------------------------------

// Validity bits as they are filled, from the first one on.
class Bits {
 public:
  Bits(Store* store, uint64_t count)
      : words_(static_cast<uint64_t*>(store->Buffer((count / 64 + 2) * sizeof(uint64_t)))), set_(0), at_(0) {
    memset(words_, 0, static_cast<size_t>(count / 64 + 2) * sizeof(uint64_t));
  }

  void Append(const uint64_t* from, uint64_t first, uint64_t count) {
    while (count != 0) {
      const uint64_t taken = std::min<uint64_t>(count, 64 - (first & 63));
      uint64_t word = from[first >> 6] >> (first & 63);
      if (taken < 64) word &= (uint64_t{1} << taken) - 1;
      words_[at_ >> 6] |= word << (at_ & 63);
      if ((at_ & 63) + taken > 64) words_[(at_ >> 6) + 1] |= word >> (64 - (at_ & 63));
      set_ += CountBits(word);
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
    set += CountBits(word);
    first += taken;
    count -= taken;
  }
  return set;
}

// ---- columns ----------------------------------------------------------------------------------------------

void MakeArray(Store* store, uint64_t length, int64_t buffers, uint64_t children, ArrowArray* out) {
  StartPart(store, children, out);
  out->length = static_cast<int64_t>(length);
  out->n_buffers = buffers;
  if (buffers == 0) return;
  out->buffers = static_cast<const void**>(store->Allocate(static_cast<uint64_t>(buffers) * sizeof(void*)));
  std::fill_n(out->buffers, buffers, nullptr);
}

void SetValidity(const Bits& bits, ArrowArray* out) {
  out->null_count = static_cast<int64_t>(bits.at() - bits.set());
  if (out->null_count != 0) out->buffers[0] = bits.words();
}

// What a column's array is made of: that column of the tables, which have so many rows together.
struct Source {
  const Tables& tables;
  uint32_t col;
  uint64_t rows;
  bool has_decimals;  // some columns of the tables are of the decimal classes

  const Column& column_of(const TableData* table) const { return table->spec->columns()[col]; }
};

// Calls visit(row of the whole, cell, column) for every set cell.
template <class Visit>
void VisitColumn(const Source& source, Visit visit) {
  uint64_t base = 0;
  for (const TableData* table : source.tables) {
    const Column& column = source.column_of(table);
    VisitCells(table, column,
               [&](uint32_t row, const unsigned char* cell) { visit(base + row, cell, column); });
    base += table->rows;
  }
}

// ---- numbers ----------------------------------------------------------------------------------------------

// What is not set reads as 0, whoever looks at it: memory's old content leaves with no array.
void ClearUnset(unsigned char* cells, const uint64_t* bits, uint64_t first, uint64_t rows, size_t width) {
  for (uint64_t row = 0; row < rows; ++row) {
    if ((bits[(first + row) >> 6] >> ((first + row) & 63) & 1) == 0) memset(cells + row * width, 0, width);
  }
}

// The cells of one column of a table where they lie in one piece, all rows of them, and the first of their
// bits.
struct Piece {
  unsigned char* cells = nullptr;
  const uint64_t* bits = nullptr;
  uint64_t first = 0;
};

Piece PieceOf(TableData* table, const Column& column, size_t width) {
  if (!table->is_large) {
    // Cells of a small table are 8 bytes apart.
    if (width != 8) return {};
    const uint32_t first = column.slot * table->rows;
    return {table->small_cell(first), table->small_bits(), first};
  }
  const Slab* slab = FindSlab(table, column);
  if (slab == nullptr || slab->capacity < table->rows) return {};
  return {slab->cells, slab->bits, 0};
}

// The bits of a small table begin anywhere. They are few, and without an offset every reader is at ease.
const void* BitsAtZero(Store* store, const Piece& piece, uint64_t rows) {
  if (piece.first == 0) return piece.bits;
  Bits bits(store, rows);
  bits.Append(piece.bits, piece.first, rows);
  return bits.words();
}

bool ShareNumbers(Store* store, const Source& source, size_t width, ArrowArray* out) {
  if (source.tables.size() != 1) return false;
  TableData* table = source.tables[0];
  const Piece piece = PieceOf(table, source.column_of(table), width);
  if (piece.cells == nullptr) return false;
  out->null_count = static_cast<int64_t>(table->rows - CountSet(piece.bits, piece.first, table->rows));
  if (out->null_count != 0) {
    ClearUnset(piece.cells, piece.bits, piece.first, table->rows, width);
    out->buffers[0] = BitsAtZero(store, piece, table->rows);
  }
  out->buffers[1] = piece.cells;
  return true;
}

// The cells of a table that does not have them in one piece.
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
  memcpy(to, piece.cells, table->rows * width);
  if (bits->set() - before != table->rows) ClearUnset(to, piece.bits, piece.first, table->rows, width);
}

void CopyNumbers(Store* store, const Source& source, size_t width, ArrowArray* out) {
  auto* to = static_cast<unsigned char*>(store->Buffer(source.rows * width));
  out->buffers[1] = to;
  Bits bits(store, source.rows);
  for (TableData* table : source.tables) {
    const Column& column = source.column_of(table);
    if (const Piece piece = PieceOf(table, column, width); piece.cells != nullptr) {
      CopyPiece(table, piece, width, to, &bits);
    } else {
      CopyCells(table, column, width, to, &bits);
    }
    to += table->rows * width;
  }
  SetValidity(bits, out);
}

// Mantissas have 48 bits, and powers of ten up to the 22nd are doubles: up to there both parts are exact, and
// the quotient is the nearest double.
double DoubleOf(int64_t mantissa, unsigned decimals) {
  return static_cast<double>(mantissa) / pow(10.0, static_cast<double>(decimals));
}

double ElementAsDouble(const Column& column, const unsigned char* element) {
  if (column.code() == TABLE_PFLOAT) {
    const auto value = Load<PFloat>(element);
    return DoubleOf(value.mantissa(), value.decimals());
  }
  if (column.code() == TABLE_VFLOAT) {
    const auto value = Load<VFloat>(element);
    return DoubleOf(value.mantissa(), value.decimals());
  }
  return Load<double>(element);
}

void CopyDoubles(const Column& column, const unsigned char* cell, uint32_t count, double* to) {
  for (uint32_t i = 0; i < count; ++i)
    to[i] = ElementAsDouble(column, cell + i * sizeof(double));
}

void CopyDecimals(Store* store, const Source& source, ArrowArray* out) {
  auto* values = static_cast<double*>(store->Buffer(source.rows * sizeof(double)));
  std::fill_n(values, source.rows, 0.0);
  Bits bits(store, source.rows);
  bits.Skip(source.rows);
  VisitColumn(source, [&](uint64_t row, const unsigned char* cell, const Column& column) {
    CopyDoubles(column, cell, 1, values + row);
    bits.Set(row);
  });
  out->buffers[1] = values;
  SetValidity(bits, out);
}

void MakeNumbers(Store* store, const Source& source, int code, ArrowArray* out) {
  MakeArray(store, source.rows, 2, 0, out);
  if (code == TABLE_DOUBLE && source.has_decimals) return CopyDecimals(store, source, out);
  const size_t width = ElementWidth(code);
  if (!ShareNumbers(store, source, width, out)) CopyNumbers(store, source, width, out);
}

// ---- numbers of tables of one row -------------------------------------------------------------------------

// Most nested tables have a single row. Their numbers are copied 64 tables at a time, all columns of these,
// as the cells of a table lie beside each other.
struct SingleColumn {
  uint32_t slot;
  size_t width;
  unsigned char* cells;
  uint64_t* words;  // validity
  ArrowArray* out;
};

SingleColumn StartSingles(Store* store, uint32_t slot, size_t width, uint64_t rows, ArrowArray* out) {
  MakeArray(store, rows, 2, 0, out);
  auto* cells = static_cast<unsigned char*>(store->Buffer(rows * width));
  auto* words = static_cast<uint64_t*>(store->Buffer((rows / 64 + 1) * sizeof(uint64_t)));
  out->buffers[1] = cells;
  return {slot, width, cells, words, out};
}

// Up to 64 tables, which all have so many cells. Returns which of them are set.
template <class T>
uint64_t CopyOfEach(TableData* const* tables, uint64_t count, uint32_t slot, uint32_t cells,
                    unsigned char* to) {
  uint64_t word = 0;
  for (uint64_t i = 0; i < count; ++i) {
    const auto* begin = reinterpret_cast<const unsigned char*>(tables[i] + 1);
    const uint64_t bits = Load<uint64_t>(begin + size_t{8} * (cells + (slot >> 6)));
    const uint64_t set = bits >> (slot & 63) & 1;
    word |= set << i;
    Save(to + i * sizeof(T), set != 0 ? Load<T>(begin + size_t{8} * slot) : T{});
  }
  return word;
}

uint64_t CopyOfEach(TableData* const* tables, uint64_t count, uint32_t cells, const SingleColumn& column,
                    unsigned char* to) {
  switch (column.width) {
    case 1: return CopyOfEach<uint8_t>(tables, count, column.slot, cells, to);
    case 2: return CopyOfEach<uint16_t>(tables, count, column.slot, cells, to);
    case 4: return CopyOfEach<uint32_t>(tables, count, column.slot, cells, to);
    default: return CopyOfEach<uint64_t>(tables, count, column.slot, cells, to);
  }
}

void CopySingles(const Tables& tables, const std::vector<SingleColumn>& columns) {
  for (uint64_t first = 0; first < tables.size(); first += 64) {
    const uint64_t count = std::min<uint64_t>(64, tables.size() - first);
    for (const SingleColumn& column : columns) {
      column.words[first / 64] = CopyOfEach(tables.data() + first, count, tables[0]->small_cells, column,
                                            column.cells + first * column.width);
    }
  }
  for (const SingleColumn& column : columns) {
    const uint64_t set = CountSet(column.words, 0, tables.size());
    column.out->null_count = static_cast<int64_t>(tables.size() - set);
    if (column.out->null_count != 0) column.out->buffers[0] = column.words;
  }
}

// ---- arrays -----------------------------------------------------------------------------------------------

int32_t Offset(uint64_t value) {
  if (value > INT32_MAX) throw Failure{EOVERFLOW};
  return static_cast<int32_t>(value);
}

void CopyArrays(Store* store, const Source& source, const Field& field, ArrowArray* out) {
  const size_t width = ElementWidth(field.code) * size_t{field.count};
  uint64_t set = 0;
  VisitColumn(source, [&set](uint64_t, const unsigned char*, const Column&) { ++set; });
  store->Allow(set * width);
  auto* to = static_cast<unsigned char*>(store->Buffer(source.rows * width));
  out->children[0]->buffers[1] = to;
  Bits bits(store, source.rows);
  bits.Skip(source.rows);
  uint64_t next = 0;  // row behind the last one that was written
  VisitColumn(source, [&](uint64_t row, const unsigned char* cell, const Column& column) {
    memset(to + next * width, 0, static_cast<size_t>(row - next) * width);
    next = row + 1;
    const auto* elements = Load<const unsigned char*>(cell);
    if (IsDecimal(column)) {
      CopyDoubles(column, elements, field.count, reinterpret_cast<double*>(to + row * width));
    } else {
      memcpy(to + row * width, elements, width);
    }
    bits.Set(row);
  });
  memset(to + next * width, 0, static_cast<size_t>(source.rows - next) * width);
  SetValidity(bits, out);
}

void StartArrays(Store* store, uint64_t rows, const Field& field, ArrowArray* out) {
  const uint64_t elements = rows * field.count;
  static_cast<void>(Offset(elements));
  MakeArray(store, rows, 1, 1, out);
  MakeArray(store, elements, 2, 0, out->children[0]);
}

void MakeArrays(Store* store, const Source& source, const Field& field, ArrowArray* out) {
  StartArrays(store, source.rows, field, out);
  CopyArrays(store, source, field, out);
}

// ---- texts and byte strings -------------------------------------------------------------------------------

// Offsets as they become known: those of rows without a cell are where the next one begins.
class Offsets {
 public:
  Offsets(Store* store, uint64_t rows)
      : offsets_(static_cast<int32_t*>(store->Buffer((rows + 1) * sizeof(int32_t)))) {}

  void BeginRow(uint64_t row, uint64_t at) {
    const int32_t offset = Offset(at);
    while (next_ <= row)
      offsets_[next_++] = offset;
  }
  const void* words() const { return offsets_; }

 private:
  int32_t* offsets_;
  uint64_t next_ = 0;
};

struct Item {
  const char* bytes;
  size_t size;
};

Item ItemIn(const unsigned char* cell, int code) {
  if (code == TABLE_TEXT) {
    const char* text = Load<const char*>(cell);
    return {text, strlen(text)};
  }
  int size = 0;
  const void* bytes = BinaryBytes(cell, &size);
  return {static_cast<const char*>(bytes), static_cast<size_t>(size)};
}

// A column of these, with the offsets and the validity. Returns how many bytes they have.
uint64_t MeasureItems(Store* store, const Source& source, int code, ArrowArray* out) {
  Offsets offsets(store, source.rows);
  Bits bits(store, source.rows);
  bits.Skip(source.rows);
  uint64_t size = 0;
  VisitColumn(source, [&](uint64_t row, const unsigned char* cell, const Column&) {
    offsets.BeginRow(row, size);
    bits.Set(row);
    size += ItemIn(cell, code).size;
  });
  offsets.BeginRow(source.rows, size);
  out->buffers[1] = offsets.words();
  SetValidity(bits, out);
  return size;
}

// Whether all of the texts are UTF-8: together, and no text begins within a character.
bool AreUtf8(const char* bytes, uint64_t size, const int32_t* offsets, uint64_t rows) {
  if (!IsUtf8(bytes, static_cast<size_t>(size))) return false;
  for (uint64_t row = 0; row < rows; ++row) {
    const auto at = static_cast<uint64_t>(offsets[row]);
    if (at != size && IsTrail(static_cast<unsigned char>(bytes[at]))) return false;
  }
  return true;
}

// Texts of which some are no UTF-8, with their new offsets.
void ReplaceIllFormed(Store* store, const Source& source, ArrowArray* out) {
  Offsets offsets(store, source.rows);
  std::string all;
  VisitColumn(source, [&](uint64_t row, const unsigned char* cell, const Column&) {
    offsets.BeginRow(row, all.size());
    const Item item = ItemIn(cell, TABLE_TEXT);
    all += ValidUtf8(std::string_view(item.bytes, item.size));
  });
  offsets.BeginRow(source.rows, all.size());
  out->buffers[1] = offsets.words();
  out->buffers[2] = KeepText(store, all);
}

void MakeItems(Store* store, const Source& source, int code, ArrowArray* out) {
  MakeArray(store, source.rows, 3, 0, out);
  const uint64_t size = MeasureItems(store, source, code, out);
  auto* bytes = static_cast<char*>(store->Allocate(size));
  out->buffers[2] = bytes;
  char* to = bytes;
  const auto* offsets = static_cast<const int32_t*>(out->buffers[1]);
  VisitColumn(source, [&](uint64_t row, const unsigned char* cell, const Column&) {
    const auto length = static_cast<size_t>(offsets[row + 1] - offsets[row]);
    const void* from = code == TABLE_TEXT ? Load<const char*>(cell) : ItemIn(cell, code).bytes;
    if (length != 0) memcpy(to, from, length);
    to += length;
  });
  if (code == TABLE_TEXT && !AreUtf8(bytes, size, offsets, source.rows)) ReplaceIllFormed(store, source, out);
}

// ---- tables -----------------------------------------------------------------------------------------------

void MakeStruct(Store* store, const Tables& tables, const std::vector<Field>& fields, ArrowArray* out);

void MakeChildren(Store* store, const Source& source, const Field& field, ArrowArray* out) {
  MakeArray(store, source.rows, 2, 1, out);
  Offsets offsets(store, source.rows);
  Tables children;
  Bits bits(store, source.rows);
  bits.Skip(source.rows);
  uint64_t inside = 0;
  VisitColumn(source, [&](uint64_t row, const unsigned char* cell, const Column&) {
    offsets.BeginRow(row, inside);
    bits.Set(row);
    if (TableData* child = Load<TableData*>(cell)) {
      children.push_back(child);
      inside += child->rows;
    }
  });
  offsets.BeginRow(source.rows, inside);
  out->buffers[1] = offsets.words();
  SetValidity(bits, out);
  MakeStruct(store, children, field.inside, out->children[0]);
}

void MakeNothing(Store* store, uint64_t rows, ArrowArray* out) {
  MakeArray(store, rows, 0, 0, out);
  out->null_count = static_cast<int64_t>(rows);
}

void MakeColumn(Store* store, const Source& source, const Field& field, ArrowArray* out) {
  if (IsCounted(field)) return MakeArrays(store, source, field, out);
  switch (field.code) {
    case TABLE_NOTHING: return MakeNothing(store, source.rows, out);
    case TABLE_TEXT:
    case TABLE_BINARY: return MakeItems(store, source, field.code, out);
    case TABLE_CHILD: return MakeChildren(store, source, field, out);
    default: return MakeNumbers(store, source, field.code, out);
  }
}

// A column without any cell that is set.
void MakeUnset(Store* store, uint64_t rows, const Field& field, ArrowArray* out) {
  if (field.code == TABLE_NOTHING) return MakeNothing(store, rows, out);
  const uint64_t offsets = (rows + 1) * sizeof(int32_t);
  if (IsCounted(field)) {
    StartArrays(store, rows, field, out);
    out->children[0]->buffers[1] = store->Zeros(rows * field.count * ElementWidth(field.code));
  } else if (field.code == TABLE_TEXT || field.code == TABLE_BINARY) {
    MakeArray(store, rows, 3, 0, out);
    out->buffers[1] = store->Zeros(offsets);
    out->buffers[2] = store->Zeros(1);
  } else if (field.code == TABLE_CHILD) {
    MakeArray(store, rows, 2, 1, out);
    out->buffers[1] = store->Zeros(offsets);
    MakeStruct(store, {}, field.inside, out->children[0]);
  } else {
    MakeArray(store, rows, 2, 0, out);
    out->buffers[1] = store->Zeros(rows * ElementWidth(field.code));
  }
  out->null_count = static_cast<int64_t>(rows);
  if (rows != 0) out->buffers[0] = store->Zeros((rows / 64 + 1) * 8);
}

// Calls visit(slab, index among the columns that hold something) for the slabs of a large table.
template <class Visit>
void VisitSlabs(const TableData* table, Visit visit) {
  const Large* large = table->large();
  const uint32_t first = std::min(kSlabsOfGroup, table->spec->cols);
  for (uint32_t i = 0; i < first; ++i)
    visit(large->first[i], table->spec->columns()[i].slot);
  for (uint32_t i = 0; i < large->group_count; ++i) {
    const Slab* group = large->groups[i];
    for (uint32_t k = 0; group != nullptr && k < kSlabsOfGroup; ++k)
      visit(group[k], i * kSlabsOfGroup + k);
  }
}

// What a cell takes that lies behind its column's slab.
constexpr uint64_t kOutlierBytes = 64;

uint64_t HeldBytes(const Slab& slab) {
  const uint8_t kind = slab.kind & 0xFF;
  const uint32_t width = (kind & kCounted) != 0 ? 8 : ElementWidth(kind);
  return uint64_t{slab.capacity} * width + slab.outliers * kOutlierBytes;
}

bool HasDecimals(const Spec& spec) {
  return std::any_of(spec.columns(), spec.columns() + spec.cols, IsDecimal);
}

// Tables with rows, and what of them is looked at more than once.
struct Survey {
  Tables tables;
  uint64_t rows = 0;
  uint64_t held = 0;          // bytes of cells
  bool singles = true;        // they are small and have one row
  bool has_decimals = false;  // some columns are of the decimal classes
  bool all_written = false;   // any column may have a cell that is set
  std::vector<bool> written;  // those that may where not all may, by slot
};

void LookAtSlabs(const TableData* table, Survey* survey) {
  survey->written.resize(table->spec->slots);
  VisitSlabs(table, [survey](const Slab& slab, uint32_t slot) {
    if (slab.capacity == 0 && slab.outliers == 0) return;
    survey->held += HeldBytes(slab);
    survey->written[slot] = true;
  });
}

Survey Look(const Tables& tables) {
  Survey survey;
  survey.tables.reserve(tables.size());
  const Spec* known = nullptr;
  for (TableData* table : tables) {
    if (table->rows == 0) continue;
    survey.tables.push_back(table);
    survey.rows += table->rows;
    survey.singles = survey.singles && !table->is_large && table->rows == 1;
    if (table->spec != known) survey.has_decimals = survey.has_decimals || HasDecimals(*table->spec);
    known = table->spec;
    if (table->is_large) {
      LookAtSlabs(table, &survey);
    } else {
      survey.held += uint64_t{8} * table->small_cells;
      survey.all_written = true;
    }
  }
  return survey;
}

bool IsWritten(const Survey& survey, uint32_t col) {
  if (survey.tables.empty() || survey.all_written) return !survey.tables.empty();
  const Column& column = survey.tables[0]->spec->columns()[col];
  return column.kind != TABLE_NOTHING && survey.written[column.slot];
}

void MakeStruct(Store* store, const Tables& tables, const std::vector<Field>& fields, ArrowArray* out) {
  MustFit(tables, fields);
  const Survey survey = Look(tables);
  store->Allow(survey.held);
  MakeArray(store, survey.rows, 1, fields.size(), out);
  std::vector<SingleColumn> singles;
  for (uint32_t i = 0; i < fields.size(); ++i) {
    if (!IsWritten(survey, i)) {
      MakeUnset(store, survey.rows, fields[i], out->children[i]);
    } else if (survey.singles && !survey.has_decimals && IsNumber(fields[i])) {
      const uint32_t slot = survey.tables[0]->spec->columns()[i].slot;
      const size_t width = ElementWidth(fields[i].code);
      singles.push_back(StartSingles(store, slot, width, survey.rows, out->children[i]));
    } else {
      const Source source{survey.tables, i, survey.rows, survey.has_decimals};
      MakeColumn(store, source, fields[i], out->children[i]);
    }
  }
  if (!singles.empty()) CopySingles(survey.tables, singles);
}

// The array, whose store then owns the tables.
ArrowArray ExportArray(const Tables& tables, const std::vector<Field>& fields) {
  const OwnedStore store(new Store);
  ArrowArray array{};
  Tables owned = tables;
  MakeStruct(store.get(), tables, fields, &array);
  store->AddUsers(CountParts(array));
  store->Own(std::move(owned));
  return array;
}

// ---- the calls --------------------------------------------------------------------------------------------

// Runs an export and says how it went.
template <class Export>
int Result(Export run) {
  try {
    run();
    return 0;
  } catch (const Failure& failure) {
    return failure.code;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  } catch (const std::length_error&) {
    // More than a vector may hold, which is what addresses of 32 bits reach before memory is used up.
    return ENOMEM;
  }
}

TableData* Exportable(void* table) {
  auto* data = static_cast<TableData*>(table);
  if (data == nullptr || data->parent != nullptr) throw Failure{EINVAL};
  return data;
}

// The index of the table that `below` is or hangs from; -1 if there is none.
int64_t IndexOfRoot(void* const* tables, int64_t count, const TableData* below) {
  if (below == nullptr) return -1;
  while (below->parent != nullptr)
    below = below->parent;
  return std::find(tables, tables + count, below) - tables;
}

}  // namespace

extern "C" {

int table_export_arrow(void* table, struct ArrowSchema* schema, struct ArrowArray* array) {
  schema->release = nullptr;
  array->release = nullptr;
  return Result([=] {
    const Tables tables = {Exportable(table)};
    const std::vector<Field> fields = FieldsOf(tables, 0);
    ArrowSchema made = ExportSchema(fields);
    try {
      *array = ExportArray(tables, fields);
    } catch (...) {
      made.release(&made);
      throw;
    }
    *schema = made;
  });
}

int table_export_arrow_batch(void* const* tables, int64_t count, const struct ArrowSchema* schema,
                             struct ArrowArray* array, int64_t* misfit) {
  array->release = nullptr;
  int64_t unfit = -1;
  const int result = Result([&] {
    const std::vector<Field> fields = FieldsOf(*schema, 0);
    Tables all;
    all.reserve(static_cast<size_t>(count));
    for (int64_t i = 0; i < count; ++i)
      all.push_back(Exportable(tables[i]));
    try {
      *array = ExportArray(all, fields);
    } catch (const Failure& failure) {
      unfit = IndexOfRoot(tables, count, failure.misfit);
      throw;
    }
  });
  if (misfit != nullptr) *misfit = unfit;
  return result;
}

}  // extern "C"
