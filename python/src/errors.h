// Failures as exceptions of the package: tesparser/_errors.py has the classes.
#ifndef PYTHON_SRC_ERRORS_H_
#define PYTHON_SRC_ERRORS_H_

#include <pybind11/pybind11.h>

#include <cstdint>
#include <string>

#include "replies/diagnosis.h"

namespace tesparser_python {

// What a diagnosis says as an exception that is not raised yet. Needs the interpreter's lock, as all here.
pybind11::object ErrorOf(const replies::Diagnosis& diagnosis);

[[noreturn]] void Raise(const replies::Diagnosis& diagnosis);

// A source that cannot be read.
[[noreturn]] void RaiseOsError(const std::string& message);

// A value that is there and cannot be given in the form that was asked for.
[[noreturn]] void RaiseNotExpressible(const std::string& message);

// A reply of a source that cannot be used, or is none.
[[noreturn]] void RaiseMisfit(const std::string& message, uint64_t number, uint64_t offset,
                              const std::string& source);

}  // namespace tesparser_python

#endif  // PYTHON_SRC_ERRORS_H_
