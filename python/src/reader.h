// Many replies: one by one, as batches of columns, and as figures of where they are.
#ifndef PYTHON_SRC_READER_H_
#define PYTHON_SRC_READER_H_

#include <pybind11/pybind11.h>

namespace tesparser_python {

void BindReader(pybind11::module_* module);

}  // namespace tesparser_python

#endif  // PYTHON_SRC_READER_H_
