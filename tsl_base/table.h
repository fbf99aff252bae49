/* The table object: typed columns laid out by a spec text, rows of cells that may be unset, nested tables.
 *
 * Conventions of all functions:
 *
 *  1. A table is an opaque pointer. table_create() makes it and the caller owns it, until it is freed with
 *     table_free() or handed to a parent with table_set_table_raw(); a parent frees its children.
 *     A null table is accepted everywhere: writing does nothing, and all its cells read as unset.
 *  2. Rows and columns count from 0. Row comes before column.
 *  3. Whatever is passed to a call remains the caller's; what the table needs to keep is copied. The one
 *     exception is the child that table_set_table_raw() takes over.
 *  4. Setters report nothing. A call that cannot be carried out is ignored and changes nothing: a row or
 *     column outside the table, a column of another kind, a null pointer where bytes are needed.
 *  5. Getters never fail. For a cell that is unset, outside the table or of another type they give 0, 0.0,
 *     null and size 0; table_is_set() tells a value from its absence.
 *  6. Pointers returned by getters belong to the table. They stay valid until that cell is set again or the
 *     table (or the parent that owns it) is freed; what table_get_buff() returns, until the table is next
 *     written.
 *  7. Different tables may be used on different threads at once, and a table may be freed on another thread
 *     than the one that made it. One table may be read by any number of threads as long as none writes to
 *     it; a parent and its children count as one table here.
 *  8. A function that stores something throws std::bad_alloc when memory runs out; the table stays readable,
 *     and the cell keeps its value. Nothing else is ever thrown.
 *
 * Column specs. A spec lists the columns in order: entries "name:type" separated by ';', a last ';' optional.
 * Names are kept as they are, may be empty and may repeat; only blanks (spaces and tabs) directly behind a
 * ';' are no part of the name that follows. An entry is split at its last ':'. The type is one letter, with a
 * decimal count before it for a fixed array; blanks around it do not count:
 *
 *   letter  code  cell                        letter  code  cell
 *   c        1    8 bits, signed              C        9    8 bits, unsigned
 *   h        2    16 bits, signed             H       10    16 bits, unsigned
 *   i        3    32 bits, signed             I       11    32 bits, unsigned
 *   q        4    64 bits, signed             Q       12    64 bits, unsigned
 *   f        5    float                       t       13    child table
 *   d        6    double                      T       14    time (tsl_time_t)
 *   s        7    text                        P       15    PFloat
 *   b        8    binary                      V       16    VFloat
 *
 * "Data:53q" is a counted cell: 53 signed 64-bit values, contiguous, written and read as one. A count of 1
 * says nothing more than the letter alone. Text, binary and table cells have no counted form, and no cell is
 * wider than an int counts bytes. An entry of any other shape becomes a column of code 0 that holds nothing,
 * so that the columns behind it keep their index. Its name is what comes before the last ':', or all of it.
 * Only an empty entry at the very end, or one of blanks behind a ';', is no column. No spec makes
 * table_create() fail.
 *
 * Memory grows with the cells that are written, not with the number of rows and columns. Cells are best
 * written in ascending order of rows; any order is correct.
 */
#ifndef TSL_BASE_TABLE_H_
#define TSL_BASE_TABLE_H_

#include <stdint.h>

#include "tsl_base/column_type.h"
#include "tsl_base/export.h"
#include "tsl_base/values.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- making and freeing ------------------------------------------------------------------------------- */

/* Makes a table with the columns of the spec and all cells unset.
 *
 * spec     zero-terminated, as described above; null means the empty text, which gives no columns.
 * rows     the number of rows, which never changes; a number below 0 means 0.
 * name     the table's label; null means the empty text.
 * Returns  the table, owned by the caller, never null.
 */
TSL_BASE_API void* table_create(const char* spec, int rows, const char* name);

/* Makes a table with the same columns as another one and all cells unset. The spec is not parsed again,
 * however long it was.
 *
 * model    may be of any size and is only read, as in convention 7; null gives no columns.
 * Returns  the table, owned by the caller, never null. It outlives the model.
 */
TSL_BASE_API void* table_create_like(const void* model, int rows, const char* name);

/* Frees a table and all tables below it. Null is ignored, and so is a table that a parent owns. */
TSL_BASE_API void table_free(void* table);

/* ---- writing ------------------------------------------------------------------------------------------ */

/* Text columns only. Stores a copy of the zero-terminated text, whatever `copy` says. */
TSL_BASE_API void table_set_str(void* table, int row, int col, const char* text, int copy);

/* Numbers. Each setter writes columns of its own type, and a numeric column (codes 1 to 6 and 9 to 12) of
 * another type if that can hold the value exactly: no fraction cut, no range left, no bit lost. Otherwise the
 * call is dropped. Counted cells are written by table_set_buff() only.
 */
TSL_BASE_API void table_set_double(void* table, int row, int col, double value);
TSL_BASE_API void table_set_float(void* table, int row, int col, float value);
TSL_BASE_API void table_set_int(void* table, int row, int col, int value);
TSL_BASE_API void table_set_uint(void* table, int row, int col, unsigned int value);
TSL_BASE_API void table_set_int64(void* table, int row, int col, long long value);

/* Writes time columns too: the 64 bits of a tsl_time_t. */
TSL_BASE_API void table_set_uint64(void* table, int row, int col, unsigned long long value);

/* Writes the 16 bits unchanged into 16-bit columns, signed or unsigned; elsewhere the unsigned number. */
TSL_BASE_API void table_set_short(void* table, int row, int col, unsigned short value);

/* PFloat and VFloat columns only, each its own class. */
TSL_BASE_API void table_set_pfloat(void* table, int row, int col, PFloat value);
TSL_BASE_API void table_set_vfloat(void* table, int row, int col, VFloat value);

/* Binary columns only. Stores a copy of `size` bytes, whatever `copy` says. `data` may be null if `size` is
 * 0, which sets the cell to an empty byte string; a size below 0 is dropped.
 */
TSL_BASE_API void table_set_binary(void* table, int row, int col, int size, const void* data, int copy);

/* Copies the bytes of a cell of fixed width, single or counted: `size` must be exactly the cell's width in
 * bytes (table_col_count() elements of the column's type), in the machine's byte order. `flag` is reserved,
 * pass 0.
 */
TSL_BASE_API void table_set_buff(void* table, int row, int col, const void* data, int size, int flag);

/* Table columns only. Makes `child` the content of the cell and takes it over: the parent frees it. A child
 * that was there before is freed. A null child leaves the cell unset. Where there is no such cell (row or
 * column outside the table, a column of another kind) `child` is taken over all the same and freed at once,
 * since the caller has given it away. The call is ignored if `child` already has a parent or would become its
 * own descendant.
 */
TSL_BASE_API void table_set_table_raw(void* table, int row, int col, void* child);

/* Table columns only. With `copy` other than 0 the cell gets a copy of `child` and of all tables below it,
 * and `child` remains the caller's; with 0 it is table_set_table_raw(). A null child, whatever `copy` says,
 * marks the cell as set and empty: table_is_set() is 1 and table_get_table() null.
 */
TSL_BASE_API void table_set_table(void* table, int row, int col, void* child, int copy);

/* ---- reading: the table ------------------------------------------------------------------------------- */

TSL_BASE_API int table_rows(const void* table);
TSL_BASE_API int table_cols(void* table);

/* The label given at creation, never null; empty for a null table. */
TSL_BASE_API const char* table_name(const void* table);

/* The name of a column, never null; empty for a column outside the table. */
TSL_BASE_API const char* table_col_name(const void* table, int col);

/* The index of the first column of that name, compared byte by byte; -1 when there is none. Costs a walk over
 * the columns: look a name up once for each table, not for each cell. */
TSL_BASE_API int table_col_index(void* table, const char* name);

/* The type code of a column, a table_column_type; 0 for one outside the table. A counted column has its
 * letter's code. */
TSL_BASE_API int table_col_type(void* table, int col);

/* The elements of one cell of the column: the count of a counted column, 0 for a column of code 0 or outside
 * the table, otherwise 1. */
TSL_BASE_API int table_col_count(const void* table, int col);

/* ---- reading: cells ----------------------------------------------------------------------------------- */

/* 1 if the cell has been written, otherwise 0. */
TSL_BASE_API int table_is_set(const void* table, int row, int col);

/* The text, zero-terminated; null unless the cell is a text that is set. */
TSL_BASE_API const char* table_get_str(const void* table, int row, int col);

/* Each reads the columns of its own type only: table_get_short both 16-bit types, table_get_uint64 times as
 * well. 8-bit cells are read with table_get_buff(). */
TSL_BASE_API double table_get_double(const void* table, int row, int col);
TSL_BASE_API float table_get_float(const void* table, int row, int col);
TSL_BASE_API int table_get_int(const void* table, int row, int col);
TSL_BASE_API unsigned int table_get_uint(const void* table, int row, int col);
TSL_BASE_API long long table_get_int64(const void* table, int row, int col);
TSL_BASE_API unsigned long long table_get_uint64(const void* table, int row, int col);
TSL_BASE_API unsigned short table_get_short(const void* table, int row, int col);
TSL_BASE_API PFloat table_get_pfloat(const void* table, int row, int col);
TSL_BASE_API VFloat table_get_vfloat(const void* table, int row, int col);

/* The bytes of a binary cell. An empty byte string gives a pointer that is not null, with size 0.
 *
 * size  receives the length; may be null. */
TSL_BASE_API const void* table_get_binary(const void* table, int row, int col, int* size);

/* The bytes of a cell of fixed width, single or counted, in the machine's byte order, aligned for its type.
 *
 * size  receives the cell's width in bytes; may be null. */
TSL_BASE_API const void* table_get_buff(const void* table, int row, int col, int* size);

/* The child table, still the parent's; null if the cell is unset or set and empty. */
TSL_BASE_API void* table_get_table(const void* table, int row, int col);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TSL_BASE_TABLE_H_ */
