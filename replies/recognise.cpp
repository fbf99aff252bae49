#include "replies/recognise.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "replies/encodings.h"
#include "replies/log_line.h"
#include "replies/wire.h"

namespace replies {
namespace {

// Lines of digits that are looked at before they count as the lines of one reply.
constexpr int kLinesLookedAt = 8;
// Places of a line at which digits may begin.
constexpr size_t kWordsLookedAt = 16;

// Text has no control characters, and is ASCII for the most part also where there is Chinese in it.
bool LooksLikeText(std::string_view bytes) {
  size_t ascii = 0;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 ? c != '\n' && c != '\r' && c != '\t' : byte == 0x7F) return false;
    if (byte < 0x80) ++ascii;
  }
  return ascii * 2 > bytes.size();
}

// The first line of the text form is a field of the envelope.
bool LooksLikeTextForm(std::string_view text) {
  text = Trim(text);
  while (!text.empty() && text[0] == '#') {
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) return false;
    text = Trim(text.substr(end + 1));
  }
  size_t size = 0;
  while (size < text.size() &&
         (std::isalnum(static_cast<unsigned char>(text[size])) != 0 || text[size] == '_'))
    ++size;
  const std::string_view name = text.substr(0, size);
  const std::string_view rest = Trim(text.substr(size));
  if (rest.empty() || (rest[0] != ':' && rest[0] != '{')) return false;
  return name == "Id" || name == "Obj" || name == "Tbl" || name == "JsonTbl" || name == "ObjCount" ||
         name.substr(0, 7) == "RepData";
}

// ---- binary ----

// The first frame looks like a reply, or like the beginning of one where it goes on behind the block.
bool LooksDelimited(std::string_view bytes, Extent extent) {
  size_t pos = 0;
  uint64_t size = 0;
  if (!ReadVarint(bytes, &pos, &size) || size == 0 || size > kMaxReplyBytes) return false;
  const std::string_view rest = bytes.substr(pos);
  if (size <= rest.size()) return LooksLikeReply(rest.substr(0, static_cast<size_t>(size)));
  return extent != Extent::kSoFar && LooksLikeStartOfReply(rest);
}

// Four bytes are a length only before an envelope with the next one, or the end, behind it; one that the
// block cuts needs its payload as well. Gives the length, or none.
std::optional<uint64_t> FixedLength(std::string_view bytes, Extent extent, Prefix prefix) {
  size_t pos = 0;
  uint64_t size = 0;
  if (ReadPrefix(bytes, prefix, &pos, &size) != PrefixStep::kRead || size > kMaxReplyBytes)
    return std::nullopt;
  const std::string_view rest = bytes.substr(pos);
  const auto there = static_cast<size_t>(std::min<uint64_t>(size, rest.size()));
  Effort few;
  bool has_payload = false;
  Look ignored = Look::kNo;
  const Look look = LookAtEnvelope(rest.substr(0, there), size, &few, &has_payload);
  const bool fits = there < size ? extent == Extent::kBlock && has_payload
                                 : LookBehind(bytes, pos + there, extent == Extent::kWhole, prefix,
                                              kMaxReplyBytes, &ignored) != Behind::kNoReply;
  return look != Look::kNo && fits ? std::optional<uint64_t>(size) : std::nullopt;
}

// Of a long reply both ends of the length may come first: the other way round it is longer still.
std::optional<Form> FixedForm(std::string_view bytes, Extent extent) {
  const auto big = FixedLength(bytes, extent, Prefix::kFixed32Be);
  const auto little = FixedLength(bytes, extent, Prefix::kFixed32Le);
  if (!big && !little) return std::nullopt;
  return big && (!little || *big <= *little) ? Form::kFixed32Be : Form::kFixed32Le;
}

Format RecogniseBinary(std::string_view bytes, Extent extent) {
  const bool raw = extent == Extent::kWhole ? LooksLikeReply(bytes) : LooksLikeStartOfReply(bytes);
  if (!raw && LooksDelimited(bytes, extent)) return {Form::kDelimited, false, 0, true};
  const auto fixed = raw ? std::nullopt : FixedForm(bytes, extent);
  if (fixed) return {*fixed, false, 0, true};
  return {Form::kRaw, false, 0, raw};
}

// ---- text ----

// Where a word begins in a line: what stands before the digits in all lines of a reply ends at one of these.
std::vector<size_t> WordStarts(std::string_view line) {
  const auto is_word = [&](size_t at) { return std::isalnum(static_cast<unsigned char>(line[at])) != 0; };
  std::vector<size_t> starts;
  for (size_t i = 0; i < line.size() && starts.size() < kWordsLookedAt; ++i) {
    if (i == 0 || (!is_word(i - 1) && is_word(i))) starts.push_back(i);
  }
  return starts;
}

// The lines without their first `column` characters; null if one of them is shorter.
std::optional<std::string> BehindColumn(const std::vector<std::string_view>& lines, size_t column) {
  std::string text;
  for (const std::string_view line : lines) {
    if (line.size() <= column) return std::nullopt;
    text += line.substr(column);
    text += '\n';
  }
  return text;
}

// Without the line that is cut where the bytes end.
std::string_view WholeLines(std::string_view text, Extent extent) {
  return extent == Extent::kWhole ? text : text.substr(0, text.rfind('\n') + 1);
}

bool IsReplyFromColumn(const std::vector<std::string_view>& lines, size_t column, Form form, Extent extent) {
  const auto text = BehindColumn(lines, column);
  const auto bytes = text ? DecodeDigits(*text, form) : std::nullopt;
  if (!bytes) return false;
  return extent == Extent::kWhole ? LooksLikeReply(*bytes) : LooksLikeStartOfReply(*bytes);
}

// One reply over all lines, each with the same width before its digits. The first of them alone often looks
// like a reply as well; several that do are replies of their own.
std::optional<Format> OverLines(std::string_view text, Extent extent, Form asked) {
  const auto lines = LinesOf(WholeLines(text, extent));
  if (lines.size() < 2) return std::nullopt;
  for (const size_t column : WordStarts(lines[0])) {
    for (const Form form : {Form::kHex, Form::kBase64}) {
      if (asked != Form::kAuto && asked != form) continue;
      if (!IsReplyFromColumn(lines, column, form, extent)) continue;
      const auto alone = std::count_if(lines.begin(), lines.end(), [&](std::string_view line) {
        const auto piece = DecodeDigits(line.substr(column), form);
        return piece && LooksLikeReply(*piece);
      });
      if (alone > 1) return std::nullopt;
      return Format{form, false, column, true};
    }
  }
  return std::nullopt;
}

bool HasReply(std::string_view line, Form form) {
  const LineContent content = RepliesInLine(line, form);
  return std::any_of(content.replies.begin(), content.replies.end(), LooksLikeReply);
}

// Whether some line has a reply of its own.
bool IsByLine(std::string_view text, Extent extent, Form form) {
  // One that is longer than the block may be all that there is.
  const bool look_at_cut_line = extent == Extent::kBlock && text.find('\n') == std::string_view::npos;
  int digit_lines = 0;
  for (const std::string_view untrimmed : LinesOf(look_at_cut_line ? text : WholeLines(text, extent))) {
    const std::string_view line = Trim(untrimmed);
    const bool digits_only = DecodeHex(line).has_value() || DecodeBase64(line).has_value();
    if (digits_only && ++digit_lines > kLinesLookedAt) continue;
    if (HasReply(line, form)) return true;
  }
  return false;
}

// Whether a reply begins with the digits, of which the last may be cut off.
bool BeginsReply(std::string_view digits, Form form, Extent extent) {
  // A byte has four characters at most, as "0x41".
  const size_t most_cut = extent == Extent::kWhole ? 0 : std::min<size_t>(digits.size(), 3);
  for (size_t cut = 0; cut <= most_cut; ++cut) {
    const auto bytes = DecodeDigits(digits.substr(0, digits.size() - cut), form);
    if (bytes && LooksLikeStartOfReply(*bytes)) return true;
  }
  return false;
}

// A reply over several lines of digits; only as much as the block holds is looked at.
std::optional<Format> OverWhole(std::string_view text, Extent extent) {
  std::string_view digits = text;
  // The line that the block cuts says nothing.
  if (extent != Extent::kWhole && text.find('\n') != std::string_view::npos)
    digits = text.substr(0, text.rfind('\n'));
  for (const Form form : {Form::kHex, Form::kBase64}) {
    if (BeginsReply(digits, form, extent)) return Format{form, false, 0, true};
  }
  // Digits that are no reply are still digits.
  if (DecodeHex(text)) return Format{Form::kHex, false, 0, true};
  return std::nullopt;
}

Format RecogniseText(std::string_view text, Extent extent, Form asked) {
  if (asked == Form::kAuto && LooksLikeTextForm(text)) return {Form::kText, false, 0, true};
  if (const auto over_lines = OverLines(text, extent, asked)) return *over_lines;
  const Form in_line = asked == Form::kAuto ? Form::kLines : asked;
  if (IsByLine(text, extent, in_line)) return {in_line, true, 0, true};
  if (asked != Form::kAuto) return {asked, false, 0, true};
  return OverWhole(text, extent).value_or(Format{Form::kText, false, 0, false});
}

}  // namespace

std::optional<Format> Recognise(std::string_view bytes, Extent extent, Form asked) {
  switch (asked) {
    case Form::kRaw:
    case Form::kDelimited:
    case Form::kFixed32Be:
    case Form::kFixed32Le:
    case Form::kText: return Format{asked, false, 0, true};
    case Form::kLines: return Format{asked, true, 0, true};
    default: break;
  }
  const bool is_text = asked != Form::kAuto || LooksLikeText(bytes);
  const Format format = is_text ? RecogniseText(bytes, extent, asked) : RecogniseBinary(bytes, extent);
  if (extent == Extent::kSoFar && !format.many()) return std::nullopt;
  return format;
}

}  // namespace replies
