// The rows of the tables of one reply that are shown, where not all are.
#ifndef TESVIEW_SHOW_KEPT_ROWS_H_
#define TESVIEW_SHOW_KEPT_ROWS_H_

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tsl_base/table.hpp"

namespace tesview {

// Some rows of a table, in their order: `for (const int row : rows)`.
class RowList {
 public:
  class Iterator {
   public:
    Iterator(const std::vector<int>* rows, int at) : rows_(rows), at_(at) {}
    int operator*() const { return rows_ == nullptr ? at_ : (*rows_)[static_cast<size_t>(at_)]; }
    Iterator& operator++() {
      ++at_;
      return *this;
    }
    bool operator!=(const Iterator& other) const { return at_ != other.at_; }

   private:
    const std::vector<int>* rows_;
    int at_;
  };

  // Those from the place `from` to the one before `to`, of `rows` or, where these are null, of all.
  RowList(const std::vector<int>* rows, int from, int to) : rows_(rows), from_(from), to_(to) {}

  Iterator begin() const { return {rows_, from_}; }
  Iterator end() const { return {rows_, to_}; }
  int size() const { return to_ - from_; }
  bool empty() const { return from_ == to_; }

 private:
  const std::vector<int>* rows_;
  int from_;
  int to_;
};

class KeptRows {
 public:
  // Of a table that is not told here all rows are kept.
  void Keep(tsl_base::TableView table, std::vector<int> rows) {
    rows_.insert_or_assign(table.get(), std::move(rows));
  }

  // In ascending order; null where all are kept.
  const std::vector<int>* Of(tsl_base::TableView table) const {
    const auto at = rows_.find(table.get());
    return at == rows_.end() ? nullptr : &at->second;
  }

  bool IsKept(tsl_base::TableView table, int row) const {
    const std::vector<int>* rows = Of(table);
    return rows == nullptr || std::binary_search(rows->begin(), rows->end(), row);
  }

 private:
  std::unordered_map<const void*, std::vector<int>> rows_;
};

// A table of the rows that are kept, with those of the tables inside it. Throws TooMuch and std::bad_alloc.
tsl_base::Table CopyOfKept(tsl_base::TableView table, const KeptRows& kept);

}  // namespace tesview

#endif  // TESVIEW_SHOW_KEPT_ROWS_H_
