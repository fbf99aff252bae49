#include "replies/flatten.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace replies {
namespace {

// ---- arrays -----------------------------------------------------------------------------------------------

using Block = std::shared_ptr<void>;

// Aligned as malloc does. Never null.
Block Allocate(size_t size) {
  Block block(std::malloc(std::max<size_t>(size, 1)), std::free);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

Block AllocateZeros(size_t size) {
  Block block(std::calloc(std::max<size_t>(size, 1), 1), std::free);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

// What an array of this file points to.
struct ArrayParts {
  std::vector<Block> blocks;
  std::vector<const void*> buffers;
  std::vector<ArrowOwner<ArrowArray>> children;
  std::vector<ArrowArray*> pointers;
  ArrowOwner<ArrowArray> kept;  // whose buffers these are
};

void ReleaseParts(ArrowArray* array) {
  array->release = nullptr;
  delete static_cast<ArrayParts*>(array->private_data);
}

ArrowOwner<ArrowArray> Finish(std::unique_ptr<ArrayParts> parts, int64_t length, int64_t null_count) {
  for (ArrowOwner<ArrowArray>& child : parts->children)
    parts->pointers.push_back(child.get());
  ArrowArray array{};
  array.length = length;
  array.null_count = null_count;
  array.n_buffers = static_cast<int64_t>(parts->buffers.size());
  array.buffers = parts->buffers.data();
  array.n_children = static_cast<int64_t>(parts->pointers.size());
  array.children = parts->pointers.data();
  array.release = ReleaseParts;
  array.private_data = parts.release();
  return ArrowOwner<ArrowArray>(array);
}

ArrowOwner<ArrowArray> MakeArray(std::vector<Block> blocks, int64_t length, int64_t null_count) {
  auto parts = std::make_unique<ArrayParts>();
  for (const Block& block : blocks)
    parts->buffers.push_back(block.get());
  parts->blocks = std::move(blocks);
  return Finish(std::move(parts), length, null_count);
}

ArrowOwner<ArrowArray> MakeStruct(std::vector<ArrowOwner<ArrowArray>> children, int64_t length) {
  auto parts = std::make_unique<ArrayParts>();
  parts->buffers.push_back(nullptr);
  parts->children = std::move(children);
  return Finish(std::move(parts), length, 0);
}

// Moves an array out of where it is.
ArrowOwner<ArrowArray> Take(ArrowArray* array) {
  ArrowOwner<ArrowArray> taken(*array);
  array->release = nullptr;
  return taken;
}

// ---- which rows -------------------------------------------------------------------------------------------

// Rows of the result and the rows of a table that they show: one after the other, or the same one in all.
struct Run {
  int64_t to;
  int64_t from;
  int64_t count;
  bool repeated;
};

// A table and the tables inside it that are shown. Rows of the result that no run has are null.
struct ArrayLevel {
  struct List {
    const int32_t* offsets;
    ArrayLevel* level;
  };

  ArrowArray* array = nullptr;  // a struct
  const TableColumns* columns = nullptr;
  const ShownColumns* shown = nullptr;
  std::vector<std::unique_ptr<ArrayLevel>> inside;  // for each that is shown, null where it is no table
  std::vector<List> lists;
  std::vector<Run> runs;

  void Add(int64_t to, int64_t from, int64_t count, bool repeated) {
    if (count == 1) repeated = false;
    if (!runs.empty() && !repeated) {
      Run& last = runs.back();
      if (!last.repeated && last.to + last.count == to && last.from + last.count == from) {
        last.count += count;
        return;
      }
    }
    runs.push_back({to, from, count, repeated});
  }

  // All its rows in their order, and no others.
  bool IsWhole(int64_t rows) const {
    if (rows == 0) return array->length == 0;
    return runs.size() == 1 && !runs[0].repeated && runs[0].from == 0 && runs[0].to == 0 &&
           runs[0].count == rows && array->length == rows;
  }
};

std::unique_ptr<ArrayLevel> MakeArrayLevel(ArrowArray* array, const TableColumns& columns,
                                           const ShownColumns& shown) {
  auto level = std::make_unique<ArrayLevel>();
  level->array = array;
  level->columns = &columns;
  level->shown = &shown;
  for (const ShownColumn& one : shown) {
    level->inside.push_back(nullptr);
    if (!columns[one.index].is_table()) continue;
    ArrowArray* list = array->children[one.index];
    level->inside.back() = MakeArrayLevel(list->children[0], columns[one.index].inside, one.inside);
    level->lists.push_back(
        {static_cast<const int32_t*>(list->buffers[1]) + list->offset, level->inside.back().get()});
  }
  return level;
}

// Lays out rows one below the other.
class RowLayout {
 public:
  void Add(ArrayLevel* level, int64_t begin, int64_t end) {
    if (level->lists.empty()) {
      level->Add(rows_, begin, end - begin, false);
      rows_ += end - begin;
      return;
    }
    for (int64_t row = begin; row < end; ++row) {
      const int64_t first = rows_;
      for (const ArrayLevel::List& list : level->lists) {
        const int32_t from = list.offsets[row];
        const int32_t to = list.offsets[row + 1];
        if (from != to) Add(list.level, from, to);
      }
      if (rows_ == first) ++rows_;
      level->Add(first, row, rows_ - first, true);
    }
  }

  int64_t rows() const { return rows_; }

 private:
  int64_t rows_ = 0;
};

// ---- bits -------------------------------------------------------------------------------------------------

bool BitAt(const uint8_t* bits, int64_t index) {
  return (bits[index >> 3] >> (index & 7) & 1) != 0;
}

void SetBits(uint8_t* bits, int64_t from, int64_t count) {
  for (; count > 0 && (from & 7) != 0; ++from, --count)
    bits[from >> 3] = static_cast<uint8_t>(bits[from >> 3] | 1U << (from & 7));
  if (count >= 8) std::memset(bits + (from >> 3), 0xFF, static_cast<size_t>(count >> 3));
  from += count & ~int64_t{7};
  for (count &= 7; count > 0; ++from, --count)
    bits[from >> 3] = static_cast<uint8_t>(bits[from >> 3] | 1U << (from & 7));
}

// Returns how many of them are set. The target is all zeros.
int64_t CopyBits(const uint8_t* from, int64_t from_index, uint8_t* to, int64_t to_index, int64_t count) {
  int64_t set = 0;
  for (; count > 0 && (to_index & 7) != 0; ++from_index, ++to_index, --count) {
    if (!BitAt(from, from_index)) continue;
    to[to_index >> 3] = static_cast<uint8_t>(to[to_index >> 3] | 1U << (to_index & 7));
    ++set;
  }
  const auto shift = static_cast<unsigned>(from_index & 7);
  for (; count >= 8; from_index += 8, to_index += 8, count -= 8) {
    const uint8_t* at = from + (from_index >> 3);
    const unsigned low = at[0];
    const unsigned byte = shift == 0 ? low : (low >> shift | unsigned{at[1]} << (8 - shift)) & 0xFFU;
    to[to_index >> 3] = static_cast<uint8_t>(byte);
    set += __builtin_popcount(byte);
  }
  for (; count > 0; ++from_index, ++to_index, --count) {
    if (!BitAt(from, from_index)) continue;
    to[to_index >> 3] = static_cast<uint8_t>(to[to_index >> 3] | 1U << (to_index & 7));
    ++set;
  }
  return set;
}

struct Validity {
  Block bits;  // null where all are set
  int64_t nulls = 0;
};

// ---- gathering --------------------------------------------------------------------------------------------

template <class T>
void Fill(unsigned char* to, const unsigned char* cell, int64_t count) {
  T value;
  std::memcpy(&value, cell, sizeof(value));
  std::fill_n(reinterpret_cast<T*>(to), count, value);
}

void FillCells(unsigned char* to, const unsigned char* cell, size_t width, int64_t count) {
  switch (width) {
    case 1: return Fill<uint8_t>(to, cell, count);
    case 2: return Fill<uint16_t>(to, cell, count);
    case 4: return Fill<uint32_t>(to, cell, count);
    case 8: return Fill<uint64_t>(to, cell, count);
    default:
      for (int64_t i = 0; i < count; ++i)
        std::memcpy(to + static_cast<size_t>(i) * width, cell, width);
  }
}

size_t WidthOf(const std::string& format) {
  const auto type = ParseArrowFormat(format.c_str());
  return type ? static_cast<size_t>(type->bits) / 8 : 0;
}

class Gatherer {
 public:
  explicit Gatherer(int64_t rows) : rows_(rows) {}

  // The cells that the result shows of a column.
  ArrowOwner<ArrowArray> Column(const ArrayLevel& level, const TableColumn& column, ArrowArray* array) {
    if (level.IsWhole(rows_)) return Take(array);
    if (column.format == "n") return MakeArray({}, rows_, rows_);
    if (level.runs.empty() || array->null_count == array->length) return Nulls(column);
    if (column.format == "u" || column.format == "z") return Items(level, *array);
    if (!column.element_format.empty()) return Counted(level, column, *array);
    const Validity validity = ValidityOf(level, *array);
    return MakeArray({validity.bits, Cells(level, WidthOf(column.format), array->buffers[1], array->offset)},
                     rows_, validity.nulls);
  }

 private:
  size_t Rows() const { return static_cast<size_t>(rows_); }

  // One block for all columns that are null throughout.
  Block Zeros(size_t size) {
    if (zeros_ == nullptr || size > zeros_size_) {
      zeros_ = AllocateZeros(size);
      zeros_size_ = size;
    }
    return zeros_;
  }

  ArrowOwner<ArrowArray> Nulls(const TableColumn& column) {
    const Block bits = Zeros(Rows() / 8 + 1);
    if (!column.element_format.empty()) {
      const size_t elements = Rows() * static_cast<size_t>(column.count);
      auto parts = std::make_unique<ArrayParts>();
      parts->blocks.push_back(bits);
      parts->buffers.push_back(bits.get());
      parts->children.push_back(MakeArray({nullptr, Zeros(elements * WidthOf(column.element_format))},
                                          static_cast<int64_t>(elements), 0));
      return Finish(std::move(parts), rows_, rows_);
    }
    if (column.format == "u" || column.format == "z")
      return MakeArray({bits, Zeros((Rows() + 1) * sizeof(int32_t)), Zeros(1)}, rows_, rows_);
    return MakeArray({bits, Zeros(Rows() * WidthOf(column.format))}, rows_, rows_);
  }

  Validity ValidityOf(const ArrayLevel& level, const ArrowArray& array) const {
    const auto* from = static_cast<const uint8_t*>(array.null_count == 0 ? nullptr : array.buffers[0]);
    int64_t shown = 0;
    for (const Run& run : level.runs)
      shown += run.count;
    if (from == nullptr && shown == rows_) return {};
    Validity validity{AllocateZeros(Rows() / 8 + 1), 0};
    auto* to = static_cast<uint8_t*>(validity.bits.get());
    int64_t set = 0;
    for (const Run& run : level.runs) {
      if (from != nullptr && !run.repeated) {
        set += CopyBits(from, array.offset + run.from, to, run.to, run.count);
      } else if (from == nullptr || BitAt(from, array.offset + run.from)) {
        SetBits(to, run.to, run.count);
        set += run.count;
      }
    }
    validity.nulls = rows_ - set;
    if (validity.nulls == 0) validity.bits = nullptr;
    return validity;
  }

  // Cells of one width; those that no run has are zeros.
  Block Cells(const ArrayLevel& level, size_t width, const void* cells, int64_t offset) const {
    Block block = Allocate(Rows() * width);
    auto* to = static_cast<unsigned char*>(block.get());
    const auto* from = static_cast<const unsigned char*>(cells) + static_cast<size_t>(offset) * width;
    int64_t row = 0;
    for (const Run& run : level.runs) {
      if (run.to != row) Clear(to, width, row, run.to);
      unsigned char* at = to + static_cast<size_t>(run.to) * width;
      const unsigned char* cell = from + static_cast<size_t>(run.from) * width;
      if (run.repeated) {
        FillCells(at, cell, width, run.count);
      } else {
        std::memcpy(at, cell, static_cast<size_t>(run.count) * width);
      }
      row = run.to + run.count;
    }
    Clear(to, width, row, rows_);
    return block;
  }

  static void Clear(unsigned char* cells, size_t width, int64_t from, int64_t to) {
    if (from == to) return;
    std::memset(cells + static_cast<size_t>(from) * width, 0, static_cast<size_t>(to - from) * width);
  }

  ArrowOwner<ArrowArray> Counted(const ArrayLevel& level, const TableColumn& column,
                                 const ArrowArray& array) {
    const ArrowArray& elements = *array.children[0];
    const size_t width = WidthOf(column.element_format) * static_cast<size_t>(column.count);
    const auto* cells = static_cast<const unsigned char*>(elements.buffers[1]) +
                        static_cast<size_t>(elements.offset) * WidthOf(column.element_format);
    const Validity validity = ValidityOf(level, array);
    auto parts = std::make_unique<ArrayParts>();
    parts->blocks.push_back(validity.bits);
    parts->buffers.push_back(validity.bits.get());
    parts->children.push_back(
        MakeArray({nullptr, Cells(level, width, cells, array.offset)}, rows_ * column.count, 0));
    return Finish(std::move(parts), rows_, validity.nulls);
  }

  // Texts and byte strings.
  ArrowOwner<ArrowArray> Items(const ArrayLevel& level, const ArrowArray& array) const {
    const int32_t* offsets = static_cast<const int32_t*>(array.buffers[1]) + array.offset;
    const auto* bytes = static_cast<const char*>(array.buffers[2]);
    int64_t size = 0;
    for (const Run& run : level.runs) {
      const int64_t once = offsets[run.from + (run.repeated ? 1 : run.count)] - offsets[run.from];
      size += run.repeated ? once * run.count : once;
      if (size > INT32_MAX) throw std::length_error("more than 2 GiB of text in a column");
    }
    const Block to_offsets = Allocate((Rows() + 1) * sizeof(int32_t));
    const Block to_bytes = Allocate(static_cast<size_t>(size));
    auto* to = static_cast<int32_t*>(to_offsets.get());
    auto* out = static_cast<char*>(to_bytes.get());
    int32_t at = 0;
    int64_t row = 0;
    for (const Run& run : level.runs) {
      for (; row < run.to; ++row)
        to[row] = at;
      const int32_t first = offsets[run.from];
      if (run.repeated) {
        const int32_t length = offsets[run.from + 1] - first;
        for (int64_t i = 0; i < run.count; ++i, at += length) {
          to[row++] = at;
          if (length != 0) std::memcpy(out + at, bytes + first, static_cast<size_t>(length));
        }
      } else {
        const int32_t length = offsets[run.from + run.count] - first;
        const int32_t moved = at - first;
        for (int64_t i = 0; i < run.count; ++i)
          to[row++] = offsets[run.from + i] + moved;
        if (length != 0) std::memcpy(out + at, bytes + first, static_cast<size_t>(length));
        at += length;
      }
    }
    for (; row <= rows_; ++row)
      to[row] = at;
    const Validity validity = ValidityOf(level, array);
    return MakeArray({validity.bits, to_offsets, to_bytes}, rows_, validity.nulls);
  }

  int64_t rows_;
  Block zeros_;
  size_t zeros_size_ = 0;
};

void GatherLevel(Gatherer* gatherer, const ArrayLevel& level, std::vector<ArrowOwner<ArrowArray>>* arrays) {
  for (size_t i = 0; i < level.shown->size(); ++i) {
    const size_t index = (*level.shown)[i].index;
    if (level.inside[i] != nullptr) {
      GatherLevel(gatherer, *level.inside[i], arrays);
    } else {
      arrays->push_back(gatherer->Column(level, (*level.columns)[index], level.array->children[index]));
    }
  }
}

// ---- origins ----------------------------------------------------------------------------------------------

// `ends` are the rows of the result behind each table's last one.
ArrowOwner<ArrowArray> NumbersOf(const std::vector<RowOrigin>& origins, const std::vector<int64_t>& ends,
                                 uint64_t RowOrigin::*number) {
  const int64_t rows = ends.empty() ? 0 : ends.back();
  const Block block = Allocate(static_cast<size_t>(rows) * sizeof(uint64_t));
  auto* to = static_cast<uint64_t*>(block.get());
  int64_t row = 0;
  for (size_t i = 0; i < origins.size(); ++i) {
    std::fill(to + row, to + ends[i], origins[i].*number);
    row = ends[i];
  }
  return MakeArray({nullptr, block}, rows, 0);
}

ArrowOwner<ArrowArray> FilesOf(const std::vector<RowOrigin>& origins, const std::vector<int64_t>& ends) {
  int64_t size = 0;
  int64_t row = 0;
  for (size_t i = 0; i < origins.size(); ++i) {
    size += (ends[i] - row) * static_cast<int64_t>(origins[i].file.size());
    if (size > INT32_MAX) throw std::length_error("more than 2 GiB of text in a column");
    row = ends[i];
  }
  const Block offsets = Allocate((static_cast<size_t>(row) + 1) * sizeof(int32_t));
  const Block bytes = Allocate(static_cast<size_t>(size));
  auto* to = static_cast<int32_t*>(offsets.get());
  auto* out = static_cast<char*>(bytes.get());
  int32_t at = 0;
  row = 0;
  for (size_t i = 0; i < origins.size(); ++i) {
    const std::string& file = origins[i].file;
    for (; row < ends[i]; ++row) {
      to[row] = at;
      std::copy(file.begin(), file.end(), out + at);
      at += static_cast<int32_t>(file.size());
    }
  }
  to[row] = at;
  return MakeArray({nullptr, offsets, bytes}, row, 0);
}

void AddOrigins(const std::vector<RowOrigin>& origins, const std::vector<int64_t>& ends,
                const OriginColumns& told, std::vector<ArrowOwner<ArrowArray>>* arrays) {
  if (told.file) arrays->push_back(FilesOf(origins, ends));
  if (told.number) arrays->push_back(NumbersOf(origins, ends, &RowOrigin::number));
  if (told.offset) arrays->push_back(NumbersOf(origins, ends, &RowOrigin::offset));
}

// ---- nested -----------------------------------------------------------------------------------------------

bool IsAll(const TableColumns& columns, const ShownColumns& shown) {
  if (shown.size() != columns.size()) return false;
  for (size_t i = 0; i < shown.size(); ++i) {
    if (shown[i].index != i || !IsAll(columns[i].inside, shown[i].inside)) return false;
  }
  return true;
}

void TakeShown(ArrowArray* table, const TableColumns& columns, const ShownColumns& shown,
               std::vector<ArrowOwner<ArrowArray>>* arrays);

// The list with what is shown of its tables.
ArrowOwner<ArrowArray> TakeList(ArrowArray* list, const TableColumn& column, const ShownColumn& shown) {
  if (IsAll(column.inside, shown.inside)) return Take(list);
  ArrowArray* table = list->children[0];
  std::vector<ArrowOwner<ArrowArray>> children;
  TakeShown(table, column.inside, shown.inside, &children);
  auto parts = std::make_unique<ArrayParts>();
  parts->buffers.assign(list->buffers, list->buffers + list->n_buffers);
  parts->children.push_back(MakeStruct(std::move(children), table->length));
  const int64_t length = list->length;
  const int64_t nulls = list->null_count;
  parts->kept = Take(list);
  return Finish(std::move(parts), length, nulls);
}

void TakeShown(ArrowArray* table, const TableColumns& columns, const ShownColumns& shown,
               std::vector<ArrowOwner<ArrowArray>>* arrays) {
  for (const ShownColumn& one : shown) {
    ArrowArray* array = table->children[one.index];
    const TableColumn& column = columns[one.index];
    arrays->push_back(column.is_table() ? TakeList(array, column, one) : Take(array));
  }
}

}  // namespace

std::vector<ArrowField> OriginFields(const OriginColumns& columns) {
  std::vector<ArrowField> fields;
  if (columns.file) fields.push_back({"u", "_file", false, {}, {}});
  if (columns.number) fields.push_back({"L", "_reply", false, {}, {}});
  if (columns.offset) fields.push_back({"L", "_offset", false, {}, {}});
  return fields;
}

ArrowArray FlattenTables(ArrowOwner<ArrowArray> tables, const TableColumns& columns,
                         const ShownColumns& shown, const std::vector<RowOrigin>& origins,
                         const OriginColumns& told) {
  const std::unique_ptr<ArrayLevel> outer = MakeArrayLevel(tables.get(), columns, shown);
  RowLayout layout;
  std::vector<int64_t> ends;
  int64_t row = 0;
  for (const RowOrigin& origin : origins) {
    layout.Add(outer.get(), row, row + origin.rows);
    row += origin.rows;
    ends.push_back(layout.rows());
  }
  std::vector<ArrowOwner<ArrowArray>> arrays;
  AddOrigins(origins, ends, told, &arrays);
  Gatherer gatherer(layout.rows());
  GatherLevel(&gatherer, *outer, &arrays);
  return MakeStruct(std::move(arrays), layout.rows()).Move();
}

ArrowArray NestTables(ArrowOwner<ArrowArray> tables, const TableColumns& columns, const ShownColumns& shown,
                      const std::vector<RowOrigin>& origins, const OriginColumns& told) {
  std::vector<int64_t> ends;
  ends.reserve(origins.size());
  int64_t row = 0;
  for (const RowOrigin& origin : origins)
    ends.push_back(row += origin.rows);
  std::vector<ArrowOwner<ArrowArray>> arrays;
  AddOrigins(origins, ends, told, &arrays);
  if (arrays.empty() && IsAll(columns, shown)) return tables.Move();
  TakeShown(tables.get(), columns, shown, &arrays);
  return MakeStruct(std::move(arrays), row).Move();
}

}  // namespace replies
