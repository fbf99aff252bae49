// A converter's number columns, listed once in its test and then walked over: each field alone, and each
// column with every odd number that a packed field can carry.
#ifndef TESTS_SUPPORT_PACKED_COLUMNS_H_
#define TESTS_SUPPORT_PACKED_COLUMNS_H_

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace packed_columns {

using test_replies::Packed;

struct Column {
  int col;
  const char* field;
  char letter;        // d, q or i
  int64_t raw;        // what the wire carries
  double shown;       // what the cell then holds
  double unit = 1.0;  // by how much the column divides the number
};
using Columns = std::vector<Column>;

// A table whose row 0 holds the columns, and the table it hangs from.
struct OneRow {
  OwnedTable owner;
  void* table;
};

inline double NumberAt(const void* table, int row, const Column& column) {
  switch (column.letter) {
    case 'd': return table_get_double(table, row, column.col);
    case 'q': return static_cast<double>(table_get_int64(table, row, column.col));
    case 'i': return table_get_int(table, row, column.col);
    default: ADD_FAILURE() << "no such letter: " << column.letter; return std::nan("");
  }
}

// A field in text form.
inline std::string Field(const std::string& name, int64_t raw) {
  return name + ": " + std::to_string(raw) + "\n";
}

inline std::string AllFields(const Columns& columns) {
  std::string text;
  for (const Column& column : columns)
    text += Field(column.field, column.raw);
  return text;
}

inline void ExpectAllShown(const Columns& columns, const void* table, int row) {
  for (const Column& column : columns) {
    EXPECT_EQ(table_is_set(table, row, column.col), 1) << column.field;
    EXPECT_EQ(NumberAt(table, row, column), column.shown) << column.field;
  }
}

// Every column stands in the table under the field's name and with its letter.
inline void ExpectNames(const Columns& columns, void* table) {
  for (const Column& column : columns) {
    EXPECT_STREQ(table_col_name(table, column.col), column.field);
    const int code = column.letter == 'd' ? 6 : column.letter == 'q' ? 4 : 3;
    EXPECT_EQ(table_col_type(table, column.col), code) << column.field;
  }
}

// With only one field on the wire its column shows it, and all others are set to zero.
template <typename Convert>
void ExpectEachFieldAlone(const Columns& columns, Convert convert) {
  for (const Column& sent : columns) {
    SCOPED_TRACE(sent.field);
    const OneRow row = convert(Field(sent.field, sent.raw));
    for (const Column& column : columns) {
      EXPECT_EQ(table_is_set(row.table, 0, column.col), 1) << column.field;
      EXPECT_EQ(NumberAt(row.table, 0, column), column.col == sent.col ? sent.shown : 0.0) << column.field;
    }
  }
}

// A negative word, scale code 2 with and without a mantissa, and the codes above 10 are zero everywhere.
template <typename Convert>
void ExpectNoNumberIsZero(const Columns& columns, Convert convert) {
  const int64_t no_numbers[] = {-1,
                                INT64_MIN,
                                0x20000,
                                Packed(1234, 2),
                                Packed(1234, 2, 1),
                                Packed(1234, 11),
                                Packed(1234, 12),
                                Packed(1234, 13),
                                Packed(1234, 14),
                                Packed(1234, 15),
                                INT64_MAX};
  for (const Column& column : columns) {
    for (const int64_t raw : no_numbers) {
      SCOPED_TRACE(Field(column.field, raw));
      const OneRow row = convert(Field(column.field, raw));
      EXPECT_EQ(table_is_set(row.table, 0, column.col), 1);
      EXPECT_EQ(NumberAt(row.table, 0, column), 0.0);
      EXPECT_FALSE(std::signbit(NumberAt(row.table, 0, column)));
    }
  }
}

// Any sign nibble but 0 makes the number negative, and a negated zero is minus zero where a double is kept.
template <typename Convert>
void ExpectSignNibble(const Columns& columns, Convert convert) {
  for (const Column& column : columns) {
    SCOPED_TRACE(column.field);
    const OneRow one = convert(Field(column.field, Packed(25000, 10, 1)));
    EXPECT_EQ(NumberAt(one.table, 0, column), -25000.0 / column.unit);
    const OneRow fifteen = convert(Field(column.field, Packed(25000, 10, 15)));
    EXPECT_EQ(NumberAt(fifteen.table, 0, column), -25000.0 / column.unit);
    const OneRow zero = convert(Field(column.field, Packed(0, 0, 1)));
    EXPECT_EQ(NumberAt(zero.table, 0, column), 0.0);
    EXPECT_EQ(std::signbit(NumberAt(zero.table, 0, column)), column.letter == 'd');
  }
}

// Doubles keep a fraction; integers lose it toward zero, on both sides of it.
template <typename Convert>
void ExpectFractions(const Columns& columns, Convert convert) {
  struct Fraction {
    int64_t raw;
    double number;
    double cut;
  };
  const Fraction fractions[] = {{Packed(199), 1.99, 1},          {Packed(29999, 4), 2.9999, 2},
                                {Packed(99), 0.99, 0},           {Packed(99, 0, 1), -0.99, 0},
                                {Packed(150, 0, 1), -1.5, -1},   {Packed(19, 1, 1), -1.9, -1},
                                {Packed(70001, 3), 70.001, 70},  {Packed(65535, 0), 655.35, 655},
                                {Packed(65536, 0), 655.36, 655}, {Packed(1, 9), 0.000000001, 0}};
  for (const Column& column : columns) {
    for (const Fraction& fraction : fractions) {
      SCOPED_TRACE(Field(column.field, fraction.raw));
      const OneRow row = convert(Field(column.field, fraction.raw));
      EXPECT_EQ(NumberAt(row.table, 0, column),
                column.letter == 'd' ? fraction.number / column.unit : fraction.cut);
    }
  }
}

}  // namespace packed_columns

#endif  // TESTS_SUPPORT_PACKED_COLUMNS_H_
