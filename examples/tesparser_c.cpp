// What C and other languages need to call the decoder: its exports take and give std::string, which only C++
// can make. These few lines, built into a small shared library with the compiler that built tesparser, are
// the bridge. No exception may leave them, since C cannot catch one.
#include "tesparser_c.h"

#include <stdlib.h>
#include <string.h>

#include <exception>
#include <string>

#include "tesparser/tesparser.h"

namespace {

std::string Bytes(const void* reply, size_t size) {
  return size == 0 ? std::string() : std::string(static_cast<const char*>(reply), size);
}

}  // namespace

void* tesparser_c_table(const void* reply, size_t size) {
  return tesparser_c_table_type(reply, size, TPTypeById);
}

void* tesparser_c_table_type(const void* reply, size_t size, int type) {
  try {
    return TesparserPB2TableType(Bytes(reply, size), static_cast<TPType>(type));
  } catch (const std::exception&) {
    return nullptr;
  }
}

char* tesparser_c_json(const void* reply, size_t size) {
  try {
    const std::string json = TesparserPB2Json(Bytes(reply, size));
    if (json.empty()) return nullptr;
    char* copy = static_cast<char*>(malloc(json.size() + 1));
    if (copy) memcpy(copy, json.c_str(), json.size() + 1);
    return copy;
  } catch (const std::exception&) {  // j2pb_error too
    return nullptr;
  }
}
