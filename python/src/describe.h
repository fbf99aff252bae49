// The vocabulary, the descriptions of columns, and numbers: what needs no reply.
#ifndef PYTHON_SRC_DESCRIBE_H_
#define PYTHON_SRC_DESCRIBE_H_

#include <pybind11/pybind11.h>

namespace tesparser_python {

void BindDescriptions(pybind11::module_* module);

}  // namespace tesparser_python

#endif  // PYTHON_SRC_DESCRIBE_H_
