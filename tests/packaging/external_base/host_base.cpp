// The smallest base library that tesparser works with: it keeps no tables, it writes down what it is asked.
//
// A line a call, tables by number. Only what the decoder calls is here; that it links proves that it calls no
// more.
#include "host_base.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

struct Column {
  std::string name;
  char type;
};

struct HostTable {
  int number;
  std::vector<Column> columns;
};

std::string calls;
int tables = 0;

template <typename... Arguments>
void Record(const char* format, Arguments... arguments) {
  char line[200];
  const int length = std::snprintf(line, sizeof line, format, arguments...);
  if (length > 0) calls.append(line).append("\n");
}

int NumberOf(const void* table) {
  return table ? static_cast<const HostTable*>(table)->number : 0;
}

}  // namespace

std::string TakeCalls() {
  std::string taken;
  taken.swap(calls);
  tables = 0;
  return taken;
}

void FreeHostTable(void* table) {
  delete static_cast<HostTable*>(table);
}

void* table_create(const char* spec, int rows, const char* name) {
  auto* table = new HostTable{++tables, {}};
  for (const char* entry = spec; *entry;) {
    const char* colon = std::strchr(entry, ':');
    if (!colon) break;
    const char* end = std::strchr(colon, ';');
    table->columns.push_back({std::string(entry, colon), end ? end[-1] : colon[std::strlen(colon) - 1]});
    entry = end ? end + 1 : colon + std::strlen(colon);
  }
  Record("table %d: %zu columns, %d rows, name \"%s\"", table->number, table->columns.size(), rows, name);
  return table;
}

int table_cols(void* table) {
  return static_cast<int>(static_cast<HostTable*>(table)->columns.size());
}

int table_col_index(void* table, const char* name) {
  const auto& columns = static_cast<HostTable*>(table)->columns;
  for (size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].name == name) return static_cast<int>(i);
  }
  return -1;
}

int table_col_type(void* table, int col) {
  switch (static_cast<HostTable*>(table)->columns.at(static_cast<size_t>(col)).type) {
    case 's': return TABLE_TEXT;
    case 'd': return TABLE_DOUBLE;
    case 'f': return TABLE_FLOAT;
    case 'q': return TABLE_INT64;
    case 'i': return TABLE_INT32;
    case 'I': return TABLE_UINT32;
    case 'b': return TABLE_BINARY;
    case 't': return TABLE_CHILD;
    default: return TABLE_NOTHING;
  }
}

void table_set_str(void* table, int row, int col, const char* text, int) {
  Record("%d [%d,%d] str %s", NumberOf(table), row, col, text);
}
void table_set_double(void* table, int row, int col, double value) {
  Record("%d [%d,%d] double %.10g", NumberOf(table), row, col, value);
}
void table_set_float(void* table, int row, int col, float value) {
  Record("%d [%d,%d] float %.6g", NumberOf(table), row, col, static_cast<double>(value));
}
void table_set_int(void* table, int row, int col, int value) {
  Record("%d [%d,%d] int %d", NumberOf(table), row, col, value);
}
void table_set_uint(void* table, int row, int col, unsigned int value) {
  Record("%d [%d,%d] uint %u", NumberOf(table), row, col, value);
}
void table_set_int64(void* table, int row, int col, long long value) {
  Record("%d [%d,%d] int64 %lld", NumberOf(table), row, col, value);
}
void table_set_uint64(void* table, int row, int col, unsigned long long value) {
  Record("%d [%d,%d] uint64 %llu", NumberOf(table), row, col, value);
}
void table_set_short(void* table, int row, int col, unsigned short value) {
  Record("%d [%d,%d] short %d", NumberOf(table), row, col, value);
}
void table_set_pfloat(void* table, int row, int col, PFloat value) {
  Record("%d [%d,%d] pfloat %lld / 10^%d", NumberOf(table), row, col,
         static_cast<long long>(value.mantissa()), value.decimals());
}
void table_set_vfloat(void* table, int row, int col, VFloat value) {
  Record("%d [%d,%d] vfloat %lld / 10^%d", NumberOf(table), row, col,
         static_cast<long long>(value.mantissa()), value.decimals());
}
void table_set_binary(void* table, int row, int col, int size, const void*, int) {
  Record("%d [%d,%d] binary %d bytes", NumberOf(table), row, col, size);
}
void table_set_buff(void* table, int row, int col, const void*, int size, int) {
  Record("%d [%d,%d] buff %d bytes", NumberOf(table), row, col, size);
}
void table_set_table_raw(void* table, int row, int col, void* child) {
  Record("%d [%d,%d] table %d", NumberOf(table), row, col, NumberOf(child));
  FreeHostTable(child);
}
void table_set_table(void* table, int row, int col, void* child, int) {
  Record("%d [%d,%d] table %d or empty", NumberOf(table), row, col, NumberOf(child));
  FreeHostTable(child);
}

// This host shows UTF-8.
std::string tsl_base::text::Utf8toGb2312(const char* utf8) {
  return utf8 ? utf8 : "";
}
std::string tsl_base::text::Utf8toGb2312(const std::string& utf8) {
  return utf8;
}
