#include "arrow_columns.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "replies/arrow_schema.h"
#include "replies/flatten.h"
#include "replies/table_batch.h"
#include "replies/table_columns.h"

namespace tesparser_python {
namespace {

// ---- parts of arrays --------------------------------------------------------------------------------------

bool TestBit(const void* bits, int64_t index) {
  return (static_cast<const unsigned char*>(bits)[index >> 3] >> (index & 7) & 1) != 0;
}

const void* ValidityOf(const ArrowArray& array) {
  return array.n_buffers == 0 || array.null_count == 0 ? nullptr : array.buffers[0];
}

template <class T>
T At(const ColumnPart& part, int buffer, int64_t index) {
  T value;
  std::memcpy(&value, static_cast<const T*>(part.array->buffers[buffer]) + index, sizeof value);
  return value;
}

bool IsText(const ColumnPart& part) {
  return std::strcmp(part.schema->format, "u") == 0;
}
bool IsBinary(const ColumnPart& part) {
  return std::strcmp(part.schema->format, "z") == 0;
}
bool IsList(const ColumnPart& part) {
  return std::strcmp(part.schema->format, "+l") == 0;
}
bool IsStruct(const ColumnPart& part) {
  return std::strcmp(part.schema->format, "+s") == 0;
}
bool IsCounted(const ColumnPart& part) {
  return std::strncmp(part.schema->format, "+w:", 3) == 0;
}
bool IsTime(const ColumnPart& part) {
  return std::strncmp(part.schema->format, "tss:", 4) == 0;
}

int64_t CountOf(const ColumnPart& part) {
  return std::strtoll(part.schema->format + 3, nullptr, 10);
}

std::string_view ItemAt(const ColumnPart& part, int64_t row) {
  const auto from = At<int32_t>(part, 1, part.first + row);
  const auto to = At<int32_t>(part, 1, part.first + row + 1);
  return {static_cast<const char*>(part.array->buffers[2]) + from, static_cast<size_t>(to - from)};
}

// Cells of a child array, counted from the child's own beginning.
ColumnPart ChildPart(const ColumnPart& part, int64_t child, int64_t first, int64_t length) {
  const ArrowArray* array = part.array->children[child];
  return {part.schema->children[child], array, array->offset + first, length};
}

// The cells inside one list.
ColumnPart ListAt(const ColumnPart& part, int64_t row) {
  const auto from = At<int32_t>(part, 1, part.first + row);
  const auto to = At<int32_t>(part, 1, part.first + row + 1);
  return ChildPart(part, 0, from, to - from);
}

// The elements of all counted cells.
ColumnPart ElementsOf(const ColumnPart& part) {
  const int64_t count = CountOf(part);
  return ChildPart(part, 0, part.first * count, part.length * count);
}

// ---- values -----------------------------------------------------------------------------------------------

py::object NumberAt(const ColumnPart& part, int64_t row) {
  const int64_t index = part.first + row;
  switch (part.schema->format[0]) {
    case 'c': return py::int_(At<int8_t>(part, 1, index));
    case 'C': return py::int_(At<uint8_t>(part, 1, index));
    case 's': return py::int_(At<int16_t>(part, 1, index));
    case 'S': return py::int_(At<uint16_t>(part, 1, index));
    case 'i': return py::int_(At<int32_t>(part, 1, index));
    case 'I': return py::int_(At<uint32_t>(part, 1, index));
    case 'l': return py::int_(At<int64_t>(part, 1, index));
    case 'L': return py::int_(At<uint64_t>(part, 1, index));
    case 'f': return py::float_(At<float>(part, 1, index));
    case 'g': return py::float_(At<double>(part, 1, index));
    default: return py::none();  // replies have no times as such
  }
}

py::object CellAt(const ColumnPart& part, int64_t row);
py::list ListOf(const ColumnPart& part);

py::dict RowAt(const ColumnPart& part, int64_t row) {
  py::dict values;
  for (int64_t i = 0; i < part.array->n_children; ++i) {
    const ColumnPart cell = ChildPart(part, i, part.first + row, 1);
    const py::object name = TextToPython(cell.schema->name);
    // Of columns with one name the first counts.
    if (!values.contains(name)) values[name] = CellAt(cell, 0);
  }
  return values;
}

py::object CellAt(const ColumnPart& part, int64_t row) {
  if (part.is_null(row)) return py::none();
  if (IsText(part)) {
    const std::string_view text = ItemAt(part, row);
    return TextToPython(text);
  }
  if (IsBinary(part)) {
    const std::string_view bytes = ItemAt(part, row);
    return py::bytes(bytes.data(), bytes.size());
  }
  if (IsList(part)) return ListOf(ListAt(part, row));
  if (IsStruct(part)) return RowAt(part, row);
  if (IsCounted(part)) {
    const int64_t count = CountOf(part);
    return ListOf(ChildPart(part, 0, (part.first + row) * count, count));
  }
  return NumberAt(part, row);
}

py::list ListOf(const ColumnPart& part) {
  py::list values(part.length);
  for (int64_t row = 0; row < part.length; ++row)
    values[static_cast<size_t>(row)] = CellAt(part, row);
  return values;
}

// ---- NumPy ------------------------------------------------------------------------------------------------

// "<i8" and the like; null for what NumPy has no numbers for.
const char* NumpyType(const ColumnPart& part) {
  switch (part.schema->format[0]) {
    case 'c': return "i1";
    case 'C': return "u1";
    case 's': return "i2";
    case 'S': return "u2";
    case 'i': return "i4";
    case 'I': return "u4";
    case 'l': return "i8";
    case 'L': return "u8";
    case 'f': return "f4";
    case 'g': return "f8";
    default: return IsTime(part) ? "M8[s]" : nullptr;
  }
}

// Types are looked up once; they live as long as the interpreter.
const py::dtype& DtypeOf(const char* name) {
  static auto* const known = new std::map<std::string, py::dtype>;
  const auto at = known->find(name);
  return at != known->end() ? at->second : known->emplace(name, py::dtype(std::string(name))).first->second;
}

void ForbidWriting(py::array* array) {
  py::detail::array_proxy(array->ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
}

// Keeps the arrays as long as anybody has it.
py::capsule Keeper(const ArrowShare& owner) {
  return py::capsule(new ArrowShare(owner), [](void* kept) { delete static_cast<ArrowShare*>(kept); });
}

py::array NumbersOf(const ArrowShare& owner, const ColumnPart& part, std::vector<py::ssize_t> shape,
                    bool writable) {
  const py::dtype& dtype = DtypeOf(NumpyType(part));
  const void* numbers = part.array->buffers[1];
  const auto* first = static_cast<const char*>(numbers) + part.first * dtype.itemsize();
  py::array array(dtype, std::move(shape), first, Keeper(owner));
  if (!writable) ForbidWriting(&array);
  return array;
}

// An array of objects, and the places to fill. Each place takes a reference over.
std::pair<py::array, PyObject**> ObjectArray(int64_t length) {
  py::array array(DtypeOf("O"), std::vector<py::ssize_t>{static_cast<py::ssize_t>(length)});
  return {array, static_cast<PyObject**>(array.mutable_data())};
}

void Put(PyObject** place, py::object value) {
  PyObject* before = *place;
  *place = value.release().ptr();
  Py_XDECREF(before);
}

// Texts that come one after the other and are the same, as those of a gathered column are, are one object.
py::array TextsOf(const ColumnPart& part) {
  auto [array, places] = ObjectArray(part.length);
  std::string_view last;
  py::object text;
  for (int64_t row = 0; row < part.length; ++row) {
    if (part.is_null(row)) {
      Put(places + row, py::none());
      continue;
    }
    const std::string_view now = ItemAt(part, row);
    if (!text || now != last) {
      text = TextToPython(now);
      last = now;
    }
    Put(places + row, text);
  }
  return array;
}

py::array ObjectsOf(const ColumnPart& part) {
  auto [array, places] = ObjectArray(part.length);
  for (int64_t row = 0; row < part.length; ++row)
    Put(places + row, CellAt(part, row));
  return array;
}

// ---- capsules ---------------------------------------------------------------------------------------------

// Those that were made, and that nobody has taken out.
template <class Struct>
void ReleaseAll(std::vector<Struct>* children) {
  for (Struct& child : *children) {
    if (child.release != nullptr) child.release(&child);
  }
}

struct SchemaCopy {
  std::string format;
  std::string name;
  std::string metadata;
  std::vector<ArrowSchema> children;
  std::vector<ArrowSchema*> pointers;

  ~SchemaCopy() { ReleaseAll(&children); }
};

void ReleaseSchemaCopy(ArrowSchema* schema) {
  schema->release = nullptr;
  delete static_cast<SchemaCopy*>(schema->private_data);
}

// Bytes of a block of metadata.
size_t MetadataSize(const char* metadata) {
  const char* at = metadata;
  int32_t pairs = 0;
  std::memcpy(&pairs, at, sizeof pairs);
  at += sizeof pairs;
  for (int32_t i = 0; i < 2 * pairs; ++i) {
    int32_t size = 0;
    std::memcpy(&size, at, sizeof size);
    at += sizeof size + static_cast<size_t>(size);
  }
  return static_cast<size_t>(at - metadata);
}

}  // namespace

void CopySchema(const ArrowSchema& from, ArrowSchema* to) {
  auto copy = std::make_unique<SchemaCopy>();
  copy->format = from.format;
  copy->name = from.name == nullptr ? "" : from.name;
  if (from.metadata != nullptr) copy->metadata.assign(from.metadata, MetadataSize(from.metadata));
  copy->children.resize(static_cast<size_t>(from.n_children));
  for (size_t i = 0; i < copy->children.size(); ++i) {
    CopySchema(*from.children[i], &copy->children[i]);
    copy->pointers.push_back(&copy->children[i]);
  }
  *to = ArrowSchema{};
  to->format = copy->format.c_str();
  to->name = copy->name.c_str();
  to->metadata = copy->metadata.empty() ? nullptr : copy->metadata.data();
  to->flags = from.flags;
  to->n_children = from.n_children;
  to->children = copy->pointers.data();
  to->release = ReleaseSchemaCopy;
  to->private_data = copy.release();
}

namespace {

// The same buffers in structs of their own, each with its own hold on the owner.
struct ArrayShare {
  ArrowShare owner;
  std::vector<const void*> buffers;
  std::vector<ArrowArray> children;
  std::vector<ArrowArray*> pointers;

  ~ArrayShare() { ReleaseAll(&children); }
};

void ReleaseArrayShare(ArrowArray* array) {
  array->release = nullptr;
  delete static_cast<ArrayShare*>(array->private_data);
}

void ShareArray(const ArrowShare& owner, const ArrowArray& from, ArrowArray* to) {
  auto share = std::make_unique<ArrayShare>();
  share->owner = owner;
  share->buffers.assign(from.buffers, from.buffers + from.n_buffers);
  share->children.resize(static_cast<size_t>(from.n_children));
  for (size_t i = 0; i < share->children.size(); ++i) {
    ShareArray(owner, *from.children[i], &share->children[i]);
    share->pointers.push_back(&share->children[i]);
  }
  *to = from;
  to->buffers = share->buffers.data();
  to->children = share->pointers.data();
  to->release = ReleaseArrayShare;
  to->private_data = share.release();
}

// A capsule that nobody took anything out of releases what is in it.
template <class Struct>
py::capsule CapsuleOf(std::unique_ptr<Struct> content, const char* name) {
  PyObject* capsule = PyCapsule_New(content.get(), name, [](PyObject* self) {
    auto* held = static_cast<Struct*>(PyCapsule_GetPointer(self, PyCapsule_GetName(self)));
    if (held->release != nullptr) held->release(held);
    delete held;
  });
  if (capsule == nullptr) {
    content->release(content.get());
    throw py::error_already_set();
  }
  static_cast<void>(content.release());
  return py::reinterpret_steal<py::capsule>(capsule);
}

}  // namespace

SharedArrow::~SharedArrow() {
  if (array.release != nullptr) array.release(&array);
  if (schema.release != nullptr) schema.release(&schema);
}

std::map<std::string, std::string> MetadataOf(const ArrowSchema& schema) {
  std::map<std::string, std::string> pairs;
  const char* at = schema.metadata;
  if (at == nullptr) return pairs;
  const auto number = [&at] {
    int32_t value = 0;
    std::memcpy(&value, at, sizeof value);
    at += sizeof value;
    return value;
  };
  const auto text = [&at, &number] {
    const auto size = static_cast<size_t>(number());
    const std::string value(at, size);
    at += size;
    return value;
  };
  for (int32_t left = number(); left > 0; --left) {
    std::string key = text();
    pairs.emplace(std::move(key), text());
  }
  return pairs;
}

std::string FormatOf(const ArrowSchema& field) {
  const std::string format = field.format;
  return format.compare(0, 3, "+w:") == 0 ? format + ":" + field.children[0]->format : format;
}

bool ColumnPart::is_null(int64_t row) const {
  if (schema->format[0] == 'n') return true;
  const void* validity = ValidityOf(*array);
  return validity != nullptr && !TestBit(validity, first + row);
}

int64_t ColumnPart::null_count() const {
  int64_t nulls = 0;
  if (ValidityOf(*array) == nullptr && schema->format[0] != 'n') return 0;
  for (int64_t row = 0; row < length; ++row)
    nulls += is_null(row);
  return nulls;
}

ColumnPart Columns::Child(int col) const {
  if (col < 0 || col >= schema_->n_children) throw py::index_error("no column of that number");
  return {schema_->children[col], array_->children[col], 0, 0};
}

ColumnPart Columns::Part(int col) const {
  ColumnPart part = Child(col);
  part.first = part.array->offset + first_;
  part.length = length_;
  return part;
}

std::string Columns::name(int col) const {
  const char* name = Child(col).schema->name;
  return name == nullptr ? "" : name;
}

py::array Columns::Values(int col, bool writable) const {
  const ColumnPart part = Part(col);
  if (NumpyType(part) != nullptr) return NumbersOf(owner_, part, {part.length}, writable);
  if (IsText(part)) return TextsOf(part);
  if (!IsCounted(part)) return ObjectsOf(part);
  const ColumnPart elements = ElementsOf(part);
  return NumbersOf(owner_, elements, {part.length, CountOf(part)}, writable);
}

py::object Columns::Mask(int col) const {
  const ColumnPart part = Part(col);
  if (part.null_count() == 0) return py::none();
  py::array_t<bool> mask(part.length);
  bool* is_null = mask.mutable_data();
  for (int64_t row = 0; row < part.length; ++row)
    is_null[row] = part.is_null(row);
  return mask;
}

py::object Columns::Cell(int64_t row, int col) const {
  if (row < 0 || row >= length_) throw py::index_error("no row of that number");
  return CellAt(Part(col), row);
}

py::list Columns::ToList(int col) const {
  return ListOf(Part(col));
}

Columns Columns::Inside(int col) const {
  const ColumnPart part = Part(col);
  const auto from = At<int32_t>(part, 1, part.first);
  const auto to = At<int32_t>(part, 1, part.first + part.length);
  const ColumnPart rows = ChildPart(part, 0, from, to - from);
  return Columns(owner_, rows.schema, rows.array, rows.first, rows.length);
}

Columns Columns::InsideOf(int col, int64_t row) const {
  const ColumnPart rows = ListAt(Part(col), row);
  return Columns(owner_, rows.schema, rows.array, rows.first, rows.length);
}

Columns Columns::InsideOf(const std::string& name) const {
  for (int col = 0; col < count(); ++col) {
    if (this->name(col) == name && format(col) == "+l") return Inside(col);
  }
  throw py::key_error("no column of tables " + name);
}

void Columns::Export(ArrowSchema* schema, ArrowArray* array) const {
  CopySchema(*schema_, schema);
  try {
    ShareArray(owner_, *array_, array);
  } catch (...) {
    schema->release(schema);
    throw;
  }
  // A part of a struct array is told by its columns, each a part of its own: not everybody looks at the
  // offset of a struct.
  array->offset = 0;
  array->length = length_;
  for (int col = 0; col < count(); ++col) {
    const ColumnPart part = Part(col);
    ArrowArray* child = array->children[col];
    child->null_count = part.null_count();
    child->offset = part.first;
    child->length = part.length;
  }
}

py::tuple Columns::Capsules() const {
  auto schema = std::make_unique<ArrowSchema>();
  auto array = std::make_unique<ArrowArray>();
  Export(schema.get(), array.get());
  const py::capsule schema_capsule = CapsuleOf(std::move(schema), "arrow_schema");
  return py::make_tuple(schema_capsule, CapsuleOf(std::move(array), "arrow_array"));
}

py::capsule StreamCapsule(const ArrowArrayStream& stream) {
  return CapsuleOf(std::make_unique<ArrowArrayStream>(stream), "arrow_array_stream");
}

namespace {

// What a table takes when it is made flat: the rows that it becomes, and the bytes of texts beside them.
struct FlatSize {
  uint64_t rows = 0;
  uint64_t text_bytes = 0;
};

uint64_t TextBytes(const ColumnPart& part, int64_t row) {
  return IsText(part) || IsBinary(part) ? ItemAt(part, row).size() : 0;
}

// Of some rows of a struct; stops counting where it is too much.
FlatSize MeasureRows(const ColumnPart& rows) {
  FlatSize size;
  for (int64_t row = 0; row < rows.length && size.text_bytes <= replies::kMostTableBytes; ++row) {
    FlatSize inside;
    uint64_t beside = 0;
    for (int64_t i = 0; i < rows.array->n_children; ++i) {
      const ColumnPart cells = ChildPart(rows, i, rows.first, rows.length);
      if (!IsList(cells)) {
        beside += TextBytes(cells, row);
        continue;
      }
      const FlatSize list = MeasureRows(ListAt(cells, row));
      inside.rows += list.rows;
      inside.text_bytes += list.text_bytes;
    }
    inside.rows = std::max<uint64_t>(inside.rows, 1);
    size.rows += inside.rows;
    size.text_bytes += inside.text_bytes + beside * inside.rows;
  }
  return size;
}

// What is told of columns, which ColumnsOfTable() leaves out.
void AddMetadata(const ArrowSchema& table, replies::TableColumns* columns) {
  for (size_t i = 0; i < columns->size(); ++i) {
    const ArrowSchema& field = *table.children[i];
    for (const auto& [key, value] : MetadataOf(field))
      (*columns)[i].metadata.emplace_back(key, value);
    if ((*columns)[i].is_table()) AddMetadata(*field.children[0], &(*columns)[i].inside);
  }
}

replies::TableColumns ColumnsOf(const ArrowSchema& table) {
  replies::TableColumns columns = replies::ColumnsOfTable(table);
  AddMetadata(table, &columns);
  return columns;
}

void CheckFlatSize(const ColumnPart& rows, size_t columns) {
  const FlatSize size = MeasureRows(rows);
  const bool fits = size.rows * std::max<uint64_t>(columns, 1) <= replies::kMostTableCells &&
                    size.text_bytes <= replies::kMostTableBytes;
  if (!fits) throw std::length_error("flat, the table has too many cells; take it with flat=False");
}

}  // namespace

ArrowSchema FlatSchema(const ArrowSchema& nested) {
  const replies::TableColumns columns = ColumnsOf(nested);
  std::string missing;
  const auto shown = replies::ChooseColumns(columns, {}, true, &missing);
  return replies::MakeArrowSchema({"+s", "", false, {}, replies::ShownFields(columns, *shown, true)});
}

Columns Flatten(const Columns& nested) {
  replies::ArrowOwner<ArrowSchema> schema;
  replies::ArrowOwner<ArrowArray> array;
  nested.Export(schema.get(), array.get());
  const replies::TableColumns columns = ColumnsOf(*schema);
  std::string missing;
  const auto shown = replies::ChooseColumns(columns, {}, true, &missing);
  const auto fields = replies::ShownFields(columns, *shown, true);
  CheckFlatSize({schema.get(), array.get(), 0, nested.length()}, fields.size());
  const auto made = std::make_shared<SharedArrow>();
  made->schema = replies::MakeArrowSchema({"+s", "", false, {}, fields});
  made->array = replies::FlattenTables(std::move(array), columns, *shown, {{nested.length(), "", 0, 0}}, {});
  return Columns(ArrowShare(made));
}

py::object TextToPython(std::string_view text) {
  PyObject* decoded = PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "replace");
  if (decoded == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(decoded);
}

}  // namespace tesparser_python
