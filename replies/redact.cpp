#include "replies/redact.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <set>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "replies/columns.h"
#include "replies/schema.h"
#include "replies/wire.h"

namespace replies {
namespace {

namespace pb = google::protobuf;
using pb::FieldDescriptor;

constexpr char kRedacted[] = "***";

// In lower case: fields of payloads that have no described table. Those of described columns come from the
// descriptions.
constexpr std::string_view kSecretNames[] = {"token",
                                             "accesstoken",
                                             "refreshtoken",
                                             "sig",
                                             "usersig",
                                             "signature",
                                             "accesskeyid",
                                             "uid",
                                             "userid",
                                             "openid",
                                             "account",
                                             "accountname",
                                             "owneraccount",
                                             "useraccount",
                                             "tslaccount",
                                             "from_account",
                                             "to_account",
                                             "member_account",
                                             "owner_account",
                                             "membertodel_account",
                                             "yonghumima",
                                             "shoujihaoma",
                                             "qq",
                                             "weixin",
                                             "password"};

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower)
    c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

std::set<std::string, std::less<>> MakeSecretNames() {
  std::set<std::string, std::less<>> names(std::begin(kSecretNames), std::end(kSecretNames));
  for (const TableDescription& table : DescribedTables()) {
    for (const ColumnDescription& column : table.columns) {
      if (!column.Is("secret")) continue;
      names.insert(Lower(column.name));
      if (!column.source.empty()) names.insert(Lower(column.source.substr(column.source.rfind('.') + 1)));
    }
  }
  return names;
}

bool IsWireTable(const pb::Descriptor& type) {
  return type.name() == "Table" && type.FindFieldByName("Info") != nullptr;
}

bool IsSecretField(const FieldDescriptor* field) {
  // "Key" is a common word, and that of an application opens its account.
  if (field->name() == "Key") return field->containing_type()->name() == "AppKey";
  return IsSecretName(field->name());
}

using Descriptors = std::unordered_set<const pb::Descriptor*>;

// Whether there may be a secret in the field or below it.
bool LeadsToSecret(const FieldDescriptor* field, Descriptors* seen) {
  if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) return IsSecretField(field);
  const pb::Descriptor* type = field->message_type();
  if (!seen->insert(type).second) return false;
  if (IsWireTable(*type)) return true;
  for (int i = 0; i < type->field_count(); ++i) {
    if (LeadsToSecret(type->field(i), seen)) return true;
  }
  return false;
}

// The same of a field of the envelope by its number. Looked up once for each: schema files are read at their
// first use.
class EnvelopeFields {
 public:
  bool MayHoldSecret(uint32_t number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const FieldDescriptor* field = envelope_->FindFieldByNumber(static_cast<int>(number));
    if (field == nullptr) return false;
    const auto [at, is_new] = known_.try_emplace(number, false);
    if (is_new) {
      Descriptors seen;
      at->second = LeadsToSecret(field, &seen);
    }
    return at->second;
  }

 private:
  const pb::Descriptor* envelope_ = Schema::Get().Type("MSG");
  std::mutex mutex_;
  std::unordered_map<uint32_t, bool> known_;
};

bool MayHoldSecret(std::string_view bytes) {
  static auto* const fields = new EnvelopeFields;
  size_t pos = 0;
  WireField field;
  while (true) {
    const WireStep step = ReadField(bytes, &pos, &field);
    if (step == WireStep::kEnd) return false;
    // The parser knows forms of fields that no sender uses.
    if (step != WireStep::kField || fields->MayHoldSecret(field.number)) return true;
  }
}

void RedactText(pb::Message* message, const FieldDescriptor* field) {
  const pb::Reflection* reflection = message->GetReflection();
  if (!field->is_repeated()) {
    if (reflection->HasField(*message, field)) reflection->SetString(message, field, kRedacted);
    return;
  }
  for (int i = 0; i < reflection->FieldSize(*message, field); ++i)
    reflection->SetRepeatedString(message, field, i, kRedacted);
}

// Of the kinds of numbers that a secret has anywhere in the schema.
void SetZero(pb::Message* message, const FieldDescriptor* field, int index) {
  const pb::Reflection* r = message->GetReflection();
  const bool one = index < 0;
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT64:
      return one ? r->SetInt64(message, field, 0) : r->SetRepeatedInt64(message, field, index, 0);
    case FieldDescriptor::CPPTYPE_FLOAT:
      return one ? r->SetFloat(message, field, 0) : r->SetRepeatedFloat(message, field, index, 0);
    case FieldDescriptor::CPPTYPE_DOUBLE:
      return one ? r->SetDouble(message, field, 0) : r->SetRepeatedDouble(message, field, index, 0);
    default: return;
  }
}

void RedactField(pb::Message* message, const FieldDescriptor* field) {
  if (field->cpp_type() == FieldDescriptor::CPPTYPE_STRING) return RedactText(message, field);
  const pb::Reflection* reflection = message->GetReflection();
  if (!field->is_repeated()) {
    if (reflection->HasField(*message, field)) SetZero(message, field, -1);
    return;
  }
  for (int i = 0; i < reflection->FieldSize(*message, field); ++i)
    SetZero(message, field, i);
}

// All values of a message but its index, in arrays as well.
void RedactValues(pb::Message* message) {
  const pb::Descriptor* type = message->GetDescriptor();
  const pb::Reflection* reflection = message->GetReflection();
  for (int i = 0; i < type->field_count(); ++i) {
    const FieldDescriptor* field = type->field(i);
    if (field->name() == "Index") continue;
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
      RedactField(message, field);
    } else if (!IsWireTable(*field->message_type())) {
      if (!field->is_repeated()) {
        if (reflection->HasField(*message, field)) RedactValues(reflection->MutableMessage(message, field));
        continue;
      }
      for (int k = 0; k < reflection->FieldSize(*message, field); ++k)
        RedactValues(reflection->MutableRepeatedMessage(message, field, k));
    }
  }
}

// The columns of a wire table are named in Info; Data and DataX have their values by index.
void RedactWireColumns(pb::Message* table) {
  const pb::Descriptor* type = table->GetDescriptor();
  const pb::Reflection* reflection = table->GetReflection();
  const FieldDescriptor* infos = type->FindFieldByName("Info");
  std::vector<bool> secret;
  for (int i = 0; i < reflection->FieldSize(*table, infos); ++i) {
    const pb::Message& info = reflection->GetRepeatedMessage(*table, infos, i);
    const FieldDescriptor* name = info.GetDescriptor()->FindFieldByName("Name");
    secret.push_back(IsSecretName(info.GetReflection()->GetString(info, name)));
  }
  if (std::find(secret.begin(), secret.end(), true) == secret.end()) return;
  for (const char* part : {"Data", "DataX"}) {
    const FieldDescriptor* field = type->FindFieldByName(part);
    for (int i = 0; i < reflection->FieldSize(*table, field); ++i) {
      pb::Message* data = reflection->MutableRepeatedMessage(table, field, i);
      const int index =
          data->GetReflection()->GetInt32(*data, data->GetDescriptor()->FindFieldByName("Index"));
      if (index >= 0 && static_cast<size_t>(index) < secret.size() && secret[static_cast<size_t>(index)])
        RedactValues(data);
    }
  }
}

// As deep as the parser went, which has a limit.
void RedactMessage(pb::Message* message) {
  const pb::Descriptor* type = message->GetDescriptor();
  const pb::Reflection* reflection = message->GetReflection();
  if (IsWireTable(*type)) RedactWireColumns(message);
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
      if (IsSecretField(field)) RedactField(message, field);
      continue;
    }
    if (!field->is_repeated()) {
      RedactMessage(reflection->MutableMessage(message, field));
      continue;
    }
    for (int i = 0; i < reflection->FieldSize(*message, field); ++i)
      RedactMessage(reflection->MutableRepeatedMessage(message, field, i));
  }
}

}  // namespace

bool IsSecretName(std::string_view name) {
  static const auto* const names = new std::set<std::string, std::less<>>(MakeSecretNames());
  return names->count(Lower(name)) != 0;
}

bool Redact(std::string* bytes) {
  if (!MayHoldSecret(*bytes)) return true;
  const auto reply = Schema::Get().NewReply();
  if (!reply->ParsePartialFromString(*bytes)) return false;
  RedactMessage(reply.get());
  bytes->clear();
  return reply->SerializePartialToString(bytes);
}

}  // namespace replies
