#include "table.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include "errors.h"
#include "replies/table_batch.h"

namespace tesparser_python {
namespace {

using tsl_base::ColumnInfo;
using tsl_base::TableView;
using tsl_base::Type;

std::string LetterOf(const ColumnInfo& column) {
  constexpr const char* kLetters = " chiqfdsbCHIQtTPV";
  const char letter = kLetters[static_cast<int>(column.type)];
  if (letter == ' ') return "";
  return (column.count > 1 ? std::to_string(column.count) : "") + letter;
}

py::object NumberToPython(Type type, const void* bytes) {
  const auto load = [bytes](auto value) {
    std::memcpy(&value, bytes, sizeof value);
    return value;
  };
  switch (type) {
    case Type::kInt8: return py::int_(load(int8_t{}));
    case Type::kInt16: return py::int_(load(int16_t{}));
    case Type::kInt32: return py::int_(load(int32_t{}));
    case Type::kInt64: return py::int_(load(int64_t{}));
    case Type::kFloat: return py::float_(load(float{}));
    case Type::kDouble: return py::float_(load(double{}));
    case Type::kUint8: return py::int_(load(uint8_t{}));
    case Type::kUint16: return py::int_(load(uint16_t{}));
    case Type::kUint32: return py::int_(load(uint32_t{}));
    case Type::kUint64: return py::int_(load(uint64_t{}));
    default: return py::none();  // replies have no times and no decimals as such
  }
}

// A cell that is set.
py::object FixedToPython(TableView view, int row, const ColumnInfo& column) {
  int size = 0;
  const auto* bytes = static_cast<const char*>(table_get_buff(view.get(), row, column.index, &size));
  if (column.count == 1) return NumberToPython(column.type, bytes);
  py::list values;
  for (int i = 0; i < column.count; ++i)
    values.append(NumberToPython(column.type, bytes + i * (size / column.count)));
  return std::move(values);
}

}  // namespace

ArrowShare TableOwner::Arrow(int* error) {
  const py::gil_scoped_release unlocked;
  const std::lock_guard<std::mutex> lock(making_);
  if (!arrow_ && error_ == 0) {
    auto made = std::make_shared<SharedArrow>();
    error_ = table_export_arrow(table_.get(), &made->schema, &made->array);
    if (error_ == ENOMEM) {
      error_ = 0;
      throw std::bad_alloc();
    }
    if (error_ == 0) {
      static_cast<void>(table_.release());
      arrow_ = std::move(made);
    }
  }
  *error = error_;
  return arrow_;
}

Table::Table(const Table& parent, int row, int col)
    : owner_(parent.owner_),
      view_(parent.view_.get<TableView>(row, col).value_or(TableView())),
      path_(parent.path_),
      id_(parent.id_) {
  path_.push_back({row, col});
}

py::object Table::name() const {
  const std::string_view name = view_.name();
  return TextToPython(name);
}

py::tuple Table::names() const {
  py::tuple names(static_cast<size_t>(cols()));
  for (int col = 0; col < cols(); ++col) {
    const std::string_view name = view_.column(col).name;
    names[static_cast<size_t>(col)] = TextToPython(name);
  }
  return names;
}

py::tuple Table::letters() const {
  py::tuple letters(static_cast<size_t>(cols()));
  for (int col = 0; col < cols(); ++col)
    letters[static_cast<size_t>(col)] = py::str(LetterOf(view_.column(col)));
  return letters;
}

int Table::ColumnOf(const py::handle& column) const {
  if (py::isinstance<py::str>(column)) {
    const auto name = column.cast<std::string>();
    if (const auto index = view_.column_index(name)) return *index;
    throw py::key_error("no column " + name);
  }
  const auto number = py::cast<int64_t>(py::reinterpret_steal<py::object>(PyNumber_Index(column.ptr())));
  const int64_t index = number < 0 ? number + cols() : number;
  if (index < 0 || index >= cols())
    throw py::index_error("column " + std::to_string(number) + " of a table with " + std::to_string(cols()));
  return static_cast<int>(index);
}

int Table::RowOf(int64_t row) const {
  const int64_t index = row < 0 ? row + rows() : row;
  if (index < 0 || index >= rows())
    throw py::index_error("row " + std::to_string(row) + " of a table with " + std::to_string(rows()));
  return static_cast<int>(index);
}

py::object Table::Cell(int row, int col) const {
  const ColumnInfo column = view_.column(col);
  if (!view_.is_set(row, col)) return py::none();
  switch (column.type) {
    case Type::kText: return TextToPython(table_get_str(view_.get(), row, col));
    case Type::kBinary: {
      int size = 0;
      const void* bytes = table_get_binary(view_.get(), row, col, &size);
      return py::bytes(static_cast<const char*>(bytes), static_cast<size_t>(size));
    }
    case Type::kTable: return py::cast(Table(*this, row, col));
    default: return FixedToPython(view_, row, column);
  }
}

py::list Table::Column(int col) const {
  py::list cells(static_cast<size_t>(rows()));
  for (int row = 0; row < rows(); ++row)
    cells[static_cast<size_t>(row)] = Cell(row, col);
  return cells;
}

// In the arrays of the whole.
Columns Table::ToColumns() const {
  int error = 0;
  const ArrowShare arrow = owner_->Arrow(&error);
  if (!arrow) RaiseNotExpressible(replies::WhyNoArrays(error));
  Columns columns(arrow);
  for (const Step& step : path_)
    columns = columns.InsideOf(step.col, step.row);
  return columns;
}

py::tuple Table::ColumnArrays(int col) const {
  if (view_.column(col).type == Type::kTable) {
    // Tables are given as such, whether or not they have a form as arrays.
    const py::list cells = Column(col);
    py::array values = py::module_::import("numpy").attr("empty")(cells.size(), "O");
    py::array_t<bool> mask(static_cast<py::ssize_t>(cells.size()));
    bool any = false;
    for (size_t row = 0; row < cells.size(); ++row) {
      values[py::int_(row)] = cells[row];
      mask.mutable_at(static_cast<py::ssize_t>(row)) = cells[row].is_none();
      any = any || cells[row].is_none();
    }
    return py::make_tuple(values, any ? py::object(mask) : py::none());
  }
  const Columns columns = ToColumns();
  return py::make_tuple(columns.Values(col, false), columns.Mask(col));
}

}  // namespace tesparser_python
