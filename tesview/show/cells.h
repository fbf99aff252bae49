// The cells of tables: as text, number, bytes or inner table.
#ifndef TESVIEW_SHOW_CELLS_H_
#define TESVIEW_SHOW_CELLS_H_

#include <optional>
#include <string>
#include <string_view>

#include "replies/times.h"
#include "tesview/show/columns.h"
#include "tesview/show/numbers.h"
#include "tsl_base/table.hpp"

namespace tesview {

// The elements of a numeric cell, single or counted; null if the cell is not set.
inline const void* NumbersOf(tsl_base::TableView table, int row, const Column& column) {
  return table_get_buff(table.get(), row, column.index, nullptr);
}

// One of those elements as text, of kNumberRoom at most; returns the end of what was written.
char* WriteNumber(char* to, const Column& column, const void* numbers, int element);

// The same in JSON, where infinite numbers and NaN are texts.
char* WriteJsonNumber(char* to, const Column& column, const void* numbers, int element);

// WriteNumber() at the end of a text.
void AppendNumber(std::string* to, const Column& column, const void* numbers, int element);

// The same for people, doubles in at most 15 significant digits.
void AppendRounded(std::string* to, const Column& column, const void* numbers, int element);

// Whether an element of such a cell may be a time, by what is told of the column.
bool MayBeTime(const Column& column, int element);

struct TimeCell {
  replies::TimeKind kind = replies::TimeKind::kNone;
  int64_t value = 0;   // the figures
  int64_t millis = 0;  // replies::MillisOf()
};

// The time that an element is; none where nothing tells that it is one.
std::optional<TimeCell> TimeOf(const Column& column, const void* numbers, int element);
// The day that a cell tells, as 2024-06-17; empty where its column is not known to hold such times.
std::string DateOf(tsl_base::TableView table, int row, const Column& column);

// Null if the cell holds no text.
inline const char* TextOf(tsl_base::TableView table, int row, const Column& column) {
  return table_get_str(table.get(), row, column.index);
}

std::string_view BinaryOf(tsl_base::TableView table, int row, const Column& column);

// A view of no table if the cell holds none.
inline tsl_base::TableView ChildOf(tsl_base::TableView table, int row, int col) {
  return tsl_base::TableView(table_get_table(table.get(), row, col));
}

}  // namespace tesview

#endif  // TESVIEW_SHOW_CELLS_H_
