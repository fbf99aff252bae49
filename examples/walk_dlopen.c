/* Plain C: opens the libraries at run time, decodes the reply in a file and walks its table with the C
 * functions.
 *
 *   walk_dlopen LIBTESPARSER_C FILE
 *
 * LIBTESPARSER_C is libtesparser_c.so.1, which brings libtsl_base with it.
 */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "tesparser_c.h"
#include "tsl_base/table.h"

/* The functions in use, by the types that the header gives them. */
static struct {
  __typeof__(&tesparser_table) decode;
  __typeof__(&tesparser_json) json;
  __typeof__(&tesparser_free) free;
  __typeof__(&table_free) table_free;
  __typeof__(&table_rows) rows;
  __typeof__(&table_cols) cols;
  __typeof__(&table_col_name) col_name;
  __typeof__(&table_col_type) col_type;
  __typeof__(&table_is_set) is_set;
  __typeof__(&table_get_str) get_str;
  __typeof__(&table_get_double) get_double;
  __typeof__(&table_get_int) get_int;
  __typeof__(&table_get_int64) get_int64;
  __typeof__(&table_get_table) get_table;
} lib;

static void* Find(void* library, const char* name) {
  void* symbol = dlsym(library, name);
  if (!symbol) {
    fprintf(stderr, "walk_dlopen: %s\n", dlerror());
    exit(2);
  }
  return symbol;
}

static void Open(const char* path) {
  void* library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    fprintf(stderr, "walk_dlopen: %s\n", dlerror());
    exit(2);
  }
  /* dlsym() gives the address of a function as void*; POSIX says that it may be stored like this. */
  *(void**)&lib.decode = Find(library, "tesparser_table");
  *(void**)&lib.json = Find(library, "tesparser_json");
  *(void**)&lib.free = Find(library, "tesparser_free");
  /* Also finds what the library itself is linked with. */
  *(void**)&lib.table_free = Find(library, "table_free");
  *(void**)&lib.rows = Find(library, "table_rows");
  *(void**)&lib.cols = Find(library, "table_cols");
  *(void**)&lib.col_name = Find(library, "table_col_name");
  *(void**)&lib.col_type = Find(library, "table_col_type");
  *(void**)&lib.is_set = Find(library, "table_is_set");
  *(void**)&lib.get_str = Find(library, "table_get_str");
  *(void**)&lib.get_double = Find(library, "table_get_double");
  *(void**)&lib.get_int = Find(library, "table_get_int");
  *(void**)&lib.get_int64 = Find(library, "table_get_int64");
  *(void**)&lib.get_table = Find(library, "table_get_table");
}

static void PrintTable(void* table, int indent) {
  for (int row = 0; row < lib.rows(table); ++row) {
    printf("%*srow %d\n", indent, "", row);
    for (int col = 0; col < lib.cols(table); ++col) {
      if (!lib.is_set(table, row, col)) continue;
      const char* name = lib.col_name(table, col);
      switch (lib.col_type(table, col)) {
        case TABLE_INT32: printf("%*s%s = %d\n", indent + 2, "", name, lib.get_int(table, row, col)); break;
        case TABLE_INT64:
          printf("%*s%s = %lld\n", indent + 2, "", name, lib.get_int64(table, row, col));
          break;
        case TABLE_DOUBLE:
          printf("%*s%s = %.10g\n", indent + 2, "", name, lib.get_double(table, row, col));
          break;
        case TABLE_TEXT: printf("%*s%s = %s\n", indent + 2, "", name, lib.get_str(table, row, col)); break;
        case TABLE_CHILD:
          printf("%*s%s:\n", indent + 2, "", name);
          PrintTable(lib.get_table(table, row, col), indent + 4);
          break;
        default: printf("%*s%s: type %d\n", indent + 2, "", name, lib.col_type(table, col)); break;
      }
    }
  }
}

static void* ReadFile(const char* path, size_t* size) {
  FILE* file = fopen(path, "rb");
  if (!file) return NULL;
  char* bytes = NULL;
  size_t used = 0;
  for (size_t room = 4096;; room *= 2) {
    char* more = realloc(bytes, room);
    if (!more) break;
    bytes = more;
    used += fread(bytes + used, 1, room - used, file);
    if (used < room) {
      fclose(file);
      *size = used;
      return bytes;
    }
  }
  free(bytes);
  fclose(file);
  return NULL;
}

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: walk_dlopen LIBTESPARSER_C FILE\n");
    return 2;
  }
  Open(argv[1]);
  size_t size = 0;
  void* reply = ReadFile(argv[2], &size);
  if (!reply) {
    fprintf(stderr, "walk_dlopen: cannot read %s\n", argv[2]);
    return 2;
  }

  tesparser_error error;
  void* table = lib.decode(reply, size, 0, TESPARSER_TEXT_UTF8, &error);
  if (table) {
    PrintTable(table, 0);
    lib.table_free(table);
  } else {
    printf("no table: %s\n", error.message);
    char* json = lib.json(reply, size, NULL, &error);
    if (json) {
      printf("but JSON:\n%s\n", json);
    } else {
      printf("no JSON: %s\n", error.message);
    }
    lib.free(json);
  }
  free(reply);
  return 0;
}
