#include "errors.h"

#include "arrow_columns.h"

namespace tesparser_python {
namespace {

namespace py = pybind11;
using replies::Diagnosis;
using replies::Reason;

py::object ErrorClass(const char* name) {
  return py::module_::import("tesparser._errors").attr(name);
}

[[noreturn]] void RaiseObject(const py::object& error) {
  PyErr_SetObject(py::type::handle_of(error).ptr(), error.ptr());
  throw py::error_already_set();
}

}  // namespace

py::object ErrorOf(const Diagnosis& diagnosis) {
  switch (diagnosis.reason) {
    case Reason::kNone: return py::none();
    case Reason::kNotAReply:
      return ErrorClass("NotAReply")(TextToPython(diagnosis.message), diagnosis.offset);
    case Reason::kFieldMissing:
      return ErrorClass("FieldMissing")(TextToPython(diagnosis.message), diagnosis.field);
    case Reason::kNoTableForm: return ErrorClass("NoTableForm")(TextToPython(diagnosis.message));
    case Reason::kNothingInIt: return ErrorClass("NothingInIt")(TextToPython(diagnosis.message));
    case Reason::kNotExpressible:
      return ErrorClass("NotExpressible")(TextToPython(diagnosis.message), diagnosis.field);
    case Reason::kOutOfMemory: break;
  }
  return py::reinterpret_borrow<py::object>(PyExc_MemoryError)(TextToPython(diagnosis.message));
}

void Raise(const Diagnosis& diagnosis) {
  RaiseObject(ErrorOf(diagnosis));
}

void RaiseOsError(const std::string& message) {
  RaiseObject(py::reinterpret_borrow<py::object>(PyExc_OSError)(TextToPython(message)));
}

void RaiseNotExpressible(const std::string& message) {
  RaiseObject(ErrorClass("NotExpressible")(TextToPython(message)));
}

void RaiseMisfit(const std::string& message, uint64_t number, uint64_t offset, const std::string& source) {
  RaiseObject(ErrorClass("Misfit")(TextToPython(message), number, offset, TextToPython(source)));
}

}  // namespace tesparser_python
