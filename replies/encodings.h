// Bytes written as text: hexadecimal and base64, as logs, dumps and mails have them.
#ifndef REPLIES_ENCODINGS_H_
#define REPLIES_ENCODINGS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "replies/form.h"

namespace replies {

// Pairs of hexadecimal digits. Between pairs may stand blanks, line ends, ',', ':', ';' and '-', and each
// pair may have a 0x or \x before it. A line end may also be written as \n. Null if anything else is there or
// a digit has no second one; `bad` then receives where.
std::optional<std::string> DecodeHex(std::string_view text, size_t* bad = nullptr);

// The same with the lines of a dump: an offset before the digits, the bytes as text behind them.
std::optional<std::string> DecodeHexDump(std::string_view text);

// Base64 with either alphabet, with or without '=' at the end, blanks and line ends anywhere. Null as above.
std::optional<std::string> DecodeBase64(std::string_view text, size_t* bad = nullptr);

// Either of them, as a whole text has them: hexadecimal may be a dump.
std::optional<std::string> DecodeDigits(std::string_view text, Form form, size_t* bad = nullptr);

std::string EncodeBase64(std::string_view bytes);
std::string EncodeHex(std::string_view bytes);

// The runs of digits in a line with other words: unbroken but for line ends that are written as \n. '=' is a
// digit of base64 at the end of a run only, where it pads. Runs too short to be more than a number, a date or
// a name are left out. They are parts of `line`.
std::vector<std::string_view> HexRuns(std::string_view line);
std::vector<std::string_view> Base64Runs(std::string_view line);

// The parts of a run between characters that are neither letter nor digit. Digits may begin behind such a
// one, as in "reply/CBQSAkFC", where '/' is a digit itself.
std::vector<std::string_view> PartsOfRun(std::string_view run);

// The lines that are not blank, without their ends.
std::vector<std::string_view> LinesOf(std::string_view text);
// The words of a line, between blanks and line ends that are written as \n.
std::vector<std::string_view> WordsOf(std::string_view line);

bool IsBlank(std::string_view text);
std::string_view Trim(std::string_view text);

}  // namespace replies

#endif  // REPLIES_ENCODINGS_H_
