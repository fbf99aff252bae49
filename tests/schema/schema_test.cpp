// The rules that the schema files keep, read from what protoc understood of them, and the page that describes
// them.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/replies.h"

namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;
using test_replies::kFirstPayload;
using test_replies::LastPayload;

// The files that name no Java package, sorted by byte.
const std::set<std::string> kWithoutJavaPackage = {
    "CldEventNewsShuJu.proto",
    "CldLhbDataCollectShuJu.proto",
    "CldTradeRequiteShuJu.proto",
    "MSG.proto",
    "WeiPanMiracle.proto",
    "busrpc.proto",
    "tessel.auth.table.proto",
    "tessel.indicalc.proto",
    "tessel.indicalcsort.proto",
    "tessel.limitup.analysis.proto",
    "tessel.pc.caiwuchuquanbankuai.proto",
    "tessel.pc.dashifenxi.proto",
    "tessel.pc.dingyuetuisong.proto",
    "tessel.pc.jieduantongji.proto",
    "tessel.pc.moneymaster.proto",
    "tessel.pc.rediantuisong.proto",
    "tessel.pc.stkdata.proto",
    "tessel.pc.stockleader.proto",
    "tessel.teskey.proto",
    "tslapp.proto",
    "tslcert.proto",
    "tslpriv.proto",
};

const Descriptor& Envelope() {
  return *test_replies::Pool().FindMessageTypeByName("tessel.MSG");
}

const EnumDescriptor& Ids() {
  return *test_replies::Pool().FindEnumTypeByName("tessel.EnumID");
}

std::set<std::string> FileNames() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(SCHEMA_DIR)) {
    if (entry.path().extension() == ".proto") names.insert(entry.path().filename().string());
  }
  return names;
}

std::vector<const FileDescriptor*> Files() {
  std::vector<const FileDescriptor*> files;
  for (const std::string& name : FileNames()) {
    const FileDescriptor* file = test_replies::Pool().FindFileByName(name);
    if (file == nullptr) {
      ADD_FAILURE() << name << " is not in the descriptors";
    } else {
      files.push_back(file);
    }
  }
  return files;
}

std::vector<std::string> Lines(const std::string& path) {
  std::ifstream in(path);
  EXPECT_TRUE(in.is_open()) << path;
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);)
    lines.push_back(line);
  return lines;
}

// The words in backticks.
std::vector<std::string> Quoted(const std::string& line) {
  std::vector<std::string> words;
  size_t at = 0;
  while ((at = line.find('`', at)) != std::string::npos) {
    const size_t end = line.find('`', at + 1);
    if (end == std::string::npos) break;
    words.push_back(line.substr(at + 1, end - at - 1));
    at = end + 1;
  }
  return words;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool StartsWith(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

void Reach(const Descriptor& type, std::set<const Descriptor*>& reached) {
  if (!reached.insert(&type).second) return;
  for (int i = 0; i < type.field_count(); ++i) {
    if (type.field(i)->message_type() != nullptr) Reach(*type.field(i)->message_type(), reached);
  }
}

TEST(Envelope, FirstFiveFields) {
  struct Row {
    const char* name;
    FieldDescriptor::Label label;
    FieldDescriptor::Type type;
  };
  const Row rows[] = {
      {"Id", FieldDescriptor::LABEL_REQUIRED, FieldDescriptor::TYPE_INT32},
      {"Obj", FieldDescriptor::LABEL_OPTIONAL, FieldDescriptor::TYPE_STRING},
      {"Tbl", FieldDescriptor::LABEL_OPTIONAL, FieldDescriptor::TYPE_MESSAGE},
      {"JsonTbl", FieldDescriptor::LABEL_OPTIONAL, FieldDescriptor::TYPE_STRING},
      {"ObjCount", FieldDescriptor::LABEL_OPTIONAL, FieldDescriptor::TYPE_INT32},
  };
  int number = 0;
  for (const Row& row : rows) {
    const FieldDescriptor* field = Envelope().FindFieldByNumber(++number);
    ASSERT_NE(field, nullptr) << number;
    EXPECT_EQ(field->name(), row.name);
    EXPECT_EQ(field->label(), row.label) << row.name;
    EXPECT_EQ(field->type(), row.type) << row.name;
  }
  EXPECT_EQ(Envelope().FindFieldByName("Tbl")->message_type()->full_name(), "tessel.Table");
}

TEST(Envelope, EachIdHasTheFieldOfItsNumberAndName) {
  ASSERT_NE(Ids().FindValueByNumber(0), nullptr);
  EXPECT_EQ(Ids().FindValueByNumber(0)->name(), "IDNone");
  std::set<int> numbers;
  for (int i = 0; i < Ids().value_count(); ++i) {
    const auto& value = *Ids().value(i);
    EXPECT_TRUE(numbers.insert(value.number()).second) << value.name() << " shares its number";
    const FieldDescriptor* field = Envelope().FindFieldByNumber(value.number());
    if (value.number() == 0) {
      EXPECT_EQ(field, nullptr);
      continue;
    }
    ASSERT_NE(field, nullptr) << value.name();
    const std::string prefix = value.number() < kFirstPayload ? "" : "RepData";
    ASSERT_TRUE(StartsWith(value.name(), "ID")) << value.name();
    EXPECT_EQ(field->name(), prefix + value.name().substr(2)) << value.number();
  }
  for (int i = 0; i < Envelope().field_count(); ++i) {
    EXPECT_EQ(numbers.count(Envelope().field(i)->number()), 1U) << Envelope().field(i)->name();
  }
}

TEST(Envelope, EachPayloadFieldRepeatsTheMessageOfItsName) {
  for (int number = kFirstPayload; number <= LastPayload(); ++number) {
    const FieldDescriptor* field = Envelope().FindFieldByNumber(number);
    ASSERT_NE(field, nullptr) << number << " is left out";
    EXPECT_TRUE(field->is_repeated()) << field->name();
    ASSERT_NE(field->message_type(), nullptr) << field->name();
    EXPECT_EQ(field->message_type()->containing_type(), nullptr) << field->name();
    EXPECT_EQ(field->name(), "RepData" + field->message_type()->name()) << number;
  }
}

TEST(Envelope, SixToNineteenStayFree) {
  for (int number = 6; number < kFirstPayload; ++number) {
    EXPECT_EQ(Envelope().FindFieldByNumber(number), nullptr) << number;
    EXPECT_EQ(Ids().FindValueByNumber(number), nullptr) << number;
  }
}

TEST(Envelope, FieldsAndIdsAreDeclaredInAscendingNumber) {
  for (int i = 1; i < Envelope().field_count(); ++i)
    EXPECT_LT(Envelope().field(i - 1)->number(), Envelope().field(i)->number());
  for (int i = 1; i < Ids().value_count(); ++i)
    EXPECT_LT(Ids().value(i - 1)->number(), Ids().value(i)->number());
}

TEST(Envelope, ItsFileHoldsNothingElse) {
  const FileDescriptor& file = *Envelope().file();
  EXPECT_EQ(file.name(), "MSG.proto");
  EXPECT_EQ(Ids().file(), &file);
  EXPECT_EQ(file.message_type_count(), 1);
  EXPECT_EQ(file.enum_type_count(), 1);
}

TEST(Envelope, NoMessageInItsReachIsProto3) {
  std::set<const Descriptor*> reached;
  Reach(Envelope(), reached);
  EXPECT_GE(static_cast<int>(reached.size()), LastPayload() - kFirstPayload + 1);
  for (const Descriptor* type : reached)
    EXPECT_EQ(type->file()->syntax(), FileDescriptor::SYNTAX_PROTO2) << type->full_name();
}

TEST(SchemaFiles, AllAreOfOnePackage) {
  EXPECT_FALSE(Files().empty());
  for (const FileDescriptor* file : Files())
    EXPECT_EQ(file->package(), "tessel") << file->name();
}

TEST(SchemaFiles, OneIsProto3) {
  for (const FileDescriptor* file : Files()) {
    const auto syntax =
        file->name() == "busrpc.proto" ? FileDescriptor::SYNTAX_PROTO3 : FileDescriptor::SYNTAX_PROTO2;
    EXPECT_EQ(file->syntax(), syntax) << file->name();
  }
}

TEST(SchemaFiles, OptionsAreTheJavaOnes) {
  for (const std::string& name : kWithoutJavaPackage)
    EXPECT_NE(test_replies::Pool().FindFileByName(name), nullptr) << name;
  for (const FileDescriptor* file : Files()) {
    google::protobuf::FileOptions expected;
    if (kWithoutJavaPackage.count(file->name()) == 0) expected.set_java_package("com.tessel.proto");
    if (file->name() == "indicate.proto") expected.set_java_outer_classname("TslIndicate");
    EXPECT_EQ(file->options().SerializeAsString(), expected.SerializeAsString()) << file->name();
  }
}

// The last number cannot be told from the schema alone: a type lost at its end would not be missed.
TEST(SchemaPage, TellsTheRangeOfPayloadNumbers) {
  const std::string range =
      "from " + std::to_string(kFirstPayload) + " to " + std::to_string(LastPayload()) + ",";
  bool told = false;
  for (const std::string& line : Lines(SCHEMA_PAGE))
    told = told || line.find(range) != std::string::npos;
  EXPECT_TRUE(told) << "docs/schema.md does not say \"" << range
                    << "\": a new payload type moves the last number there, and no type is ever taken away";
}

// One list entry for each file, "- `name.proto`: what it is for", and none for a file that is not there.
TEST(SchemaPage, DescribesEachFileOnce) {
  std::map<std::string, int> entries;
  for (const std::string& line : Lines(SCHEMA_PAGE)) {
    if (!StartsWith(line, "- `")) continue;
    const std::string name = Quoted(line).at(0);
    if (!EndsWith(name, ".proto")) continue;
    EXPECT_GT(line.size(), name.size() + 15) << line;
    ++entries[name];
  }
  for (const std::string& name : FileNames()) {
    EXPECT_EQ(entries[name], 1) << name;
    entries.erase(name);
  }
  for (const auto& entry : entries)
    ADD_FAILURE() << entry.first << " is described and does not exist";
}

// "Not carried." ends the entry of a file that the envelope does not reach.
TEST(SchemaPage, SaysWhichFilesAreNotCarried) {
  std::set<const Descriptor*> reached;
  Reach(Envelope(), reached);
  std::set<std::string> carried;
  for (const Descriptor* type : reached)
    carried.insert(type->file()->name());
  for (const std::string& line : Lines(SCHEMA_PAGE)) {
    if (!StartsWith(line, "- `")) continue;
    const std::string name = Quoted(line).at(0);
    if (!EndsWith(name, ".proto")) continue;
    EXPECT_EQ(EndsWith(line, "Not carried."), carried.count(name) == 0) << name;
  }
}

// The rows "| `name.proto` | `Message`, `Message` |" against the comment that marks such messages in the
// files.
TEST(SchemaPage, ListsTheMessagesWhoseFieldsAreOurOwn) {
  using Entry = std::pair<std::string, std::string>;
  std::set<Entry> marked;
  for (const std::string& name : FileNames()) {
    bool mark = false;
    for (const std::string& line : Lines(std::string(SCHEMA_DIR) + "/" + name)) {
      if (mark) {
        ASSERT_TRUE(StartsWith(line, "message ")) << name << ": " << line;
        marked.insert({name, line.substr(8, line.find(' ', 8) - 8)});
      }
      mark = line == "// The fields of this message are this project's own.";
    }
  }
  EXPECT_FALSE(marked.empty());
  std::set<Entry> listed;
  for (const std::string& line : Lines(SCHEMA_PAGE)) {
    if (!StartsWith(line, "| `")) continue;
    const std::vector<std::string> words = Quoted(line);
    if (!EndsWith(words.at(0), ".proto")) continue;
    for (size_t i = 1; i < words.size(); ++i)
      listed.insert({words[0], words[i]});
  }
  EXPECT_EQ(listed, marked);
  for (const Entry& entry : marked) {
    const Descriptor* type = test_replies::Pool().FindMessageTypeByName("tessel." + entry.second);
    ASSERT_NE(type, nullptr) << entry.second;
    EXPECT_GT(type->field_count(), 0) << entry.second;
    for (int i = 0; i < type->field_count(); ++i) {
      EXPECT_EQ(type->field(i)->number(), i + 1) << type->field(i)->full_name();
      EXPECT_FALSE(type->field(i)->is_required()) << type->field(i)->full_name();
    }
  }
}

}  // namespace
