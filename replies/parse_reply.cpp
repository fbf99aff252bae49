#include "replies/parse_reply.h"

#include <fmt/format.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/wire_format_lite.h>

#include <optional>
#include <string_view>
#include <vector>

#include "replies/schema.h"
#include "replies/wire.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

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

}  // namespace

std::unique_ptr<pb::Message> ParseReply(const std::string& bytes, std::string* error) {
  if (bytes.empty()) {
    *error = "empty, 0 bytes";
    return nullptr;
  }
  auto reply = Schema::Get().NewReply();
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

}  // namespace replies
