#include "replies/definitions.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "replies/schema.h"
#include "replies/vocabulary.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

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
  EraseAll(&text, ".tessel.", "");
  return text;
}

// "tessel.QuoteKlineSingle" and the like without the package.
std::string WithoutPackage(const std::string& name) {
  return name.compare(0, 7, "tessel.") == 0 ? name.substr(7) : name;
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

std::optional<std::string> Definition(const std::string& name, bool all) {
  std::string wanted = WithoutPackage(name);
  const pb::Descriptor* type = Schema::Get().Type(wanted);
  if (type == nullptr) {
    if (const pb::EnumDescriptor* values = Schema::Get().Enum(wanted))
      return AsWritten(values->DebugString());
    const Payload* payload = FindPayload(std::string_view(wanted));
    if (payload != nullptr && !payload->type.empty()) type = Schema::Get().Type(payload->type);
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
  std::vector<std::string> names;
  for (const pb::FileDescriptor* file : Schema::Get().Files()) {
    for (int i = 0; i < file->message_type_count(); ++i)
      names.push_back(file->message_type(i)->name());
    for (int i = 0; i < file->enum_type_count(); ++i)
      names.push_back(file->enum_type(i)->name());
  }
  return names;
}

}  // namespace replies
