#include "replies/text_form.h"

#include <fmt/format.h>
#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/text_format.h>

#include <string_view>
#include <vector>

#include "replies/parse_reply.h"
#include "replies/schema.h"
#include "replies/wire.h"

namespace replies {
namespace {

namespace pb = google::protobuf;

class FirstError : public pb::io::ErrorCollector {
 public:
  explicit FirstError(std::string* text) : text_(text) {}
  void AddError(int line, pb::io::ColumnNumber column, const std::string& message) override {
    if (!text_->empty()) return;
    // It becomes a part of a sentence.
    const bool stop = !message.empty() && message.back() == '.';
    *text_ = fmt::format("line {}, column {}: {}", line + 1, column + 1,
                         std::string_view(message).substr(0, message.size() - (stop ? 1 : 0)));
  }
  void AddWarning(int, pb::io::ColumnNumber, const std::string&) override {}

 private:
  std::string* text_;
};

}  // namespace

bool TextToBytes(const std::string& text, bool partial, std::string* bytes, std::string* error) {
  const auto reply = Schema::Get().NewReply();
  error->clear();
  FirstError errors(error);
  pb::TextFormat::Parser parser;
  parser.RecordErrorsTo(&errors);
  parser.AllowPartialMessage(true);
  // Deeper text would give bytes that nobody parses.
  parser.SetRecursionLimit(kDeepest);
  if (!parser.ParseFromString(text, reply.get())) return false;
  std::vector<std::string> missing;
  if (!partial) reply->FindInitializationErrors(&missing);
  if (!missing.empty()) {
    *error = fmt::format("required field \"{}\" is missing", missing[0]);
    return false;
  }
  return reply->SerializePartialToString(bytes);
}

bool BytesToText(const std::string& bytes, std::string* text, std::string* error) {
  const auto reply = ParseReply(bytes, error);
  if (reply == nullptr) return false;
  pb::TextFormat::Printer printer;
  printer.SetUseUtf8StringEscaping(true);
  return printer.PrintToString(*reply, text);
}

}  // namespace replies
