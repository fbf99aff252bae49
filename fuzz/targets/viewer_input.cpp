// What the viewer does with bytes before they are a reply, with texts on their way to a screen, and with
// texts and bytes on their way into a page.
#include <jansson.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/support/input.h"
#include "fuzz/support/target.h"
#include "replies/encodings.h"
#include "replies/reply_reader.h"
#include "replies/suggest.h"
#include "replies/text.h"
#include "replies/wire.h"
#include "tesview/report/embedded.h"

namespace {

// The bytes in pieces, as a pipe gives them.
class PieceSource : public replies::ByteSource {
 public:
  PieceSource(std::string_view bytes, size_t piece, bool pauses)
      : bytes_(bytes), piece_(piece), pauses_(pauses) {}

  size_t Read(char* to, size_t size) override {
    const size_t n = std::min({size, piece_, bytes_.size()});
    if (n != 0) std::memcpy(to, bytes_.data(), n);
    bytes_.remove_prefix(n);
    return n;
  }
  bool HasPaused() override { return pauses_; }
  bool MayWait() const override { return pauses_; }

 private:
  std::string_view bytes_;
  size_t piece_;
  bool pauses_;
};

// All that a reader gives, in one comparable text.
std::vector<std::string> ReadAll(std::string_view bytes, size_t piece, bool pauses, replies::Form form) {
  PieceSource source(bytes, piece, pauses);
  const auto text_parser = [](const std::string& text, std::string* reply, std::string* error) {
    if (text.size() % 2 != 0) {
      *error = "odd";
      return false;
    }
    *reply = text;
    return true;
  };
  replies::ReplyReader reader(&source, form, text_parser);
  std::vector<std::string> all;
  try {
    uint64_t position = 0;
    while (true) {
      replies::Reply reply;
      std::string error;
      const replies::Next next = reader.Read(&reply, &error);
      FUZZ_CHECK(reader.position() >= position && reader.position() <= bytes.size());
      position = reader.position();
      if (next == replies::Next::kEnd) break;
      FUZZ_CHECK(reply.offset <= bytes.size());
      FUZZ_CHECK(next == replies::Next::kReply || !error.empty());
      all.push_back(next == replies::Next::kBad ? "bad " + error
                                                : std::to_string(reply.offset) + " " + reply.bytes);
      FUZZ_CHECK(all.size() <= bytes.size() + 1);
    }
    const replies::Lookalikes lookalikes = reader.lookalikes();
    FUZZ_CHECK((lookalikes.lines == 0) == (lookalikes.first_line == 0));
    FUZZ_CHECK(lookalikes.lines + lookalikes.first_line <= bytes.size() + 2);
    all.push_back("form " + std::to_string(static_cast<int>(reader.form())));
    all.push_back("lookalikes " + std::to_string(lookalikes.lines));
  } catch (const replies::InputError& error) {
    all.push_back(error.what());
  }
  return all;
}

void CheckReader(std::string_view bytes, replies::Form form) {
  const size_t piece = std::max<size_t>(1, bytes.size() / 5);
  FUZZ_CHECK(ReadAll(bytes, bytes.size() + 1, false, form) == ReadAll(bytes, piece, false, form));
  // Where the source pauses, less is known when the form is chosen.
  ReadAll(bytes, piece, true, form);
}

void CheckEncodings(const std::string& text) {
  size_t bad = 0;
  FUZZ_CHECK(replies::DecodeHex(replies::EncodeHex(text)) == text);
  FUZZ_CHECK(replies::DecodeBase64(replies::EncodeBase64(text)) == text);
  if (!replies::DecodeHex(text, &bad)) FUZZ_CHECK(bad <= text.size());
  if (!replies::DecodeBase64(text, &bad)) FUZZ_CHECK(bad <= text.size());
  replies::DecodeHexDump(text);
  for (const auto& runs : {replies::HexRuns(text), replies::Base64Runs(text)}) {
    size_t all = 0;
    for (const std::string_view run : runs) {
      all += run.size();
      for (const std::string_view part : replies::PartsOfRun(run))
        FUZZ_CHECK(!part.empty() && part.data() >= run.data() && part.size() <= run.size());
    }
    FUZZ_CHECK(all <= text.size());
  }
  FUZZ_CHECK(replies::Trim(text).size() <= text.size());
}

void CheckWire(std::string_view bytes) {
  size_t pos = 0;
  replies::WireField field;
  replies::WireStep step = replies::WireStep::kField;
  while (step == replies::WireStep::kField) {
    const size_t before = pos;
    step = replies::ReadField(bytes, &pos, &field);
    FUZZ_CHECK(pos <= bytes.size());
    FUZZ_CHECK((pos > before) == (step == replies::WireStep::kField));
  }
  FUZZ_CHECK((step == replies::WireStep::kEnd) == (pos == bytes.size()));
  for (size_t cut = 0; cut < 4; ++cut) {
    replies::GrowingReply growing;
    growing.Append(bytes.substr(0, bytes.size() * cut / 4));
    growing.Append(bytes.substr(bytes.size() * cut / 4));
    FUZZ_CHECK(growing.looks_whole() == replies::LooksLikeReply(bytes));
    FUZZ_CHECK(growing.looks_begun() == replies::LooksLikeStartOfReply(bytes));
  }
  int32_t id = 0;
  const bool has_id = replies::FindId(bytes, &id);
  if (replies::LooksLikeReply(bytes)) {
    FUZZ_CHECK(has_id && step == replies::WireStep::kEnd);
    FUZZ_CHECK(replies::LooksLikeStartOfReply(bytes));
  } else {
    FUZZ_CHECK(!replies::LooksLikeEnvelope(bytes));
  }
}

// The text comes back from it, as far as JSON can say it.
void CheckJsonString(const std::string& json, const std::string& text) {
  const std::string list = "[" + json + "]";
  json_t* parsed = json_loadb(list.data(), list.size(), JSON_ALLOW_NUL, nullptr);
  FUZZ_CHECK(parsed != nullptr && json_array_size(parsed) == 1);
  const json_t* shown = json_array_get(parsed, 0);
  FUZZ_CHECK(json_is_string(shown));
  if (replies::IsUtf8(text))
    FUZZ_CHECK(std::string(json_string_value(shown), json_string_length(shown)) == text);
  json_decref(parsed);
}

void CheckText(const std::string& text) {
  const std::string utf8 = replies::ToUtf8(text);
  FUZZ_CHECK(replies::IsUtf8(utf8));
  const std::string printable = replies::Printable(utf8);
  FUZZ_CHECK(replies::IsUtf8(printable));
  for (const char c : printable)
    FUZZ_CHECK(static_cast<unsigned char>(c) >= 0x20 && c != 0x7F);
  for (const size_t width : {size_t{0}, size_t{1}, size_t{2}, size_t{7}, size_t{40}}) {
    const std::string cut = replies::CutToWidth(printable, width);
    FUZZ_CHECK(replies::IsUtf8(cut));
    FUZZ_CHECK(replies::DisplayWidth(cut) <= width);
  }
  replies::DisplayWidth(text);
  replies::Printable(text);

  std::string json;
  replies::AppendJsonString(&json, text);
  CheckJsonString(json, text);

  std::string csv;
  replies::AppendCsvField(&csv, utf8);
  FUZZ_CHECK(csv.size() >= utf8.size());
  FUZZ_CHECK(replies::Nearest(text.substr(0, 40), {"json", "table", "csv", "summary"}).size() <= 3);
}

// Nothing in it is markup, and all of it comes back.
void CheckEmbedded(const std::string& bytes) {
  std::string json;
  tesview::AppendEmbeddedString(&json, bytes);
  FUZZ_CHECK(json.find_first_of("<>&") == std::string::npos);
  CheckJsonString(json, bytes);

  const std::string block = tesview::EmbeddedBlock(bytes.size(), bytes);
  const size_t begin = block.find('>') + 1;
  const size_t end = block.find('<', begin);
  FUZZ_CHECK(block.substr(end) == "</script>\n");
  FUZZ_CHECK(replies::DecodeBase64(block.substr(begin, end - begin)) == bytes);
}

void viewer_input(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  constexpr replies::Form kForms[] = {replies::Form::kAuto, replies::Form::kRaw,    replies::Form::kDelimited,
                                      replies::Form::kHex,  replies::Form::kBase64, replies::Form::kText,
                                      replies::Form::kLines};
  // Samples of all forms are seeds as they stand: what they begin with has to mean "find out".
  const uint8_t first = size == 0 ? uint8_t{0} : data[0];
  const replies::Form form = first >= 0xF8 ? kForms[first % 7] : replies::Form::kAuto;
  if (first >= 0xF8) input.Byte();
  const std::string bytes = input.Rest();
  CheckReader(bytes, form);
  CheckEncodings(bytes);
  CheckWire(bytes);
  CheckText(bytes);
  CheckEmbedded(bytes);
}

}  // namespace

FUZZ_TARGET(viewer_input, 4096, fuzz::Kind::kTexts)
