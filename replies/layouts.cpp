#include "replies/layouts.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>

#include "replies/fill_required.h"
#include "replies/schema.h"
#include "replies/text_form.h"
#include "replies/vocabulary.h"
#include "replies/words.h"
#include "tsl_base/table.hpp"

namespace replies {
namespace {

namespace pb = google::protobuf;
using tsl_base::Table;

// A wrapper with one table of one cell, which is what a wire table comes in.
std::string SmallestWireTable() {
  std::string bytes;
  std::string error;
  TextToBytes(
      "Id: 3 Tbl { Info { Name: 'T' Type: 116 } Data { Index: 0 tValues { Info { Name: 'A' Type: 105 }"
      " Data { Index: 0 iValues: 0 } } } }",
      false, &bytes, &error);
  return bytes;
}

// One element of the payload.
std::string SmallestReply(int32_t id) {
  if (id == kWireTableId) return SmallestWireTable();
  const auto reply = Schema::Get().NewReply();
  const pb::FieldDescriptor* field = reply->GetDescriptor()->FindFieldByNumber(id);
  if (field != nullptr && field->is_repeated() && field->cpp_type() == pb::FieldDescriptor::CPPTYPE_MESSAGE)
    FillRequired(reply->GetReflection()->AddMessage(reply.get(), field));
  SetId(reply.get(), id);
  std::string bytes;
  reply->SerializePartialToString(&bytes);
  return bytes;
}

bool Contains(const std::vector<TPType>& types, TPType type) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

}  // namespace

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
  const std::string wanted = LowerCase(word);
  for (const TypeName& type : TypeNames()) {
    if (wanted == LowerCase(type.name) || wanted == "tptype" + LowerCase(type.name)) return type.type;
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
  return static_cast<bool>(Table(TesparserPB2Table(SmallestReply(id))));
}

std::vector<TPType> TypedLayoutsOf(int32_t id) {
  const std::string reply = SmallestReply(id);
  std::vector<TPType> types;
  for (const TPType type :
       {TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeBxzjBlock, TPTypeToken, TPTypeZhiBiao1}) {
    if (Table(TesparserPB2TableType(reply, type))) types.push_back(type);
  }
  return types;
}

std::optional<TPType> OnlyLayoutOf(int32_t id) {
  // Finding out takes a few replies; what has no name has no layout.
  if (FindPayload(id) == nullptr) return std::nullopt;
  thread_local std::unordered_map<int32_t, std::optional<TPType>> known;
  if (const auto at = known.find(id); at != known.end()) return at->second;
  const std::vector<TPType> types = HasTable(id) ? std::vector<TPType>() : TypedLayoutsOf(id);
  // Of the sixteen indicators only the first is told.
  const bool only = types.size() == 1 && types[0] != TPTypeZhiBiao1;
  return known[id] = only ? std::optional<TPType>(types[0]) : std::nullopt;
}

bool HasForm(int32_t id, std::optional<TPType> type) {
  if (!type || *type == TPTypeById) return HasTable(id);
  // The layouts of a wire table are matched by its columns' names, which the smallest reply has not.
  if (id == kWireTableId)
    return Contains({TPTypeDaDan, TPTypeFenLeiChiCang, TPTypeBxzjStock, TPTypeToken}, *type);
  const bool indicator = *type >= TPTypeZhiBiao1 && *type <= TPTypeZhiBiao16;
  return Contains(TypedLayoutsOf(id), indicator ? TPTypeZhiBiao1 : *type);
}

}  // namespace replies
