// The compiled part of the package: what Python's own part, tesparser/*.py, is built on.
//
// Replies are decoded without the interpreter's lock, but for the smallest. What a function is given is
// copied, or held, before it lets the lock go. What is wrong with a reply is said by an exception: protobuf's
// lines on standard error are kept back meanwhile, and only then, as the process may have other users of
// protobuf.
#include <google/protobuf/stubs/logging.h>
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "arrow_columns.h"
#include "describe.h"
#include "errors.h"
#include "reader.h"
#include "replies/diagnosis.h"
#include "replies/layouts.h"
#include "replies/wire.h"
#include "stream.h"
#include "table.h"
#include "tesparser/tesparser.h"
#include "tsl_base/text.h"
#include "walk.h"

namespace tesparser_python {
namespace {

// A copy of the bytes that an object holds: nobody can change them while they are decoded.
std::string BytesOf(const py::handle& reply) {
  if (PyBytes_Check(reply.ptr()))
    return {PyBytes_AS_STRING(reply.ptr()), static_cast<size_t>(PyBytes_GET_SIZE(reply.ptr()))};
  if (!PyObject_CheckBuffer(reply.ptr()))
    throw py::type_error("a reply is an object of bytes, not " +
                         std::string(py::str(py::type::handle_of(reply).attr("__name__"))));
  Py_buffer view;
  if (PyObject_GetBuffer(reply.ptr(), &view, PyBUF_SIMPLE) != 0) throw py::error_already_set();
  std::string bytes(static_cast<const char*>(view.buf), static_cast<size_t>(view.len));
  PyBuffer_Release(&view);
  return bytes;
}

// Lets the interpreter's lock go while one reply is decoded. Below this size that takes a few microseconds,
// and a thread that has given the lock away may wait far longer than that to get it back.
class UnlockedFor {
 public:
  explicit UnlockedFor(const std::string& reply) {
    if (reply.size() >= kWorthUnlocking) unlocked_.emplace();
  }

 private:
  static constexpr size_t kWorthUnlocking = 1024;

  std::optional<py::gil_scoped_release> unlocked_;
};

int32_t IdOf(const std::string& bytes) {
  int32_t id = 0;
  return replies::FindId(bytes, &id) ? id : 0;
}

// A layout by number or name; None is that of the reply's own Id.
TPType TypeOf(const py::object& type) {
  if (type.is_none()) return TPTypeById;
  if (!py::isinstance<py::str>(type)) return static_cast<TPType>(py::cast<int>(type));
  const auto word = py::cast<std::string>(type);
  if (const auto found = replies::FindType(word)) return *found;
  throw py::key_error("no layout " + word);
}

py::object TableOf(const py::handle& reply, const py::object& type) {
  const std::string bytes = BytesOf(reply);
  const TPType layout = TypeOf(type);
  tsl_base::Table table;
  replies::Diagnosis why;
  {
    const UnlockedFor unlocked(bytes);
    const google::protobuf::LogSilencer silence;
    const tsl_base::KeepUtf8 utf8;
    table.reset(TesparserPB2TableType(bytes, layout));
    if (!table) why = replies::DiagnoseTable(bytes, layout);
  }
  if (table) return py::cast(Table(std::move(table), IdOf(bytes)));
  const bool is_reply = why.reason == replies::Reason::kNoTableForm ||
                        why.reason == replies::Reason::kNothingInIt || why.reason == replies::Reason::kNone;
  if (!is_reply) Raise(why);
  return py::none();
}

py::object WhyNoTable(const py::handle& reply, const py::object& type) {
  const std::string bytes = BytesOf(reply);
  const TPType layout = TypeOf(type);
  replies::Diagnosis why;
  {
    const UnlockedFor unlocked(bytes);
    const google::protobuf::LogSilencer silence;
    why = replies::DiagnoseTable(bytes, layout);
  }
  return ErrorOf(why);
}

// The empty text, and why, for what gives none.
std::string MakeJson(const std::string& bytes, replies::Diagnosis* why) {
  const google::protobuf::LogSilencer silence;
  try {
    std::string json = TesparserPB2Json(bytes);
    if (json.empty()) *why = replies::DiagnoseJson(bytes);
    return json;
  } catch (const j2pb_error& error) {
    *why = replies::DiagnoseJson(bytes);
    if (why->reason == replies::Reason::kNone) *why = {replies::Reason::kOutOfMemory, 0, "", error.what()};
    return "";
  }
}

py::str JsonOf(const py::handle& reply) {
  const std::string bytes = BytesOf(reply);
  std::string json;
  replies::Diagnosis why;
  {
    const UnlockedFor unlocked(bytes);
    json = MakeJson(bytes, &why);
  }
  if (json.empty()) Raise(why);
  return py::str(json);
}

// ---- tables -----------------------------------------------------------------------------------------------

// One row; it keeps its table.
struct Row {
  Table table;
  int index;

  py::object Cell(const py::object& column) const { return table.Cell(index, table.ColumnOf(column)); }
  py::tuple Cells() const {
    py::tuple cells(static_cast<size_t>(table.cols()));
    for (int col = 0; col < table.cols(); ++col)
      cells[static_cast<size_t>(col)] = table.Cell(index, col);
    return cells;
  }
};

// table[row], table[rows], table[row, column], table[name].
py::object ItemOf(const Table& table, const py::object& key) {
  if (py::isinstance<py::str>(key)) return table.Column(table.ColumnOf(key));
  if (py::isinstance<py::tuple>(key)) {
    const auto [row, column] = py::cast<std::pair<int64_t, py::object>>(key);
    return table.Cell(table.RowOf(row), table.ColumnOf(column));
  }
  if (py::isinstance<py::slice>(key)) {
    py::ssize_t start = 0, stop = 0, step = 0, count = 0;
    if (!py::reinterpret_borrow<py::slice>(key).compute(table.rows(), &start, &stop, &step, &count))
      throw py::error_already_set();
    py::list rows;
    for (py::ssize_t i = 0; i < count; ++i)
      rows.append(Row{table, static_cast<int>(start + i * step)});
    return std::move(rows);
  }
  return py::cast(Row{table, table.RowOf(py::cast<int64_t>(key))});
}

struct RowIterator {
  Table table;
  int next = 0;

  Row Next() {
    if (next >= table.rows()) throw py::stop_iteration();
    return {table, next++};
  }
};

void BindTable(py::module_* module) {
  py::class_<Columns>(*module, "Columns")
      .def_property_readonly("length", &Columns::length)
      .def_property_readonly("count", &Columns::count)
      .def("name", &Columns::name)
      .def("format", &Columns::format)
      .def("values", &Columns::Values)
      .def("mask", &Columns::Mask)
      .def("cell", &Columns::Cell)
      .def("to_list", &Columns::ToList)
      .def("capsules", &Columns::Capsules);

  py::class_<Row>(*module, "Row", R"(One row of a table: cells by number or name.

len() and iteration are over the cells, in the order of the columns; dict(row) has
them by name. An unset cell is None. A row keeps its table alive.)")
      .def("__len__", [](const Row& row) { return row.table.cols(); })
      .def("__getitem__", &Row::Cell, py::arg("column"))
      .def("__iter__", [](const Row& row) { return py::iter(row.Cells()); })
      .def(
          "keys", [](const Row& row) { return row.table.names(); }, "The names of the columns.")
      .def("values", &Row::Cells, "The cells.")
      .def_property_readonly(
          "index", [](const Row& row) { return row.index; }, "The row's number, from 0.");
  py::class_<RowIterator>(*module, "RowIterator")
      .def("__iter__", [](const py::object& self) { return self; })
      .def("__next__", &RowIterator::Next);

  py::class_<Table>(*module, "Table", R"(A table that a reply gave, or one inside it.

table[0] is a row, table[0, "Obj"] a cell, table["Obj"] the list of a column's cells;
rows and columns have numbers from 0, negative ones count from the end. Unset cells
are None, texts str, byte strings bytes, counted cells lists, tables inside Tables.
Iteration is over the rows. A table inside keeps the whole alive. Threads may read one
table at once.)")
      .def("__len__", &Table::rows)
      .def("__getitem__", ItemOf, py::arg("key"))
      .def("__iter__", [](const Table& table) { return RowIterator{table}; })
      .def("__bool__", [](const Table&) { return true; })
      .def_property_readonly("id", &Table::id, "The Id that the reply carries; 0 if it has none.")
      .def_property_readonly("name", &Table::name, "The table's label, mostly empty.")
      .def_property_readonly("columns", &Table::names, "The names of the columns, a tuple of str.")
      .def_property_readonly("types", &Table::letters, R"(The types of the columns, a tuple of letters:

c h i q (signed, 8 to 64 bits), C H I Q (unsigned), f d (float, double), s (text),
b (bytes), t (table), T (time), P V (decimals), "53q" (53 of them in each cell).)")
      .def("_column_of", [](const Table& table, const py::object& column) { return table.ColumnOf(column); })
      .def("_column_arrays", &Table::ColumnArrays)
      .def("_to_columns", &Table::ToColumns);
}

}  // namespace
}  // namespace tesparser_python

PYBIND11_MODULE(_core, module) {
  using namespace tesparser_python;
  BindTable(&module);
  BindDescriptions(&module);
  BindReader(&module);
  BindStream(&module);
  BindWalk(&module);
  module.def("table", TableOf);
  module.def("why", WhyNoTable);
  module.def("json", JsonOf);
}
