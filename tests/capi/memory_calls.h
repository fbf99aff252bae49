// The calls of the C face that take memory, each as one step that can fail.
#ifndef TESTS_CAPI_MEMORY_CALLS_H_
#define TESTS_CAPI_MEMORY_CALLS_H_

#include <cerrno>
#include <cstring>
#include <string>

#include "tesparser_c.h"
#include "tests/reliability/malloc.h"
#include "tsl_base/table.h"

namespace capi_memory {

// What a call gave. No member allocates.
struct Outcome {
  bool given = false;
  int32_t reason = 0;      // of the error
  size_t size = 0;         // of what was given: letters, rows
  long refused = 0;        // allocations that failed
  reliability::Heap heap;  // what is left of the call after its result was freed
};

using Call = void (*)(const std::string& bytes, Outcome* outcome);

inline void Json(const std::string& bytes, Outcome* outcome) {
  tesparser_error error;
  char* text = tesparser_json(bytes.data(), bytes.size(), &outcome->size, &error);
  outcome->given = text != nullptr;
  outcome->reason = error.reason;
  tesparser_free(text);
}

inline void Table(const std::string& bytes, Outcome* outcome) {
  tesparser_error error;
  void* table = tesparser_table(bytes.data(), bytes.size(), 0, TESPARSER_TEXT_UTF8, &error);
  outcome->given = table != nullptr;
  outcome->reason = error.reason;
  outcome->size = static_cast<size_t>(table_rows(table));
  table_free(table);
}

inline void TypedTable(const std::string& bytes, Outcome* outcome) {
  tesparser_error error;
  void* table = tesparser_table(bytes.data(), bytes.size(), 5, TESPARSER_TEXT_CP936, &error);
  outcome->given = table != nullptr;
  outcome->reason = error.reason;
  table_free(table);
}

inline void Arrow(const std::string& bytes, Outcome* outcome) {
  tesparser_error error;
  ArrowSchema schema;
  ArrowArray array;
  outcome->reason = tesparser_arrow(bytes.data(), bytes.size(), 0, &schema, &array, &error);
  outcome->given = outcome->reason == TESPARSER_OK;
  if (!outcome->given) return;
  outcome->size = static_cast<size_t>(array.length);
  array.release(&array);
  schema.release(&schema);
}

inline void ReadAll(const std::string& bytes, int32_t form, Outcome* outcome) {
  tesparser_error error;
  tesparser_reader* reader = tesparser_read_memory(bytes.data(), bytes.size(), form, &error);
  tesparser_reply reply;
  int32_t next = TESPARSER_NEXT_FAILED;
  while (reader != nullptr && (next = tesparser_next(reader, &reply, &error)) == TESPARSER_NEXT_REPLY)
    outcome->size += static_cast<size_t>(reply.length);
  tesparser_reader_free(reader);
  outcome->given = next == TESPARSER_NEXT_END;
  outcome->reason = error.reason;
}

inline void Reader(const std::string& bytes, Outcome* outcome) {
  ReadAll(bytes, TESPARSER_FORM_RAW, outcome);
}

// Of a packed file, whose packing its first bytes tell.
inline void PackedReader(const std::string& bytes, Outcome* outcome) {
  ReadAll(bytes, TESPARSER_FORM_DELIMITED, outcome);
}

inline const std::string kTextForm =
    "Id: 20 RepDataQuoteDynaSingle { Obj: 'a text too long to be kept inside of the string object' }";

inline void TextReader(const std::string&, Outcome* outcome) {
  ReadAll(kTextForm, TESPARSER_FORM_TEXT, outcome);
}

inline void Stream(const std::string& bytes, Outcome* outcome) {
  tesparser_stream_options options;
  tesparser_stream_options_init(&options, sizeof options);
  options.form = TESPARSER_FORM_RAW;
  ArrowArrayStream stream;
  outcome->reason = tesparser_stream_memory(bytes.data(), bytes.size(), &options, &stream, nullptr);
  if (outcome->reason != TESPARSER_OK) return;
  ArrowSchema schema;
  ArrowArray array;
  int code = stream.get_schema(&stream, &schema);
  if (code == 0) schema.release(&schema);
  if (code == 0) code = stream.get_next(&stream, &array);
  if (code == 0 && array.release != nullptr) {
    outcome->size = static_cast<size_t>(array.length);
    array.release(&array);
  }
  stream.release(&stream);
  outcome->given = code == 0;
  outcome->reason = code == ENOMEM ? static_cast<int32_t>(TESPARSER_OUT_OF_MEMORY) : code;
}

inline void Payloads(const std::string&, Outcome* outcome) {
  tesparser_error error;
  outcome->size = 7;
  outcome->given = tesparser_payloads(&outcome->size, &error) != nullptr;
  outcome->reason = error.reason;
}

inline void Layouts(const std::string&, Outcome* outcome) {
  tesparser_error error;
  const tesparser_layout* layout = tesparser_find_layout(20, 0, "Data", &error);
  outcome->given = layout != nullptr;
  outcome->reason = error.reason;
  if (layout != nullptr) outcome->size = layout->column_count;
}

struct NamedCall {
  const char* name;
  Call call;
};
inline constexpr NamedCall kCalls[] = {
    {"json", Json},      {"table", Table},   {"typed table", TypedTable}, {"arrow", Arrow},
    {"reader", Reader},  {"stream", Stream}, {"text reader", TextReader}, {"payloads", Payloads},
    {"layouts", Layouts}};

// Makes the n-th allocation of the call fail; none for n = 0.
inline Outcome Run(Call call, const std::string& bytes, long n, reliability::Failing how) {
  Outcome outcome;
  reliability::StartCounting();
  reliability::FailAllocation(n, how);
  call(bytes, &outcome);
  outcome.refused = reliability::StopFailing().total();
  outcome.heap = reliability::StopCounting();
  return outcome;
}

}  // namespace capi_memory

#endif  // TESTS_CAPI_MEMORY_CALLS_H_
