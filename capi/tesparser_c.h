/* The decoder for C, and for every language that can call C: JSON, tables, numbers, Arrow arrays of one reply
 * and Arrow streams of many, the replies that a file holds, and what is known of Ids and columns.
 *
 * Conventions of all functions:
 *
 *  1. Bytes are passed as a pointer and a length; the pointer may be null if the length is 0. They remain the
 *     caller's and are only read. Any bytes may be passed: those that are no reply give a reason.
 *  2. Texts are UTF-8 and end with a zero byte. The one exception is the text of table cells, see
 *     tesparser_table().
 *  3. A function that can fail says so by its result, and why in `error`, which the caller provides and which
 *     may be null. It is written by every call that takes one: after a success its reason is TESPARSER_OK.
 *     What a call was to fill in is not touched where it fails.
 *  4. Each function says whose its result is. "Freed with" names the function to call, once. "Static" is what
 *     lives as long as the process. "Borrowed" is valid as long as it says, and never freed.
 *  5. Nothing is thrown, and no signal is raised or caught. When memory runs out, the call fails with
 *     TESPARSER_OUT_OF_MEMORY, and the next one works again; only a reader or stream in which that happened
 *     has ended. What protobuf does not survive is to run out of memory in the first JSON of a process, or
 *     its first reply without a required field: there it makes its descriptors.
 *  6. Any number of threads may call any function at once. What a call returns is not tied to its thread; one
 *     reader, stream or table is used by one thread at a time. A thread must not be cancelled in a call.
 *  7. Options and modes are numbers of the enumerations below. A number that is none of them is refused with
 *     TESPARSER_BAD_ARGUMENT.
 *
 * The layout of the structs does not change as long as the number in libtesparser_c.so.1 is the same, nor do
 * the values of the enumerations. Structs that may grow begin with their size.
 *
 * When a required field is missing, protobuf writes a line to its log, which is standard error unless the
 * process has set another one.
 */
#ifndef TESPARSER_C_H_
#define TESPARSER_C_H_

#include <stddef.h>
#include <stdint.h>

#include "tsl_base/arrow.h"

#if defined(_WIN32)
#if defined(TESPARSER_C_BUILDING)
#define TESPARSER_C_API __declspec(dllexport)
#else
#define TESPARSER_C_API __declspec(dllimport)
#endif
#else
#define TESPARSER_C_API __attribute__((visibility("default")))
#endif

/* The version of this header; the first number is the one in the library's file name. */
#define TESPARSER_C_VERSION_MAJOR 1
#define TESPARSER_C_VERSION_MINOR 0
#define TESPARSER_C_VERSION_PATCH 0
#define TESPARSER_C_VERSION "1.0.0"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- reasons ------------------------------------------------------------------------------------------ */

/* Why there is no result. */
enum tesparser_reason {
  TESPARSER_OK = 0,              /* there is one */
  TESPARSER_NOT_A_REPLY = 1,     /* `offset` tells where the bytes stop being one */
  TESPARSER_FIELD_MISSING = 2,   /* a required field, `field`, did not arrive */
  TESPARSER_NO_TABLE_FORM = 3,   /* replies of this Id have no table, or none in that layout */
  TESPARSER_NOTHING_IN_IT = 4,   /* they have, and this one brings nothing for it */
  TESPARSER_NOT_EXPRESSIBLE = 5, /* JSON cannot hold the value of `field`: text that is not UTF-8, or a number
                                    that is not finite */
  TESPARSER_OUT_OF_MEMORY = 6,
  TESPARSER_BAD_ARGUMENT = 7, /* of the call: the message tells which */
  TESPARSER_CANNOT_READ = 8,  /* the file */
  TESPARSER_MISFIT = 9,       /* no Arrow type fits: tables in one column differ in their columns */
  TESPARSER_TOO_LARGE = 10,   /* for an Arrow array, see EOVERFLOW in tsl_base/arrow.h */
  TESPARSER_INTERNAL = 11     /* a fault of this library */
};

/* Filled by the call that it is passed to. */
typedef struct tesparser_error {
  int32_t reason;    /* an enum tesparser_reason */
  int32_t reserved;  /* 0 */
  uint64_t offset;   /* TESPARSER_NOT_A_REPLY: in the reply, of the field that cannot be read; otherwise 0 */
  char field[256];   /* TESPARSER_FIELD_MISSING, TESPARSER_NOT_EXPRESSIBLE: its path from the envelope,
                        "RepDataStkData.Obj"; otherwise empty. One too long for this loses its front and begins
                        with "..." */
  char message[512]; /* a sentence for people, without a full stop; empty after a success. One too long for
                        this loses its end and ends with "..." */
} tesparser_error;

/* A reason in a few words: "not a reply". Static; "unknown reason" for a number that is none. */
TESPARSER_C_API const char* tesparser_reason_name(int32_t reason);

/* The version of the library that is loaded, as "1.0.0". Static. */
TESPARSER_C_API const char* tesparser_c_version(void);

/* Frees what says that it is freed with this. Null is ignored. */
TESPARSER_C_API void tesparser_free(void* memory);

/* ---- one reply ---------------------------------------------------------------------------------------- */

/* The whole reply as one line of JSON: every field that was sent under its name in the schema, packed numbers
 * as they were sent, bytes as base64.
 *
 * reply    the bytes of one reply, `size` of them.
 * length   receives the length of the text without its zero byte; may be null.
 * Returns  the text, freed with tesparser_free(); null where there is none. Where jansson, which makes
 *          it, runs out of memory, a key or an element may be missing from it, which cannot be told.
 */
TESPARSER_C_API char* tesparser_json(const void* reply, size_t size, size_t* length, tesparser_error* error);

/* What the texts of a table's cells are. */
enum tesparser_text {
  TESPARSER_TEXT_UTF8 = 0, /* as it was received; a text that is not valid UTF-8 stays as it is */
  TESPARSER_TEXT_CP936 = 1 /* GB2312 in the extent of code page 936, as the terminal shows it; some columns
                              hold UTF-8 all the same */
};

/* The reply as a table, which is read with the functions of tsl_base/table.h.
 *
 * type     the layout: 0 for that of the reply's own Id, or a TPType of tesparser/tesparser.h, such as 1 for
 *          large orders or 103 for an indicator with three results.
 * text     an enum tesparser_text.
 * Returns  the table, freed with table_free(); null where there is none.
 */
TESPARSER_C_API void* tesparser_table(const void* reply, size_t size, int32_t type, int32_t text,
                                      tesparser_error* error);

/* The same as an Arrow struct array with a field for each column and a row for each row of the table. Tables
 * in cells are lists of structs. tsl_base/arrow.h says which type a column becomes. Texts are UTF-8; what is
 * not becomes U+FFFD.
 *
 * schema, array  receive the type and the cells. Both are the caller's, to be released as Arrow tells, in any
 *                order and on any thread. Where the call fails, `release` is null in both.
 * Returns        TESPARSER_OK or why there is none.
 */
TESPARSER_C_API int32_t tesparser_arrow(const void* reply, size_t size, int32_t type,
                                        struct ArrowSchema* schema, struct ArrowArray* array,
                                        tesparser_error* error);

/* Unpacks one packed decimal, as JSON shows them and counted cells hold them.
 *
 * divisor  receives the power of ten by which the mantissa was divided, 1 for whole numbers; 0 if `value`
 *          holds no number. May be null.
 * Returns  the number, or 0.0 if there is none. Minus zero is possible. Never fails.
 */
TESPARSER_C_API double tesparser_unpack(int64_t value, int32_t* divisor);

/* The same as a whole number, as the terminal rounds it: 0.5 is added and the fraction cut off, so that -1.5
 * gives -1 and -2.5 gives -2. -2147483648 if it is outside the range. */
TESPARSER_C_API int32_t tesparser_unpack_rounded(int64_t value, int32_t* divisor);

/* tesparser_unpack() of many.
 *
 * values    `count` of them.
 * numbers   receives as many.
 * divisors  receives as many; may be null.
 */
TESPARSER_C_API void tesparser_unpack_many(const int64_t* values, size_t count, double* numbers,
                                           int32_t* divisors);

/* ---- the replies that a file or a block of memory holds ----------------------------------------------- */

/* How replies are written down. */
enum tesparser_form {
  TESPARSER_FORM_AUTO = 0,      /* told by what the source begins with */
  TESPARSER_FORM_RAW = 1,       /* the whole source is one reply */
  TESPARSER_FORM_DELIMITED = 2, /* replies, each with its length as a varint before it */
  TESPARSER_FORM_HEX = 3,       /* one reply a line, or one over all lines */
  TESPARSER_FORM_BASE64 = 4,    /* the same */
  TESPARSER_FORM_LINES = 5,     /* a log: replies in either of these forms in the lines that have some */
  TESPARSER_FORM_TEXT = 6,      /* one reply in protobuf's text form */
  TESPARSER_FORM_FIXED32_BE =
      7,                        /* replies, each with its length before it in four bytes, the highest first */
  TESPARSER_FORM_FIXED32_LE = 8 /* the same, the lowest first */
};

/* Reads the replies of a source one by one. Memory is that of one reply and of a fixed block.
 *
 * A source that gzip, bzip2, xz, zstd or lz4 compressed is unpacked; offsets are those in the unpacked bytes,
 * and a reply may have 256 MB there. Behind damage in a stream of replies with their lengths the next reply
 * is looked for.
 */
typedef struct tesparser_reader tesparser_reader;

/* One of them. */
typedef struct tesparser_reply {
  const void* bytes; /* borrowed, until the next call with the reader */
  uint64_t length;
  uint64_t number; /* from 1, in its source */
  uint64_t offset; /* where it begins in the source; in a log, where its line does */
  int32_t id;      /* 0 if the bytes have none */
  int32_t reserved;
} tesparser_reply;

enum tesparser_next {
  TESPARSER_NEXT_END = 0,   /* there are no more */
  TESPARSER_NEXT_REPLY = 1, /* `reply` has been filled */
  TESPARSER_NEXT_LOST =
      2, /* something could not be read, `error` tells why; the next call goes on behind it. Of `reply` the
            number and the offset are set, and `length` to the bytes that were skipped, where that is known */
  TESPARSER_NEXT_FAILED =
      3 /* the source cannot be read any further, `error` tells why; so will the next call */
};

/* Opens a file; "-" is standard input.
 *
 * form     an enum tesparser_form.
 * Returns  the reader, freed with tesparser_reader_free(); null where the file cannot be opened.
 */
TESPARSER_C_API tesparser_reader* tesparser_read_file(const char* path, int32_t form, tesparser_error* error);

/* The same for bytes in memory, which have to stay as they are until the reader is freed. */
TESPARSER_C_API tesparser_reader* tesparser_read_memory(const void* bytes, size_t size, int32_t form,
                                                        tesparser_error* error);

/* The next reply. Whether it is well-formed shows when it is decoded.
 *
 * Returns  an enum tesparser_next. TESPARSER_NEXT_FAILED for a null reader or reply.
 */
TESPARSER_C_API int32_t tesparser_next(tesparser_reader* reader, tesparser_reply* reply,
                                       tesparser_error* error);

/* Ends the reading. Null is ignored. */
TESPARSER_C_API void tesparser_reader_free(tesparser_reader* reader);

/* ---- many replies as an Arrow stream ------------------------------------------------------------------ */

/* A reply that is not in a stream. */
typedef struct tesparser_misfit {
  uint64_t number; /* of the reply in its source, from 1; 0 where none is known */
  uint64_t offset; /* where it begins */
  const char* why; /* a sentence for people; borrowed, during the call */
} tesparser_misfit;

enum tesparser_on_misfit {
  TESPARSER_MISFIT_STOPS = 0,  /* the stream ends with an error, behind the rows before it */
  TESPARSER_MISFIT_SKIPPED = 1 /* it is left out, counted, and told to `misfit` */
};

/* What has come of the replies so far. */
typedef struct tesparser_stream_counts {
  uint64_t replies;
  uint64_t rows;
  uint64_t empty;       /* replies with nothing in their payload, or with tables without rows */
  uint64_t passed_over; /* replies of other Ids */
  uint64_t misfits;
} tesparser_stream_counts;

/* What a stream is made of. To be filled by tesparser_stream_options_init() first; a later version of the
 * library may add options behind the last one. Everything that it points to is copied, but for `context` and
 * `counts`. */
typedef struct tesparser_stream_options {
  size_t size;        /* set by tesparser_stream_options_init() */
  int32_t form;       /* an enum tesparser_form; TESPARSER_FORM_AUTO */
  int32_t id;         /* replies of other Ids are passed over; 0: the first reply decides, and another Id is a
                         misfit */
  int32_t type;       /* a layout as for tesparser_table(); 0: the Id's own table, or its only layout */
  int32_t decode;     /* not 0: the payload as a table by the schema alone, for Ids without a table; 0 */
  int32_t unpack_all; /* not 0, with `decode`: unpacks all 64-bit integers of market data, not only those that
                         are known to be packed; 0 */
  int32_t flat;       /* not 0: a row for each innermost row, outer cells repeated, under names like
                         "Data.ShiJian"; 0: tables are lists of structs; 1 */
  int32_t number;     /* not 0: a column "_reply", the number of the reply in its source, from 1; 0 */
  int32_t offset;     /* not 0: a column "_offset", where the reply begins in its source; 0 */
  int32_t on_misfit;  /* an enum tesparser_on_misfit; TESPARSER_MISFIT_STOPS */
  int32_t reserved;   /* 0 */
  int64_t batch_rows; /* a batch is handed out when it has that many rows, when it is large, or at the end; a
                         reply is never divided. 65536 */
  const char* const*
      unpack_fields; /* `decode`: names of further fields to unpack, `unpack_field_count`; none */
  size_t unpack_field_count;
  const char* const* columns; /* names of the columns to be shown, in tables too, `column_count`; all */
  size_t column_count;
  /* Called for each misfit that is skipped, on the thread that pulls; must not throw. Null. */
  void (*misfit)(void* context, const tesparser_misfit* misfit);
  void* context;
  tesparser_stream_counts* counts; /* kept up to date while the stream lives, which it has to outlive; null */
} tesparser_stream_options;

/* Fills in what is said after the last semicolon of each option.
 *
 * size     sizeof(tesparser_stream_options), as the caller was compiled with it.
 */
TESPARSER_C_API void tesparser_stream_options_init(tesparser_stream_options* options, size_t size);

/* The replies of a file as Arrow batches; "-" is standard input.
 *
 * options  may be null for what tesparser_stream_options_init() gives.
 * stream   receives the stream, the caller's to release, at any time and on any thread; arrays that came from
 *          it live on. Its get_next() gives EINVAL for a misfit that stops it, EIO where the file cannot be
 *          read, ENOMEM, and its get_last_error() a sentence, borrowed until the next call. An error stays.
 *          The type is known before a reply is read, but for Id 0 and Id 3, whose senders choose the columns.
 *          Where the call fails, `release` is null.
 * Returns  TESPARSER_OK or why there is none: TESPARSER_CANNOT_READ, TESPARSER_NO_TABLE_FORM, and
 *          TESPARSER_BAD_ARGUMENT for options that are none or name a column that is not there.
 */
TESPARSER_C_API int32_t tesparser_stream_file(const char* path, const tesparser_stream_options* options,
                                              struct ArrowArrayStream* stream, tesparser_error* error);

/* The same for bytes in memory, which have to stay as they are until the stream is released. */
TESPARSER_C_API int32_t tesparser_stream_memory(const void* bytes, size_t size,
                                                const tesparser_stream_options* options,
                                                struct ArrowArrayStream* stream, tesparser_error* error);

/* ---- what is known of Ids and columns ----------------------------------------------------------------- */

/* A kind of reply. In this part of the header everything is static. A text of which nothing is known is
 * empty, never null; one that was worked out and is not told by the schema ends with " ?". */
typedef struct tesparser_payload {
  int32_t id;
  int32_t has_table;    /* 1 if replies of this Id have a table of their own, otherwise 0 */
  const int32_t* types; /* the layouts that tesparser_table() makes of them besides that, `type_count` */
  size_t type_count;
  const char* name;   /* in the schema: "QuoteKlineSingle" */
  const char* family; /* "quote" */
  const char* heading;
  const char* heading_zh;
} tesparser_payload;

/* An element of a counted cell. */
typedef struct tesparser_element {
  int32_t index; /* from 0 */
  int32_t reserved;
  const char* heading;
  const char* heading_zh;
  const char* unit;
  const char* kind;
  const char* source;
} tesparser_element;

typedef struct tesparser_column {
  const char* name;
  const char* letter;  /* as in a column spec: "d", "53q" */
  const char* heading; /* in English */
  const char* heading_zh;
  const char* meaning;
  const char* unit;   /* "currency", "shares", "percent"; "varies" if it differs from row to row */
  const char* kind;   /* words for what the value is: "yyyymmdd", "unix", "mask" */
  const char* source; /* the field it comes from, from the payload's element on: "Data.ZuiXinJia" */
  const char* made;   /* how: "decoded", "truncated", "rounded", "plain", "text", "children" */
  const char* unset;  /* when a cell is unset: "never", "absent", "always", or in words */
  const tesparser_element* elements; /* of a counted column as far as they are told, otherwise null */
  size_t element_count;
} tesparser_column;

/* A table, or one that is nested in it. */
typedef struct tesparser_layout {
  int32_t id;
  int32_t type; /* 0 for the table that goes by the Id, otherwise a TPType */
  const char*
      path; /* "" for the outer table, "Data", "Data/Data"; "*" for any that is nested in a wire table */
  const char* field; /* of the envelope, of outer tables only */
  const char* heading;
  const char* heading_zh;
  const char* rows;  /* what a row is */
  const char* empty; /* what a reply without elements gives */
  const tesparser_column* columns;
  size_t column_count;
} tesparser_layout;

/* All Ids in ascending order.
 *
 * count    receives how many there are.
 * Returns  the first one. Null, and a count of 0, where memory runs out or `count` is null.
 */
TESPARSER_C_API const tesparser_payload* tesparser_payloads(size_t* count, tesparser_error* error);

/* All tables by type and Id, an outer one before those nested in it. Of wire tables, Id 3, the reply brings
 * the columns; what is told of them is the wrapper. Arguments and result as of tesparser_payloads(). */
TESPARSER_C_API const tesparser_layout* tesparser_layouts(size_t* count, tesparser_error* error);

/* The one at a path.
 *
 * path     as in tesparser_layout; null means the outer table.
 * Returns  null, with TESPARSER_NO_TABLE_FORM, where there is none.
 */
TESPARSER_C_API const tesparser_layout* tesparser_find_layout(int32_t id, int32_t type, const char* path,
                                                              tesparser_error* error);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TESPARSER_C_H_ */
