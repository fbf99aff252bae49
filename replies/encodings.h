// Bytes written as text: hexadecimal and base64, as logs, dumps and mails have them.
#ifndef REPLIES_ENCODINGS_H_
#define REPLIES_ENCODINGS_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace replies {

// Pairs of hexadecimal digits. Between pairs may stand blanks, line ends, ',', ':', ';' and '-', and each
// pair may have a 0x or \x before it. A line end may also be written as \n. Null if anything else is there or
// a digit has no second one; `bad` then receives where.
std::optional<std::string> DecodeHex(std::string_view text, size_t* bad = nullptr);

// The same with the lines of a dump: an offset before the digits, the bytes as text behind them.
std::optional<std::string> DecodeHexDump(std::string_view text);

// Base64 with either alphabet, with or without '=' at the end, blanks and line ends anywhere. Null as above.
std::optional<std::string> DecodeBase64(std::string_view text, size_t* bad = nullptr);

std::string EncodeBase64(std::string_view bytes);
std::string EncodeHex(std::string_view bytes);

// The longest unbroken run of digits of either form in a line of a log, if it is long enough to be no
// accident.
std::string_view LongestHexRun(std::string_view line);
std::string_view LongestBase64Run(std::string_view line);

bool IsBlank(std::string_view text);
std::string_view Trim(std::string_view text);

}  // namespace replies

#endif  // REPLIES_ENCODINGS_H_
