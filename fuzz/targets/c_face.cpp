// Any bytes through the functions of the C face: whatever they give can be read and freed, and where they
// give nothing the reason is the one that an independent reader of the bytes finds.
#include <cstring>
#include <memory>
#include <string>

#include "MSG.proto.h"
#include "capi/tesparser_c.h"
#include "fuzz/support/change_reply.h"
#include "fuzz/support/random.h"
#include "fuzz/support/target.h"
#include "fuzz/support/walk_table.h"
#include "fuzz/support/wire_reader.h"
#include "replies/arrow_check.h"

namespace {

// A call leaves nothing as it was.
tesparser_error Untouched() {
  tesparser_error error;
  std::memset(&error, 0x5A, sizeof error);
  return error;
}

bool IsText(const char* text, size_t room) {
  return std::memchr(text, 0, room) != nullptr;
}

void CheckError(const tesparser_error& error, bool given, size_t size) {
  FUZZ_CHECK((error.reason == TESPARSER_OK) == given);
  FUZZ_CHECK(error.reason >= TESPARSER_OK && error.reason < TESPARSER_INTERNAL);
  FUZZ_CHECK(IsText(error.field, sizeof error.field) && IsText(error.message, sizeof error.message));
  FUZZ_CHECK((error.message[0] == '\0') == given);
  const bool has_field = error.reason == TESPARSER_FIELD_MISSING || error.reason == TESPARSER_NOT_EXPRESSIBLE;
  FUZZ_CHECK((error.field[0] != '\0') == has_field);
  FUZZ_CHECK(error.offset <= size && (error.offset == 0 || error.reason == TESPARSER_NOT_A_REPLY));
}

// What is wrong with the bytes as a reply.
int32_t ReasonOf(const std::string& reply) {
  fuzz::WireMessage message;
  if (reply.empty() || !fuzz::ReadWireMessage(reply, tessel::MSG::descriptor(), &message))
    return TESPARSER_NOT_A_REPLY;
  return fuzz::IsComplete(message, tessel::MSG::descriptor()) ? TESPARSER_OK : TESPARSER_FIELD_MISSING;
}

void CheckJson(const std::string& reply, int32_t reason) {
  tesparser_error error = Untouched();
  size_t length = 0;
  char* json = tesparser_json(reply.data(), reply.size(), &length, &error);
  CheckError(error, json != nullptr, reply.size());
  if (reason != TESPARSER_OK) {
    FUZZ_CHECK(error.reason == reason);
  } else {
    FUZZ_CHECK(json != nullptr || error.reason == TESPARSER_NOT_EXPRESSIBLE);
  }
  FUZZ_CHECK(json == nullptr || std::strlen(json) == length);
  tesparser_free(json);
}

int32_t SomeType(fuzz::Random& random) {
  return random.Of({0, 0, 0, 1, 2, 3, 4, 5, 101, 103, 116, 117, -1});
}

void CheckTable(const std::string& reply, int32_t reason, int32_t type, int32_t text) {
  tesparser_error error = Untouched();
  void* table = tesparser_table(reply.data(), reply.size(), type, text, &error);
  CheckError(error, table != nullptr, reply.size());
  if (reason != TESPARSER_OK) {
    FUZZ_CHECK(error.reason == reason);
  } else {
    FUZZ_CHECK(table != nullptr || error.reason == TESPARSER_NO_TABLE_FORM ||
               error.reason == TESPARSER_NOTHING_IN_IT);
  }
  fuzz::WalkAndFree(table);
}

void CheckArrowOf(const std::string& reply, int32_t type) {
  tesparser_error error = Untouched();
  ArrowSchema schema;
  ArrowArray array;
  const int32_t reason = tesparser_arrow(reply.data(), reply.size(), type, &schema, &array, &error);
  FUZZ_CHECK(reason == error.reason);
  CheckError(error, reason == TESPARSER_OK, reply.size());
  FUZZ_CHECK((schema.release != nullptr) == (reason == TESPARSER_OK));
  FUZZ_CHECK((array.release != nullptr) == (reason == TESPARSER_OK));
  if (reason != TESPARSER_OK) return;
  FUZZ_CHECK(replies::CheckArrow(schema, array).empty());
  array.release(&array);
  schema.release(&schema);
}

void CheckReader(const std::string& bytes, int32_t form) {
  tesparser_reader* reader = tesparser_read_memory(bytes.data(), bytes.size(), form, nullptr);
  FUZZ_CHECK(reader != nullptr);
  tesparser_reply reply;
  tesparser_error error = Untouched();
  uint64_t number = 0;
  int32_t next = 0;
  while ((next = tesparser_next(reader, &reply, &error)) != TESPARSER_NEXT_END) {
    if (next == TESPARSER_NEXT_FAILED) break;
    FUZZ_CHECK((error.reason == TESPARSER_OK) == (next == TESPARSER_NEXT_REPLY));
    if (next != TESPARSER_NEXT_REPLY) continue;
    FUZZ_CHECK(reply.number > number && reply.offset <= bytes.size());
    number = reply.number;
    const std::string one(static_cast<const char*>(reply.bytes), static_cast<size_t>(reply.length));
    CheckJson(one, ReasonOf(one));
  }
  tesparser_reader_free(reader);
}

void CountMisfit(void* context, const tesparser_misfit* misfit) {
  FUZZ_CHECK(misfit->why[0] != '\0');
  ++*static_cast<uint64_t*>(context);
}

void ReadStream(ArrowArrayStream* stream, fuzz::Random& random, uint64_t* rows) {
  ArrowSchema schema;
  if (stream->get_schema(stream, &schema) != 0) {
    FUZZ_CHECK(stream->get_last_error(stream) != nullptr);
    return;
  }
  FUZZ_CHECK(replies::CheckArrowSchema(schema).empty());
  while (!random.OneIn(16)) {
    ArrowArray array;
    if (stream->get_next(stream, &array) != 0) {
      FUZZ_CHECK(stream->get_last_error(stream) != nullptr);
      break;
    }
    if (array.release == nullptr) break;
    FUZZ_CHECK(replies::CheckArrow(schema, array).empty());
    *rows += static_cast<uint64_t>(array.length);
    array.release(&array);
  }
  schema.release(&schema);
}

void CheckStream(const std::string& bytes, fuzz::Random& random) {
  static const char* const kFields[] = {"QingPan", "ShiJian"};
  tesparser_stream_options options;
  tesparser_stream_options_init(&options, sizeof options);
  tesparser_stream_counts counts;
  uint64_t misfits = 0;
  options.form = random.Of({TESPARSER_FORM_AUTO, TESPARSER_FORM_RAW, TESPARSER_FORM_DELIMITED});
  options.id = random.Of({0, 0, 0, 3, 20, 21, 27, 44});
  options.type = random.OneIn(4) ? SomeType(random) : 0;
  options.decode = random.Int(2);
  options.unpack_all = random.Int(2);
  options.flat = random.Int(2);
  options.number = random.Int(2);
  options.offset = random.Int(2);
  options.on_misfit = random.Int(2);
  options.batch_rows = 1 + random.Int(1000);
  options.unpack_fields = kFields;
  options.unpack_field_count = random.Index(3);
  options.misfit = random.OneIn(2) ? CountMisfit : nullptr;
  options.context = &misfits;
  options.counts = &counts;
  ArrowArrayStream stream;
  tesparser_error error = Untouched();
  if (tesparser_stream_memory(bytes.data(), bytes.size(), &options, &stream, &error) != TESPARSER_OK) {
    FUZZ_CHECK(error.reason == TESPARSER_NO_TABLE_FORM && stream.release == nullptr);
    return;
  }
  uint64_t rows = 0;
  ReadStream(&stream, random, &rows);
  stream.release(&stream);
  FUZZ_CHECK(rows <= counts.rows && counts.misfits <= counts.replies);
  if (options.on_misfit == TESPARSER_MISFIT_SKIPPED && options.misfit != nullptr)
    FUZZ_CHECK(misfits == counts.misfits);
}

// The options of a run are told by the bytes themselves.
uint64_t Hash(const uint8_t* data, size_t size) {
  uint64_t hash = 0xCBF29CE484222325;
  for (size_t i = 0; i < size; ++i)
    hash = (hash ^ data[i]) * 0x100000001B3;
  return hash;
}

void c_face(const uint8_t* data, size_t size) {
  const auto reply = std::make_unique<std::string>(reinterpret_cast<const char*>(data), size);
  fuzz::Random random(Hash(data, size));
  const int32_t reason = ReasonOf(*reply);
  CheckJson(*reply, reason);
  CheckTable(*reply, reason, SomeType(random), random.Int(2));
  CheckArrowOf(*reply, SomeType(random));
  CheckReader(*reply, random.Int(7));
  CheckStream(*reply, random);
}

}  // namespace

FUZZ_TARGET_WITH_MUTATOR(c_face, 4096, fuzz::Kind::kReplies, &fuzz::ChangeReply)
