// Arrow arrays in Python's hands: views of columns for NumPy, plain values, and capsules for whoever reads
// Arrow.
//
// Everything here shares its arrays by reference count: a view keeps them alive, whatever else is dropped.
// All functions need the interpreter's lock.
#ifndef PYTHON_SRC_ARROW_COLUMNS_H_
#define PYTHON_SRC_ARROW_COLUMNS_H_

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "tsl_base/arrow.h"

namespace tesparser_python {

namespace py = pybind11;

// A struct array and its type; both are released with the last user.
struct SharedArrow {
  ArrowSchema schema{};
  ArrowArray array{};

  SharedArrow() = default;
  SharedArrow(const SharedArrow&) = delete;
  SharedArrow& operator=(const SharedArrow&) = delete;
  ~SharedArrow();
};

using ArrowShare = std::shared_ptr<const SharedArrow>;

// The keys and values of a field's metadata.
std::map<std::string, std::string> MetadataOf(const ArrowSchema& schema);

// Some cells of one column. `first` counts from the beginning of the buffers.
struct ColumnPart {
  const ArrowSchema* schema = nullptr;
  const ArrowArray* array = nullptr;
  int64_t first = 0;
  int64_t length = 0;

  bool is_null(int64_t row) const;
  int64_t null_count() const;
};

// Arrow's format; of a counted column that of its elements is behind it: "+w:5:g".
std::string FormatOf(const ArrowSchema& field);

// Rows of a struct array, with a column for each of its fields.
class Columns {
 public:
  Columns(ArrowShare owner, const ArrowSchema* schema, const ArrowArray* array, int64_t first, int64_t length)
      : owner_(std::move(owner)), schema_(schema), array_(array), first_(first), length_(length) {}
  explicit Columns(ArrowShare owner)
      : Columns(owner, &owner->schema, &owner->array, owner->array.offset, owner->array.length) {}

  int64_t length() const { return length_; }
  int count() const { return static_cast<int>(schema_->n_children); }
  std::string name(int col) const;
  std::string format(int col) const { return FormatOf(*Child(col).schema); }

  // The cells as a NumPy array. Numbers and times are views of the arrays' own memory, read-only unless
  // `writable`, which is for who alone has these arrays; counted cells have two dimensions. Anything else
  // becomes an array of objects. What is null reads as 0 or None.
  py::array Values(int col, bool writable) const;
  // True where a cell is null; None if no cell is.
  py::object Mask(int col) const;
  py::object Cell(int64_t row, int col) const;
  // The cells as Python has them: None, int, float, str, bytes, datetime64, list, and dict for a row inside.
  py::list ToList(int col) const;

  // The rows inside a cell of a column of tables.
  Columns InsideOf(int col, int64_t row) const;
  // The rows inside the column of tables of that name, of all cells together. Throws KeyError.
  Columns InsideOf(const std::string& name) const;

  // A type and arrays that share the memory; both are the caller's to release. The lock is not needed.
  void Export(ArrowSchema* schema, ArrowArray* array) const;
  // The same as capsules of Arrow's interface.
  py::tuple Capsules() const;

 private:
  Columns Inside(int col) const;
  ColumnPart Child(int col) const;
  ColumnPart Part(int col) const;

  ArrowShare owner_;
  const ArrowSchema* schema_;
  const ArrowArray* array_;
  int64_t first_;
  int64_t length_;
};

// A row for each innermost row, beside the cells of the rows around it. Throws std::length_error where that
// is more than a table may have. The lock is not needed.
Columns Flatten(const Columns& nested);
// The type of that, for the type of the table. The caller's to release.
ArrowSchema FlatSchema(const ArrowSchema& nested);

// A type that shares nothing with the one it is made of.
void CopySchema(const ArrowSchema& from, ArrowSchema* to);

// A stream as a capsule, which takes it over.
py::capsule StreamCapsule(const ArrowArrayStream& stream);

// UTF-8 as a str; ill-formed bytes become U+FFFD.
py::object TextToPython(std::string_view text);

}  // namespace tesparser_python

#endif  // PYTHON_SRC_ARROW_COLUMNS_H_
