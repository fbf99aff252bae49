// The parts that the JSON rendering stands on, over messages of every field type.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include "MSG.proto.h"
#include "tesparser/message_to_json.h"
#include "tesparser/tesparser.h"
#include "tests/support/json.h"
#include "tslpbtable.pb.h"

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::FieldDescriptorProto;
using google::protobuf::Message;

// ---- base64 ---------------------------------------------------------------------------------------------

TEST(Base64Encode, StandardVectors) {
  EXPECT_EQ(Base64Encode(""), "");
  EXPECT_EQ(Base64Encode("f"), "Zg==");
  EXPECT_EQ(Base64Encode("fo"), "Zm8=");
  EXPECT_EQ(Base64Encode("foo"), "Zm9v");
  EXPECT_EQ(Base64Encode("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64Encode("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Base64Encode("foobar"), "Zm9vYmFy");
}

TEST(Base64Encode, EveryLetterOfTheAlphabet) {
  // The sextets 0 to 63, one after the other, in 48 bytes.
  std::string bytes;
  for (unsigned sextet = 0; sextet < 64; sextet += 4) {
    const unsigned group = sextet << 18 | (sextet + 1) << 12 | (sextet + 2) << 6 | (sextet + 3);
    bytes += static_cast<char>(group >> 16);
    bytes += static_cast<char>(group >> 8 & 0xFF);
    bytes += static_cast<char>(group & 0xFF);
  }
  EXPECT_EQ(Base64Encode(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

TEST(Base64Encode, BytesAreUnsignedAndMayBeZero) {
  EXPECT_EQ(Base64Encode(std::string("\0", 1)), "AA==");
  EXPECT_EQ(Base64Encode(std::string("\0\0\0", 3)), "AAAA");
  EXPECT_EQ(Base64Encode("\xff"), "/w==");
  EXPECT_EQ(Base64Encode("\xff\xff"), "//8=");
  EXPECT_EQ(Base64Encode("\xff\xff\xff"), "////");
}

TEST(Base64Encode, LongInputHasNoLineBreaks) {
  const std::string text = Base64Encode(std::string(3000, 'a'));
  EXPECT_EQ(text.size(), 4000u);
  EXPECT_EQ(text.find_first_not_of("YWFh"), std::string::npos);
}

// ---- the dump callback ----------------------------------------------------------------------------------

TEST(AppendToString, AppendsAndSucceeds) {
  std::string text = "a";
  EXPECT_EQ(AppendToString("bcd", 2, &text), 0);
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(AppendToString("", 0, &text), 0);
  EXPECT_EQ(text, "abc");
  EXPECT_EQ(AppendToString("\0z", 2, &text), 0);
  EXPECT_EQ(text, std::string("abc\0z", 5));
}

// ---- the guard ------------------------------------------------------------------------------------------

TEST(JsonValueGuard, GivesItsReferenceBack) {
  const OwnedJson value(json_string("x"));
  {
    const JsonValueGuard guard(json_incref(value.get()));
    EXPECT_EQ(guard.get(), value.get());
    EXPECT_EQ(value->refcount, 2u);
  }
  EXPECT_EQ(value->refcount, 1u);
}

TEST(JsonValueGuard, ReleaseHandsTheReferenceOver) {
  OwnedJson value;
  {
    JsonValueGuard guard(json_string("x"));
    value.reset(guard.release());
    EXPECT_EQ(guard.get(), nullptr);
  }
  EXPECT_EQ(value->refcount, 1u);
  EXPECT_STREQ(json_string_value(value.get()), "x");
}

TEST(JsonValueGuard, NothingIsHeldOverNull) {
  JsonValueGuard guard(nullptr);
  EXPECT_EQ(guard.get(), nullptr);
  EXPECT_EQ(guard.release(), nullptr);
}

// ---- every field type -----------------------------------------------------------------------------------

// A message with two fields of each declared type: "<type>", and "<type>s" repeated.
class AllTypes : public testing::Test {
 protected:
  AllTypes() {
    google::protobuf::FileDescriptorProto file;
    file.set_name("all_types.proto");
    file.set_package("test");
    auto* colour = file.add_enum_type();
    colour->set_name("Colour");
    AddValue(colour, "RED", 0);
    AddValue(colour, "NEGATIVE", -7);
    auto* all = file.add_message_type();
    all->set_name("All");
    auto* range = all->add_extension_range();
    range->set_start(1000);
    range->set_end(2000);
    int number = 0;
    for (const char* type :
         {"double", "float", "int64", "uint64", "int32", "fixed64", "fixed32", "bool", "string", "bytes",
          "uint32", "sfixed32", "sfixed64", "sint32", "sint64", "message", "enum"}) {
      for (const bool repeated : {false, true}) {
        auto* field = all->add_field();
        field->set_name(std::string(type) + (repeated ? "s" : ""));
        field->set_number(++number);
        SetType(field, type, repeated);
      }
    }
    auto* extension = file.add_extension();
    extension->set_name("more");
    extension->set_number(1000);
    extension->set_extendee(".test.All");
    SetType(extension, "string", false);
    const auto* built = pool_.BuildFile(file);
    message_.reset(factory_.GetPrototype(built->message_type(0))->New());
  }

  static void AddValue(google::protobuf::EnumDescriptorProto* type, const char* name, int number) {
    auto* value = type->add_value();
    value->set_name(name);
    value->set_number(number);
  }

  static void SetType(FieldDescriptorProto* field, const std::string& type, bool repeated) {
    std::string name = "TYPE_" + type;
    for (char& c : name)
      c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
    FieldDescriptorProto::Type value{};
    ASSERT_TRUE(FieldDescriptorProto::Type_Parse(name, &value)) << name;
    field->set_type(value);
    field->set_label(repeated ? FieldDescriptorProto::LABEL_REPEATED : FieldDescriptorProto::LABEL_OPTIONAL);
    if (type == "message") field->set_type_name(".test.All");
    if (type == "enum") field->set_type_name(".test.Colour");
  }

  const FieldDescriptor* Field(const std::string& name) const {
    return message_->GetDescriptor()->FindFieldByName(name);
  }

  // The value of one field of a message as text, on its own.
  std::string Value(const std::string& field, int index = 0) const {
    const OwnedJson value(FieldToValue(*message_, Field(field), index));
    char* dumped = json_dumps(value.get(), JSON_ENCODE_ANY);
    const std::string text = dumped;
    std::free(dumped);
    return text;
  }

  google::protobuf::DescriptorPool pool_;
  google::protobuf::DynamicMessageFactory factory_{&pool_};
  std::unique_ptr<Message> message_;
};

TEST_F(AllTypes, Singular) {
  const auto* access = message_->GetReflection();
  access->SetDouble(message_.get(), Field("double"), -0.5);
  access->SetFloat(message_.get(), Field("float"), 0.25F);
  access->SetInt64(message_.get(), Field("int64"), std::numeric_limits<int64_t>::min());
  access->SetUInt64(message_.get(), Field("uint64"), std::numeric_limits<uint64_t>::max());
  access->SetInt32(message_.get(), Field("int32"), std::numeric_limits<int32_t>::min());
  access->SetUInt64(message_.get(), Field("fixed64"), uint64_t{1} << 63);
  access->SetUInt32(message_.get(), Field("fixed32"), 4294967295u);
  access->SetBool(message_.get(), Field("bool"), true);
  access->SetString(message_.get(), Field("string"), "text");
  access->SetString(message_.get(), Field("bytes"), "foob");
  access->SetUInt32(message_.get(), Field("uint32"), 2147483648u);
  access->SetInt32(message_.get(), Field("sfixed32"), -2);
  access->SetInt64(message_.get(), Field("sfixed64"), -3);
  access->SetInt32(message_.get(), Field("sint32"), -4);
  access->SetInt64(message_.get(), Field("sint64"), -5);
  access->SetBool(access->MutableMessage(message_.get(), Field("message")), Field("bool"), false);
  access->SetEnumValue(message_.get(), Field("enum"), -7);

  EXPECT_EQ(Value("double"), "-0.5");
  EXPECT_EQ(Value("float"), "0.25");
  EXPECT_EQ(Value("int64"), "-9223372036854775808");
  EXPECT_EQ(Value("uint64"), "-1");
  EXPECT_EQ(Value("int32"), "-2147483648");
  EXPECT_EQ(Value("fixed64"), "-9223372036854775808");
  EXPECT_EQ(Value("fixed32"), "4294967295");
  EXPECT_EQ(Value("bool"), "true");
  EXPECT_EQ(Value("string"), "\"text\"");
  EXPECT_EQ(Value("bytes"), "\"Zm9vYg==\"");
  EXPECT_EQ(Value("uint32"), "2147483648");
  EXPECT_EQ(Value("sfixed32"), "-2");
  EXPECT_EQ(Value("sfixed64"), "-3");
  EXPECT_EQ(Value("sint32"), "-4");
  EXPECT_EQ(Value("sint64"), "-5");
  EXPECT_EQ(Value("message"), "{\"bool\": false}");
  EXPECT_EQ(Value("enum"), "-7");
  // The index of a singular field has no effect.
  EXPECT_EQ(Value("int32", 99), "-2147483648");
}

TEST_F(AllTypes, Repeated) {
  const auto* access = message_->GetReflection();
  for (const int i : {0, 1}) {
    access->AddDouble(message_.get(), Field("doubles"), i + 0.5);
    access->AddFloat(message_.get(), Field("floats"), static_cast<float>(i) + 0.25F);
    access->AddInt64(message_.get(), Field("int64s"), -10 - i);
    access->AddUInt64(message_.get(), Field("uint64s"),
                      uint64_t{18446744073709551614u} + static_cast<uint64_t>(i));
    access->AddInt32(message_.get(), Field("int32s"), -20 - i);
    access->AddUInt64(message_.get(), Field("fixed64s"), 30 + static_cast<uint64_t>(i));
    access->AddUInt32(message_.get(), Field("fixed32s"), 4294967294u + static_cast<uint32_t>(i));
    access->AddBool(message_.get(), Field("bools"), i == 1);
    access->AddString(message_.get(), Field("strings"), i == 1 ? "b" : "a");
    access->AddString(message_.get(), Field("bytess"), i == 1 ? "fo" : "f");
    access->AddUInt32(message_.get(), Field("uint32s"), 40u + static_cast<uint32_t>(i));
    access->AddInt32(message_.get(), Field("sfixed32s"), -50 - i);
    access->AddInt64(message_.get(), Field("sfixed64s"), -60 - i);
    access->AddInt32(message_.get(), Field("sint32s"), -70 - i);
    access->AddInt64(message_.get(), Field("sint64s"), -80 - i);
    access->SetInt32(access->AddMessage(message_.get(), Field("messages")), Field("int32"), i);
    access->AddEnumValue(message_.get(), Field("enums"), i == 1 ? -7 : 0);
  }
  EXPECT_EQ(Value("doubles", 1), "1.5");
  EXPECT_EQ(Value("floats", 1), "1.25");
  EXPECT_EQ(Value("bools", 0), "false");
  EXPECT_EQ(Value("bytess", 1), "\"Zm8=\"");
  EXPECT_EQ(Value("enums", 1), "-7");
  EXPECT_TRUE(SameJson(MessageToJson(*message_), R"({
    "doubles": [0.5, 1.5], "floats": [0.25, 1.25], "int64s": [-10, -11], "uint64s": [-2, -1],
    "int32s": [-20, -21], "fixed64s": [30, 31], "fixed32s": [4294967294, 4294967295], "bools": [false, true],
    "strings": ["a", "b"], "bytess": ["Zg==", "Zm8="], "uint32s": [40, 41], "sfixed32s": [-50, -51],
    "sfixed64s": [-60, -61], "sint32s": [-70, -71], "sint64s": [-80, -81],
    "messages": [{"int32": 0}, {"int32": 1}], "enums": [0, -7]})"));
}

TEST_F(AllTypes, NothingSetIsAnEmptyObject) {
  EXPECT_EQ(MessageToJson(*message_), "{}");
}

TEST_F(AllTypes, ExtensionsGoByTheirFullName) {
  const FieldDescriptor* more = pool_.FindExtensionByName("test.more");
  ASSERT_NE(more, nullptr);
  message_->GetReflection()->SetString(message_.get(), more, "text");
  EXPECT_EQ(MessageToJson(*message_), "{\"test.more\": \"text\"}");
  // An error shows the short name.
  message_->GetReflection()->SetString(message_.get(), more, "\xff");
  try {
    MessageToJson(*message_);
    FAIL() << "no exception";
  } catch (const j2pb_error& error) {
    EXPECT_STREQ(error.what(), "more: Fail to convert to json");
  }
}

TEST_F(AllTypes, UnknownFieldsAreDropped) {
  auto* unknown = message_->GetReflection()->MutableUnknownFields(message_.get());
  unknown->AddVarint(3000, 1);
  unknown->AddLengthDelimited(3001)->assign("x");
  EXPECT_EQ(MessageToJson(*message_), "{}");
}

TEST_F(AllTypes, FieldOfItsOwnThrowsOnABadValue) {
  message_->GetReflection()->AddString(message_.get(), Field("strings"), "good");
  message_->GetReflection()->AddString(message_.get(), Field("strings"), "\xd6\xd0");
  EXPECT_EQ(Value("strings", 0), "\"good\"");
  EXPECT_THROW(FieldToValue(*message_, Field("strings"), 1), j2pb_error);
  message_->GetReflection()->SetFloat(message_.get(), Field("float"), std::numeric_limits<float>::infinity());
  EXPECT_THROW(FieldToValue(*message_, Field("float"), 0), j2pb_error);
}

// The generated classes go the same way as dynamic messages.
TEST(GeneratedMessage, RendersByReflection) {
  tessel::MSG reply;
  reply.set_id(tessel::IDTbl);
  tessel::CData* column = reply.mutable_tbl()->add_data();
  column->set_index(-1);
  column->add_bvalues(std::string("\0\xff", 2));
  column->add_xvalues(-3);
  EXPECT_TRUE(
      SameJson(MessageToJson(reply),
               R"({"Id": 3, "Tbl": {"Data": [{"Index": -1, "bValues": ["AP8="], "xValues": [-3]}]}})"));
  const OwnedJson object(MessageToObject(reply.tbl()));
  EXPECT_EQ(object->refcount, 1u);
  EXPECT_EQ(json_object_size(object.get()), 1u);
}

// A message that knows nothing about itself.
class Opaque : public Message {
 public:
  Message* New(google::protobuf::Arena*) const override { return new Opaque; }
  int GetCachedSize() const override { return 0; }
  google::protobuf::Metadata GetMetadata() const override { return {nullptr, nullptr}; }
};

TEST(OpaqueMessage, HasNoObjectAndNoText) {
  EXPECT_EQ(MessageToObject(Opaque()), nullptr);
  EXPECT_EQ(MessageToJson(Opaque()), "");
}

TEST(Error, TextIsFieldAndMessage) {
  const FieldDescriptor* field = tessel::CData::descriptor()->FindFieldByName("xValues");
  const j2pb_error error(field, "some reason");
  EXPECT_STREQ(error.what(), "xValues: some reason");
  const j2pb_error copy(error);
  EXPECT_STREQ(copy.what(), "xValues: some reason");
}

// ---- memory of the tree ---------------------------------------------------------------------------------

long live_blocks = 0;
long blocks_left = -1;

void* CountedAlloc(size_t size) {
  if (blocks_left == 0) return nullptr;
  if (blocks_left > 0) --blocks_left;
  ++live_blocks;
  return std::malloc(size);
}

void CountedFree(void* block) {
  if (block != nullptr) --live_blocks;
  std::free(block);
}

class TreeMemory : public testing::Test {
 protected:
  TreeMemory() {
    json_set_alloc_funcs(CountedAlloc, CountedFree);
    reply_.set_id(tessel::IDTbl);
    tessel::CData* column = reply_.mutable_tbl()->add_data();
    column->set_index(0);
    for (int i = 0; i < 3; ++i)
      column->add_dvalues(i);
    column->add_svalues("text");
    reply_.mutable_tbl()->set_memo("memo");
    live_blocks = 0;
  }
  ~TreeMemory() override {
    blocks_left = -1;
    json_set_alloc_funcs(std::malloc, std::free);
  }

  tessel::MSG reply_;
};

TEST_F(TreeMemory, TextLeavesNoTree) {
  EXPECT_NE(MessageToJson(reply_), "");
  EXPECT_EQ(live_blocks, 0);
}

TEST_F(TreeMemory, ErrorLeavesNoTree) {
  reply_.mutable_tbl()->mutable_data(0)->add_dvalues(std::numeric_limits<double>::quiet_NaN());
  EXPECT_THROW(MessageToJson(reply_), j2pb_error);
  EXPECT_EQ(live_blocks, 0);
}

// Out of memory, the root is missing, a value is an error, an entry that cannot be stored is left out; never
// a crash, and never a block that stays.
TEST_F(TreeMemory, EveryAllocationMayFail) {
  const std::string whole = MessageToJson(reply_);
  blocks_left = 0;
  EXPECT_EQ(MessageToObject(reply_), nullptr);
  EXPECT_EQ(MessageToJson(reply_), "");
  int errors = 0;
  long budget = 1;
  for (; budget < 1000; ++budget) {
    blocks_left = budget;
    try {
      const std::string text = MessageToJson(reply_);
      if (blocks_left > 0) {
        EXPECT_EQ(text, whole);
        break;
      }
    } catch (const j2pb_error&) {
      ++errors;
    }
    EXPECT_EQ(live_blocks, 0) << budget;
  }
  EXPECT_LT(budget, 1000);
  EXPECT_GE(errors, 8);  // one for each of the eight values below the root
}

}  // namespace
