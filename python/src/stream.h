// The replies of a source as batches of columns.
#ifndef PYTHON_SRC_STREAM_H_
#define PYTHON_SRC_STREAM_H_

#include <pybind11/pybind11.h>

namespace tesparser_python {

void BindStream(pybind11::module_* module);

}  // namespace tesparser_python

#endif  // PYTHON_SRC_STREAM_H_
