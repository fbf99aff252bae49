#include "replies/vocabulary.h"

#include <fmt/format.h>

#include <algorithm>

#include "replies/descriptors.h"
#include "replies/wire.h"
#include "replies/words.h"

namespace replies {
namespace {

constexpr char kEnvelopeFile[] = "MSG.proto";

// The parts of a file descriptor that are wanted here, by their numbers: read from the bytes, as to parse the
// envelope takes a tool that shows one reply a tenth of its time.
constexpr uint32_t kName = 1;  // of files, messages, fields, enums and their values
constexpr uint32_t kMessageOfFile = 4;
constexpr uint32_t kEnumOfFile = 5;
constexpr uint32_t kFieldOfMessage = 2;
constexpr uint32_t kValueOfEnum = 2;
constexpr uint32_t kNumberOfValue = 2;
constexpr uint32_t kNumberOfField = 3;
constexpr uint32_t kTypeOfField = 6;

// Calls visit(field) for each field of that number.
template <class Visit>
void ForEachField(std::string_view message, uint32_t number, Visit visit) {
  size_t pos = 0;
  WireField field;
  while (ReadField(message, &pos, &field) == WireStep::kField) {
    if (field.number == number) visit(field);
  }
}

std::string_view TextAt(std::string_view message, uint32_t number) {
  std::string_view text;
  ForEachField(message, number, [&text](const WireField& field) { text = field.payload; });
  return text;
}

int32_t NumberAt(std::string_view message, uint32_t number) {
  int32_t value = 0;
  ForEachField(message, number,
               [&value](const WireField& field) { value = static_cast<int32_t>(field.varint); });
  return value;
}

std::string_view EnvelopeFile() {
  for (const std::string_view bytes : DescriptorFiles()) {
    if (TextAt(bytes, kName) == kEnvelopeFile) return bytes;
  }
  return {};
}

bool HasSmallerId(const Payload& payload, int32_t id) {
  return payload.id < id;
}

std::vector<Payload> NamedIds(std::string_view file) {
  std::vector<Payload> payloads;
  ForEachField(file, kEnumOfFile, [&payloads](const WireField& type) {
    if (TextAt(type.payload, kName) != "EnumID") return;
    ForEachField(type.payload, kValueOfEnum, [&payloads](const WireField& value) {
      std::string_view name = TextAt(value.payload, kName);
      if (name.substr(0, 2) == "ID") name.remove_prefix(2);
      payloads.push_back({NumberAt(value.payload, kNumberOfValue), std::string(name), "", ""});
    });
  });
  std::stable_sort(payloads.begin(), payloads.end(),
                   [](const Payload& a, const Payload& b) { return a.id < b.id; });
  return payloads;
}

void NamePayload(std::string_view field, std::vector<Payload>* payloads) {
  const int32_t number = NumberAt(field, kNumberOfField);
  const auto at = std::lower_bound(payloads->begin(), payloads->end(), number, HasSmallerId);
  if (at == payloads->end() || at->id != number) return;
  const std::string_view type = TextAt(field, kTypeOfField);
  at->field = TextAt(field, kName);
  at->type = type.substr(type.rfind('.') + 1);
}

std::vector<Payload> ReadVocabulary() {
  const std::string_view file = EnvelopeFile();
  std::vector<Payload> payloads = NamedIds(file);
  ForEachField(file, kMessageOfFile, [&payloads](const WireField& message) {
    if (TextAt(message.payload, kName) != "MSG") return;
    ForEachField(message.payload, kFieldOfMessage,
                 [&payloads](const WireField& field) { NamePayload(field.payload, &payloads); });
  });
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
