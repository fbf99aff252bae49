#include "replies/reply_reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "replies/delimited_reader.h"
#include "replies/encodings.h"
#include "replies/log_line.h"
#include "replies/wire.h"

namespace replies {
namespace {

// The longest reply, written in hexadecimal.
constexpr size_t kMaxTextBytes = size_t{2} * kMaxReplyBytes;

// ---- one reply ----

class WholeReader : public FormReader {
 public:
  WholeReader(Window* window, const Format& format, TextParser text_parser)
      : window_(window), format_(format), text_parser_(std::move(text_parser)) {}

  Next Read(Reply* reply, std::string* error) override;

 private:
  bool TakeAll(std::string* all, std::string* error);
  bool ToBytes(const std::string& all, std::string* bytes, std::string* error) const;
  bool DigitsToBytes(const std::string& all, std::string* bytes, std::string* error) const;

  Window* window_;
  Format format_;
  TextParser text_parser_;
  bool done_ = false;
};

Next WholeReader::Read(Reply* reply, std::string* error) {
  if (std::exchange(done_, true)) return Next::kEnd;
  reply->number = 1;
  reply->offset = 0;
  std::string all;
  if (!TakeAll(&all, error)) return Next::kBad;
  if (format_.form == Form::kRaw) {
    reply->bytes = std::move(all);
    return Next::kReply;
  }
  return ToBytes(all, &reply->bytes, error) ? Next::kReply : Next::kBad;
}

bool WholeReader::TakeAll(std::string* all, std::string* error) {
  // How much may be kept shows with the first bytes.
  window_->Fill(1);
  const size_t possible = format_.form == Form::kRaw ? kMaxReplyBytes : kMaxTextBytes;
  const size_t limit = std::min(possible, window_->MostAtOnce());
  if (window_->Fill(limit + 1)) {
    *error = limit == possible
                 ? fmt::format("more than {} bytes, which no reply can have", limit)
                 : fmt::format(
                       "more than {} bytes out of compressed input; if they are one reply, unpack the "
                       "input before",
                       limit);
    return false;
  }
  // Half a reply is none.
  window_->Rethrow();
  all->assign(window_->bytes());
  window_->Drop(all->size());
  return true;
}

bool WholeReader::ToBytes(const std::string& all, std::string* bytes, std::string* error) const {
  if (format_.form != Form::kText) return DigitsToBytes(all, bytes, error);
  if (text_parser_(all, bytes, error)) return true;
  *error = format_.certain
               ? "not a reply in text form: " + *error
               : fmt::format("not recognised as a reply in any form (as text: {}); --from says which it is",
                             *error);
  return false;
}

// Without what stands before the digits of each line; a line that is too short for that has none.
std::string DigitsBehind(const std::vector<std::string_view>& lines, size_t column) {
  std::string digits;
  for (const std::string_view line : lines) {
    if (line.size() > column) digits.append(line.substr(column)).append(1, '\n');
  }
  return digits;
}

bool WholeReader::DigitsToBytes(const std::string& all, std::string* bytes, std::string* error) const {
  const auto lines = LinesOf(all);
  const std::string behind = format_.column == 0 ? std::string() : DigitsBehind(lines, format_.column);
  const std::string& digits = format_.column == 0 ? all : behind;
  size_t bad = 0;
  auto decoded = DecodeDigits(digits, format_.form, &bad);
  if (!decoded) {
    const char* name = format_.form == Form::kHex ? "hexadecimal" : "base64";
    *error = bad < digits.size() ? fmt::format("not {}: at offset {} stands 0x{:02x}", name, bad,
                                               static_cast<unsigned char>(digits[bad]))
                                 : fmt::format("not {}: the last digit stands alone", name);
    return false;
  }
  if (lines.size() > 1 && HasSeveralIds(*decoded)) {
    *error =
        "several replies one after the other over several lines; put each into a line or a file of its own";
    return false;
  }
  *bytes = std::move(*decoded);
  return true;
}

// ---- some in each line ----

// Whether the lines below a reply belong to it: digits below its own that make another reply together with
// it. Then that one was only the beginning of this.
class LinesBelow {
 public:
  // `column` is where the last reply of the line has its digits; 0 if nothing can go on below it.
  void Begin(const std::string& bytes, size_t column) {
    column_ = column;
    reply_ = GrowingReply();
    if (column_ != 0) reply_.Append(bytes);
  }

  bool GoOn(std::string_view line) {
    if (column_ == 0) return false;
    const auto bytes = line.size() > column_ ? DecodeHex(Trim(line.substr(column_))) : std::nullopt;
    if (bytes) reply_.Append(*bytes);
    const bool may_go_on = bytes && !bytes->empty() && reply_.looks_begun();
    const bool whole = may_go_on && reply_.looks_whole();
    if (!may_go_on || whole) column_ = 0;
    return whole;
  }

 private:
  size_t column_ = 0;
  GrowingReply reply_;
};

class LineReader : public FormReader {
 public:
  LineReader(Window* window, Form form) : window_(window), form_(form) {}

  Next Read(Reply* reply, std::string* error) override;
  Lookalikes lookalikes() const override { return lookalikes_; }

 private:
  bool TakeLine(std::string* line);
  void Look(std::string_view line);
  bool HasNothing(std::string_view line, std::string* error);

  Window* window_;
  Form form_;
  std::vector<std::string> found_;  // in the last line, the last one first
  uint64_t offset_ = 0;             // of that line
  uint64_t line_number_ = 0;
  uint64_t number_ = 0;
  LinesBelow below_;
  Lookalikes lookalikes_;
};

Next LineReader::Read(Reply* reply, std::string* error) {
  std::string line;
  while (found_.empty()) {
    offset_ = window_->position();
    if (!TakeLine(&line)) return Next::kEnd;
    if (IsBlank(line)) continue;
    Look(line);
    if (!found_.empty() || !HasNothing(line, error)) continue;
    reply->number = number_;
    reply->offset = offset_;
    return Next::kBad;
  }
  reply->number = ++number_;
  reply->offset = offset_;
  reply->bytes = std::move(found_.back());
  found_.pop_back();
  return Next::kReply;
}

// The next line, without its end; false at the end of the source.
bool LineReader::TakeLine(std::string* line) {
  size_t looked_at = 0;
  size_t end = std::string_view::npos;
  while ((end = window_->bytes().find('\n', looked_at)) == std::string_view::npos) {
    looked_at = window_->bytes().size();
    if (looked_at > std::min(kMaxTextBytes, window_->MostAtOnce()))
      throw InputError("a line is too long to hold a reply");
    if (!window_->ReadMore()) break;
  }
  const bool has_end = end != std::string_view::npos;
  if (!has_end && looked_at == 0) return false;
  line->assign(window_->bytes().substr(0, end));
  window_->Drop(line->size() + (has_end ? 1 : 0));
  ++line_number_;
  return true;
}

void LineReader::Look(std::string_view line) {
  LineContent content = RepliesInLine(line, form_);
  found_ = std::move(content.replies);
  if (!found_.empty()) below_.Begin(found_.back(), content.hex_column);
  std::reverse(found_.begin(), found_.end());
  // Of a form that was asked for, a line without replies is an error already.
  const bool counts = content.lookalike && (form_ == Form::kLines || !found_.empty());
  if (counts && ++lookalikes_.lines == 1) lookalikes_.first_line = line_number_;
}

// Whether a line without replies is an error, which is then said.
bool LineReader::HasNothing(std::string_view line, std::string* error) {
  if (form_ != Form::kLines) {
    *error = fmt::format("reply {} at offset {}: no {} digits in this line", ++number_, offset_,
                         form_ == Form::kHex ? "hexadecimal" : "base64");
    return true;
  }
  if (!below_.GoOn(line)) return false;
  *error = fmt::format(
      "reply {} goes on at offset {}: only its first line was read; put its lines into a file of their own",
      number_, offset_);
  return true;
}

}  // namespace

Format ReplyReader::FindFormat() {
  if (const auto known = Recognise({}, Extent::kSoFar, asked_)) return *known;
  while (window_.bytes().size() < kBlock && window_.ReadMore()) {
    if (!window_.HasPaused()) continue;
    if (const auto format = Recognise(window_.bytes().substr(0, kBlock), Extent::kSoFar, asked_))
      return *format;
  }
  const Extent extent = window_.ended() ? Extent::kWhole : Extent::kBlock;
  return Recognise(window_.bytes().substr(0, kBlock), extent, asked_).value_or(Format());
}

void ReplyReader::Open() {
  format_ = FindFormat();
  if (format_.form == Form::kRaw && !format_.certain && !window_.ended())
    throw InputError("neither a reply nor a stream of replies; if it is one, --from says which");
  if (format_.by_line) {
    form_reader_ = std::make_unique<LineReader>(&window_, format_.form);
  } else if (const auto prefix = PrefixOf(format_.form)) {
    form_reader_ =
        std::make_unique<DelimitedReader>(&window_, DelimitedOptions{*prefix, resync_, part_, choose_});
  } else {
    form_reader_ = std::make_unique<WholeReader>(&window_, format_, text_parser_);
  }
}

Form ReplyReader::FindForm() {
  if (form_reader_ == nullptr) Open();
  return format_.form;
}

Next ReplyReader::Read(Reply* reply, std::string* error) {
  FindForm();
  reply->lost = 0;
  while (true) {
    const Next next = form_reader_->Read(reply, error);
    if (next == Next::kEnd) window_.Rethrow();
    // Of a stream replies are chosen before they are copied.
    const bool chosen = next != Next::kReply || !choose_ || PrefixOf(format_.form) ||
                        choose_({reply->bytes, reply->number, reply->offset});
    if (chosen) return next;
  }
}

}  // namespace replies
