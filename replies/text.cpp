#include "replies/text.h"

#include <fmt/format.h>
#include <utf8proc.h>

#include <algorithm>

namespace replies {
namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

bool IsAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool IsContinuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// The length of the character at the front of some bytes, one at least, and its code point; 0 if it is
// ill-formed.
size_t TakeCharacter(std::string_view text, utf8proc_int32_t* code) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const auto bits = [text](size_t i) { return static_cast<unsigned char>(text[i]) & 0x3F; };
  const unsigned first = byte(0);
  if (first < 0x80) {
    *code = static_cast<utf8proc_int32_t>(first);
    return 1;
  }
  const size_t size = first < 0xC2 ? 0 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : first < 0xF5 ? 4 : 0;
  if (size == 0 || text.size() < size) return 0;
  for (size_t i = 1; i < size; ++i) {
    if (!IsContinuation(byte(i))) return 0;
  }
  if (size == 2) {
    *code = static_cast<utf8proc_int32_t>(first & 0x1F) << 6 | bits(1);
    return 2;
  }
  if (size == 3) {
    *code = static_cast<utf8proc_int32_t>(first & 0x0F) << 12 | bits(1) << 6 | bits(2);
    const bool surrogate = *code >= 0xD800 && *code < 0xE000;
    return *code < 0x800 || surrogate ? 0 : 3;
  }
  *code = static_cast<utf8proc_int32_t>(first & 0x07) << 18 | bits(1) << 12 | bits(2) << 6 | bits(3);
  return *code < 0x10000 || *code > 0x10FFFF ? 0 : 4;
}

// Bytes at the front that could still have become a character, one at least. There is none at the front.
size_t IllFormedLength(std::string_view text) {
  const auto byte = [text](size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned first = byte(0);
  if (first < 0xE0 || first > 0xF4 || text.size() < 2) return 1;
  // The second byte tells whether it is overlong, a surrogate or beyond the last character.
  const unsigned least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const unsigned most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < least || byte(1) > most) return 1;
  return first >= 0xF0 && text.size() > 2 && IsContinuation(byte(2)) ? 3 : 2;
}

// Characters that steer a terminal, end a line or turn the direction of writing.
bool IsSteering(utf8proc_int32_t code) {
  switch (utf8proc_category(code)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP: return true;
    default: return false;
  }
}

void AppendSteering(std::string* to, utf8proc_int32_t code) {
  switch (code) {
    case '\n': *to += "\\n"; break;
    case '\r': *to += "\\r"; break;
    case '\t': *to += "\\t"; break;
    default:
      if (code < 0x100) {
        *to += fmt::format("\\x{:02x}", code);
      } else {
        *to += fmt::format("\\u{:04x}", code);
      }
  }
}

void AppendJsonEscape(std::string* to, unsigned char c) {
  switch (c) {
    case '"': *to += "\\\""; break;
    case '\\': *to += "\\\\"; break;
    case '\n': *to += "\\n"; break;
    case '\r': *to += "\\r"; break;
    case '\t': *to += "\\t"; break;
    case '\b': *to += "\\b"; break;
    case '\f': *to += "\\f"; break;
    default: *to += fmt::format("\\u{:04x}", c);
  }
}

}  // namespace

bool IsUtf8(std::string_view text) {
  if (IsAscii(text)) return true;
  while (!text.empty()) {
    utf8proc_int32_t code = 0;
    const size_t size = TakeCharacter(text, &code);
    if (size == 0) return false;
    text.remove_prefix(size);
  }
  return true;
}

std::string ToUtf8(std::string_view text) {
  if (IsUtf8(text)) return std::string(text);
  std::string utf8;
  while (!text.empty()) {
    utf8proc_int32_t code = 0;
    const size_t size = TakeCharacter(text, &code);
    const size_t taken = size != 0 ? size : IllFormedLength(text);
    utf8 += size != 0 ? text.substr(0, size) : kReplacement;
    text.remove_prefix(taken);
  }
  return utf8;
}

std::string Printable(std::string_view utf8) {
  const bool plain = std::all_of(utf8.begin(), utf8.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
  if (plain) return std::string(utf8);
  std::string result;
  while (!utf8.empty()) {
    utf8proc_int32_t code = 0;
    const size_t size = TakeCharacter(utf8, &code);
    if (size == 0) {
      result += kReplacement;
    } else if (IsSteering(code)) {
      AppendSteering(&result, code);
    } else {
      result += utf8.substr(0, size);
    }
    utf8.remove_prefix(std::max<size_t>(size, 1));
  }
  return result;
}

size_t DisplayWidth(std::string_view utf8) {
  size_t width = 0;
  while (!utf8.empty()) {
    utf8proc_int32_t code = 0;
    const size_t size = TakeCharacter(utf8, &code);
    width += size == 0 ? 1 : static_cast<size_t>(std::max(0, utf8proc_charwidth(code)));
    utf8.remove_prefix(std::max<size_t>(size, 1));
  }
  return width;
}

std::string CutToWidth(std::string_view utf8, size_t width) {
  if (utf8.size() <= width || DisplayWidth(utf8) <= width) return std::string(utf8);
  if (width == 0) return std::string();
  std::string result;
  size_t used = 0;
  while (!utf8.empty()) {
    utf8proc_int32_t code = 0;
    const size_t size = std::max<size_t>(TakeCharacter(utf8, &code), 1);
    const size_t columns = DisplayWidth(utf8.substr(0, size));
    if (used + columns > width - 1) break;
    result += utf8.substr(0, size);
    used += columns;
    utf8.remove_prefix(size);
  }
  result += kEllipsis;
  return result;
}

void AppendJsonString(std::string* to, std::string_view utf8) {
  *to += '"';
  size_t copied = 0;
  for (size_t i = 0; i < utf8.size();) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    utf8proc_int32_t code = 0;
    const size_t size = c < 0x80 ? 1 : TakeCharacter(utf8.substr(i), &code);
    const bool escaped = c < 0x20 || c == '"' || c == '\\' || c == 0x7F;
    if (size != 0 && !escaped) {
      i += size;
      continue;
    }
    *to += utf8.substr(copied, i - copied);
    if (escaped) {
      AppendJsonEscape(to, c);
      ++i;
    } else {
      *to += kReplacement;
      i += IllFormedLength(utf8.substr(i));
    }
    copied = i;
  }
  *to += utf8.substr(copied);
  *to += '"';
}

void AppendCsvField(std::string* to, std::string_view utf8) {
  if (utf8.find_first_of(",\"\r\n") == std::string_view::npos) {
    *to += utf8;
    return;
  }
  *to += '"';
  for (const char c : utf8) {
    if (c == '"') *to += '"';
    *to += c;
  }
  *to += '"';
}

void AppendTsvField(std::string* to, std::string_view utf8) {
  for (const char c : utf8) {
    switch (c) {
      case '\t': *to += "\\t"; break;
      case '\n': *to += "\\n"; break;
      case '\r': *to += "\\r"; break;
      case '\\': *to += "\\\\"; break;
      default: *to += c;
    }
  }
}

namespace {

// Each steering character but the line feed as `escape` writes it: escape(to, its bytes, its code).
template <class Escape>
std::string WithEscapes(std::string_view text, Escape escape) {
  const auto is_plain = [](char c) { return (c >= 0x20 && c < 0x7F) || c == '\n'; };
  if (std::all_of(text.begin(), text.end(), is_plain)) return std::string(text);
  std::string result;
  while (!text.empty()) {
    utf8proc_int32_t code = 0;
    const size_t size = TakeCharacter(text, &code);
    if (size == 0) {
      result += kReplacement;
    } else if (code != '\n' && IsSteering(code)) {
      escape(&result, text.substr(0, size), static_cast<unsigned>(code));
    } else {
      result += text.substr(0, size);
    }
    text.remove_prefix(std::max<size_t>(size, 1));
  }
  return result;
}

}  // namespace

std::string PrintableJson(std::string_view json) {
  return WithEscapes(json, [](std::string* to, std::string_view, unsigned code) {
    if (code < 0x10000) {
      *to += fmt::format("\\u{:04x}", code);
    } else {
      code -= 0x10000;
      *to += fmt::format("\\u{:04x}\\u{:04x}", 0xD800 + (code >> 10), 0xDC00 + (code & 0x3FF));
    }
  });
}

std::string PrintableTextForm(std::string_view text) {
  return WithEscapes(text, [](std::string* to, std::string_view bytes, unsigned) {
    for (const char c : bytes)
      *to += fmt::format("\\{:03o}", static_cast<unsigned char>(c));
  });
}

}  // namespace replies
