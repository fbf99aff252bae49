#include "tesview/show/pretty_json.h"

#include <algorithm>

#include "tesview/show/style.h"

namespace tesview {
namespace {

// Behind the closing quote.
size_t StringEnd(std::string_view json, size_t begin) {
  size_t end = begin + 1;
  while (end < json.size() && json[end] != '"')
    end += json[end] == '\\' ? 2U : 1U;
  return std::min(end + 1, json.size());
}

}  // namespace

std::string PrettyJson(std::string_view json, bool color) {
  const Style style{color};
  std::string out;
  size_t depth = 0;
  const auto new_line = [&out, &depth] { out.append("\n").append(depth * 2, ' '); };
  for (size_t i = 0; i < json.size();) {
    const char c = json[i];
    if (c == '"') {
      const size_t end = StringEnd(json, i);
      const std::string_view text = json.substr(i, end - i);
      const bool key = end < json.size() && json[end] == ':';
      out += key ? style.Cyan(text) : std::string(text);
      i = end;
      continue;
    }
    ++i;
    if (c == ' ') continue;
    if ((c == '{' || c == '[') && i < json.size() && (json[i] == '}' || json[i] == ']')) {
      out += c;
      out += json[i++];
    } else if (c == '{' || c == '[') {
      out += c;
      ++depth;
      new_line();
    } else if (c == '}' || c == ']') {
      if (depth > 0) --depth;
      new_line();
      out += c;
    } else if (c == ',') {
      out += c;
      new_line();
    } else {
      out += c;
      if (c == ':') out += ' ';
    }
  }
  return out + "\n";
}

}  // namespace tesview
