#include "tesview/commands/reply_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <limits>

#include "replies/diagnosis.h"
#include "replies/redact.h"
#include "replies/reply_reader.h"
#include "replies/source.h"
#include "replies/text.h"
#include "replies/text_form.h"
#include "replies/unpacked_source.h"
#include "tesview/terminal/interrupt.h"

namespace tesview {

using replies::DisplayWidth;
using replies::FileSource;
using replies::FindFiles;
using replies::Form;
using replies::InputError;
using replies::Printable;
using replies::ReplyReader;
using replies::TextToBytes;
using replies::UnpackedSource;

namespace {

constexpr uint64_t kRepliesBetweenLooks = 1024;

// What a thread looks at in some milliseconds.
constexpr uint64_t kPartBytes = uint64_t{16} * 1024 * 1024;

// In the midst of a file.
class NoMoreWanted : public std::exception {};

std::string NameOfFile(const std::string& path) {
  return path == "-" ? "(standard input)" : path;
}

}  // namespace

std::string WhereIs(const Item& item) {
  if (!item.number_reply) return item.source;
  return fmt::format("{}: reply {} at offset {}", item.source, item.reply.number, item.reply.offset);
}

namespace {

void FailToRead(ReadItem* next, const std::string& what) {
  next->error = what;
  next->error_code = kFileTrouble;
}

}  // namespace

ReplyFiles::ReplyFiles(const std::vector<std::string>& paths, Form from)
    : from_(from), files_(FindFiles(paths)) {
  if (files_.paths.empty() && files_.errors.empty())
    files_.errors.push_back(paths[0] + ": there are no files in it");
  for (const std::string& path : files_.paths)
    source_width_ = std::max(source_width_, DisplayWidth(Printable(NameOfFile(path))));
}

bool ReplyFiles::Next(ReadItem* next) {
  *next = ReadItem();
  if (stop_when_()) return false;
  if (next_error_ < files_.errors.size()) {
    FailToRead(next, files_.errors[next_error_++]);
    return true;
  }
  while (true) {
    try {
      if (replies_ == nullptr && !Open()) return false;
      if (TakeReply(next) || TakeLookalikes(next)) return true;
    } catch (const NoMoreWanted&) {
      return false;
    } catch (const InputError& error) {
      Close();
      FailToRead(next, fmt::format("{}: {}", name_, error.what()));
      return true;
    }
  }
}

bool ReplyFiles::Open() {
  if (next_file_ == files_.paths.size()) return false;
  const std::string& path = files_.paths[next_file_++];
  name_ = NameOfFile(path);
  const auto on_wait = [this] {
    on_wait_();
    if (WasInterrupted()) throw Interrupted();
  };
  on_wait();
  source_ = std::make_unique<FileSource>(path, on_wait);
  source_->OnWait(on_wait);
  unpacked_ = std::make_unique<UnpackedSource>(source_.get());
  counted_ = 0;
  replies_ = std::make_unique<ReplyReader>(
      unpacked_.get(), from_, [](const std::string& text, std::string* bytes, std::string* error) {
        return TextToBytes(text, false, bytes, error);
      });
  replies_->OnlyIf([this](const replies::ReplyView& reply) { return Chooses(reply); });
  if (!resync_) replies_->StopAtDamage();
  last_number_ = 0;
  if (ahead_threads_ != 0) LookAhead();
  return true;
}

void ReplyFiles::CountAhead(int threads, MakeTally make, std::function<void(const Tally&)> take) {
  ahead_threads_ = threads;
  make_tally_ = std::move(make);
  take_tally_ = std::move(take);
}

// Only of a file that is a stream as it is, and of more than one part.
void ReplyFiles::LookAhead() {
  const Form form = replies_->FindForm();
  const bool fits = source_->size().value_or(0) > kPartBytes &&
                    unpacked_->packing() == replies::Packing::kNone && replies::PrefixOf(form);
  if (!fits) return;
  auto scan = std::make_unique<PartScan>(source_.get(), form, kPartBytes, ahead_threads_, make_tally_);
  if (scan->threads() == 0) return;
  scan_ = std::move(scan);
  part_end_ = 0;
  replies_ = std::make_unique<ReplyReader>(source_.get(), form, replies::Part{0, 0});
}

// Takes what threads saw, up to where something has to be read in order. False at the end of the file.
bool ReplyFiles::NextPart() {
  if (scan_ == nullptr) return false;
  const Form form = replies_->form();
  uint64_t position = replies_->position();
  while (part_end_ != std::numeric_limits<uint64_t>::max()) {
    part_end_ = scan_->EndOfPart(position);
    const auto seen = scan_->Take(position);
    if (!seen) {
      source_->SkipTo(position);
      const replies::Part part{position, part_end_, false, last_number_};
      replies_ = std::make_unique<ReplyReader>(source_.get(), form, part);
      replies_->OnlyIf([this](const replies::ReplyView& reply) { return Chooses(reply); });
      return true;
    }
    take_tally_(*seen->tally);
    seen_ += seen->replies;
    last_number_ += seen->replies;
    position = seen->end;
    TellProgress(position);
  }
  return false;
}

// Also where no reply is wanted for long the user sees how far it is, and can interrupt.
bool ReplyFiles::Chooses(const replies::ReplyView& reply) {
  last_number_ = reply.number;
  if (++seen_ % kRepliesBetweenLooks == 0) {
    if (WasInterrupted()) throw Interrupted();
    TellProgress(std::max(reply.offset, replies_->position()));
  }
  const bool chosen = choose_(reply);
  // Otherwise the reading would go on until the next one that is given.
  if (!chosen && stop_when_()) throw NoMoreWanted();
  return chosen;
}

// `unpacked` is where the reading is in the stream; of a packed file its own bytes count.
void ReplyFiles::TellProgress(uint64_t unpacked) {
  const bool packed = unpacked_->packing() != replies::Packing::kNone;
  const uint64_t position = packed ? unpacked_->packed_bytes() : unpacked;
  on_progress_(position - counted_, seen_ - seen_told_);
  counted_ = position;
  seen_told_ = seen_;
}

void ReplyFiles::Close() {
  scan_.reset();
  replies_.reset();
  unpacked_.reset();
  source_.reset();
}

// False at the end of the file.
bool ReplyFiles::TakeReply(ReadItem* next) {
  replies::Next step = replies::Next::kEnd;
  do {
    step = replies_->Read(&next->item.reply, &next->error);
    TellProgress(replies_->position());
  } while (step == replies::Next::kEnd && NextPart());
  if (step == replies::Next::kEnd) return false;
  next->item.source = name_;
  next->item.source_width = source_width_;
  next->item.name_source = files_.paths.size() > 1;
  next->item.number_reply = replies_->many();
  if (step == replies::Next::kBad) {
    last_number_ = next->item.reply.number;
    next->error = fmt::format("{}: {}", name_, next->error);
    next->error_code = kSomeNotShown;
  } else if (redact_ && !replies::Redact(&next->item.reply.bytes)) {
    next->error = fmt::format("{}: {}", WhereIs(next->item), replies::WhyNoReply(next->item.reply.bytes));
    next->error_code = kSomeNotShown;
  }
  return true;
}

// What the file's lines seemed to hold is said at its end, once. False if there is nothing to say.
bool ReplyFiles::TakeLookalikes(ReadItem* next) {
  const replies::Lookalikes lookalikes = replies_->lookalikes();
  Close();
  if (lookalikes.lines == 0) return false;
  next->error =
      fmt::format("{}: {} looked like {} not; first at line {}", name_,
                  lookalikes.lines == 1 ? "1 line" : fmt::format("{} lines", lookalikes.lines),
                  lookalikes.lines == 1 ? "a reply and was" : "replies and were", lookalikes.first_line);
  return true;
}

}  // namespace tesview
