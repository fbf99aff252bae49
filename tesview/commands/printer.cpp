#include "tesview/commands/printer.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "replies/layouts.h"
#include "replies/vocabulary.h"
#include "tesview/terminal/complain.h"
#include "tesview/terminal/terminal.h"

namespace tesview {
namespace {

bool HasFields(To to) {
  return to == To::kCsv || to == To::kTsv;
}

}  // namespace

Printer::Printer(const ShowRequest& request, Output* output, Progress* progress, ExitCode* code)
    : request_(request),
      output_(output),
      progress_(progress),
      code_(code),
      output_is_terminal_(request.output.empty() && IsTerminal(STDOUT_FILENO)) {}

bool Printer::StopsAtFirst() const {
  return request_.strict;
}

void Printer::Print(const ReadItem& read, const Shown& shown) {
  const bool is_binary = request_.view.to == To::kArrow;
  // Also where this reply cannot be shown: the rows are those of replies before it.
  if (is_binary && !shown.header.empty()) WriteBytes(shown);
  if (!read.error.empty()) {
    const bool only_said = read.error_code == kAllShown;
    return Fail(read.error, only_said && request_.strict ? kSomeNotShown : read.error_code);
  }
  if (shown.dropped) return;
  if (!shown.error.empty()) return PrintError(read.item, shown);
  if (!window_ || window_->Takes()) PrintGood(read, shown);
  if (window_ && window_->is_full()) throw EnoughPrinted();
}

void Printer::PrintGood(const ReadItem& read, const Shown& shown) {
  ++replies_;
  bytes_ += read.item.reply.bytes.size();
  if (report_ != nullptr) return report_->Add(read.item, shown.part);
  if (request_.view.to == To::kArrow) return;
  const bool fits = !HasFields(request_.view.to) || last_header_.empty() || shown.header == last_header_;
  if (split_ != nullptr ? !WriteSplit(shown) : !fits) return LeaveOut(read, shown);
  if (split_ == nullptr) WriteLines(shown);
}

void Printer::WriteLines(const Shown& shown) {
  // The progress line and the output may share the terminal.
  if (output_is_terminal_) progress_->Clear();
  if (request_.view.to == To::kBin) return output_->WriteBytes(shown.out);
  if (request_.view.to == To::kTable && printed_ != 0) output_->Write("\n");
  if (shown.header != last_header_) {
    if (!last_header_.empty()) output_->Write("\n");
    if (last_header_.empty() && request_.bom) output_->Write(kByteOrderMark);
    output_->Write(shown.header);
    last_header_ = shown.header;
  }
  output_->Write(shown.out);
  ++printed_;
}

// False if one of the files has another header.
bool Printer::WriteSplit(const Shown& shown) {
  const replies::Payload* payload = replies::FindPayload(shown.id);
  const std::string id = fmt::format("{}", shown.id);
  const std::string name = payload == nullptr ? id : SafeName(payload->name);
  bool fits = true;
  const auto add = [&](const std::string& obj, const std::string& date, std::string_view lines) {
    fits = split_->Add({{"{id}", id},
                        {"{name}", name},
                        {"{obj}", obj.empty() ? "(none)" : SafeName(obj)},
                        {"{date}", date.empty() ? "undated" : date}},
                       shown.header, lines) &&
           fits;
  };
  size_t begin = 0;
  for (const LinesOfKey& key : shown.keys) {
    add(key.obj, key.date, std::string_view(shown.out).substr(begin, key.end - begin));
    begin = key.end;
  }
  if (begin < shown.out.size()) add("", "", std::string_view(shown.out).substr(begin));
  return fits;
}

// One file has one header. Said once for each Id, and how many at the end.
void Printer::LeaveOut(const ReadItem& read, const Shown& shown) {
  if (++left_out_[shown.id] != 1) return;
  // With all of an Id in one file its columns differ from reply to reply.
  const char* advice = request_.view.split.id ? "choose columns that all have, or take ndjson"
                                              : "choose an Id by --id or columns that all have, or take "
                                                "--split-by id or ndjson";
  Fail(fmt::format("{}: Id {} has other columns than what came before it, and a file has one header; {}",
                   WhereIs(read.item), replies::IdWithName(shown.id), advice),
       kSomeNotShown);
}

void Printer::SayLeftOut() {
  uint64_t all = 0;
  std::string ids;
  for (const auto& [id, count] : left_out_) {
    all += count;
    ids += fmt::format("{}{} of Id {}", ids.empty() ? "" : ", ", count, id);
  }
  if (all > 1) Complain(fmt::format("{} replies with other columns were left out: {}", all, ids));
}

void Printer::WriteBytes(const Shown& shown) {
  if (last_header_.empty()) output_->WriteBytes(shown.header);
  last_header_ = shown.header;
  output_->WriteBytes(shown.out);
}

void Printer::End(const std::string& header, const std::string& footer) {
  if (request_.view.to == To::kSummary && replies_ > 1) {
    output_->Write(fmt::format("{} replies, {} bytes{}\n", replies_, bytes_,
                               failed_ == 0 ? "" : fmt::format(", {} cannot be shown", failed_)));
  }
  output_->Flush();
  progress_->Clear();
  TellRepeated();
  if (!left_out_.empty()) SayLeftOut();
  if (header.empty()) return;
  if (last_header_.empty()) output_->WriteBytes(header);
  output_->WriteBytes(footer);
}

void Printer::PrintError(const Item& item, const Shown& shown) {
  ++replies_;
  bytes_ += item.reply.bytes.size();
  const std::string what = WhereIs(item) + ": " + shown.error;
  if (!WasSaid(item, shown.repeats)) return Fail(what, kSomeNotShown);
  Count(what, kSomeNotShown);
}

bool Printer::WasSaid(const Item& item, const std::string& repeats) {
  // A stream of another kind may bring any number of errors.
  constexpr size_t kMostRepeated = 1000;
  if (repeats.empty() || (repeated_.size() == kMostRepeated && repeated_.count(repeats) == 0)) return false;
  const auto [at, is_new] = repeated_.try_emplace(repeats);
  if (is_new) return false;
  ++at->second.more;
  at->second.last = WhereIs(item);
  return true;
}

void Printer::TellRepeated() {
  for (const auto& [what, repeated] : repeated_) {
    if (repeated.more == 0) continue;
    Complain(fmt::format("{} more {} like that: {}; the last is {}", repeated.more,
                         repeated.more == 1 ? "reply" : "replies", what, repeated.last));
  }
}

void Printer::Count(const std::string& what, ExitCode code) {
  failed_ += code == kAllShown ? 0 : 1;
  *code_ = std::max(*code_, code);
  if (report_ != nullptr) report_->AddFailure(what);
}

void Printer::Fail(const std::string& what, ExitCode code) {
  // What was printed before comes before the complaint, also where both go to one place.
  output_->Flush();
  progress_->Clear();
  Complain(what);
  Count(what, code);
  if (request_.strict) throw StopAtFirst();
}

}  // namespace tesview
