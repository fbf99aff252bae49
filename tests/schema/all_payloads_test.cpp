// A reply of every payload type goes through the exports: what was sent stands in the JSON, a missing
// required field fails the whole reply, and damaged bytes never do harm.
//
// The replies are made by reflection from seeded random choices, so that every run sends the same bytes. What
// is sampled, for the sake of time:
// - Required fields: each one in the first and in the last element of a repeated field.
// - Cuts: every length of a small reply; of one above the limit below, lengths drawn at random and those
//   around the end of each element.
// - Flipped bytes: a fixed number for each reply. The layout of the typed export changes from call to call.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>
#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>
#include <jansson.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tests/support/replies.h"
#include "tests/support/tables.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using test_replies::kFirstPayload;
using test_replies::LastPayload;

constexpr int kTable = 3;

constexpr size_t kCutAtEveryLength = 400;  // bytes; nearly all small replies are shorter
constexpr int kCutSamples = 60;
constexpr int kFlips = 24;  // for each of the two replies of a type

// ---------------------------------------------------------------------------------------------- making
// replies

struct Density {
  unsigned percent;   // of the optional fields that are set; required ones always are
  unsigned elements;  // in a repeated field that is set, at most
  bool exact;         // always that many
};

constexpr Density kEveryField = {100, 2, true};
constexpr Density kEveryFieldOnce = {100, 1, true};
constexpr Density kSparse = {20, 2, false};

class Filler {
 public:
  Filler(uint32_t seed, const Density& density) : random_(seed), density_(density) {}

  void Fill(Message* message);
  void FillElements(Message* message, const FieldDescriptor* field, unsigned count);

  const std::set<const FieldDescriptor*>& filled() const { return filled_; }

 private:
  uint32_t Below(size_t limit) { return static_cast<uint32_t>(random_() % limit); }
  template <typename Value>
  Value Pick(const std::vector<Value>& values) {
    return values[Below(values.size())];
  }
  uint64_t Bits() { return uint64_t{random_()} << 32 | random_(); }

  bool Chosen(const FieldDescriptor* field);
  void Set(Message* message, const FieldDescriptor* field);
  void Add(Message* message, const FieldDescriptor* field);

  int32_t Int32();
  int64_t Int64();
  uint32_t UInt32();
  uint64_t UInt64();
  double Double();
  float Float();
  std::string Text();
  std::string Binary();
  const google::protobuf::EnumValueDescriptor* Enum(const FieldDescriptor* field) {
    return field->enum_type()->value(
        static_cast<int>(Below(static_cast<size_t>(field->enum_type()->value_count()))));
  }
  std::string TextOrBinary(const FieldDescriptor* field) {
    return field->type() == FieldDescriptor::TYPE_BYTES ? Binary() : Text();
  }

  std::mt19937 random_;
  Density density_;
  std::vector<const Descriptor*> path_;
  std::set<const FieldDescriptor*> filled_;
};

// A type may stand in itself once: a table in a cell of a table, and no deeper.
bool Filler::Chosen(const FieldDescriptor* field) {
  const Descriptor* type = field->message_type();
  if (type != nullptr && std::count(path_.begin(), path_.end(), type) >= 2) return false;
  return field->is_required() || Below(100) < density_.percent;
}

void Filler::Fill(Message* message) {
  const Descriptor* type = message->GetDescriptor();
  path_.push_back(type);
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (!Chosen(field)) continue;
    if (field->is_repeated()) {
      FillElements(message, field, density_.exact ? density_.elements : 1 + Below(density_.elements));
    } else {
      Set(message, field);
      filled_.insert(field);
    }
  }
  path_.pop_back();
}

void Filler::FillElements(Message* message, const FieldDescriptor* field, unsigned count) {
  for (unsigned n = 0; n < count; ++n)
    Add(message, field);
  filled_.insert(field);
}

void Filler::Set(Message* message, const FieldDescriptor* field) {
  const Reflection* reflection = message->GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: reflection->SetInt32(message, field, Int32()); break;
    case FieldDescriptor::CPPTYPE_INT64: reflection->SetInt64(message, field, Int64()); break;
    case FieldDescriptor::CPPTYPE_UINT32: reflection->SetUInt32(message, field, UInt32()); break;
    case FieldDescriptor::CPPTYPE_UINT64: reflection->SetUInt64(message, field, UInt64()); break;
    case FieldDescriptor::CPPTYPE_DOUBLE: reflection->SetDouble(message, field, Double()); break;
    case FieldDescriptor::CPPTYPE_FLOAT: reflection->SetFloat(message, field, Float()); break;
    case FieldDescriptor::CPPTYPE_BOOL: reflection->SetBool(message, field, Below(2) == 1); break;
    case FieldDescriptor::CPPTYPE_ENUM: reflection->SetEnum(message, field, Enum(field)); break;
    case FieldDescriptor::CPPTYPE_STRING: reflection->SetString(message, field, TextOrBinary(field)); break;
    case FieldDescriptor::CPPTYPE_MESSAGE: Fill(reflection->MutableMessage(message, field)); break;
  }
}

void Filler::Add(Message* message, const FieldDescriptor* field) {
  const Reflection* reflection = message->GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: reflection->AddInt32(message, field, Int32()); break;
    case FieldDescriptor::CPPTYPE_INT64: reflection->AddInt64(message, field, Int64()); break;
    case FieldDescriptor::CPPTYPE_UINT32: reflection->AddUInt32(message, field, UInt32()); break;
    case FieldDescriptor::CPPTYPE_UINT64: reflection->AddUInt64(message, field, UInt64()); break;
    case FieldDescriptor::CPPTYPE_DOUBLE: reflection->AddDouble(message, field, Double()); break;
    case FieldDescriptor::CPPTYPE_FLOAT: reflection->AddFloat(message, field, Float()); break;
    case FieldDescriptor::CPPTYPE_BOOL: reflection->AddBool(message, field, Below(2) == 1); break;
    case FieldDescriptor::CPPTYPE_ENUM: reflection->AddEnum(message, field, Enum(field)); break;
    case FieldDescriptor::CPPTYPE_STRING: reflection->AddString(message, field, TextOrBinary(field)); break;
    case FieldDescriptor::CPPTYPE_MESSAGE: Fill(reflection->AddMessage(message, field)); break;
  }
}

int32_t Filler::Int32() {
  static const std::vector<int32_t> values = {0, 1, -1, std::numeric_limits<int32_t>::min(),
                                              std::numeric_limits<int32_t>::max()};
  return Below(2) == 0 ? Pick(values) : static_cast<int32_t>(random_());
}

int64_t Filler::Int64() {
  static const std::vector<int64_t> values = {0,
                                              1,
                                              -1,
                                              0x4D2,
                                              0x20000,
                                              (int64_t{1} << 53) + 1,
                                              -(int64_t{1} << 53) - 1,
                                              std::numeric_limits<int64_t>::min(),
                                              std::numeric_limits<int64_t>::max()};
  return Below(2) == 0 ? Pick(values) : static_cast<int64_t>(Bits());
}

uint32_t Filler::UInt32() {
  static const std::vector<uint32_t> values = {0, 1, 0x80000000U, 0xFFFFFFFFU};
  return Below(2) == 0 ? Pick(values) : static_cast<uint32_t>(random_());
}

uint64_t Filler::UInt64() {
  static const std::vector<uint64_t> values = {0, 1, (uint64_t{1} << 53) + 1, uint64_t{1} << 63,
                                               ~uint64_t{0}};
  return Below(2) == 0 ? Pick(values) : Bits();
}

double Filler::Double() {
  static const std::vector<double> values = {
      0.0,     -0.0,    3.0, 0.1, -12.34, 1e21, 1.0 / 3.0, std::numeric_limits<double>::denorm_min(),
      DBL_MAX, -DBL_MAX};
  return Below(2) == 0 ? Pick(values) : static_cast<double>(static_cast<int64_t>(Bits())) / 1e6;
}

float Filler::Float() {
  static const std::vector<float> values = {0.0F, -0.0F, 3.0F, 0.1F, -12.34F, 16777216.0F, FLT_MAX, FLT_MIN};
  return Below(2) == 0 ? Pick(values) : static_cast<float>(random_()) / 1000.0F;
}

// A text ends in JSON at its first zero byte, so one of these has one.
std::string Filler::Text() {
  static const std::vector<std::string> values = {"",
                                                  "SH600000",
                                                  "中国平安",
                                                  "\"quoted\" \\ and /",
                                                  "\b\f\n\r\t\x01\x1F\x7F",
                                                  "\xF0\x9F\x93\x88 \xE2\x82\xAC \xC3\xA9",
                                                  std::string("cut\0off", 7),
                                                  "{\"Id\": [1]}",
                                                  std::string(300, 'x') + "尾"};
  return Pick(values);
}

std::string Filler::Binary() {
  std::string bytes(Below(8), '\0');
  for (char& byte : bytes)
    byte = static_cast<char>(Below(256));
  return bytes;
}

const FieldDescriptor* FieldOf(int number) {
  return test_replies::Pool().FindMessageTypeByName("tessel.MSG")->FindFieldByNumber(number);
}

// The numbers of what a reply carries: the wire table, and the payload types.
const std::vector<int>& Numbers() {
  static const std::vector<int> numbers = [] {
    std::vector<int> all = {kTable};
    for (int number = kFirstPayload; number <= LastPayload(); ++number)
      all.push_back(number);
    return all;
  }();
  return numbers;
}

// A reply of Id `number`, with its field filled: `elements` of them in a payload field.
std::unique_ptr<Message> MakeReply(int number, unsigned elements, Filler* filler) {
  auto reply = test_replies::New("MSG");
  const Reflection* reflection = reply->GetReflection();
  reflection->SetInt32(reply.get(), FieldOf(1), number);
  const FieldDescriptor* field = FieldOf(number);
  if (field->is_repeated()) {
    filler->FillElements(reply.get(), field, elements);
  } else {
    filler->Fill(reflection->MutableMessage(reply.get(), field));
  }
  return reply;
}

uint32_t Seed(int number, uint32_t salt) {
  return static_cast<uint32_t>(number) * 1000 + salt;
}

std::unique_ptr<Message> LargeReply(int number) {
  Filler filler(Seed(number, 1), kEveryField);
  return MakeReply(number, 2, &filler);
}

std::unique_ptr<Message> SmallReply(int number) {
  Filler filler(Seed(number, 2), kSparse);
  return MakeReply(number, 2, &filler);
}

// ------------------------------------------------------------------------------------- comparing with the
// JSON

struct JsonFree {
  void operator()(json_t* value) const { json_decref(value); }
};
using OwnedJson = std::unique_ptr<json_t, JsonFree>;

OwnedJson ParseJson(const std::string& text) {
  json_error_t error;
  return OwnedJson(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error));
}

std::string Base64(const std::string& bytes) {
  static const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  unsigned bits = 0;
  int waiting = 0;  // bits not yet written
  for (const char c : bytes) {
    bits = (bits << 8 | static_cast<unsigned char>(c)) & 0xFFFF;
    for (waiting += 8; waiting >= 6; waiting -= 6)
      text += alphabet[bits >> (waiting - 6) & 63];
  }
  if (waiting > 0) text += alphabet[bits << (6 - waiting) & 63];
  while (text.size() % 4 != 0)
    text += '=';
  return text;
}

// Holds a message against its JSON. What differs first is told by the path to it.
class Comparison {
 public:
  bool SameMessage(const Message& message, const json_t* json, const std::string& path);

  size_t values() const { return values_; }
  const std::string& difference() const { return difference_; }

 private:
  bool SameField(const Message& message, const FieldDescriptor* field, const json_t* json,
                 const std::string& path);
  bool SameSingular(const Message& message, const FieldDescriptor* field, const json_t* json,
                    const std::string& path);
  bool SameElement(const Message& message, const FieldDescriptor* field, int i, const json_t* json,
                   const std::string& path);

  bool Check(bool same, const std::string& path) {
    ++values_;
    if (!same && difference_.empty()) difference_ = path;
    return same;
  }
  bool SameInteger(int64_t value, const json_t* json, const std::string& path) {
    return Check(json_is_integer(json) && json_integer_value(json) == value, path);
  }
  bool SameReal(double value, const json_t* json, const std::string& path) {
    return Check(json_is_real(json) && json_real_value(json) == value &&
                     std::signbit(json_real_value(json)) == std::signbit(value),
                 path);
  }
  bool SameBool(bool value, const json_t* json, const std::string& path) {
    return Check(value ? json_is_true(json) : json_is_false(json), path);
  }
  bool SameString(const FieldDescriptor* field, const std::string& value, const json_t* json,
                  const std::string& path) {
    const std::string expected =
        field->type() == FieldDescriptor::TYPE_BYTES ? Base64(value) : value.substr(0, value.find('\0'));
    return Check(
        json_is_string(json) && expected == std::string(json_string_value(json), json_string_length(json)),
        path);
  }

  size_t values_ = 0;
  std::string difference_;
};

bool Comparison::SameMessage(const Message& message, const json_t* json, const std::string& path) {
  if (!json_is_object(json)) return Check(false, path);
  const Descriptor* type = message.GetDescriptor();
  const Reflection* reflection = message.GetReflection();
  size_t keys = 0;
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    const bool sent = field->is_repeated() ? reflection->FieldSize(message, field) > 0
                                           : reflection->HasField(message, field);
    const json_t* value = json_object_get(json, field->name().c_str());
    const std::string where = path + "." + field->name();
    if (sent != (value != nullptr)) return Check(false, where);
    if (!sent) continue;
    ++keys;
    if (!SameField(message, field, value, where)) return false;
  }
  return Check(keys == json_object_size(json), path);
}

bool Comparison::SameField(const Message& message, const FieldDescriptor* field, const json_t* json,
                           const std::string& path) {
  if (!field->is_repeated()) return SameSingular(message, field, json, path);
  const int count = message.GetReflection()->FieldSize(message, field);
  if (!json_is_array(json) || json_array_size(json) != static_cast<size_t>(count)) return Check(false, path);
  for (int i = 0; i < count; ++i) {
    const std::string where = path + "[" + std::to_string(i) + "]";
    if (!SameElement(message, field, i, json_array_get(json, static_cast<size_t>(i)), where)) return false;
  }
  return true;
}

bool Comparison::SameSingular(const Message& message, const FieldDescriptor* field, const json_t* json,
                              const std::string& path) {
  const Reflection& r = *message.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: return SameInteger(r.GetInt32(message, field), json, path);
    case FieldDescriptor::CPPTYPE_INT64: return SameInteger(r.GetInt64(message, field), json, path);
    case FieldDescriptor::CPPTYPE_UINT32: return SameInteger(r.GetUInt32(message, field), json, path);
    case FieldDescriptor::CPPTYPE_UINT64:
      return SameInteger(static_cast<int64_t>(r.GetUInt64(message, field)), json, path);
    case FieldDescriptor::CPPTYPE_DOUBLE: return SameReal(r.GetDouble(message, field), json, path);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return SameReal(static_cast<double>(r.GetFloat(message, field)), json, path);
    case FieldDescriptor::CPPTYPE_BOOL: return SameBool(r.GetBool(message, field), json, path);
    case FieldDescriptor::CPPTYPE_ENUM: return SameInteger(r.GetEnum(message, field)->number(), json, path);
    case FieldDescriptor::CPPTYPE_STRING: return SameString(field, r.GetString(message, field), json, path);
    case FieldDescriptor::CPPTYPE_MESSAGE: return SameMessage(r.GetMessage(message, field), json, path);
  }
  return Check(false, path);
}

bool Comparison::SameElement(const Message& message, const FieldDescriptor* field, int i, const json_t* json,
                             const std::string& path) {
  const Reflection& r = *message.GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return SameInteger(r.GetRepeatedInt32(message, field, i), json, path);
    case FieldDescriptor::CPPTYPE_INT64:
      return SameInteger(r.GetRepeatedInt64(message, field, i), json, path);
    case FieldDescriptor::CPPTYPE_UINT32:
      return SameInteger(r.GetRepeatedUInt32(message, field, i), json, path);
    case FieldDescriptor::CPPTYPE_UINT64:
      return SameInteger(static_cast<int64_t>(r.GetRepeatedUInt64(message, field, i)), json, path);
    case FieldDescriptor::CPPTYPE_DOUBLE: return SameReal(r.GetRepeatedDouble(message, field, i), json, path);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return SameReal(static_cast<double>(r.GetRepeatedFloat(message, field, i)), json, path);
    case FieldDescriptor::CPPTYPE_BOOL: return SameBool(r.GetRepeatedBool(message, field, i), json, path);
    case FieldDescriptor::CPPTYPE_ENUM:
      return SameInteger(r.GetRepeatedEnum(message, field, i)->number(), json, path);
    case FieldDescriptor::CPPTYPE_STRING:
      return SameString(field, r.GetRepeatedString(message, field, i), json, path);
    case FieldDescriptor::CPPTYPE_MESSAGE:
      return SameMessage(r.GetRepeatedMessage(message, field, i), json, path);
  }
  return Check(false, path);
}

// ------------------------------------------------------------------------------------------- calling the
// exports

TPType NextLayout() {
  static constexpr int kNamed = 6;  // 0 to 5; 101 to 116 follow
  static int call = 0;
  const int at = call++ % (kNamed + 16);
  return static_cast<TPType>(at < kNamed ? at : at - kNamed + 101);
}

// Whether either table export gave a table.
bool GivesTable(const std::string& bytes) {
  const OwnedTable by_id(TesparserPB2Table(bytes));
  const OwnedTable by_type(TesparserPB2TableType(bytes, NextLayout()));
  return by_id != nullptr || by_type != nullptr;
}

// Renders bytes that may hold anything in the three ways. False if there was text and it is no JSON.
bool SurvivesRendering(const std::string& bytes) {
  GivesTable(bytes);
  try {
    const std::string text = TesparserPB2Json(bytes);
    return text.empty() || ParseJson(text) != nullptr;
  } catch (const j2pb_error&) {
    return true;
  }
}

class AllPayloads : public ::testing::Test {
 private:
  google::protobuf::LogSilencer quiet_;  // a missing required field is logged, and thousands are tried here
};

void Report(const char* what, size_t count) {
  ::testing::Test::RecordProperty(what, std::to_string(count));
  std::printf("             %s: %zu\n", what, count);
}

// ------------------------------------------------------------------------------------------------------ the
// tests

void CollectFields(const Descriptor* type, std::set<const FieldDescriptor*>* fields) {
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (fields->insert(field).second && field->message_type() != nullptr)
      CollectFields(field->message_type(), fields);
  }
}

TEST_F(AllPayloads, EveryFieldStandsInTheJson) {
  std::set<const FieldDescriptor*> filled = {FieldOf(1)};
  size_t values = 0;
  size_t bytes_sent = 0;
  for (const int number : Numbers()) {
    Filler filler(Seed(number, 1), kEveryField);
    const auto reply = MakeReply(number, 2, &filler);
    filled.insert(filler.filled().begin(), filler.filled().end());
    filled.insert(FieldOf(number));
    const std::string bytes = test_replies::Bytes(*reply);
    bytes_sent += bytes.size();
    const OwnedJson json = ParseJson(TesparserPB2Json(bytes));
    Comparison comparison;
    EXPECT_TRUE(comparison.SameMessage(*reply, json.get(), "MSG")) << comparison.difference();
    values += comparison.values();
    GivesTable(bytes);
  }
  std::set<const FieldDescriptor*> all;
  CollectFields(test_replies::Pool().FindMessageTypeByName("tessel.MSG"), &all);
  for (const FieldDescriptor* field : all) {
    const bool of_the_envelope_alone =
        field->containing_type()->name() == "MSG" && field->number() < kFirstPayload;
    if (of_the_envelope_alone) continue;
    EXPECT_EQ(filled.count(field), 1U) << field->full_name();
  }
  Report("fields of the schema filled", filled.size());
  Report("values compared", values);
  Report("bytes sent", bytes_sent);
}

TEST_F(AllPayloads, TheWholeEnvelopeAtOnceStandsInTheJson) {
  Filler filler(7, kEveryFieldOnce);
  const auto reply = test_replies::New("MSG");
  filler.Fill(reply.get());
  const std::string bytes = test_replies::Bytes(*reply);
  const OwnedJson json = ParseJson(TesparserPB2Json(bytes));
  Comparison comparison;
  EXPECT_TRUE(comparison.SameMessage(*reply, json.get(), "MSG")) << comparison.difference();
  EXPECT_EQ(json_object_size(json.get()), static_cast<size_t>(reply->GetDescriptor()->field_count()));
  std::set<const FieldDescriptor*> all;
  CollectFields(reply->GetDescriptor(), &all);
  EXPECT_EQ(filler.filled(), all);
}

TEST_F(AllPayloads, SparseRepliesStandInTheJson) {
  size_t values = 0;
  for (const int number : Numbers()) {
    for (uint32_t round = 0; round < 5; ++round) {
      Filler filler(Seed(number, 10 + round), kSparse);
      const auto reply = MakeReply(number, round, &filler);
      const OwnedJson json = ParseJson(TesparserPB2Json(test_replies::Bytes(*reply)));
      Comparison comparison;
      EXPECT_TRUE(comparison.SameMessage(*reply, json.get(), "MSG")) << comparison.difference();
      values += comparison.values();
    }
  }
  Report("values compared", values);
}

// Calls `check` once for each required field at or below `node`, while that field is missing from it.
void WithoutEachRequired(Message* node, const std::function<void(const FieldDescriptor*)>& check) {
  const Descriptor* type = node->GetDescriptor();
  const Reflection* reflection = node->GetReflection();
  const std::unique_ptr<Message> aside(node->New());
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (field->is_required()) {
      reflection->SwapFields(node, aside.get(), {field});
      check(field);
      reflection->SwapFields(node, aside.get(), {field});
    }
    if (field->message_type() == nullptr) continue;
    if (!field->is_repeated()) {
      if (reflection->HasField(*node, field))
        WithoutEachRequired(reflection->MutableMessage(node, field), check);
      continue;
    }
    const int last = reflection->FieldSize(*node, field) - 1;
    if (last >= 0) WithoutEachRequired(reflection->MutableRepeatedMessage(node, field, 0), check);
    if (last > 0) WithoutEachRequired(reflection->MutableRepeatedMessage(node, field, last), check);
  }
}

TEST_F(AllPayloads, AMissingRequiredFieldFailsTheReply) {
  size_t taken_out = 0;
  std::set<const FieldDescriptor*> tried;
  std::set<const FieldDescriptor*> required;
  for (const int number : Numbers()) {
    Filler filler(Seed(number, 3), kEveryFieldOnce);
    const auto reply = MakeReply(number, 2, &filler);
    const std::string whole = test_replies::Bytes(*reply);
    ASSERT_NE(TesparserPB2Json(whole), "") << number;
    WithoutEachRequired(reply.get(), [&](const FieldDescriptor* field) {
      const std::string bytes = test_replies::Bytes(*reply);
      ASSERT_LT(bytes.size(), whole.size());
      EXPECT_EQ(TesparserPB2Json(bytes), "") << number << " without " << field->full_name();
      EXPECT_FALSE(GivesTable(bytes)) << number << " without " << field->full_name();
      ++taken_out;
      tried.insert(field);
    });
    ASSERT_EQ(test_replies::Bytes(*reply), whole) << number;
  }
  std::set<const FieldDescriptor*> all;
  CollectFields(test_replies::Pool().FindMessageTypeByName("tessel.MSG"), &all);
  for (const FieldDescriptor* field : all) {
    if (field->is_required()) required.insert(field);
  }
  EXPECT_EQ(tried, required);
  Report("required fields", required.size());
  Report("replies without one", taken_out);
}

// The lengths at which the bytes of a reply can be cut and still are a reply: after Id, and after each
// element.
std::set<size_t> WholeLengths(const Message& reply) {
  const auto start = test_replies::New("MSG");
  const Reflection* reflection = start->GetReflection();
  const int number = reply.GetReflection()->GetInt32(reply, FieldOf(1));
  reflection->SetInt32(start.get(), FieldOf(1), number);
  std::set<size_t> lengths = {test_replies::Bytes(*start).size()};
  const FieldDescriptor* field = FieldOf(number);
  if (!field->is_repeated()) {
    lengths.insert(test_replies::Bytes(reply).size());
    return lengths;
  }
  for (int i = 0; i < reflection->FieldSize(reply, field); ++i) {
    reflection->AddMessage(start.get(), field)->CopyFrom(reflection->GetRepeatedMessage(reply, field, i));
    lengths.insert(test_replies::Bytes(*start).size());
  }
  return lengths;
}

// All lengths, or a sample and those around each end.
std::set<size_t> CutsOf(size_t size, const std::set<size_t>& whole, std::mt19937* random) {
  std::set<size_t> cuts;
  if (size <= kCutAtEveryLength) {
    for (size_t cut = 0; cut <= size; ++cut)
      cuts.insert(cut);
    return cuts;
  }
  for (int i = 0; i < kCutSamples; ++i)
    cuts.insert((*random)() % size);
  for (const size_t end : whole) {
    cuts.insert(end - 1);
    cuts.insert(end);
    cuts.insert(std::min(end + 1, size));
  }
  return cuts;
}

TEST_F(AllPayloads, ACutReplyIsNoReply) {
  std::mt19937 random(Seed(0, 11));
  size_t cut_replies = 0;
  size_t at_every_length = 0;
  for (const int number : Numbers()) {
    const std::unique_ptr<Message> sent[] = {SmallReply(number), LargeReply(number)};
    for (const auto& reply : sent) {
      const std::string bytes = test_replies::Bytes(*reply);
      const std::set<size_t> whole = WholeLengths(*reply);
      if (bytes.size() <= kCutAtEveryLength) ++at_every_length;
      for (const size_t cut : CutsOf(bytes.size(), whole, &random)) {
        const std::string part = bytes.substr(0, cut);
        const bool is_reply = whole.count(cut) == 1;
        EXPECT_EQ(!TesparserPB2Json(part).empty(), is_reply) << number << " cut to " << cut;
        const bool table = GivesTable(part);
        EXPECT_FALSE(table && !is_reply) << number << " cut to " << cut;
        ++cut_replies;
      }
    }
  }
  EXPECT_GT(at_every_length, Numbers().size() / 2);
  Report("cut replies", cut_replies);
  Report("cut at every length", at_every_length);
}

TEST_F(AllPayloads, FlippedBytesDoNoHarm) {
  std::mt19937 random(Seed(0, 13));
  const auto below = [&random](size_t limit) { return random() % limit; };
  size_t damaged = 0;
  size_t still_replies = 0;
  for (const int number : Numbers()) {
    for (const auto& reply :
         {test_replies::Bytes(*SmallReply(number)), test_replies::Bytes(*LargeReply(number))}) {
      for (int i = 0; i < kFlips; ++i) {
        std::string bytes = reply;
        for (size_t n = 1 + below(3); n > 0; --n) {
          static constexpr unsigned char kExtremes[] = {0x00, 0x01, 0x7F, 0x80, 0xFF};
          char& byte = bytes[below(bytes.size())];
          if (below(2) == 0) {
            byte = static_cast<char>(byte ^ (1 << below(8)));
          } else {
            byte = static_cast<char>(kExtremes[below(5)]);
          }
        }
        EXPECT_TRUE(SurvivesRendering(bytes)) << number << " damaged, " << i;
        ++damaged;
        if (test_replies::New("MSG")->ParseFromString(bytes)) ++still_replies;
      }
    }
  }
  EXPECT_GT(still_replies, damaged / 10);
  EXPECT_LT(still_replies, damaged);
  Report("damaged replies", damaged);
  Report("of them still replies", still_replies);
}

}  // namespace
