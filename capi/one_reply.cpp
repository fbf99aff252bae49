// JSON, table, Arrow array and numbers.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "capi/call.h"
#include "replies/wire.h"
#include "tesparser/tesparser.h"
#include "tsl_base/table.hpp"
#include "tsl_base/text.h"

namespace capi {
namespace {

using replies::Diagnosis;
using replies::Reason;
using tsl_base::Table;

// False, and why, for arguments that cannot be a reply's.
bool TakeReply(const void* reply, size_t size, std::string* bytes, tesparser_error* error) {
  if (!CheckBytes(reply, size, error)) return false;
  if (size > replies::kMaxReplyBytes) {
    Fail(error, TESPARSER_NOT_A_REPLY, "longer than any reply can be");
    return false;
  }
  if (size != 0) bytes->assign(static_cast<const char*>(reply), size);
  return true;
}

// Empty where there is none.
std::string JsonOf(const std::string& bytes) {
  try {
    return TesparserPB2Json(bytes);
  } catch (const j2pb_error&) {
    return std::string();
  }
}

// Whether a text that begins as an object ends as that object does. jansson leaves its end out when it runs
// out of memory there.
bool IsWhole(const std::string& json) {
  int64_t open = 0;
  for (size_t i = 0; i < json.size(); ++i) {
    switch (json[i]) {
      case '"':
        for (++i; i < json.size() && json[i] != '"'; ++i)
          i += json[i] == '\\' ? 1 : 0;
        break;
      case '{':
      case '[': ++open; break;
      case '}':
      case ']': --open; break;
      default: break;
    }
  }
  return open == 0;
}

void FailWithoutJson(const std::string& bytes, tesparser_error* error) {
  const Diagnosis why = replies::DiagnoseJson(bytes);
  // JSON could hold the reply, so it was memory that a value lacked.
  if (why.reason == Reason::kNone) throw std::bad_alloc();
  Fail(error, why);
}

char* Copy(const std::string& text) {
  char* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

// No table, and why.
Table TableOf(const void* reply, size_t size, int32_t type, bool utf8, tesparser_error* error) {
  std::string bytes;
  if (!TakeReply(reply, size, &bytes, error)) return Table();
  std::optional<tsl_base::KeepUtf8> keep;
  if (utf8) keep.emplace();
  Table table(TesparserPB2TableType(bytes, static_cast<TPType>(type)));
  if (!table) Fail(error, replies::DiagnoseTable(bytes, static_cast<TPType>(type)));
  return table;
}

void FailToExport(int error_number, tesparser_error* error) {
  switch (error_number) {
    case ENOMEM: throw std::bad_alloc();
    case EOVERFLOW: return Fail(error, TESPARSER_TOO_LARGE, "larger than an Arrow array of it can be");
    default: return Fail(error, TESPARSER_MISFIT, "the tables in one column differ in their columns");
  }
}

// The reason is told by `error`.
void Export(Table table, ArrowSchema* schema, ArrowArray* array, tesparser_error* error) {
  if (!table) return;
  const int error_number = table_export_arrow(table.get(), schema, array);
  if (error_number != 0) return FailToExport(error_number, error);
  static_cast<void>(table.release());  // the array's now
}

}  // namespace
}  // namespace capi

char* tesparser_json(const void* reply, size_t size, size_t* length, tesparser_error* error) {
  return capi::Guarded<char*>(error, nullptr, [&]() -> char* {
    std::string bytes;
    if (!capi::TakeReply(reply, size, &bytes, error)) return nullptr;
    const std::string json = capi::JsonOf(bytes);
    if (json.empty()) {
      capi::FailWithoutJson(bytes, error);
      return nullptr;
    }
    if (!capi::IsWhole(json)) throw std::bad_alloc();
    char* copy = capi::Copy(json);
    if (length != nullptr) *length = json.size();
    return copy;
  });
}

void* tesparser_table(const void* reply, size_t size, int32_t type, int32_t text, tesparser_error* error) {
  return capi::Guarded<void*>(error, nullptr, [&]() -> void* {
    if (text != TESPARSER_TEXT_UTF8 && text != TESPARSER_TEXT_CP936) {
      capi::Fail(error, TESPARSER_BAD_ARGUMENT, "`text` is no enum tesparser_text");
      return nullptr;
    }
    return capi::TableOf(reply, size, type, text == TESPARSER_TEXT_UTF8, error).release();
  });
}

int32_t tesparser_arrow(const void* reply, size_t size, int32_t type, struct ArrowSchema* schema,
                        struct ArrowArray* array, tesparser_error* error) {
  tesparser_error own;
  if (error == nullptr) error = &own;
  if (schema != nullptr) schema->release = nullptr;
  if (array != nullptr) array->release = nullptr;
  if (schema == nullptr || array == nullptr) {
    capi::Fail(error, TESPARSER_BAD_ARGUMENT, "`schema` or `array` is null");
    return error->reason;
  }
  capi::Guarded(error,
                [&] { capi::Export(capi::TableOf(reply, size, type, true, error), schema, array, error); });
  return error->reason;
}

double tesparser_unpack(int64_t value, int32_t* divisor) {
  int divided_by = 0;
  const double number = TesparserInt64ToDouble(value, &divided_by);
  if (divisor != nullptr) *divisor = divided_by;
  return number;
}

int32_t tesparser_unpack_rounded(int64_t value, int32_t* divisor) {
  int divided_by = 0;
  const int number = TesparserInt64ToInt(value, &divided_by);
  if (divisor != nullptr) *divisor = divided_by;
  return number;
}

void tesparser_unpack_many(const int64_t* values, size_t count, double* numbers, int32_t* divisors) {
  for (size_t i = 0; i < count; ++i)
    numbers[i] = tesparser_unpack(values[i], divisors == nullptr ? nullptr : divisors + i);
}
