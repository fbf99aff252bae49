/* Tables as Arrow arrays, by Arrow's C data interface: for engines and data frames that read columns without
 * copying them.
 *
 * A table becomes a struct array with a field for each column, under the column's name:
 *
 *   letter       Arrow type                    letter   Arrow type
 *   c h i q      int8, int16, int32, int64     s        utf8
 *   C H I Q      uint8 ... uint64              b        binary
 *   f d          float, double                 t        list of struct
 *   T            timestamp in seconds          P V      double
 *   53q          fixed-size list of 53         (none)   null
 *
 * An unset cell is null; a child table that is set and empty is an empty list. A text must be UTF-8:
 * ill-formed bytes become U+FFFD, one for each maximal ill-formed sequence. (Utf8toGb2312() gives its text as
 * it came while a KeepUtf8 lives, see text.h: make the tables then.) The same holds for names.
 *
 * Ownership  Where a function succeeds it takes the tables over; they are freed when the last array that was
 *            made of them is released. Consumers may move children out and release all parts in any order
 *            and on any thread. Where it fails the tables are still the caller's, and what it should have
 *            filled in has a null `release`.
 * Results    0, or an error number:
 *            ENOMEM     memory is exhausted;
 *            EINVAL     a null table, or one that has a parent; children of one column that differ in their
 *                       columns;
 *            EOVERFLOW  a column of more than 2^31 - 1 bytes of text, elements of counted cells or rows of
 *                       children, as Arrow counts these by 32 bits; more than 32 tables inside each other; or
 *                       buffers of more than 16 MB and 8 times what the cells take in the tables: only very
 *                       sparse columns make that, see docs/reliability.md.
 *            Nothing is thrown.
 * Threads    As with tables: different tables on different threads at once.
 */
#ifndef TSL_BASE_ARROW_H_
#define TSL_BASE_ARROW_H_

#include <stdint.h>

#include "tsl_base/export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The structs of the interface, as every header that declares them does. */
#ifndef ARROW_C_DATA_INTERFACE
#define ARROW_C_DATA_INTERFACE

#define ARROW_FLAG_DICTIONARY_ORDERED 1
#define ARROW_FLAG_NULLABLE 2
#define ARROW_FLAG_MAP_KEYS_SORTED 4

struct ArrowSchema {
  const char* format;
  const char* name;
  const char* metadata;
  int64_t flags;
  int64_t n_children;
  struct ArrowSchema** children;
  struct ArrowSchema* dictionary;
  void (*release)(struct ArrowSchema*);
  void* private_data;
};

struct ArrowArray {
  int64_t length;
  int64_t null_count;
  int64_t offset;
  int64_t n_buffers;
  int64_t n_children;
  const void** buffers;
  struct ArrowArray** children;
  struct ArrowArray* dictionary;
  void (*release)(struct ArrowArray*);
  void* private_data;
};

#endif /* ARROW_C_DATA_INTERFACE */

#ifndef ARROW_C_STREAM_INTERFACE
#define ARROW_C_STREAM_INTERFACE

struct ArrowArrayStream {
  int (*get_schema)(struct ArrowArrayStream*, struct ArrowSchema* out);
  int (*get_next)(struct ArrowArrayStream*, struct ArrowArray* out);
  const char* (*get_last_error)(struct ArrowArrayStream*);
  void (*release)(struct ArrowArrayStream*);
  void* private_data;
};

#endif /* ARROW_C_STREAM_INTERFACE */

/* One table. Numbers are handed out where they are, as far as the table has a column's cells in one piece;
 * the rest is copied once.
 *
 * table    without a parent. Taken over.
 * schema   receives the type. A column of tables has the fields of the tables in it, and none where there is
 *          no table.
 * array    receives the cells, table_rows() of them in each column. Offsets are 0.
 */
TSL_BASE_API int table_export_arrow(void* table, struct ArrowSchema* schema, struct ArrowArray* array);

/* Many tables, one below the other, as the type says that the caller knows.
 *
 * tables   `count` of them, each without a parent and there once. Taken over.
 * schema   the type, a struct as table_export_arrow() gives it; metadata are not looked at. Only read.
 * array    receives the cells of all tables in their order.
 * misfit   receives the index of a table that has other columns than the type, itself or in a table below it,
 *          where the result is EINVAL for that; otherwise -1. May be null.
 */
TSL_BASE_API int table_export_arrow_batch(void* const* tables, int64_t count,
                                          const struct ArrowSchema* schema, struct ArrowArray* array,
                                          int64_t* misfit);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TSL_BASE_ARROW_H_ */
