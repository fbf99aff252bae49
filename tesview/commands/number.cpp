#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "replies/definitions.h"
#include "replies/encodings.h"
#include "replies/layouts.h"
#include "replies/reply_reader.h"
#include "replies/source.h"
#include "replies/suggest.h"
#include "replies/text_form.h"
#include "replies/vocabulary.h"
#include "replies/words.h"
#include "tesview/commands/commands.h"

namespace tesview {

using replies::Definition;
using replies::DefinitionNames;
using replies::DidYouMean;
using replies::EncodeBase64;
using replies::EncodeHex;
using replies::HasTable;
using replies::InputError;
using replies::LowerCase;
using replies::NameOfType;
using replies::Payload;
using replies::ReadWholeFile;
using replies::TextToBytes;
using replies::TypedLayoutsOf;
using replies::Vocabulary;

namespace {

// ---- ids ----

bool IsNumber(const std::string& word) {
  return !word.empty() &&
         std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
}

bool Matches(const Payload& payload, const std::vector<std::string>& words) {
  if (words.empty()) return true;
  return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
    if (IsNumber(word)) return std::to_string(payload.id) == word;
    return LowerCase(payload.name).find(LowerCase(word)) != std::string::npos ||
           LowerCase(payload.field).find(LowerCase(word)) != std::string::npos;
  });
}

std::string TableForms(int32_t id) {
  std::string forms = HasTable(id) ? "table" : "";
  std::string types;
  for (const TPType type : TypedLayoutsOf(id)) {
    types += types.empty() ? "--type " : ", ";
    types += type == TPTypeZhiBiao1 ? "ZhiBiao1 to ZhiBiao16" : NameOfType(type);
  }
  if (forms.empty() || types.empty()) return forms + types;
  return forms + ", " + types;
}

// ---- number ----

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

// ---- pack ----

std::string AsVarint(uint64_t value) {
  std::string bytes;
  for (; value > 0x7F; value >>= 7)
    bytes += static_cast<char>((value & 0x7F) | 0x80);
  return bytes + static_cast<char>(value);
}

std::string Packed(const std::string& bytes, PackForm form) {
  switch (form) {
    case PackForm::kRaw: return bytes;
    case PackForm::kDelimited: return AsVarint(bytes.size()) + bytes;
    case PackForm::kHex: return EncodeHex(bytes) + "\n";
    case PackForm::kBase64: return EncodeBase64(bytes) + "\n";
  }
  return bytes;
}

// A file that is written, or standard output.
class Target {
 public:
  Target(const std::string& path, Output* output) : output_(output) {
    if (path.empty()) return;
    fd_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (fd_ < 0) throw OutputError(fmt::format("{}: cannot write it: {}", path, std::strerror(errno)));
  }
  ~Target() {
    if (fd_ >= 0) close(fd_);
  }
  Target(const Target&) = delete;
  Target& operator=(const Target&) = delete;

  void Write(std::string_view bytes) {
    if (fd_ < 0) return output_->WriteBytes(bytes);
    Output(fd_).WriteBytes(bytes);
  }

 private:
  Output* output_;
  int fd_ = -1;
};

}  // namespace

ExitCode RunIds(const IdsCommand& command, Output* output) {
  bool any = false;
  for (const Payload& payload : Vocabulary()) {
    if (!Matches(payload, command.words)) continue;
    const std::string forms = TableForms(payload.id);
    if (command.only_tables && forms.empty()) continue;
    if (!any) output->Write(fmt::format("{:>5}  {:<40}  {}\n", "Id", "payload", "table"));
    any = true;
    std::string line = fmt::format("{:>5}  {:<40}  {}", payload.id, payload.name, forms);
    line.erase(line.find_last_not_of(' ') + 1);
    output->Write(line + "\n");
  }
  if (any) return kAllShown;
  std::vector<std::string> names;
  for (const Payload& payload : Vocabulary())
    names.push_back(payload.name);
  const std::string word = command.words.empty() ? "" : command.words[0];
  std::string near = DidYouMean(word, names);
  if (near.empty()) near = "; tesview ids lists them all";
  Complain(fmt::format("no Id{} {} \"{}\"{}", command.only_tables ? " with a table" : "",
                       IsNumber(word) ? "has the number" : "is called", word, near));
  return kSomeNotShown;
}

ExitCode RunSchema(const SchemaCommand& command, Output* output) {
  ExitCode code = kAllShown;
  bool first = true;
  for (const std::string& name : command.names) {
    const auto definition = Definition(name, command.all);
    if (!definition) {
      output->Flush();
      std::string near = DidYouMean(name, DefinitionNames());
      if (near.empty()) near = "; tesview ids lists the payloads";
      Complain(fmt::format("no message or enumeration {} \"{}\"{}",
                           IsNumber(name) ? "has the Id" : "is called", name, near));
      code = kSomeNotShown;
      continue;
    }
    if (!first) output->Write("\n");
    output->Write(*definition);
    first = false;
  }
  return code;
}

ExitCode RunNumber(const NumberCommand& command, Output* output) {
  for (const std::string& value : command.values) {
    const int64_t raw = command.pack ? PackNumber(value) : RawNumber(value);
    int divisor = 0;
    const double number = TesparserInt64ToDouble(raw, &divisor);
    if (command.packed) {
      output->Write(NumberDetails(raw, number, divisor));
    } else if (command.pack) {
      output->Write(fmt::format("{}\n", raw));
    } else {
      output->Write(divisor == 0 ? std::string("none\n") : fmt::format("{}\n", number));
    }
  }
  return kAllShown;
}

ExitCode RunPack(const PackCommand& command, Output* output) {
  // All of it is made before anything is written, so that an error leaves no half of a reply behind.
  std::string all;
  for (const std::string& path : command.paths) {
    std::string bytes;
    std::string error;
    std::string text;
    try {
      text = ReadWholeFile(path);
    } catch (const InputError& failure) {
      Complain(fmt::format("{}: {}", path, failure.what()));
      return kFileTrouble;
    }
    if (!TextToBytes(text, command.partial, &bytes, &error)) {
      Complain(fmt::format("{}: {}", path == "-" ? "(standard input)" : path, error));
      return kSomeNotShown;
    }
    all += Packed(bytes, command.form);
  }
  Target(command.output, output).Write(all);
  return kAllShown;
}

}  // namespace tesview
