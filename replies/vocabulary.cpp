#include "replies/vocabulary.h"

#include <fmt/format.h>
#include <google/protobuf/descriptor.pb.h>

#include <algorithm>

#include "replies/descriptors.h"
#include "replies/wire.h"
#include "replies/words.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

constexpr char kEnvelopeFile[] = "MSG.proto";

// The name is the first field of a file.
std::string_view NameOfFile(std::string_view file) {
  size_t pos = 0;
  WireField field;
  return ReadField(file, &pos, &field) == WireStep::kField ? field.payload : std::string_view();
}

// Only this one is worth parsing here.
pb::FileDescriptorProto EnvelopeFile() {
  pb::FileDescriptorProto file;
  for (const std::string_view bytes : DescriptorFiles()) {
    if (NameOfFile(bytes) == kEnvelopeFile) file.ParseFromArray(bytes.data(), static_cast<int>(bytes.size()));
  }
  return file;
}

bool HasSmallerId(const Payload& payload, int32_t id) {
  return payload.id < id;
}

std::vector<Payload> NamedIds(const pb::FileDescriptorProto& file) {
  std::vector<Payload> payloads;
  for (const auto& type : file.enum_type()) {
    if (type.name() != "EnumID") continue;
    for (const auto& value : type.value()) {
      const std::string& name = value.name();
      payloads.push_back({value.number(), name.substr(name.compare(0, 2, "ID") == 0 ? 2 : 0), "", ""});
    }
  }
  std::stable_sort(payloads.begin(), payloads.end(),
                   [](const Payload& a, const Payload& b) { return a.id < b.id; });
  return payloads;
}

std::vector<Payload> ReadVocabulary() {
  const pb::FileDescriptorProto file = EnvelopeFile();
  std::vector<Payload> payloads = NamedIds(file);
  for (const auto& message : file.message_type()) {
    if (message.name() != "MSG") continue;
    for (const auto& field : message.field()) {
      const auto at = std::lower_bound(payloads.begin(), payloads.end(), field.number(), HasSmallerId);
      if (at == payloads.end() || at->id != field.number()) continue;
      at->field = field.name();
      at->type = field.type_name().substr(field.type_name().rfind('.') + 1);
    }
  }
  return payloads;
}

}  // namespace

const std::vector<Payload>& Vocabulary() {
  static const auto* const payloads = new std::vector<Payload>(ReadVocabulary());
  return *payloads;
}

const Payload* FindPayload(int32_t id) {
  const auto& all = Vocabulary();
  const auto at = std::lower_bound(all.begin(), all.end(), id, HasSmallerId);
  return at != all.end() && at->id == id ? &*at : nullptr;
}

std::string IdWithName(int32_t id) {
  const Payload* payload = FindPayload(id);
  return payload == nullptr ? fmt::format("{}", id) : fmt::format("{} ({})", id, payload->name);
}

const Payload* FindPayload(std::string_view word) {
  if (const auto id = WholeNumber<int32_t>(word)) return FindPayload(*id);
  const std::string wanted = LowerCase(word);
  for (const Payload& payload : Vocabulary()) {
    if (wanted == LowerCase(payload.name) || wanted == "id" + LowerCase(payload.name) ||
        (!payload.field.empty() && wanted == LowerCase(payload.field))) {
      return &payload;
    }
  }
  return nullptr;
}

}  // namespace replies
