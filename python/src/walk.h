// Where replies are in a part of a file, for those who read many parts at a time.
#ifndef PYTHON_SRC_WALK_H_
#define PYTHON_SRC_WALK_H_

#include <pybind11/pybind11.h>

namespace tesparser_python {

void BindWalk(pybind11::module_* module);

}  // namespace tesparser_python

#endif  // PYTHON_SRC_WALK_H_
