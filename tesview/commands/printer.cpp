#include "tesview/commands/printer.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "tesview/terminal/complain.h"
#include "tesview/terminal/terminal.h"

namespace tesview {
namespace {

std::string WhereIs(const Item& item) {
  if (!item.number_reply) return item.source + ": ";
  return fmt::format("{}: reply {} at offset {}: ", item.source, item.reply.number, item.reply.offset);
}

}  // namespace

Printer::Printer(const ShowRequest& request, Output* output, Progress* progress, ExitCode* code)
    : request_(request),
      output_(output),
      progress_(progress),
      code_(code),
      output_is_terminal_(IsTerminal(STDOUT_FILENO)) {}

void Printer::Print(const ReadItem& read, const Shown& shown) {
  const bool is_binary = request_.view.to == To::kArrow;
  // Also where this reply cannot be shown: the rows are those of replies before it.
  if (is_binary && !shown.header.empty()) WriteBytes(shown);
  if (!read.error.empty()) {
    const bool only_said = read.error_code == kAllShown;
    return Fail(read.error, only_said && request_.strict ? kSomeNotShown : read.error_code);
  }
  if (shown.dropped) return;
  if (!shown.error.empty()) {
    ++replies_;
    bytes_ += read.item.reply.bytes.size();
    return Fail(WhereIs(read.item) + shown.error, kSomeNotShown);
  }
  if (!window_ || window_->Takes()) PrintGood(read, shown);
  if (window_ && window_->is_full()) throw EnoughPrinted();
}

void Printer::PrintGood(const ReadItem& read, const Shown& shown) {
  ++replies_;
  bytes_ += read.item.reply.bytes.size();
  if (report_ != nullptr) return report_->Add(read.item, shown.part);
  if (request_.view.to != To::kArrow) WriteLines(shown);
}

void Printer::WriteLines(const Shown& shown) {
  // The progress line and the output may share the terminal.
  if (output_is_terminal_) progress_->Clear();
  if (request_.view.to == To::kTable && printed_ != 0) output_->Write("\n");
  if (shown.header != last_header_) {
    if (!last_header_.empty()) output_->Write("\n");
    output_->Write(shown.header);
    last_header_ = shown.header;
  }
  output_->Write(shown.out);
  ++printed_;
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
  if (header.empty()) return;
  if (last_header_.empty()) output_->WriteBytes(header);
  output_->WriteBytes(footer);
}

void Printer::Fail(const std::string& what, ExitCode code) {
  failed_ += code == kAllShown ? 0 : 1;
  *code_ = std::max(*code_, code);
  // What was printed before comes before the complaint, also where both go to one place.
  output_->Flush();
  progress_->Clear();
  Complain(what);
  if (report_ != nullptr) report_->AddFailure(what);
  if (request_.strict) throw StopAtFirst();
}

}  // namespace tesview
