#include "fuzz/support/change_reply.h"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/message.h>

#include <memory>
#include <vector>

#include "MSG.proto.h"
#include "fuzz/support/random.h"
#include "fuzz/support/target.h"
#include "fuzz/support/values.h"
#include "replies/fill_required.h"
#include "tesparser/tesparser.h"
#include "tsl_base/table.h"
#include "tslpbtable.pb.h"

namespace fuzz {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::RepeatedPtrField;

constexpr int kWireTableId = 3;

// How deep new content goes. What is there already is changed at any depth.
constexpr int kNewDepth = 4;

const Descriptor* Envelope() {
  return tessel::MSG::descriptor();
}

std::unique_ptr<Message> NewReply() {
  return std::make_unique<tessel::MSG>();
}

// ---- the Ids that convert ---------------------------------------------------------------------------------

bool GivesTable(const std::string& reply) {
  for (int type = TPTypeById; type <= TPTypeZhiBiao1; ++type) {
    void* table = TesparserPB2TableType(reply, static_cast<TPType>(type));
    table_free(table);
    if (table != nullptr) return true;
  }
  return false;
}

// Whether something other than JSON is made of the smallest reply with this field.
bool Converts(const FieldDescriptor* payload) {
  if (!payload->is_repeated() || payload->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) return false;
  const std::unique_ptr<Message> reply = NewReply();
  const Reflection* reflection = reply->GetReflection();
  reflection->SetInt32(reply.get(), Envelope()->FindFieldByNumber(1), payload->number());
  replies::FillRequired(reflection->AddMessage(reply.get(), payload));
  return GivesTable(reply->SerializeAsString());
}

// Asked of the library, so that no converter is missed.
std::vector<int> FindConvertedIds() {
  std::vector<int> ids{kWireTableId};
  for (int i = 0; i < Envelope()->field_count(); ++i) {
    if (Converts(Envelope()->field(i))) ids.push_back(Envelope()->field(i)->number());
  }
  return ids;
}

const std::vector<int>& ConvertedIds() {
  static const std::vector<int> ids = FindConvertedIds();
  return ids;
}

class Changer {
 public:
  explicit Changer(uint64_t seed) : random_(seed) {}

  void Change(Message* reply);
  void Combine(Message* reply, const Message& other);
  void Finish(Message* reply, size_t most);

 private:
  // Any message.
  void Fill(Message* message, int depth);
  void FillRequired(Message* message);
  void SetField(Message* message, const FieldDescriptor* field, int depth);
  void AddElement(Message* message, const FieldDescriptor* field, int depth);
  void ChangeElement(Message* message, const FieldDescriptor* field);
  void ChangeField(Message* message);
  bool Shrink(Message* reply);
  void List(Message* message, const Descriptor* only, std::vector<Message*>* found);
  Message* Some(Message* reply, const Descriptor* only);

  // The envelope.
  void ChooseId(Message* reply);
  int Id(const Message& reply);
  int SomePayload(const Message& reply);

  // Wire tables.
  void BuildPayload(Message* reply);
  void FillTable(tessel::Table* table, int depth);
  void FillData(tessel::CData* data, int type, int rows, int depth);
  void AddColumn(tessel::Table* table, int rows, int depth);
  void ChangeTable(Message* reply);
  int SomeType();

  const FieldDescriptor* FieldOf(const Message& message, int number) {
    return message.GetDescriptor()->FindFieldByNumber(number);
  }

  Random random_;
};

// ---- any message ------------------------------------------------------------------------------------------

int SomeEnumNumber(const FieldDescriptor* field, Random& random) {
  const auto* type = field->enum_type();
  return type->value(random.Int(type->value_count()))->number();
}

std::string SomeString(const FieldDescriptor* field, Random& random) {
  if (field->containing_type() == tessel::CInfo::descriptor()) return SomeColumnName(random);
  return SomeText(random);
}

void Changer::SetField(Message* message, const FieldDescriptor* field, int depth) {
  const Reflection* reflection = message->GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: reflection->SetInt32(message, field, SomeInt32(random_)); break;
    case FieldDescriptor::CPPTYPE_INT64: reflection->SetInt64(message, field, SomeInt64(random_)); break;
    case FieldDescriptor::CPPTYPE_UINT32:
      reflection->SetUInt32(message, field, static_cast<uint32_t>(SomeInt32(random_)));
      break;
    case FieldDescriptor::CPPTYPE_UINT64:
      reflection->SetUInt64(message, field, static_cast<uint64_t>(SomeInt64(random_)));
      break;
    case FieldDescriptor::CPPTYPE_DOUBLE: reflection->SetDouble(message, field, SomeDouble(random_)); break;
    case FieldDescriptor::CPPTYPE_FLOAT: reflection->SetFloat(message, field, SomeFloat(random_)); break;
    case FieldDescriptor::CPPTYPE_BOOL: reflection->SetBool(message, field, random_.OneIn(2)); break;
    case FieldDescriptor::CPPTYPE_ENUM:
      reflection->SetEnumValue(message, field, SomeEnumNumber(field, random_));
      break;
    case FieldDescriptor::CPPTYPE_STRING:
      reflection->SetString(message, field, SomeString(field, random_));
      break;
    case FieldDescriptor::CPPTYPE_MESSAGE: Fill(reflection->MutableMessage(message, field), depth - 1); break;
  }
}

void Changer::AddElement(Message* message, const FieldDescriptor* field, int depth) {
  const Reflection* reflection = message->GetReflection();
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32: reflection->AddInt32(message, field, SomeInt32(random_)); break;
    case FieldDescriptor::CPPTYPE_INT64: reflection->AddInt64(message, field, SomeInt64(random_)); break;
    case FieldDescriptor::CPPTYPE_UINT32:
      reflection->AddUInt32(message, field, static_cast<uint32_t>(SomeInt32(random_)));
      break;
    case FieldDescriptor::CPPTYPE_UINT64:
      reflection->AddUInt64(message, field, static_cast<uint64_t>(SomeInt64(random_)));
      break;
    case FieldDescriptor::CPPTYPE_DOUBLE: reflection->AddDouble(message, field, SomeDouble(random_)); break;
    case FieldDescriptor::CPPTYPE_FLOAT: reflection->AddFloat(message, field, SomeFloat(random_)); break;
    case FieldDescriptor::CPPTYPE_BOOL: reflection->AddBool(message, field, random_.OneIn(2)); break;
    case FieldDescriptor::CPPTYPE_ENUM:
      reflection->AddEnumValue(message, field, SomeEnumNumber(field, random_));
      break;
    case FieldDescriptor::CPPTYPE_STRING:
      reflection->AddString(message, field, SomeString(field, random_));
      break;
    case FieldDescriptor::CPPTYPE_MESSAGE: Fill(reflection->AddMessage(message, field), depth - 1); break;
  }
}

void Changer::Fill(Message* message, int depth) {
  if (depth <= 0) return;
  if (message->GetDescriptor() == tessel::Table::descriptor()) {
    FillTable(static_cast<tessel::Table*>(message), depth);
    return;
  }
  const Descriptor* descriptor = message->GetDescriptor();
  const Reflection* reflection = message->GetReflection();
  // All of a few fields or some of many.
  const uint64_t sparse = random_.OneIn(3) ? 1 + random_.Below(4) : 1;
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    if (!random_.OneIn(sparse)) continue;
    if (!field->is_repeated()) {
      SetField(message, field, depth);
      continue;
    }
    const bool heavy = field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE;
    for (int n = SomeCount(random_, heavy ? 3 : 70); n > 0; --n)
      AddElement(message, field, depth);
  }
  if (random_.OneIn(64))
    reflection->MutableUnknownFields(message)->AddVarint(random_.Int(5000) + 1, random_.Next());
}

void Changer::FillRequired(Message* message) {
  const Descriptor* descriptor = message->GetDescriptor();
  const Reflection* reflection = message->GetReflection();
  for (int i = 0; i < descriptor->field_count(); ++i) {
    const FieldDescriptor* field = descriptor->field(i);
    if (field->is_required() && !reflection->HasField(*message, field)) SetField(message, field, 1);
  }
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    if (!field->is_repeated()) {
      FillRequired(reflection->MutableMessage(message, field));
      continue;
    }
    for (int k = 0; k < reflection->FieldSize(*message, field); ++k)
      FillRequired(reflection->MutableRepeatedMessage(message, field, k));
  }
}

void Changer::List(Message* message, const Descriptor* only, std::vector<Message*>* found) {
  if (only == nullptr || message->GetDescriptor() == only) found->push_back(message);
  const Reflection* reflection = message->GetReflection();
  std::vector<const FieldDescriptor*> fields;
  reflection->ListFields(*message, &fields);
  for (const FieldDescriptor* field : fields) {
    if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) continue;
    if (!field->is_repeated()) {
      List(reflection->MutableMessage(message, field), only, found);
      continue;
    }
    for (int k = 0; k < reflection->FieldSize(*message, field); ++k)
      List(reflection->MutableRepeatedMessage(message, field, k), only, found);
  }
}

Message* Changer::Some(Message* reply, const Descriptor* only) {
  std::vector<Message*> found;
  List(reply, only, &found);
  return found.empty() ? nullptr : found[random_.Index(found.size())];
}

// Puts a new value over one element, by way of a last one.
void Changer::ChangeElement(Message* message, const FieldDescriptor* field) {
  const Reflection* reflection = message->GetReflection();
  const int size = reflection->FieldSize(*message, field);
  const int index = random_.Int(size);
  switch (random_.Below(4)) {
    case 0: reflection->SwapElements(message, field, index, random_.Int(size)); break;
    case 1:
      reflection->SwapElements(message, field, index, size - 1);
      reflection->RemoveLast(message, field);
      break;
    case 2:
      if (field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE) {
        const std::unique_ptr<Message> copy(reflection->GetRepeatedMessage(*message, field, index).New());
        copy->CopyFrom(reflection->GetRepeatedMessage(*message, field, index));
        reflection->AddMessage(message, field)->CopyFrom(*copy);
        break;
      }
      [[fallthrough]];
    default:
      AddElement(message, field, kNewDepth);
      reflection->SwapElements(message, field, index, size);
      reflection->RemoveLast(message, field);
      break;
  }
}

void Changer::ChangeField(Message* message) {
  const Descriptor* descriptor = message->GetDescriptor();
  const Reflection* reflection = message->GetReflection();
  const FieldDescriptor* field = nullptr;
  std::vector<const FieldDescriptor*> present;
  reflection->ListFields(*message, &present);
  if (!present.empty() && random_.Below(3) != 0) {
    field = present[random_.Index(present.size())];
  } else if (descriptor->field_count() != 0) {
    field = descriptor->field(random_.Int(descriptor->field_count()));
  }
  if (field == nullptr) return;
  if (random_.OneIn(8)) {
    reflection->ClearField(message, field);
  } else if (!field->is_repeated()) {
    SetField(message, field, kNewDepth);
  } else if (reflection->FieldSize(*message, field) != 0 && random_.OneIn(2)) {
    ChangeElement(message, field);
  } else {
    for (int n = SomeCount(random_, field->cpp_type() == FieldDescriptor::CPPTYPE_MESSAGE ? 3 : 70); n > 0;
         --n)
      AddElement(message, field, kNewDepth);
  }
}

// ---- the envelope -----------------------------------------------------------------------------------------

int Changer::Id(const Message& reply) {
  return reply.GetReflection()->GetInt32(reply, FieldOf(reply, 1));
}

// The number of a payload field is its Id.
int Changer::SomePayload(const Message& reply) {
  const Descriptor* descriptor = reply.GetDescriptor();
  return descriptor->field(random_.Int(descriptor->field_count()))->number();
}

// An Id with a payload of its own, as a rule.
void Changer::ChooseId(Message* reply) {
  const Reflection* reflection = reply->GetReflection();
  const FieldDescriptor* id = FieldOf(*reply, 1);
  if (random_.OneIn(4)) reply->Clear();
  const int chosen = random_.OneIn(3)   ? kWireTableId
                     : random_.OneIn(8) ? SomePayload(*reply)
                                        : random_.Of(ConvertedIds());
  reflection->SetInt32(reply, id, chosen);
  if (chosen == kWireTableId) {
    BuildPayload(reply);
    return;
  }
  const FieldDescriptor* payload = FieldOf(*reply, chosen);
  if (payload == nullptr || random_.OneIn(16)) return;
  if (!payload->is_repeated()) {
    SetField(reply, payload, kNewDepth);
    return;
  }
  for (int n = 1 + SomeCount(random_, 3); n > 0; --n)
    AddElement(reply, payload, kNewDepth);
}

// ---- wire tables ------------------------------------------------------------------------------------------

int Changer::SomeType() {
  constexpr int kFilled[] = {tessel::Type_Int,    tessel::Type_SInt,   tessel::Type_Float,
                             tessel::Type_Double, tessel::Type_String, tessel::Type_Binary,
                             tessel::Type_Table};
  constexpr int kOthers[] = {
      tessel::Type_Unknow, tessel::Type_Array, tessel::Type_ArrayInt, tessel::Type_ArrayString, 7, -1};
  return random_.OneIn(8) ? random_.Of(kOthers) : random_.Of(kFilled);
}

void Changer::FillData(tessel::CData* data, int type, int rows, int depth) {
  data->set_index(SomeInt32(random_));
  // Columns of unequal length are what a reader trips over.
  int count = rows;
  if (random_.OneIn(8)) count = SomeCount(random_, 70);
  for (int r = 0; r < count; ++r) {
    switch (type) {
      case tessel::Type_Int: data->add_ivalues(SomeInt64(random_)); break;
      case tessel::Type_SInt:
        data->add_xvalues(r == 0 || random_.OneIn(16) ? SomeInt64(random_)
                                                      : static_cast<int64_t>(random_.Below(64)) - 32);
        break;
      case tessel::Type_Float: data->add_fvalues(SomeFloat(random_)); break;
      case tessel::Type_Double:
        data->add_dvalues(SomeDouble(random_));
        // Without a float beside it a double is not read.
        if (!random_.OneIn(4)) data->add_fvalues(0.0F);
        break;
      case tessel::Type_String: data->add_svalues(SomeText(random_)); break;
      case tessel::Type_Binary: data->add_bvalues(SomeText(random_)); break;
      case tessel::Type_Table: {
        tessel::Table* child = data->add_tvalues();
        const tessel::Table& first = data->tvalues(0);
        if (r == 0 || random_.OneIn(6)) {
          if (depth > 1) FillTable(child, depth - 1);
        } else {
          // The first one's columns hold for all.
          const int child_rows = SomeCount(random_, 5);
          for (const tessel::CInfo& column : first.info())
            FillData(child->add_data(), column.type(), child_rows, depth > 2 ? 2 : depth - 1);
          if (random_.OneIn(8) && child->data_size() != 0) child->mutable_data()->RemoveLast();
        }
        break;
      }
      default: data->add_ivalues(SomeInt64(random_)); break;
    }
    if (type == tessel::Type_Table && r >= 6) break;
  }
}

void Changer::AddColumn(tessel::Table* table, int rows, int depth) {
  tessel::CInfo* info = table->add_info();
  if (!random_.OneIn(16)) info->set_name(SomeColumnName(random_));
  int type = SomeType();
  if (type == tessel::Type_Table && depth <= 1) type = tessel::Type_Int;
  info->set_type(type);
  if (random_.OneIn(3)) info->set_ratio(SomeInt32(random_));
  FillData(table->add_data(), type, rows, depth);
}

void Changer::FillTable(tessel::Table* table, int depth) {
  const int rows = SomeCount(random_, random_.OneIn(16) ? 300 : 9);
  for (int n = 1 + SomeCount(random_, random_.OneIn(16) ? 40 : 5); n > 0; --n)
    AddColumn(table, rows, depth);
  if (random_.OneIn(16)) table->mutable_info()->RemoveLast();
  if (random_.OneIn(16)) table->set_name(SomeText(random_));
  if (random_.OneIn(32)) Fill(table->add_datax(), 1);
}

// The wrapper with the table in its first cell.
void Changer::BuildPayload(Message* reply) {
  const FieldDescriptor* field = reply->GetDescriptor()->FindFieldByName("Tbl");
  auto* wrapper = static_cast<tessel::Table*>(reply->GetReflection()->MutableMessage(reply, field));
  wrapper->Clear();
  wrapper->add_info()->set_type(random_.OneIn(32) ? SomeType() : static_cast<int>(tessel::Type_Table));
  tessel::CData* data = wrapper->add_data();
  data->set_index(0);
  tessel::Table* payload = data->add_tvalues();
  FillTable(payload, 1 + random_.Int(kNewDepth));
  // Half of the typed tables need a column of tables.
  if (random_.OneIn(2)) {
    const int rows = 1 + random_.Int(3);
    payload->Clear();
    tessel::CInfo* info = payload->add_info();
    info->set_name("Data");
    info->set_type(tessel::Type_Table);
    FillData(payload->add_data(), tessel::Type_Table, rows, 3);
  }
}

void Changer::ChangeTable(Message* reply) {
  auto* table = static_cast<tessel::Table*>(Some(reply, tessel::Table::descriptor()));
  if (table == nullptr) {
    BuildPayload(reply);
    return;
  }
  const int columns = table->info_size();
  switch (random_.Below(10)) {
    case 0: AddColumn(table, table->data_size() != 0 ? table->data(0).ivalues_size() : 1, 2); break;
    case 1:
      if (columns != 0) table->mutable_info(random_.Int(columns))->set_type(SomeType());
      break;
    case 2:
      if (columns != 0) table->mutable_info(random_.Int(columns))->set_name(SomeColumnName(random_));
      break;
    case 3:
      if (columns != 0) table->mutable_info(random_.Int(columns))->set_ratio(SomeInt32(random_));
      break;
    case 4:
      if (columns != 0) table->mutable_info()->RemoveLast();
      break;
    case 5:
      if (table->data_size() != 0) table->mutable_data()->RemoveLast();
      break;
    case 6: table->mutable_info()->Clear(); break;
    case 7: {
      // One level deeper.
      const tessel::Table copy = *table;
      table->Clear();
      table->add_info()->set_type(tessel::Type_Table);
      table->mutable_info(0)->set_name(SomeColumnName(random_));
      tessel::CData* data = table->add_data();
      data->set_index(0);
      *data->add_tvalues() = copy;
      break;
    }
    case 8:
      if (table->data_size() != 0) {
        const int c = random_.Int(table->data_size());
        table->mutable_data(c)->Clear();
        FillData(table->mutable_data(c), c < columns ? table->info(c).type() : SomeType(),
                 SomeCount(random_, 70), 2);
      }
      break;
    default:
      table->Clear();
      FillTable(table, 3);
      break;
  }
}

// ---- all of it --------------------------------------------------------------------------------------------

void Changer::Change(Message* reply) {
  if (reply->ByteSizeLong() == 0) ChooseId(reply);
  for (int n = 1 + random_.Int(4); n > 0; --n) {
    const uint64_t what = random_.Below(16);
    if (what < 2) {
      ChooseId(reply);
    } else if (what < 8 && Id(*reply) == kWireTableId) {
      ChangeTable(reply);
    } else {
      ChangeField(Some(reply, nullptr));
    }
  }
}

// Either all of the other, or some message of it over one of the same type.
void Changer::Combine(Message* reply, const Message& other) {
  const std::unique_ptr<Message> source(other.New());
  source->CopyFrom(other);
  Message* to = Some(reply, nullptr);
  const Message* from = Some(source.get(), to->GetDescriptor());
  if (random_.OneIn(8) || from == nullptr) {
    reply->MergeFrom(other);
  } else if (random_.OneIn(2)) {
    to->MergeFrom(*from);
  } else {
    to->CopyFrom(*from);
  }
}

// Cuts a repeated field of some message; false if there is none left.
bool Changer::Shrink(Message* reply) {
  std::vector<Message*> found;
  List(reply, nullptr, &found);
  for (size_t tries = found.size(); tries != 0; --tries) {
    Message* message = found[random_.Index(found.size())];
    const Reflection* reflection = message->GetReflection();
    std::vector<const FieldDescriptor*> fields;
    reflection->ListFields(*message, &fields);
    for (const FieldDescriptor* field : fields) {
      if (!field->is_repeated()) continue;
      for (int n = reflection->FieldSize(*message, field) / 2 + 1; n > 0; --n)
        reflection->RemoveLast(message, field);
      return true;
    }
  }
  return false;
}

void Changer::Finish(Message* reply, size_t most) {
  FillRequired(reply);
  // Short replies reach as deep as long ones and run faster.
  if (!random_.OneIn(4)) most >>= random_.Below(5);
  for (int tries = 0; reply->ByteSizeLong() > most && tries < 64; ++tries) {
    if (!Shrink(reply)) break;
  }
  if (reply->ByteSizeLong() > most) {
    reply->Clear();
    FillRequired(reply);
  }
}

}  // namespace

std::string ChangeReply(const std::string& input, const std::string* other, size_t most, uint64_t seed) {
  const std::unique_ptr<Message> reply = NewReply();
  reply->ParsePartialFromString(input);
  Changer changer(seed);
  if (other != nullptr) {
    const std::unique_ptr<Message> second = NewReply();
    second->ParsePartialFromString(*other);
    changer.Combine(reply.get(), *second);
  } else {
    changer.Change(reply.get());
  }
  changer.Finish(reply.get(), most);
  std::string bytes;
  FUZZ_CHECK(reply->SerializeToString(&bytes));
  return bytes.size() <= most ? bytes : std::string();
}

}  // namespace fuzz
