#include "replies/reply_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <vector>

#include "replies/encodings.h"
#include "replies/wire.h"

namespace replies {
namespace {

// What is looked at to recognise a source, and the step in which memory grows.
constexpr size_t kBlock = size_t{64} * 1024;
// The parser's own limit.
constexpr size_t kMaxReplyBytes = 0x7FFFFFFF;
// The same written in hexadecimal.
constexpr size_t kMaxTextBytes = 2 * kMaxReplyBytes;
// Lines of digits that are looked at before they count as the lines of one reply.
constexpr int kLinesLookedAt = 8;
// Places of a line at which digits may begin.
constexpr size_t kWordsLookedAt = 16;
// Lines that may belong to one reply are put together up to this size.
constexpr size_t kMostJoined = size_t{256} * 1024;

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
  while (true) {
    text = Trim(text);
    if (text.empty()) return false;
    if (text[0] != '#') break;
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) return false;
    text = text.substr(end + 1);
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

std::optional<std::string> ReplyInRun(std::optional<std::string> bytes) {
  if (bytes && LooksLikeReply(*bytes)) return bytes;
  return std::nullopt;
}

std::optional<std::string> GuessBytesInLine(std::string_view line) {
  auto hex = DecodeHex(line);
  if (hex && LooksLikeReply(*hex)) return hex;
  auto base64 = DecodeBase64(line);
  if (base64 && LooksLikeReply(*base64)) return base64;
  if (auto found = ReplyInRun(DecodeHex(LongestHexRun(line)))) return found;
  if (auto found = ReplyInRun(DecodeBase64(LongestBase64Run(line)))) return found;
  // A line of nothing but digits is a damaged reply, which is for others to say; a line of words is a line of
  // words.
  if (hex && !hex->empty()) return hex;
  if (base64 && !base64->empty() && (*base64)[0] == '\x08') return base64;
  return std::nullopt;
}

std::optional<std::string> DecodeWhole(std::string_view text, Form form, size_t* bad) {
  if (form == Form::kBase64) return DecodeBase64(text, bad);
  if (auto bytes = DecodeHex(text, bad)) return bytes;
  return DecodeHexDump(text);
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

// A reply has one Id, in front. Dumps of several, one after the other, would be read as one reply.
bool HasSeveralIds(std::string_view bytes) {
  size_t pos = 0;
  WireField field;
  int ids = 0;
  while (ReadField(bytes, &pos, &field) == WireStep::kField)
    ids += field.number == 1 && field.wire_type == 0 ? 1 : 0;
  return ids > 1;
}

// Where a word begins in a line: what stands before the digits in all lines of a reply ends at one of these.
std::vector<size_t> WordStarts(std::string_view line) {
  std::vector<size_t> starts;
  for (size_t i = 0; i < line.size() && starts.size() < kWordsLookedAt; ++i) {
    const auto is_word = [&](size_t at) { return std::isalnum(static_cast<unsigned char>(line[at])) != 0; };
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

// Every frame that lies wholly in `bytes` looks like a reply, and so does the beginning of a last one.
bool LooksDelimited(std::string_view bytes, bool all_frames) {
  size_t pos = 0;
  bool any = false;
  while (pos < bytes.size()) {
    uint64_t size = 0;
    if (!ReadVarint(bytes, &pos, &size) || size == 0 || size > kMaxReplyBytes) return any && !all_frames;
    const std::string_view rest = bytes.substr(pos);
    const bool whole = size <= rest.size();
    if (!whole && all_frames) return false;
    const bool good =
        whole ? LooksLikeReply(rest.substr(0, static_cast<size_t>(size))) : LooksLikeStartOfReply(rest);
    if (!good) return any && !all_frames;
    any = true;
    if (!whole) break;
    pos += static_cast<size_t>(size);
  }
  return any;
}

}  // namespace

size_t MemorySource::Read(char* to, size_t size) {
  const size_t n = std::min(size, bytes_.size());
  if (n != 0) std::memcpy(to, bytes_.data(), n);
  bytes_.remove_prefix(n);
  return n;
}

std::optional<std::string> BytesInLine(std::string_view line, Form form) {
  switch (form) {
    case Form::kHex:
      if (auto bytes = DecodeHex(line)) return bytes;
      if (const auto run = LongestHexRun(line); !run.empty()) return DecodeHex(run);
      return std::nullopt;
    case Form::kBase64:
      if (auto bytes = DecodeBase64(line)) return bytes;
      if (const auto run = LongestBase64Run(line); !run.empty()) return DecodeBase64(run);
      return std::nullopt;
    default: return GuessBytesInLine(line);
  }
}

// True if at least `size` bytes are there.
bool ReplyReader::Fill(size_t size) {
  while (buffer_.size() - begin_ < size && !source_ended_) {
    buffer_.erase(0, begin_);
    begin_ = 0;
    const size_t had = buffer_.size();
    buffer_.resize(had + std::max(kBlock, std::min(size - had, had / 2)));
    const size_t got = source_->Read(buffer_.data() + had, buffer_.size() - had);
    buffer_.resize(had + got);
    if (got == 0) source_ended_ = true;
  }
  return buffer_.size() - begin_ >= size;
}

void ReplyReader::Drop(size_t size) {
  begin_ += size;
  position_ += size;
}

bool ReplyReader::TakeAll(std::string* all, std::string* error) {
  const size_t limit = form_ == Form::kRaw ? kMaxReplyBytes : kMaxTextBytes;
  if (Fill(limit + 1)) {
    *error = fmt::format("more than {} bytes, which no reply can have", limit);
    return false;
  }
  all->assign(Buffered());
  Drop(all->size());
  return true;
}

// The next line, without its end; false at the end of the source.
bool ReplyReader::TakeLine(std::string* line) {
  size_t looked_at = 0;
  while (true) {
    const std::string_view buffered = Buffered();
    const size_t end = buffered.find('\n', looked_at);
    if (end != std::string_view::npos) {
      line->assign(buffered.substr(0, end));
      Drop(end + 1);
      return true;
    }
    looked_at = buffered.size();
    if (looked_at > kMaxTextBytes) throw InputError("a line is too long to hold a reply");
    if (Fill(looked_at + 1)) continue;
    if (looked_at == 0) return false;
    // Asked for anew: filling may have moved the buffer.
    line->assign(Buffered());
    Drop(looked_at);
    return true;
  }
}

void ReplyReader::Recognise() {
  started_ = true;
  if (form_ == Form::kRaw || form_ == Form::kDelimited || form_ == Form::kText) return;
  if (form_ == Form::kLines) {
    by_line_ = true;
    guessed_ = true;
    return;
  }
  Fill(kBlock);
  guessed_ = form_ == Form::kAuto;
  const std::string_view block = Buffered();
  if (!guessed_ || LooksLikeText(block)) {
    RecogniseText();
  } else {
    RecogniseBinary();
  }
}

void ReplyReader::RecogniseText() {
  std::string_view rest = Buffered();
  if (guessed_ && LooksLikeTextForm(rest)) {
    form_ = Form::kText;
    return;
  }
  if (RecogniseOverLines()) return;
  int lines = 0;
  while (!rest.empty()) {
    const size_t end = rest.find('\n');
    if (end == std::string_view::npos && !source_ended_ && lines > 0) break;
    const std::string_view line = Trim(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
    if (line.empty()) continue;
    const bool digits_only = DecodeHex(line).has_value() || DecodeBase64(line).has_value();
    if (digits_only && ++lines > kLinesLookedAt) continue;
    const auto bytes = BytesInLine(line, form_);
    if (bytes && LooksLikeReply(*bytes)) {
      by_line_ = true;
      return;
    }
  }
  if (guessed_ && !RecogniseWhole()) {
    form_ = Form::kText;
    unrecognised_ = true;
  }
}

// One reply over all lines, each with the same width before its digits. The first of them alone often looks
// like a reply as well; several that do are replies of their own.
bool ReplyReader::RecogniseOverLines() {
  std::string_view block = Buffered();
  if (!source_ended_) block = block.substr(0, block.rfind('\n') + 1);
  const auto lines = LinesOf(block);
  if (lines.size() < 2) return false;
  for (const size_t column : WordStarts(lines[0])) {
    const auto text = BehindColumn(lines, column);
    if (!text) continue;
    for (const Form form : {Form::kHex, Form::kBase64}) {
      if (!guessed_ && form != form_) continue;
      const auto bytes = DecodeWhole(*text, form, nullptr);
      if (!bytes || !(source_ended_ ? LooksLikeReply(*bytes) : LooksLikeStartOfReply(*bytes))) continue;
      const auto alone = std::count_if(lines.begin(), lines.end(), [&](std::string_view line) {
        const auto piece = DecodeWhole(line.substr(column), form, nullptr);
        return piece && LooksLikeReply(*piece);
      });
      if (alone > 1) return false;
      form_ = form;
      column_ = column;
      return true;
    }
  }
  return false;
}

// A reply over several lines; only as much as the block holds is looked at.
bool ReplyReader::RecogniseWhole() {
  for (const Form form : {Form::kHex, Form::kBase64}) {
    std::string_view text = Buffered();
    // The line that the block cuts says nothing.
    if (!source_ended_ && text.find('\n') != std::string_view::npos) text = text.substr(0, text.rfind('\n'));
    if (!source_ended_) text = text.substr(0, text.size() / 4 * 4);
    const auto bytes = DecodeWhole(text, form, nullptr);
    if (bytes && !bytes->empty() && LooksLikeStartOfReply(*bytes)) {
      form_ = form;
      return true;
    }
  }
  // Digits that are no reply are still digits.
  if (DecodeHex(Buffered())) {
    form_ = Form::kHex;
    return true;
  }
  return false;
}

void ReplyReader::RecogniseBinary() {
  const std::string_view block = Buffered();
  const bool raw = source_ended_ ? LooksLikeReply(block) : LooksLikeStartOfReply(block);
  form_ = !raw && LooksDelimited(block, false) ? Form::kDelimited : Form::kRaw;
  if (form_ == Form::kRaw && !raw && !source_ended_)
    throw InputError("neither a reply nor a stream of replies; if it is one, --from says which");
}

Next ReplyReader::Read(Reply* reply, std::string* error) {
  if (done_) return Next::kEnd;
  if (!started_) Recognise();
  if (form_ == Form::kDelimited) return ReadDelimited(reply, error);
  if (by_line_) return ReadLine(reply, error);
  return ReadWhole(reply, error);
}

Next ReplyReader::ReadWhole(Reply* reply, std::string* error) {
  done_ = true;
  std::string all;
  reply->number = ++number_;
  reply->offset = 0;
  if (!TakeAll(&all, error)) return Next::kBad;
  if (form_ == Form::kRaw) {
    reply->bytes = std::move(all);
    return Next::kReply;
  }
  if (form_ == Form::kText) {
    reply->bytes.clear();
    if (text_parser_(all, &reply->bytes, error)) return Next::kReply;
    *error = unrecognised_
                 ? fmt::format("not recognised as a reply in any form (as text: {}); --from says which it is",
                               *error)
                 : "not a reply in text form: " + *error;
    return Next::kBad;
  }
  const auto lines = LinesOf(all);
  const bool several_lines = lines.size() > 1;
  if (column_ != 0) {
    // Without what stands before the digits; a line that is too short for that has none.
    std::string digits;
    for (const std::string_view line : lines) {
      if (line.size() > column_) digits.append(line.substr(column_)).append(1, '\n');
    }
    all = std::move(digits);
  }
  size_t bad = 0;
  auto bytes = DecodeWhole(all, form_, &bad);
  if (!bytes) {
    const char* name = form_ == Form::kHex ? "hexadecimal" : "base64";
    *error = bad < all.size() ? fmt::format("not {}: at offset {} stands 0x{:02x}", name, bad,
                                            static_cast<unsigned char>(all[bad]))
                              : fmt::format("not {}: the last digit stands alone", name);
    return Next::kBad;
  }
  if (several_lines && HasSeveralIds(*bytes)) {
    *error =
        "several replies one after the other over several lines; put each into a line or a file of its own";
    return Next::kBad;
  }
  reply->bytes = std::move(*bytes);
  return Next::kReply;
}

// The rest of the source cannot be read any more: nothing says where the next reply begins.
Next ReplyReader::Stop(std::string* error, const std::string& what) {
  done_ = true;
  return Bad(error, what);
}

Next ReplyReader::Bad(std::string* error, const std::string& what) const {
  *error = fmt::format("reply {} at offset {}: {}", number_, position_, what);
  return Next::kBad;
}

Next ReplyReader::ReadDelimited(Reply* reply, std::string* error) {
  Fill(1);
  if (Buffered().empty()) {
    done_ = true;
    return Next::kEnd;
  }
  ++number_;
  size_t prefix = 0;
  uint64_t size = 0;
  // No more is waited for than the length has, so that a slow stream is shown as it comes.
  while (!ReadVarint(Buffered(), &prefix, &size)) {
    if (Buffered().size() >= 10) return Stop(error, "its length is no varint; the stream is damaged here");
    if (!Fill(Buffered().size() + 1)) return Stop(error, "the stream ends inside its length");
  }
  if (size > kMaxReplyBytes) {
    return Stop(
        error,
        fmt::format("its length is given as {}, which no reply can have; the stream is damaged here", size));
  }
  const size_t whole = prefix + static_cast<size_t>(size);
  if (!Fill(whole)) {
    return Stop(error, fmt::format("its length is given as {}, but the stream ends after {} bytes", size,
                                   Buffered().size() - prefix));
  }
  reply->number = number_;
  reply->offset = position_;
  reply->bytes.assign(Buffered().substr(prefix, static_cast<size_t>(size)));
  Drop(whole);
  return Next::kReply;
}

Next ReplyReader::ReadLine(Reply* reply, std::string* error) {
  std::string line;
  while (true) {
    const uint64_t offset = position_;
    if (!TakeLine(&line)) {
      done_ = true;
      return Next::kEnd;
    }
    if (IsBlank(line)) continue;
    auto bytes = BytesInLine(line, form_);
    if (guessed_ && !bytes) {
      if (!GoesOn(line)) continue;
      *error = fmt::format(
          "reply {} goes on at offset {}: only its first line was read; put its lines into a file of their own",
          number_, offset);
      return Next::kBad;
    }
    ++number_;
    if (!bytes) {
      *error = fmt::format("reply {} at offset {}: no {} digits in this line", number_, offset,
                           form_ == Form::kHex ? "hexadecimal" : "base64");
      return Next::kBad;
    }
    reply->number = number_;
    reply->offset = offset;
    reply->bytes = std::move(*bytes);
    if (guessed_) {
      joined_ = reply->bytes;
      const std::string_view run = LongestHexRun(line);
      joined_column_ = run.empty() ? 0 : static_cast<size_t>(run.data() - line.data());
    }
    return Next::kReply;
  }
}

// Whether the line has digits below those of the last reply and makes another reply together with it and the
// lines between them: then that one was only the beginning of this.
bool ReplyReader::GoesOn(std::string_view line) {
  if (joined_.empty() || joined_column_ == 0) return false;
  const std::string_view run =
      line.size() > joined_column_ ? line.substr(joined_column_) : std::string_view();
  const auto bytes = DecodeHex(Trim(run));
  if (!bytes || bytes->empty() || joined_.size() > kMostJoined) {
    joined_.clear();
    return false;
  }
  joined_ += *bytes;
  const bool whole = LooksLikeReply(joined_);
  if (whole || !LooksLikeStartOfReply(joined_)) joined_.clear();
  return whole;
}

}  // namespace replies
