#include "replies/schema.h"

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/descriptor_database.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <memory>

#include "replies/descriptors.h"
#include "replies/wire.h"
#include "tesview/show/table.h"

namespace tesview {
namespace {

namespace pb = google::protobuf;

// As deep as the parser goes.
constexpr int kDeepest = 100;

// Calls `use(bytes of a file)` for each file of the set.
template <class Use>
void ForEachFile(Use use) {
  const std::string_view set = Descriptors();
  size_t pos = 0;
  WireField field;
  while (ReadField(set, &pos, &field) == WireStep::kField) {
    if (field.number == 1 && field.wire_type == 2) use(field.payload);
  }
}

class Schema {
 public:
  Schema() : pool_(&files_) {
    ForEachFile([this](std::string_view file) { files_.Add(file.data(), static_cast<int>(file.size())); });
  }

  const pb::Descriptor* Type(const std::string& name) const {
    return pool_.FindMessageTypeByName("tessel." + name);
  }
  const pb::EnumDescriptor* Enum(const std::string& name) const {
    return pool_.FindEnumTypeByName("tessel." + name);
  }
  std::unique_ptr<pb::Message> NewReply() {
    return std::unique_ptr<pb::Message>(factory_.GetPrototype(Type("MSG"))->New());
  }
  pb::EncodedDescriptorDatabase& files() { return files_; }
  const pb::DescriptorPool& pool() const { return pool_; }

 private:
  pb::EncodedDescriptorDatabase files_;
  pb::DescriptorPool pool_;
  pb::DynamicMessageFactory factory_;
};

Schema& TheSchema() {
  static Schema* const schema = new Schema;
  return *schema;
}

std::string Lower(std::string_view word) {
  std::string lower(word);
  for (char& c : lower)
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

template <class Int>
std::optional<Int> WholeNumber(std::string_view word) {
  Int value = 0;
  const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
  if (error != std::errc() || end != word.data() + word.size()) return std::nullopt;
  return value;
}

bool StartsWith(const std::string& text, std::string_view start) {
  return text.compare(0, start.size(), start) == 0;
}

std::vector<Payload> ReadVocabulary() {
  pb::FileDescriptorProto file;
  ForEachFile([&file](std::string_view bytes) {
    pb::FileDescriptorProto candidate;
    // The name is the first field: files of another name are not worth parsing.
    size_t pos = 0;
    WireField field;
    if (ReadField(bytes, &pos, &field) != WireStep::kField || field.payload != "MSG.proto") return;
    file.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  });
  std::vector<Payload> payloads;
  for (const auto& type : file.enum_type()) {
    if (type.name() != "EnumID") continue;
    for (const auto& value : type.value())
      payloads.push_back(
          {value.number(), value.name().substr(StartsWith(value.name(), "ID") ? 2 : 0), "", ""});
  }
  std::stable_sort(payloads.begin(), payloads.end(),
                   [](const Payload& a, const Payload& b) { return a.id < b.id; });
  for (const auto& message : file.message_type()) {
    if (message.name() != "MSG") continue;
    for (const auto& field : message.field()) {
      const auto at = std::lower_bound(payloads.begin(), payloads.end(), field.number(),
                                       [](const Payload& p, int id) { return p.id < id; });
      if (at == payloads.end() || at->id != field.number()) continue;
      at->field = field.name();
      at->type = field.type_name().substr(field.type_name().rfind('.') + 1);
    }
  }
  return payloads;
}

// ---- the smallest reply of an Id ----

void FillRequired(pb::Message* message, int depth) {
  const pb::Reflection* reflection = message->GetReflection();
  for (int i = 0; i < message->GetDescriptor()->field_count(); ++i) {
    const pb::FieldDescriptor* field = message->GetDescriptor()->field(i);
    if (!field->is_required()) continue;
    switch (field->cpp_type()) {
      case pb::FieldDescriptor::CPPTYPE_INT32: reflection->SetInt32(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_INT64: reflection->SetInt64(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_UINT32: reflection->SetUInt32(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_UINT64: reflection->SetUInt64(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_DOUBLE: reflection->SetDouble(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_FLOAT: reflection->SetFloat(message, field, 0); break;
      case pb::FieldDescriptor::CPPTYPE_BOOL: reflection->SetBool(message, field, false); break;
      case pb::FieldDescriptor::CPPTYPE_ENUM:
        reflection->SetEnum(message, field, field->enum_type()->value(0));
        break;
      case pb::FieldDescriptor::CPPTYPE_STRING: reflection->SetString(message, field, ""); break;
      case pb::FieldDescriptor::CPPTYPE_MESSAGE:
        if (depth < kDeepest) FillRequired(reflection->MutableMessage(message, field), depth + 1);
        break;
    }
  }
}

// One element of the payload, or the wrapper with one table of one cell that a wire table comes in.
std::string SmallestReply(int32_t id) {
  std::string bytes;
  std::string error;
  if (id == 3) {
    TextToBytes(
        "Id: 3 Tbl { Info { Name: 'T' Type: 116 } Data { Index: 0 tValues { Info { Name: 'A' Type: 105 }"
        " Data { Index: 0 iValues: 0 } } } }",
        false, &bytes, &error);
    return bytes;
  }
  const auto reply = TheSchema().NewReply();
  const pb::Reflection* reflection = reply->GetReflection();
  const pb::FieldDescriptor* field = reply->GetDescriptor()->FindFieldByNumber(id);
  if (field != nullptr && field->is_repeated() && field->cpp_type() == pb::FieldDescriptor::CPPTYPE_MESSAGE) {
    FillRequired(reflection->AddMessage(reply.get(), field), 1);
  }
  reflection->SetInt32(reply.get(), reply->GetDescriptor()->FindFieldByNumber(1), id);
  reply->SerializePartialToString(&bytes);
  return bytes;
}

// ---- what is wrong with bytes ----

// Where a parse of `bytes` as `type` breaks off, with the fields on the way there.
std::optional<std::string> FindBreak(std::string_view bytes, const pb::Descriptor* type, size_t base,
                                     const std::string& path, int depth);

std::optional<std::string> BreakInPacked(std::string_view values, const pb::FieldDescriptor* type,
                                         size_t base, const std::string& path) {
  const std::string where = fmt::format("the list in \"{}\", at offset {}, ends inside a number", path, base);
  switch (pb::internal::WireFormatLite::WireTypeForFieldType(
      static_cast<pb::internal::WireFormatLite::FieldType>(type->type()))) {
    case pb::internal::WireFormatLite::WIRETYPE_FIXED32:
      if (values.size() % 4 != 0) return where;
      break;
    case pb::internal::WireFormatLite::WIRETYPE_FIXED64:
      if (values.size() % 8 != 0) return where;
      break;
    default: {
      uint64_t value = 0;
      for (size_t pos = 0; pos < values.size();) {
        if (!ReadVarint(values, &pos, &value)) return where;
      }
    }
  }
  return std::nullopt;
}

std::optional<std::string> BreakInField(const WireField& field, const pb::FieldDescriptor* known, size_t base,
                                        const std::string& path, int depth) {
  if (known == nullptr || field.wire_type != 2) return std::nullopt;
  const std::string inner = path.empty() ? known->name() : path + "." + known->name();
  if (known->cpp_type() == pb::FieldDescriptor::CPPTYPE_MESSAGE) {
    return FindBreak(field.payload, known->message_type(), base, inner, depth + 1);
  }
  if (known->is_packable()) return BreakInPacked(field.payload, known, base, inner);
  return std::nullopt;
}

std::optional<std::string> FindBreak(std::string_view bytes, const pb::Descriptor* type, size_t base,
                                     const std::string& path, int depth) {
  if (depth > kDeepest) return fmt::format("nested deeper than {} levels at offset {}", kDeepest, base);
  const std::string in = path.empty() ? "" : fmt::format(" in \"{}\"", path);
  size_t pos = 0;
  WireField field;
  while (true) {
    const WireStep step = ReadField(bytes, &pos, &field);
    switch (step) {
      case WireStep::kEnd: return std::nullopt;
      case WireStep::kCut:
        return fmt::format("the bytes end inside the field that begins at offset {}{}", base + pos, in);
      case WireStep::kBroken:
        return fmt::format("no field can begin like the bytes at offset {}{}", base + pos, in);
      case WireStep::kField: break;
    }
    const size_t content = base + static_cast<size_t>(field.payload.data() - bytes.data());
    auto found = BreakInField(field, type->FindFieldByNumber(static_cast<int>(field.number)),
                              field.wire_type == 2 ? content : base, path, depth);
    if (found) return found;
  }
}

std::string BytesRead(size_t size) {
  return fmt::format(" ({} byte{} read)", size, size == 1 ? "" : "s");
}

// The reply as a message, or null and what is wrong with it.
std::unique_ptr<pb::Message> ParseReply(const std::string& bytes, std::string* error) {
  if (bytes.empty()) {
    *error = "empty, 0 bytes";
    return nullptr;
  }
  auto reply = TheSchema().NewReply();
  if (!reply->ParsePartialFromString(bytes)) {
    *error = "not a reply: " +
             FindBreak(bytes, reply->GetDescriptor(), 0, "", 0).value_or("the bytes are no message") +
             BytesRead(bytes.size());
    return nullptr;
  }
  std::vector<std::string> missing;
  reply->FindInitializationErrors(&missing);
  if (missing.empty()) return reply;
  *error = fmt::format("not a reply: required field \"{}\" is missing", missing[0]);
  if (missing.size() > 1) *error += fmt::format(", and {} more", missing.size() - 1);
  *error += BytesRead(bytes.size());
  return nullptr;
}

class FirstError : public pb::io::ErrorCollector {
 public:
  explicit FirstError(std::string* text) : text_(text) {}
  void AddError(int line, pb::io::ColumnNumber column, const std::string& message) override {
    if (!text_->empty()) return;
    // It becomes a part of a sentence.
    const bool stop = !message.empty() && message.back() == '.';
    *text_ = fmt::format("line {}, column {}: {}", line + 1, column + 1,
                         std::string_view(message).substr(0, message.size() - (stop ? 1 : 0)));
  }
  void AddWarning(int, pb::io::ColumnNumber, const std::string&) override {}

 private:
  std::string* text_;
};

void EraseAll(std::string* text, std::string_view what, std::string_view until) {
  for (size_t at = text->find(what); at != std::string::npos; at = text->find(what, at)) {
    const size_t end = text->find(until, at + what.size());
    text->erase(at, end == std::string::npos ? end : end + until.size() - at);
  }
}

// As people wrote it: without what protoc puts in, and without the package that all of it is in.
std::string AsWritten(std::string text) {
  EraseAll(&text, " [json_name = \"", "\"]");
  EraseAll(&text, ", json_name = \"", "\"");
  EraseAll(&text, "json_name = \"", "\", ");
  EraseAll(&text, ".tessel.", "");
  return text;
}

// "tessel.QuoteKlineSingle" and the like without the package.
std::string WithoutPackage(const std::string& name) {
  return StartsWith(name, "tessel.") ? name.substr(7) : name;
}

void CollectTypes(const pb::Descriptor* type, std::vector<const pb::Descriptor*>* types,
                  std::vector<const pb::EnumDescriptor*>* enums);

// What the fields of the type and of those inside it are made of.
void CollectFieldTypes(const pb::Descriptor* type, std::vector<const pb::Descriptor*>* types,
                       std::vector<const pb::EnumDescriptor*>* enums) {
  for (int i = 0; i < type->field_count(); ++i) {
    if (type->field(i)->message_type() != nullptr) CollectTypes(type->field(i)->message_type(), types, enums);
    const pb::EnumDescriptor* used = type->field(i)->enum_type();
    if (used == nullptr) continue;
    if (used->containing_type() != nullptr) {
      CollectTypes(used->containing_type(), types, enums);
    } else if (std::find(enums->begin(), enums->end(), used) == enums->end()) {
      enums->push_back(used);
    }
  }
  for (int i = 0; i < type->nested_type_count(); ++i)
    CollectFieldTypes(type->nested_type(i), types, enums);
}

void CollectTypes(const pb::Descriptor* type, std::vector<const pb::Descriptor*>* types,
                  std::vector<const pb::EnumDescriptor*>* enums) {
  const pb::Descriptor* outermost = type;
  while (outermost->containing_type() != nullptr)
    outermost = outermost->containing_type();
  if (std::find(types->begin(), types->end(), outermost) != types->end()) return;
  types->push_back(outermost);
  CollectFieldTypes(outermost, types, enums);
}

}  // namespace

// ---- the vocabulary ----

const std::vector<Payload>& Vocabulary() {
  static const auto* const payloads = new std::vector<Payload>(ReadVocabulary());
  return *payloads;
}

const Payload* FindPayload(int32_t id) {
  const auto& all = Vocabulary();
  const auto at = std::lower_bound(all.begin(), all.end(), id,
                                   [](const Payload& p, int32_t wanted) { return p.id < wanted; });
  return at != all.end() && at->id == id ? &*at : nullptr;
}

std::string IdWithName(int32_t id) {
  const Payload* payload = FindPayload(id);
  return payload == nullptr ? fmt::format("{}", id) : fmt::format("{} ({})", id, payload->name);
}

const Payload* FindPayload(std::string_view word) {
  if (const auto id = WholeNumber<int32_t>(word)) return FindPayload(*id);
  const std::string wanted = Lower(word);
  for (const Payload& payload : Vocabulary()) {
    if (wanted == Lower(payload.name) || wanted == "id" + Lower(payload.name) ||
        (!payload.field.empty() && wanted == Lower(payload.field))) {
      return &payload;
    }
  }
  return nullptr;
}

const std::vector<TypeName>& TypeNames() {
  static const auto* const names = new std::vector<TypeName>{
      {TPTypeById, "ById"},           {TPTypeDaDan, "DaDan"},         {TPTypeFenLeiChiCang, "FenLeiChiCang"},
      {TPTypeBxzjStock, "BxzjStock"}, {TPTypeBxzjBlock, "BxzjBlock"}, {TPTypeToken, "Token"},
      {TPTypeZhiBiao1, "ZhiBiao1"},   {TPTypeZhiBiao2, "ZhiBiao2"},   {TPTypeZhiBiao3, "ZhiBiao3"},
      {TPTypeZhiBiao4, "ZhiBiao4"},   {TPTypeZhiBiao5, "ZhiBiao5"},   {TPTypeZhiBiao6, "ZhiBiao6"},
      {TPTypeZhiBiao7, "ZhiBiao7"},   {TPTypeZhiBiao8, "ZhiBiao8"},   {TPTypeZhiBiao9, "ZhiBiao9"},
      {TPTypeZhiBiao10, "ZhiBiao10"}, {TPTypeZhiBiao11, "ZhiBiao11"}, {TPTypeZhiBiao12, "ZhiBiao12"},
      {TPTypeZhiBiao13, "ZhiBiao13"}, {TPTypeZhiBiao14, "ZhiBiao14"}, {TPTypeZhiBiao15, "ZhiBiao15"},
      {TPTypeZhiBiao16, "ZhiBiao16"},
  };
  return *names;
}

std::optional<TPType> FindType(std::string_view word) {
  if (const auto number = WholeNumber<int>(word)) return static_cast<TPType>(*number);
  const std::string wanted = Lower(word);
  for (const TypeName& type : TypeNames()) {
    if (wanted == Lower(type.name) || wanted == "tptype" + Lower(type.name)) return type.type;
  }
  return std::nullopt;
}

std::string NameOfType(TPType type) {
  for (const TypeName& known : TypeNames()) {
    if (known.type == type) return known.name;
  }
  return fmt::format("{}", static_cast<int>(type));
}

bool HasTable(int32_t id) {
  return OwnedTable(TesparserPB2Table(SmallestReply(id))) != nullptr;
}

std::vector<TPType> TypedLayoutsOf(int32_t id) {
  const std::string reply = SmallestReply(id);
  std::vector<TPType> types;
  for (const TPType type :
       {TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeBxzjBlock, TPTypeToken, TPTypeZhiBiao1}) {
    if (OwnedTable(TesparserPB2TableType(reply, type)) != nullptr) types.push_back(type);
  }
  return types;
}

// ---- definitions ----

std::optional<std::string> Definition(const std::string& name, bool all) {
  std::string wanted = WithoutPackage(name);
  const pb::Descriptor* type = TheSchema().Type(wanted);
  if (type == nullptr) {
    if (const pb::EnumDescriptor* values = TheSchema().Enum(wanted)) return AsWritten(values->DebugString());
    const Payload* payload = FindPayload(std::string_view(wanted));
    if (payload != nullptr && !payload->type.empty()) type = TheSchema().Type(payload->type);
  }
  if (type == nullptr) return std::nullopt;
  std::string text = fmt::format("// {}\n", type->file()->name());
  if (!all) return text + AsWritten(type->DebugString());
  std::vector<const pb::Descriptor*> types;
  std::vector<const pb::EnumDescriptor*> enums;
  CollectTypes(type, &types, &enums);
  for (const auto* each : types)
    text += (each == types.front() ? "" : "\n") + AsWritten(each->DebugString());
  for (const auto* each : enums)
    text += "\n" + AsWritten(each->DebugString());
  return text;
}

std::vector<std::string> DefinitionNames() {
  std::vector<std::string> files;
  TheSchema().files().FindAllFileNames(&files);
  std::vector<std::string> known;
  for (const std::string& file_name : files) {
    const pb::FileDescriptor* file = TheSchema().pool().FindFileByName(file_name);
    if (file == nullptr) continue;
    for (int i = 0; i < file->message_type_count(); ++i)
      known.push_back(file->message_type(i)->name());
    for (int i = 0; i < file->enum_type_count(); ++i)
      known.push_back(file->enum_type(i)->name());
  }
  return known;
}

// ---- text form ----

bool TextToBytes(const std::string& text, bool partial, std::string* bytes, std::string* error) {
  const auto reply = TheSchema().NewReply();
  error->clear();
  FirstError errors(error);
  pb::TextFormat::Parser parser;
  parser.RecordErrorsTo(&errors);
  parser.AllowPartialMessage(true);
  // Deeper text would give bytes that nobody parses.
  parser.SetRecursionLimit(kDeepest);
  if (!parser.ParseFromString(text, reply.get())) return false;
  std::vector<std::string> missing;
  if (!partial) reply->FindInitializationErrors(&missing);
  if (!missing.empty()) {
    *error = fmt::format("required field \"{}\" is missing", missing[0]);
    return false;
  }
  return reply->SerializePartialToString(bytes);
}

bool BytesToText(const std::string& bytes, std::string* text, std::string* error) {
  const auto reply = ParseReply(bytes, error);
  if (reply == nullptr) return false;
  pb::TextFormat::Printer printer;
  printer.SetUseUtf8StringEscaping(true);
  return printer.PrintToString(*reply, text);
}

// ---- diagnosis ----

std::string WhyNoReply(const std::string& bytes) {
  std::string error;
  ParseReply(bytes, &error);
  return error.empty() ? "not a reply" : error;
}

std::string WhyNoTableBriefly(const std::string& bytes) {
  std::string error;
  const auto reply = ParseReply(bytes, &error);
  if (reply == nullptr) return error;
  const pb::Reflection* reflection = reply->GetReflection();
  const int32_t id = reflection->GetInt32(*reply, reply->GetDescriptor()->FindFieldByNumber(1));
  if (!HasTable(id)) return "no table form";
  const pb::FieldDescriptor* field = reply->GetDescriptor()->FindFieldByNumber(id);
  const bool empty =
      field->is_repeated() ? reflection->FieldSize(*reply, field) == 0 : !reflection->HasField(*reply, field);
  if (empty) return fmt::format("nothing to show: field \"{}\" is empty", field->name());
  return fmt::format("nothing to show: no table can be made of field \"{}\"", field->name());
}

std::string WhyNoTable(const std::string& bytes, std::optional<TPType> type) {
  std::string error;
  if (ParseReply(bytes, &error) == nullptr) return error;
  int32_t id = 0;
  FindId(bytes, &id);
  const auto layouts = TypedLayoutsOf(id);
  if (type && *type != TPTypeById) {
    std::string why = fmt::format("Id {} gives no table of type {}", IdWithName(id), NameOfType(*type));
    if (layouts.empty()) return why;
    const bool fits = std::find(layouts.begin(), layouts.end(), *type) != layouts.end();
    return why + (fits ? "; it has nothing to show" : "; try --type " + NameOfType(layouts[0]));
  }
  const std::string why = fmt::format("Id {}: {}; try --to json", IdWithName(id), WhyNoTableBriefly(bytes));
  return layouts.empty() || HasTable(id) ? why : why + " or --type " + NameOfType(layouts[0]);
}

}  // namespace tesview
