// Text on its way to people: UTF-8 from bytes that may be none, without what harms, and its width on a
// screen.
//
// Everything here is independent of the locale and may run on any thread.
#ifndef REPLIES_TEXT_H_
#define REPLIES_TEXT_H_

#include <string>
#include <string_view>

namespace replies {

bool IsUtf8(std::string_view text);

// The text with U+FFFD in the place of each maximal ill-formed sequence.
std::string ToUtf8(std::string_view text);

// With everything that a terminal would obey or that would break a line made visible: \n, \t, \x1b, \u202e.
std::string Printable(std::string_view utf8);

// Columns on a screen; East Asian wide characters take two.
size_t DisplayWidth(std::string_view utf8);

// At most `width` columns; what is cut ends in an ellipsis.
std::string CutToWidth(std::string_view utf8, size_t width);

// A JSON string with its quotes. Ill-formed UTF-8 becomes U+FFFD.
void AppendJsonString(std::string* to, std::string_view utf8);

// A CSV field, quoted where it has to be.
void AppendCsvField(std::string* to, std::string_view utf8);

// A field between tabs: tabs, line ends and backslashes become \\t, \\n, \\r and \\\\.
void AppendTsvField(std::string* to, std::string_view utf8);

// JSON in lines, or protobuf's text form in lines, for a terminal: what Printable() makes visible becomes an
// escape of that form, so that the text says the same. Line feeds stay.
std::string PrintableJson(std::string_view json);
std::string PrintableTextForm(std::string_view text);

}  // namespace replies

#endif  // REPLIES_TEXT_H_
