#include "replies/log_line.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

#include "replies/encodings.h"
#include "replies/wire.h"

namespace replies {
namespace {

// Beginnings of one run that may turn out to be none: a line of nothing but beginnings would otherwise cost
// its square. What begins behind these is a lookalike, so it is not lost without a word.
constexpr int kMostTries = 16;
// Digits that show how a reply begins.
constexpr size_t kDigitsOfBeginning = 40;
// Digits after which it is first asked whether they are one reply still, and how many times as many it is
// then.
constexpr size_t kDigitsOfFirstLook = 256;
constexpr size_t kGrowth = 4;

using Bytes = std::optional<std::string>;

Bytes Decode(std::string_view digits, Form form) {
  return form == Form::kHex ? DecodeHex(digits) : DecodeBase64(digits);
}

// The first bytes of digits that may have been cut off anywhere.
std::string Beginning(std::string_view digits, size_t size, Form form) {
  digits = digits.substr(0, size);
  Bytes bytes = Decode(digits, form);
  while (!bytes) {
    digits.remove_suffix(1);
    bytes = Decode(digits, form);
  }
  return *bytes;
}

bool IsOneReply(const Bytes& bytes) {
  return bytes && LooksLikeEnvelope(*bytes) && !HasSeveralIds(*bytes);
}

// All of the digits, if they are one reply. Of many replies only the first is decoded to find that they are
// not.
Bytes DecodeOneReply(std::string_view digits, Form form) {
  for (size_t size = kDigitsOfFirstLook; size < digits.size(); size *= kGrowth) {
    const std::string beginning = Beginning(digits, size, form);
    if (HasSeveralIds(beginning) || !LooksLikeStartOfReply(beginning)) return std::nullopt;
  }
  Bytes bytes = Decode(digits, form);
  return IsOneReply(bytes) ? bytes : std::nullopt;
}

// ---- digits among words ----

struct Found {
  std::string_view digits;  // where they begin in the line; the reply may end before they do
  std::string bytes;
  Form form;
};

// Any digits may stand among words, so more is asked of them there than in a line of their own.
class RunReader {
 public:
  explicit RunReader(Form form) : form_(form) {}

  void Read(std::string_view run);

  std::vector<Found> TakeFound() { return std::move(found_); }
  bool lookalike() const { return lookalike_; }

 private:
  size_t TakeReply(std::string_view tail, std::string_view part);

  Form form_;
  std::vector<Found> found_;
  bool lookalike_ = false;
};

// The digits of the reply at the front of `tail`, whose first part is `part`; 0 if there is no reply.
size_t RunReader::TakeReply(std::string_view tail, std::string_view part) {
  std::string_view digits = tail;
  Bytes bytes = DecodeOneReply(tail, form_);
  if (!bytes) {
    digits = part;
    bytes = DecodeOneReply(part, form_);
    // The first line of a longer reply often holds no more than its Id.
    if (bytes && !BeginsLikeEnvelope(*bytes)) bytes.reset();
  }
  if (!bytes) {
    // Several in one are better than none.
    digits = tail;
    bytes = Decode(tail, form_);
  }
  if (!bytes || !LooksLikeEnvelope(*bytes)) return 0;
  found_.push_back({digits, std::move(*bytes), form_});
  return digits.size();
}

void RunReader::Read(std::string_view run) {
  int tries = 0;
  size_t taken = 0;
  bool lookalike = false;
  for (const std::string_view part : PartsOfRun(run)) {
    const auto at = static_cast<size_t>(part.data() - run.data());
    if (at < taken) continue;
    const std::string_view tail = run.substr(at);
    const std::string beginning = Beginning(tail, kDigitsOfBeginning, form_);
    if (beginning.empty() || beginning[0] != '\x08') continue;
    const size_t size = tries < kMostTries ? TakeReply(tail, part) : 0;
    tries += size == 0 ? 1 : 0;
    taken = at + size;
    // A name in front of a reply may have begun like one.
    lookalike = size == 0 && (lookalike || BeginsLikeEnvelope(beginning));
  }
  lookalike_ = lookalike_ || lookalike;
}

std::vector<Found> ReadRuns(const std::vector<std::string_view>& runs, Form form, bool* lookalike) {
  RunReader reader(form);
  for (const std::string_view run : runs)
    reader.Read(run);
  *lookalike = *lookalike || reader.lookalike();
  return reader.TakeFound();
}

// Without the runs in which a reply has been found, in the order of the line as both are.
std::vector<std::string_view> WithoutFound(std::vector<std::string_view> runs,
                                           const std::vector<Found>& found) {
  auto next = found.begin();
  const auto has_reply = [&](std::string_view run) {
    while (next != found.end() && next->digits.data() < run.data())
      ++next;
    return next != found.end() && next->digits.data() < run.data() + run.size();
  };
  runs.erase(std::remove_if(runs.begin(), runs.end(), has_reply), runs.end());
  return runs;
}

LineContent AmongWords(std::string_view line, Form form) {
  LineContent content;
  std::vector<Found> found;
  if (form != Form::kBase64) found = ReadRuns(HexRuns(line), Form::kHex, &content.lookalike);
  if (form != Form::kHex) {
    // The digits of hexadecimal are digits of base64 too.
    auto more = ReadRuns(WithoutFound(Base64Runs(line), found), Form::kBase64, &content.lookalike);
    std::move(more.begin(), more.end(), std::back_inserter(found));
    std::sort(found.begin(), found.end(),
              [](const Found& a, const Found& b) { return a.digits.data() < b.digits.data(); });
  }
  for (Found& each : found)
    content.replies.push_back(std::move(each.bytes));
  if (!found.empty() && found.back().form == Form::kHex)
    content.hex_column = static_cast<size_t>(found.back().digits.data() - line.data());
  return content;
}

// ---- a line of nothing but digits ----

// One reply a word, where that is so; otherwise all of it is one.
std::vector<std::string> RepliesInWords(std::string_view line, Form form, std::string all) {
  std::vector<std::string> replies;
  if (HasSeveralIds(all)) {
    for (const std::string_view word : WordsOf(line)) {
      Bytes bytes = Decode(word, form);
      if (!bytes || !LooksLikeReply(*bytes)) return {std::move(all)};
      replies.push_back(std::move(*bytes));
    }
    return replies;
  }
  replies.push_back(std::move(all));
  return replies;
}

// Bytes that are no reply: a line of nothing but digits is a damaged one, which is for others to say; a line
// of words is a line of words.
Bytes DamagedReply(std::string_view line, Form form) {
  if (form != Form::kLines) {
    if (auto bytes = Decode(line, form)) return bytes;
    const auto runs = form == Form::kHex ? HexRuns(line) : Base64Runs(line);
    const auto longest =
        std::max_element(runs.begin(), runs.end(), [](auto a, auto b) { return a.size() < b.size(); });
    return longest == runs.end() ? std::nullopt : Decode(*longest, form);
  }
  if (auto hex = DecodeHex(line); hex && !hex->empty()) return hex;
  if (auto base64 = DecodeBase64(line); base64 && BeginsLikeEnvelope(*base64)) return base64;
  return std::nullopt;
}

}  // namespace

LineContent RepliesInLine(std::string_view line, Form form) {
  for (const Form each : {Form::kHex, Form::kBase64}) {
    if (form != each && form != Form::kLines) continue;
    Bytes bytes = Decode(line, each);
    if (bytes && LooksLikeReply(*bytes)) return {RepliesInWords(line, each, std::move(*bytes)), 0, false};
  }
  LineContent content = AmongWords(line, form);
  if (!content.replies.empty()) return content;
  if (Bytes damaged = DamagedReply(line, form)) return {{std::move(*damaged)}, 0, false};
  return content;
}

}  // namespace replies
