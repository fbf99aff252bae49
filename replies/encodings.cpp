#include "replies/encodings.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace replies {
namespace {

// Shorter runs in a line with other words are numbers, dates and names more often than bytes.
constexpr size_t kShortestHexRun = 8;
constexpr size_t kShortestBase64Run = 12;

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

int Base64Digit(char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+' || c == '-') return 62;
  if (c == '/' || c == '_') return 63;
  return -1;
}

bool IsSpace(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

bool IsHexSeparator(char c) {
  return IsSpace(c) || c == ',' || c == ':' || c == ';' || c == '-';
}

// A line end or tabulator as logs write it inside of a string: \n.
bool IsEscapedBlank(std::string_view text, size_t i) {
  return i + 1 < text.size() && text[i] == '\\' &&
         (text[i + 1] == 'n' || text[i + 1] == 'r' || text[i + 1] == 't');
}

// "0x" or "\x" in front of a digit.
bool IsHexPrefix(std::string_view text, size_t i) {
  return i + 2 < text.size() && (text[i] == '0' || text[i] == '\\') &&
         (text[i + 1] == 'x' || text[i + 1] == 'X') && HexDigit(text[i + 2]) >= 0;
}

std::nullopt_t BadAt(size_t at, size_t* bad) {
  if (bad != nullptr) *bad = at;
  return std::nullopt;
}

// The digits of one line of a dump; the offset before them is cut off, and so is the text behind them.
std::optional<std::string_view> DigitsOfDumpLine(std::string_view line) {
  size_t digits = 0;
  while (digits < line.size() && HexDigit(line[digits]) >= 0)
    ++digits;
  if (digits < 6) return std::nullopt;
  std::string_view rest = line.substr(digits);
  if (!rest.empty() && rest[0] == ':') {
    rest = Trim(rest.substr(1));
    return rest.substr(0, rest.find("  "));
  }
  return rest.substr(0, rest.find('|'));
}

bool IsHexDigit(char c) {
  return HexDigit(c) >= 0;
}

bool IsBase64Digit(char c) {
  return Base64Digit(c) >= 0;
}

bool IsLetterOrDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// Where the digits and escaped blanks from `at` on end.
template <class IsDigit>
size_t EndOfDigits(std::string_view line, size_t at, IsDigit is_digit) {
  while (at < line.size() && (is_digit(line[at]) || IsEscapedBlank(line, at)))
    at += is_digit(line[at]) ? 1U : 2U;
  return at;
}

template <class IsDigit>
std::vector<std::string_view> Runs(std::string_view line, size_t shortest, size_t most_padding,
                                   IsDigit is_digit) {
  std::vector<std::string_view> runs;
  for (size_t at = 0; at < line.size();) {
    // The letter of \n is none of the run's digits.
    if (!is_digit(line[at])) {
      at += IsEscapedBlank(line, at) ? 2 : 1;
      continue;
    }
    size_t end = EndOfDigits(line, at, is_digit);
    for (size_t i = 0; i < most_padding && end < line.size() && line[end] == '='; ++i)
      ++end;
    if (end - at >= shortest) runs.push_back(line.substr(at, end - at));
    at = end;
  }
  return runs;
}

// The parts between separators and escaped blanks.
template <class IsSeparator>
std::vector<std::string_view> Split(std::string_view text, IsSeparator is_separator) {
  std::vector<std::string_view> parts;
  for (size_t at = 0; at < text.size();) {
    size_t end = at;
    while (end < text.size() && !is_separator(text[end]) && !IsEscapedBlank(text, end))
      ++end;
    if (end > at) parts.push_back(text.substr(at, end - at));
    at = end + (IsEscapedBlank(text, end) ? 2 : 1);
  }
  return parts;
}

}  // namespace

std::optional<std::string> DecodeHex(std::string_view text, size_t* bad) {
  std::string bytes;
  bytes.reserve(text.size() / 2);
  for (size_t i = 0; i < text.size();) {
    if (IsHexSeparator(text[i])) {
      ++i;
      continue;
    }
    if (IsEscapedBlank(text, i)) {
      i += 2;
      continue;
    }
    if (text[i] == '#') {
      i = std::min(text.find('\n', i), text.size());
      continue;
    }
    if (IsHexPrefix(text, i)) i += 2;
    const int high = HexDigit(text[i]);
    if (high < 0) return BadAt(i, bad);
    const int low = i + 1 < text.size() ? HexDigit(text[i + 1]) : -1;
    if (low < 0) return BadAt(i + 1, bad);
    bytes += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return bytes;
}

std::optional<std::string> DecodeHexDump(std::string_view text) {
  std::string bytes;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = Trim(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (line.empty()) continue;
    const auto digits = DigitsOfDumpLine(line);
    if (!digits) return std::nullopt;
    const auto decoded = DecodeHex(*digits);
    if (!decoded) return std::nullopt;
    bytes += *decoded;
  }
  return bytes;
}

std::optional<std::string> DecodeBase64(std::string_view text, size_t* bad) {
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3);
  uint32_t bits = 0;
  unsigned count = 0;
  bool ended = false;
  for (size_t i = 0; i < text.size(); ++i) {
    if (IsSpace(text[i])) continue;
    if (IsEscapedBlank(text, i)) {
      ++i;
      continue;
    }
    if (text[i] == '=') {
      ended = true;
      continue;
    }
    const int digit = Base64Digit(text[i]);
    if (digit < 0 || ended) return BadAt(i, bad);
    bits = bits << 6 | static_cast<uint32_t>(digit);
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFF);
  }
  // Six bits left over are a digit without a partner.
  if (count == 6) return BadAt(text.size(), bad);
  return bytes;
}

std::optional<std::string> DecodeDigits(std::string_view text, Form form, size_t* bad) {
  if (form == Form::kBase64) return DecodeBase64(text, bad);
  if (auto bytes = DecodeHex(text, bad)) return bytes;
  return DecodeHexDump(text);
}

std::string EncodeBase64(std::string_view bytes) {
  static constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t left = bytes.size() - i;
    std::array<uint32_t, 3> b{};
    for (size_t k = 0; k < 3 && k < left; ++k)
      b[k] = static_cast<unsigned char>(bytes[i + k]);
    const uint32_t word = b[0] << 16 | b[1] << 8 | b[2];
    text += kDigits[word >> 18];
    text += kDigits[word >> 12 & 63];
    text += left > 1 ? kDigits[word >> 6 & 63] : '=';
    text += left > 2 ? kDigits[word & 63] : '=';
  }
  return text;
}

std::string EncodeHex(std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(bytes.size() * 2);
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

std::vector<std::string_view> HexRuns(std::string_view line) {
  return Runs(line, kShortestHexRun, 0, IsHexDigit);
}

std::vector<std::string_view> Base64Runs(std::string_view line) {
  return Runs(line, kShortestBase64Run, 2, IsBase64Digit);
}

std::vector<std::string_view> PartsOfRun(std::string_view run) {
  return Split(run, [](char c) { return !IsLetterOrDigit(c); });
}

std::vector<std::string_view> LinesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (!IsBlank(line)) lines.push_back(line);
  }
  return lines;
}

std::vector<std::string_view> WordsOf(std::string_view line) {
  return Split(line, IsSpace);
}

bool IsBlank(std::string_view text) {
  return Trim(text).empty();
}

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsSpace(text.front()))
    text.remove_prefix(1);
  while (!text.empty() && IsSpace(text.back()))
    text.remove_suffix(1);
  return text;
}

}  // namespace replies
