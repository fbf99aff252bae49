#include "describe.h"

#include <pybind11/numpy.h>
#include <pybind11/stl.h>

#include <cstdint>
#include <string>

#include "replies/columns.h"
#include "replies/layouts.h"
#include "replies/times.h"
#include "replies/vocabulary.h"
#include "tesparser/tesparser.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;

py::str Str(std::string_view text) {
  return py::str(text.data(), text.size());
}

// ---- what there is ----------------------------------------------------------------------------------------

const replies::TableDescription* OwnTable(int32_t id) {
  return replies::DescribeTable(id, TPTypeById, "");
}

py::list TypesOf(int32_t id) {
  py::list types;
  for (const replies::TableDescription& table : replies::DescribedTables()) {
    if (table.id == id && table.type != TPTypeById && table.path.empty()) types.append(Str(table.type_name));
  }
  return types;
}

// One of tesparser.Id.
py::tuple IdOf(const replies::Payload& payload) {
  const replies::PayloadDescription* told = replies::DescribePayload(payload.id);
  const auto text = [told](const replies::Told replies::PayloadDescription::*which) {
    return told == nullptr ? py::str("") : py::str((told->*which).Marked());
  };
  return py::make_tuple(payload.id, payload.name, text(&replies::PayloadDescription::english),
                        text(&replies::PayloadDescription::chinese),
                        told == nullptr ? py::str("") : Str(told->family), payload.field,
                        OwnTable(payload.id) != nullptr, py::tuple(TypesOf(payload.id)));
}

py::list Ids() {
  py::list ids;
  for (const replies::Payload& payload : replies::Vocabulary())
    ids.append(IdOf(payload));
  return ids;
}

int32_t FindId(const std::string& word) {
  if (const replies::Payload* payload = replies::FindPayload(word)) return payload->id;
  throw py::key_error("no Id " + word);
}

int FindType(const std::string& word) {
  if (const auto type = replies::FindType(word)) return *type;
  throw py::key_error("no layout " + word);
}

// Those of tesparser.Column, in the order of the table, each followed by those of the tables in its cells.
void AppendColumns(const replies::TableDescription& table, py::list* columns) {
  for (const replies::ColumnDescription& column : table.columns) {
    const std::string inside = table.path.empty() ? std::string(column.name)
                                                  : std::string(table.path) + "/" + std::string(column.name);
    std::string path = inside;
    for (char& c : path)
      c = c == '/' ? '.' : c;
    columns->append(py::make_tuple(path, Str(column.name), Str(column.letter), column.english.Marked(),
                                   column.chinese.Marked(), column.meaning.Marked(), column.unit.Marked(),
                                   column.kind.Marked(), Str(column.source), Str(column.unset)));
    if (const auto* child = replies::DescribeTable(table.id, table.type, inside))
      AppendColumns(*child, columns);
  }
}

py::list DescribedColumns(int32_t id, int type) {
  py::list columns;
  if (const auto* table = replies::DescribeTable(id, type, "")) AppendColumns(*table, &columns);
  return columns;
}

// ---- numbers ----------------------------------------------------------------------------------------------

// Arrays are contiguous here; the package sees to it.
py::tuple Unpack(const py::array_t<int64_t, py::array::c_style>& values) {
  py::array_t<double> numbers(values.size());
  py::array_t<int32_t> divisors(values.size());
  const int64_t* from = values.data();
  double* number = numbers.mutable_data();
  int32_t* divisor = divisors.mutable_data();
  const auto count = static_cast<size_t>(values.size());
  {
    const py::gil_scoped_release unlocked;
    for (size_t i = 0; i < count; ++i) {
      divisor[i] = 0;
      number[i] = TesparserInt64ToDouble(from[i], &divisor[i]);
    }
  }
  return py::make_tuple(numbers, divisors);
}

// Milliseconds, since 1970 or since midnight, and INT64_MIN, which is NumPy's "not a time", for what is none.
py::array_t<int64_t> Times(const py::array_t<int64_t, py::array::c_style>& values, const std::string& kind) {
  const replies::Told told{kind, false};
  py::array_t<int64_t> times(values.size());
  const int64_t* from = values.data();
  int64_t* to = times.mutable_data();
  const auto count = static_cast<size_t>(values.size());
  const py::gil_scoped_release unlocked;
  for (size_t i = 0; i < count; ++i)
    to[i] = replies::MillisOf(replies::TimeKindOf(told, from[i]), from[i]).value_or(INT64_MIN);
  return times;
}

}  // namespace

void BindDescriptions(py::module_* module) {
  module->def("ids", Ids);
  module->def("find_id", FindId);
  module->def("find_type", FindType);
  module->def("id_with_name", replies::IdWithName);
  module->def("columns", DescribedColumns);
  module->def("unpack", Unpack);
  module->def("times", Times);
  module->def("is_time", [](const std::string& kind) { return replies::IsTime({kind, false}); });
}

}  // namespace tesparser_python
