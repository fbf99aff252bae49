#include "replies/diagnosis.h"

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>

#include <algorithm>

#include "replies/layouts.h"
#include "replies/parse_reply.h"
#include "replies/schema.h"
#include "replies/vocabulary.h"

namespace replies {

namespace {

namespace pb = google::protobuf;

// In a few words.
std::string WhyNoTableOf(const pb::Message& reply) {
  const int32_t id = IdOf(reply);
  if (!HasTable(id)) return "no table form";
  const pb::Reflection* reflection = reply.GetReflection();
  const pb::FieldDescriptor* field = reply.GetDescriptor()->FindFieldByNumber(id);
  const bool empty =
      field->is_repeated() ? reflection->FieldSize(reply, field) == 0 : !reflection->HasField(reply, field);
  if (empty) return fmt::format("nothing to show: field \"{}\" is empty", field->name());
  return fmt::format("nothing to show: no table can be made of field \"{}\"", field->name());
}

}  // namespace

std::string WhyNoReply(const std::string& bytes) {
  std::string error;
  ParseReply(bytes, &error);
  return error.empty() ? "not a reply" : error;
}

std::string WhyNoTableBriefly(const std::string& bytes) {
  std::string error;
  const auto reply = ParseReply(bytes, &error);
  return reply == nullptr ? error : WhyNoTableOf(*reply);
}

std::string WhyNoTable(const std::string& bytes, std::optional<TPType> type) {
  std::string error;
  const auto reply = ParseReply(bytes, &error);
  if (reply == nullptr) return error;
  const int32_t id = IdOf(*reply);
  const auto layouts = TypedLayoutsOf(id);
  if (type && *type != TPTypeById) {
    std::string why = fmt::format("Id {} gives no table of type {}", IdWithName(id), NameOfType(*type));
    if (layouts.empty()) return why;
    const bool fits = std::find(layouts.begin(), layouts.end(), *type) != layouts.end();
    return why + (fits ? "; it has nothing to show" : "; try --type " + NameOfType(layouts[0]));
  }
  const std::string why = fmt::format("Id {}: {}; try --to json", IdWithName(id), WhyNoTableOf(*reply));
  return layouts.empty() || HasTable(id) ? why : why + " or --type " + NameOfType(layouts[0]);
}

}  // namespace replies
