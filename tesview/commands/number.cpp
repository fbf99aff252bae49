#include <fmt/format.h>

#include <charconv>
#include <string_view>

#include "tesparser/tesparser.h"
#include "tesview/commands/commands.h"

namespace tesview {
namespace {

int64_t RawNumber(const std::string& text) {
  std::string_view digits = text;
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) digits.remove_prefix(1);
  const bool hex = digits.size() > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
  if (hex) digits.remove_prefix(2);
  uint64_t value = 0;
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
  const bool whole = error == std::errc() && end == digits.data() + digits.size();
  // Hexadecimal shows the 64 bits; decimal is a number with a sign.
  if (!whole || (!hex && value > (negative ? uint64_t{1} << 63 : ~uint64_t{0} >> 1))) {
    throw UsageError(
        fmt::format("\"{}\" is no 64-bit number, as 1234 and 0x4D2 are; --pack takes 12.34", text));
  }
  return static_cast<int64_t>(negative ? ~value + 1 : value);
}

std::string ScaleText(int64_t raw, int divisor) {
  const auto code = static_cast<unsigned>(static_cast<uint64_t>(raw) >> 16 & 0xF);
  if (raw < 0) return "bit 63 is set: no packed decimal";
  if (code == 2) return "code 2: a value that does not exist";
  if (divisor == 0) return fmt::format("code {}: invalid", code);
  int places = 0;
  for (int d = divisor; d > 1; d /= 10)
    ++places;
  return fmt::format("code {}: {} decimal{}, divided by {}", code, places, places == 1 ? "" : "s", divisor);
}

std::string NumberDetails(int64_t raw, double number, int divisor) {
  const auto bits = static_cast<uint64_t>(raw);
  const uint64_t mantissa = (bits >> 24) << 16 | (bits & 0xFFFF);
  const auto nibble = static_cast<unsigned>(bits >> 20 & 0xF);
  std::string text = fmt::format("{:#x} = {}\n", bits, raw);
  text += fmt::format("  number    {}\n",
                      divisor == 0 ? std::string("none, read as 0") : fmt::format("{}", number));
  if (raw >= 0) text += fmt::format("  mantissa  {}\n", mantissa);
  text += fmt::format("  scale     {}\n", ScaleText(raw, divisor));
  if (raw >= 0)
    text += fmt::format("  sign      nibble {}: {}\n", nibble, nibble == 0 ? "positive" : "negative");
  int ignored = 0;
  return text + fmt::format("  as int    {}\n", TesparserInt64ToInt(raw, &ignored));
}

// The scale codes by decimal places.
constexpr unsigned kCodes[] = {10, 1, 0, 3, 4, 5, 6, 7, 8, 9};
constexpr uint64_t kMostMantissa = (uint64_t{1} << 55) - 1;

int64_t PackNumber(const std::string& text) {
  std::string digits = text;
  const bool negative = !digits.empty() && digits[0] == '-';
  if (negative) digits.erase(0, 1);
  const size_t point = digits.find('.');
  const size_t places = point == std::string::npos ? 0 : digits.size() - point - 1;
  if (point != std::string::npos) digits.erase(point, 1);
  uint64_t mantissa = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), mantissa);
  if (error != std::errc() || end != digits.data() + digits.size() || places > 9 ||
      mantissa > kMostMantissa) {
    throw UsageError(fmt::format(
        "\"{}\" cannot be packed: it takes digits, at most 9 of them behind a point, and no more than {} "
        "without the point",
        text, kMostMantissa));
  }
  const uint64_t sign = negative ? 1 : 0;
  return static_cast<int64_t>((mantissa >> 16) << 24 | sign << 20 | uint64_t{kCodes[places]} << 16 |
                              (mantissa & 0xFFFF));
}

}  // namespace

void Answer(const NumberRequest& request, Output* output, ExitCode* /*code*/) {
  for (const std::string& value : request.values) {
    const int64_t raw = request.pack ? PackNumber(value) : RawNumber(value);
    int divisor = 0;
    const double number = TesparserInt64ToDouble(raw, &divisor);
    if (request.packed) {
      output->Write(NumberDetails(raw, number, divisor));
    } else if (request.pack) {
      output->Write(fmt::format("{}\n", raw));
    } else {
      output->Write(divisor == 0 ? std::string("none\n") : fmt::format("{}\n", number));
    }
  }
}

}  // namespace tesview
