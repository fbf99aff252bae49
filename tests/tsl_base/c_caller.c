/* The table functions as a C program calls them. Returns the line of the first thing that went wrong,
 * otherwise 0. */
#include <string.h>

#include "tsl_base/table.h"

int CallFromC(void);

#define CHECK(condition) \
  do {                   \
    if (!(condition)) {  \
      table_free(table); \
      return __LINE__;   \
    }                    \
  } while (0)

int CallFromC(void) {
  void* table = table_create("s:s;d:d;f:f;i:i;I:I;q:q;Q:Q;h:h;b:b;n:2i;t:t;P:P;V:V", 2, "from C");
  void* child = table_create("x:q", 1, "child");
  const int numbers[2] = {-1, 1};
  PFloat fixed;
  VFloat varying;
  int size = 0;

  fixed.bits = 12345 * 65536 + 4;
  varying.bits = 678 * 65536 + 2;
  table_set_str(table, 0, 0, "text", 1);
  table_set_double(table, 0, 1, 0.5);
  table_set_float(table, 0, 2, 0.25f);
  table_set_int(table, 0, 3, -3);
  table_set_uint(table, 0, 4, 4000000000u);
  table_set_int64(table, 0, 5, -5000000000LL);
  table_set_uint64(table, 0, 6, 18000000000000000000ULL);
  table_set_short(table, 0, 7, 65535);
  table_set_binary(table, 0, 8, 3, "a\0b", 1);
  table_set_buff(table, 0, 9, numbers, (int)sizeof numbers, 0);
  table_set_table_raw(table, 0, 10, child);
  table_set_table(table, 1, 10, 0, 1);
  table_set_pfloat(table, 0, 11, fixed);
  table_set_vfloat(table, 0, 12, varying);

  CHECK(table_rows(table) == 2);
  CHECK(table_cols(table) == 13);
  CHECK(strcmp(table_name(table), "from C") == 0);
  CHECK(strcmp(table_col_name(table, 9), "n") == 0);
  CHECK(table_col_index(table, "Q") == 6);
  CHECK(table_col_type(table, 12) == TABLE_VFLOAT);
  CHECK(table_col_count(table, 9) == 2);
  CHECK(table_is_set(table, 1, 0) == 0);
  CHECK(strcmp(table_get_str(table, 0, 0), "text") == 0);
  CHECK(table_get_double(table, 0, 1) == 0.5);
  CHECK(table_get_float(table, 0, 2) == 0.25f);
  CHECK(table_get_int(table, 0, 3) == -3);
  CHECK(table_get_uint(table, 0, 4) == 4000000000u);
  CHECK(table_get_int64(table, 0, 5) == -5000000000LL);
  CHECK(table_get_uint64(table, 0, 6) == 18000000000000000000ULL);
  CHECK(table_get_short(table, 0, 7) == 65535);
  CHECK(memcmp(table_get_binary(table, 0, 8, &size), "a\0b", 3) == 0);
  CHECK(size == 3);
  CHECK(memcmp(table_get_buff(table, 0, 9, &size), numbers, sizeof numbers) == 0);
  CHECK(size == 8);
  CHECK(table_get_table(table, 0, 10) == child);
  CHECK(table_is_set(table, 1, 10) == 1);
  CHECK(table_get_table(table, 1, 10) == 0);
  CHECK(table_get_pfloat(table, 0, 11).bits == fixed.bits);
  CHECK(table_get_vfloat(table, 0, 12).bits == varying.bits);
  table_free(table);
  return 0;
}
