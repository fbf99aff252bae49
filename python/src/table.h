// One table in Python: rows and cells are read from the table itself, columns for NumPy and Arrow from the
// arrays that it becomes when they are first asked for.
#ifndef PYTHON_SRC_TABLE_H_
#define PYTHON_SRC_TABLE_H_

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "arrow_columns.h"
#include "tsl_base/table.hpp"

namespace tesparser_python {

// A table of its own and, from some time on, its arrays, which the table belongs to from then on.
class TableOwner {
 public:
  explicit TableOwner(tsl_base::Table table) : table_(std::move(table)), view_(table_.view()) {}

  tsl_base::TableView view() const { return view_; }
  // Null, and `error` an error number of table_export_arrow(), if the table has no such form. Any number of
  // threads may call it; made without the interpreter's lock.
  ArrowShare Arrow(int* error);

 private:
  std::mutex making_;
  tsl_base::Table table_;
  tsl_base::TableView view_;
  ArrowShare arrow_;
  int error_ = 0;
};

class Table {
 public:
  // The table of a reply; `id` is what the reply carries.
  Table(tsl_base::Table table, int32_t id)
      : owner_(std::make_shared<TableOwner>(std::move(table))), view_(owner_->view()), id_(id) {}

  int32_t id() const { return id_; }
  int rows() const { return view_.rows(); }
  int cols() const { return view_.cols(); }
  py::object name() const;
  py::tuple names() const;
  py::tuple letters() const;

  // By number, from the end if negative, or by name. Throws IndexError, KeyError, TypeError.
  int ColumnOf(const py::handle& column) const;
  int RowOf(int64_t row) const;

  py::object Cell(int row, int col) const;
  py::list Column(int col) const;
  py::tuple ColumnArrays(int col) const;

  // As a struct array; throws NotExpressible.
  Columns ToColumns() const;

 private:
  struct Step {
    int row;
    int col;
  };

  Table(const Table& parent, int row, int col);

  std::shared_ptr<TableOwner> owner_;
  tsl_base::TableView view_;
  std::vector<Step> path_;  // from the owner's table to this one
  int32_t id_ = 0;
};

}  // namespace tesparser_python

#endif  // PYTHON_SRC_TABLE_H_
