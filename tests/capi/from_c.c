/* Claim: a program in C99 that knows the header alone can call everything. Its arguments are the folder of
 * the samples and a file that is not there. Ends with 0, or with the line of the first thing that went wrong.
 */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "tesparser_c.h"
#include "tsl_base/table.h"

#define CHECK(condition)                                          \
  do {                                                            \
    if (!(condition)) {                                           \
      fprintf(stderr, "from_c.c:%d: %s\n", __LINE__, #condition); \
      exit(1);                                                    \
    }                                                             \
  } while (0)

/* One snapshot of "SH600000" with a last price of 12.34, packed as 0x4D2. */
static const char kSnapshot[] = "\x08\x14\xa2\x01\x13\x0a\x08SH600000\x12\x07\x08\x01\x10\x02\x18\xd2\x09";
enum { kSnapshotSize = sizeof kSnapshot - 1 };

static void Json(void) {
  tesparser_error error;
  size_t length = 0;
  char* json = tesparser_json(kSnapshot, kSnapshotSize, &length, &error);
  CHECK(json != NULL && error.reason == TESPARSER_OK && error.message[0] == '\0');
  CHECK(strlen(json) == length);
  CHECK(strstr(json, "\"ZuiXinJia\": 1234") != NULL);
  tesparser_free(json);

  json = tesparser_json(kSnapshot, kSnapshotSize - 1, &length, &error);
  CHECK(json == NULL && error.reason == TESPARSER_NOT_A_REPLY && error.offset == 2);
}

static void Table(void) {
  tesparser_error error;
  void* table = tesparser_table(kSnapshot, kSnapshotSize, 0, TESPARSER_TEXT_UTF8, &error);
  CHECK(table != NULL && error.reason == TESPARSER_OK);
  CHECK(table_rows(table) == 1);
  CHECK(strcmp(table_get_str(table, 0, 0), "SH600000") == 0);
  CHECK(table_get_double(table_get_table(table, 0, 1), 0, 2) == 12.34);
  table_free(table);
}

static void Arrow(void) {
  struct ArrowSchema schema;
  struct ArrowArray array;
  CHECK(tesparser_arrow(kSnapshot, kSnapshotSize, 0, &schema, &array, NULL) == TESPARSER_OK);
  CHECK(strcmp(schema.format, "+s") == 0 && schema.n_children == 2);
  CHECK(strcmp(schema.children[0]->name, "Obj") == 0);
  CHECK(array.length == 1);
  array.release(&array);
  schema.release(&schema);
}

static void Numbers(void) {
  const int64_t values[3] = {0x1004D2, 0x20000, 0xA04D2};
  double numbers[3];
  int32_t divisors[3];
  int32_t divisor = 7;
  CHECK(tesparser_unpack(0x4D2, &divisor) == 12.34 && divisor == 100);
  CHECK(tesparser_unpack_rounded(0x1004D2, NULL) == -11);
  tesparser_unpack_many(values, 3, numbers, divisors);
  CHECK(numbers[0] == -12.34 && numbers[1] == 0.0 && numbers[2] == 1234.0);
  CHECK(divisors[0] == 100 && divisors[1] == 0 && divisors[2] == 1);
}

static void Reader(const char* samples, const char* no_file) {
  char path[4096];
  tesparser_error error;
  tesparser_reply reply;
  snprintf(path, sizeof path, "%s/20-QuoteDynaSingle.bin", samples);
  tesparser_reader* reader = tesparser_read_file(path, TESPARSER_FORM_AUTO, &error);
  CHECK(reader != NULL);
  CHECK(tesparser_next(reader, &reply, &error) == TESPARSER_NEXT_REPLY);
  CHECK(reply.id == 20 && reply.number == 1 && reply.offset == 0 && reply.length > 0);
  CHECK(tesparser_next(reader, &reply, &error) == TESPARSER_NEXT_END);
  tesparser_reader_free(reader);

  CHECK(tesparser_read_file(no_file, TESPARSER_FORM_AUTO, &error) == NULL);
  CHECK(error.reason == TESPARSER_CANNOT_READ);
}

static void CountMisfit(void* context, const tesparser_misfit* misfit) {
  if (misfit->why[0] != '\0') ++*(int*)context;
}

static void Stream(void) {
  /* A snapshot, and three bytes that are no reply; each with its length before it. */
  char bytes[1 + kSnapshotSize + 4];
  struct ArrowArrayStream stream;
  struct ArrowArray array;
  tesparser_stream_options options;
  tesparser_stream_counts counts;
  int misfits = 0;
  bytes[0] = kSnapshotSize;
  memcpy(bytes + 1, kSnapshot, kSnapshotSize);
  memcpy(bytes + 1 + kSnapshotSize, "\x03\x08\x14\x12", 4);
  tesparser_stream_options_init(&options, sizeof options);
  options.form = TESPARSER_FORM_DELIMITED;
  options.id = 20;
  options.on_misfit = TESPARSER_MISFIT_SKIPPED;
  options.misfit = CountMisfit;
  options.context = &misfits;
  options.counts = &counts;
  CHECK(tesparser_stream_memory(bytes, sizeof bytes, &options, &stream, NULL) == TESPARSER_OK);
  CHECK(stream.get_next(&stream, &array) == 0 && array.release != NULL);
  CHECK(array.length == 1);
  array.release(&array);
  CHECK(stream.get_next(&stream, &array) == 0 && array.release == NULL);
  stream.release(&stream);
  CHECK(misfits == 1 && counts.replies == 2 && counts.rows == 1 && counts.misfits == 1);
}

static void Descriptions(void) {
  size_t count = 0;
  const tesparser_payload* payloads = tesparser_payloads(&count, NULL);
  CHECK(payloads != NULL && count > 400);
  const tesparser_layout* layout = tesparser_find_layout(20, 0, "Data", NULL);
  CHECK(layout != NULL && layout->column_count == 21);
  CHECK(strcmp(layout->columns[2].name, "ZuiXinJia") == 0);
}

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  CHECK(strcmp(tesparser_c_version(), TESPARSER_C_VERSION) == 0);
  CHECK(strcmp(tesparser_reason_name(TESPARSER_NOT_A_REPLY), "not a reply") == 0);
  Json();
  Table();
  Arrow();
  Numbers();
  Reader(argv[1], argv[2]);
  Stream();
  Descriptions();
  puts("all as it should be");
  return 0;
}
