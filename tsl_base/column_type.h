/* The type codes of columns: what table_col_type() answers and what a letter of a column spec stands for.
 *
 * The numbers are part of the interface and never change. A code that is not listed here is never returned.
 */
#ifndef TSL_BASE_COLUMN_TYPE_H_
#define TSL_BASE_COLUMN_TYPE_H_

enum table_column_type {
  TABLE_NOTHING = 0, /* holds no cells: an entry of a spec that is no "name:type" */
  TABLE_INT8 = 1,    /* c */
  TABLE_INT16 = 2,   /* h */
  TABLE_INT32 = 3,   /* i */
  TABLE_INT64 = 4,   /* q */
  TABLE_FLOAT = 5,   /* f */
  TABLE_DOUBLE = 6,  /* d */
  TABLE_TEXT = 7,    /* s */
  TABLE_BINARY = 8,  /* b: a byte string with its length */
  TABLE_UINT8 = 9,   /* C */
  TABLE_UINT16 = 10, /* H */
  TABLE_UINT32 = 11, /* I */
  TABLE_UINT64 = 12, /* Q */
  TABLE_CHILD = 13,  /* t: a table */
  TABLE_TIME = 14,   /* T: tsl_time_t */
  TABLE_PFLOAT = 15, /* P */
  TABLE_VFLOAT = 16  /* V */
};

#endif /* TSL_BASE_COLUMN_TYPE_H_ */
