// The transcoding of texts, there and back, against iconv, character by character.
#include <iconv.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "fuzz/support/target.h"
#include "tsl_base/text.h"

namespace {

iconv_t Open(const char* to, const char* from) {
  const iconv_t converter = iconv_open(to, from);
  FUZZ_CHECK(converter != reinterpret_cast<iconv_t>(-1));  // NOLINT(performance-no-int-to-ptr)
  return converter;
}

// False if some character has no counterpart. Nothing is what the C library's iconv makes of the tag
// characters, U+E0000 to U+E007F: it passes over them.
bool Convert(iconv_t converter, const std::string& text, std::string* converted) {
  std::string in = text;
  std::string out(text.size() * 4 + 4, '\0');
  char* from = in.data();
  char* to = out.data();
  size_t in_left = in.size();
  size_t out_left = out.size();
  iconv(converter, nullptr, nullptr, nullptr, nullptr);
  if (iconv(converter, &from, &in_left, &to, &out_left) != 0 || in_left != 0) return false;
  converted->assign(out.data(), out.size() - out_left);
  return true;
}

// The well-formed sequences of UTF-8: ranges of the first and the second byte, and the length. All further
// bytes are 80 to BF.
struct Form {
  unsigned char least1, most1, least2, most2;
  size_t length;
};
constexpr Form kForms[] = {
    {0x00, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4}};

// How many bytes at `from` belong together, and whether they are a character.
size_t Sequence(const std::string& text, size_t from, bool* whole) {
  const auto at = [&text](size_t i) { return static_cast<unsigned char>(text[i]); };
  *whole = false;
  for (const Form& form : kForms) {
    if (at(from) < form.least1 || at(from) > form.most1) continue;
    size_t length = 1;
    while (length < form.length && from + length < text.size()) {
      const unsigned char least = length == 1 ? form.least2 : 0x80;
      const unsigned char most = length == 1 ? form.most2 : 0xBF;
      if (at(from + length) < least || at(from + length) > most) break;
      ++length;
    }
    *whole = length == form.length;
    return length;
  }
  return 1;
}

std::string Expected(const std::string& text) {
  static const iconv_t to_gb = Open("CP936", "UTF-8");
  std::string result;
  for (size_t i = 0; i < text.size();) {
    bool whole = false;
    const size_t length = Sequence(text, i, &whole);
    std::string code;
    const bool has_code = whole && Convert(to_gb, text.substr(i, length), &code) && !code.empty();
    result += has_code ? code : "?";
    i += length;
  }
  return result;
}

// The way back: each place gives the character of its first two bytes, or of its first, or U+FFFD.
std::string ExpectedBack(const std::string& text) {
  static const iconv_t to_utf8 = Open("UTF-8", "CP936");
  const auto is_between = [](char c, int first) {
    const int byte = static_cast<unsigned char>(c);
    return byte >= first && byte <= 0xFE;
  };
  std::string result;
  for (size_t i = 0; i < text.size();) {
    std::string character;
    const bool is_pair = i + 1 < text.size() && is_between(text[i], 0x81) && is_between(text[i + 1], 0x40);
    size_t length = 1;
    if (is_pair && Convert(to_utf8, text.substr(i, 2), &character)) {
      length = 2;
    } else if (!Convert(to_utf8, text.substr(i, 1), &character)) {
      character = "\xEF\xBF\xBD";
      // ASCII behind a lead byte is nobody's second half.
      if (is_pair && is_between(text[i + 1], 0x80)) length = 2;
    }
    result += character;
    i += length;
  }
  return result;
}

void CheckWayBack(const std::string& text) {
  const std::string back = tsl_base::text::Gb2312ToUtf8(text);
  FUZZ_CHECK(back == ExpectedBack(text));
  FUZZ_CHECK(back.size() <= 3 * text.size());
  // It is UTF-8, and leads to the same bytes again where nothing was replaced.
  const std::string again = tsl_base::text::Utf8toGb2312(back);
  if (back.find("\xEF\xBF\xBD") == std::string::npos) FUZZ_CHECK(again == text);
  const char* terminated = text.c_str();
  FUZZ_CHECK(tsl_base::text::Gb2312ToUtf8(terminated) ==
             tsl_base::text::Gb2312ToUtf8(text.substr(0, std::strlen(terminated))));
}

void gb2312(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string got = tsl_base::text::Utf8toGb2312(text);
  FUZZ_CHECK(got == Expected(text));
  FUZZ_CHECK(got.size() <= text.size());
  // A text whose characters all have codes comes back.
  static const iconv_t to_utf8 = Open("UTF-8", "CP936");
  std::string back;
  if (got.find('?') == std::string::npos) {
    FUZZ_CHECK(Convert(to_utf8, got, &back) && back == text);
    FUZZ_CHECK(tsl_base::text::Gb2312ToUtf8(got) == text);
  }

  const char* terminated = text.c_str();
  FUZZ_CHECK(tsl_base::text::Utf8toGb2312(terminated) ==
             tsl_base::text::Utf8toGb2312(text.substr(0, std::strlen(terminated))));

  // The input itself too, as the bytes of any cell.
  CheckWayBack(text);
  CheckWayBack(got);
}

}  // namespace

FUZZ_TARGET(gb2312, 4096, fuzz::Kind::kTexts)
