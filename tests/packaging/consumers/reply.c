/* A program of somebody else's in C: decodes the snapshot among the samples.
 *
 *   reply VERSION 20-QuoteDynaSingle.bin
 */
#include <stdio.h>
#include <string.h>

#include "tesparser_c.h"
#include "tsl_base/table.h"

#define CHECK(condition)                                       \
  if (!(condition)) {                                          \
    fprintf(stderr, "%d: not so: %s\n", __LINE__, #condition); \
    return 1;                                                  \
  }

int main(int argc, char** argv) {
  tesparser_error error;
  tesparser_reply reply;
  CHECK(argc == 3);
  CHECK(strcmp(tesparser_c_version(), argv[1]) == 0);
  tesparser_reader* reader = tesparser_read_file(argv[2], TESPARSER_FORM_AUTO, &error);
  CHECK(reader);
  CHECK(tesparser_next(reader, &reply, &error) == TESPARSER_NEXT_REPLY);
  void* table = tesparser_table(reply.bytes, (size_t)reply.length, 0, TESPARSER_TEXT_UTF8, &error);
  CHECK(table_rows(table) == 8);
  CHECK(strcmp(table_get_str(table, 0, 0), "SH600000") == 0);
  table_free(table);
  tesparser_reader_free(reader);
  CHECK(tesparser_json("", 0, NULL, &error) == NULL && error.reason == TESPARSER_NOT_A_REPLY);
  puts("consumer in C: all as it should be");
  return 0;
}
