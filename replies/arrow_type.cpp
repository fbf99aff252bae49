#include "replies/arrow_type.h"

#include <charconv>
#include <cstring>

namespace replies {
namespace {

ArrowType Of(ArrowKind kind, int bits) {
  ArrowType type;
  type.kind = kind;
  type.bits = bits;
  return type;
}

// The number at the front, which is taken off. False if there is none.
bool TakeNumber(std::string_view* text, int32_t* number) {
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), *number);
  if (error != std::errc()) return false;
  text->remove_prefix(static_cast<size_t>(end - text->data()));
  return true;
}

bool TakeComma(std::string_view* text) {
  if (text->empty() || text->front() != ',') return false;
  text->remove_prefix(1);
  return true;
}

std::optional<ArrowType> ParseOneLetter(char letter) {
  switch (letter) {
    case 'n': return Of(ArrowKind::kNull, 0);
    case 'b': return Of(ArrowKind::kBool, 1);
    case 'c': return Of(ArrowKind::kInt, 8);
    case 'C': return Of(ArrowKind::kUint, 8);
    case 's': return Of(ArrowKind::kInt, 16);
    case 'S': return Of(ArrowKind::kUint, 16);
    case 'i': return Of(ArrowKind::kInt, 32);
    case 'I': return Of(ArrowKind::kUint, 32);
    case 'l': return Of(ArrowKind::kInt, 64);
    case 'L': return Of(ArrowKind::kUint, 64);
    case 'f': return Of(ArrowKind::kFloat, 32);
    case 'g': return Of(ArrowKind::kFloat, 64);
    case 'u': return Of(ArrowKind::kUtf8, 32);
    case 'U': return Of(ArrowKind::kUtf8, 64);
    case 'z': return Of(ArrowKind::kBinary, 32);
    case 'Z': return Of(ArrowKind::kBinary, 64);
    default: return std::nullopt;
  }
}

// "s:" and what follows it, of "tss:Asia/Shanghai".
std::optional<ArrowType> ParseTimestamp(std::string_view rest) {
  if (rest.size() < 2 || rest[1] != ':') return std::nullopt;
  ArrowType type = Of(ArrowKind::kTimestamp, 64);
  switch (rest[0]) {
    case 's': type.unit = ArrowTimeUnit::kSecond; break;
    case 'm': type.unit = ArrowTimeUnit::kMillisecond; break;
    case 'u': type.unit = ArrowTimeUnit::kMicrosecond; break;
    case 'n': type.unit = ArrowTimeUnit::kNanosecond; break;
    default: return std::nullopt;
  }
  type.zone = rest.substr(2);
  return type;
}

// "12,2" of "d:12,2". A third number would be the width, which is 128 where none is told.
std::optional<ArrowType> ParseDecimal(std::string_view rest) {
  ArrowType type = Of(ArrowKind::kDecimal, 128);
  if (!TakeNumber(&rest, &type.precision) || !TakeComma(&rest) || !TakeNumber(&rest, &type.scale))
    return std::nullopt;
  if (!rest.empty() && rest != ",128") return std::nullopt;
  if (type.precision < 1 || type.precision > 38) return std::nullopt;
  return type;
}

std::optional<ArrowType> ParseFixedSizeList(std::string_view rest) {
  ArrowType type = Of(ArrowKind::kFixedSizeList, 0);
  if (!TakeNumber(&rest, &type.list_size) || !rest.empty() || type.list_size < 0) return std::nullopt;
  return type;
}

bool TakeInt32(const char** at, int32_t* number) {
  std::memcpy(number, *at, sizeof(*number));
  *at += sizeof(*number);
  return *number >= 0;
}

bool TakeText(const char** at, std::string* text) {
  int32_t size = 0;
  if (!TakeInt32(at, &size)) return false;
  text->assign(*at, static_cast<size_t>(size));
  *at += size;
  return true;
}

void AppendInt32(std::string* to, size_t number) {
  const auto value = static_cast<int32_t>(number);
  to->append(reinterpret_cast<const char*>(&value), sizeof(value));
}

}  // namespace

int64_t ArrowType::buffers() const {
  if (kind == ArrowKind::kNull) return 0;
  if (kind == ArrowKind::kStruct || kind == ArrowKind::kFixedSizeList) return 1;
  return kind == ArrowKind::kUtf8 || kind == ArrowKind::kBinary ? 3 : 2;
}

bool ArrowType::Takes(int64_t children) const {
  if (kind == ArrowKind::kStruct) return children >= 0;
  return children == (kind == ArrowKind::kList || kind == ArrowKind::kFixedSizeList ? 1 : 0);
}

bool ArrowType::has_offsets() const {
  return kind == ArrowKind::kUtf8 || kind == ArrowKind::kBinary || kind == ArrowKind::kList;
}

std::optional<ArrowType> ParseArrowFormat(const char* format) {
  if (format == nullptr) return std::nullopt;
  const std::string_view text = format;
  if (text.size() == 1) return ParseOneLetter(text[0]);
  if (text == "+l") return Of(ArrowKind::kList, 32);
  if (text == "+L") return Of(ArrowKind::kList, 64);
  if (text == "+s") return Of(ArrowKind::kStruct, 0);
  if (text == "tdD") return Of(ArrowKind::kDate, 32);
  if (text.substr(0, 2) == "ts") return ParseTimestamp(text.substr(2));
  if (text.substr(0, 2) == "d:") return ParseDecimal(text.substr(2));
  if (text.substr(0, 3) == "+w:") return ParseFixedSizeList(text.substr(3));
  return std::nullopt;
}

std::optional<ArrowMetadata> ParseArrowMetadata(const char* metadata) {
  ArrowMetadata pairs;
  if (metadata == nullptr) return pairs;
  int32_t count = 0;
  if (!TakeInt32(&metadata, &count)) return std::nullopt;
  for (int32_t i = 0; i < count; ++i) {
    std::pair<std::string, std::string> pair;
    if (!TakeText(&metadata, &pair.first) || !TakeText(&metadata, &pair.second)) return std::nullopt;
    pairs.push_back(std::move(pair));
  }
  return pairs;
}

std::string EncodeArrowMetadata(const ArrowMetadata& pairs) {
  std::string text;
  AppendInt32(&text, pairs.size());
  for (const auto& [key, value] : pairs) {
    AppendInt32(&text, key.size());
    text += key;
    AppendInt32(&text, value.size());
    text += value;
  }
  return text;
}

std::string ArrowFieldPath(const std::string& parent, const ArrowSchema& field) {
  const std::string name = field.name == nullptr ? "" : field.name;
  return parent.empty() ? name : parent + "." + name;
}

}  // namespace replies
