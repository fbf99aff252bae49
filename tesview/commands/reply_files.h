// All replies of all files, one after the other.
#ifndef TESVIEW_COMMANDS_REPLY_FILES_H_
#define TESVIEW_COMMANDS_REPLY_FILES_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "replies/reply_reader.h"
#include "replies/source.h"
#include "replies/unpacked_source.h"
#include "tesview/commands/exit_code.h"
#include "tesview/commands/part_scan.h"
#include "tesview/show/show.h"

namespace tesview {

// A reply, or why there is none in its place.
struct ReadItem {
  Item item;
  std::string error;
  ExitCode error_code = kAllShown;  // what the error amounts to; nothing where it is only worth saying
};

// As messages name a reply: "quotes.bin: reply 3 at offset 71".
std::string WhereIs(const Item& item);

class ReplyFiles {
 public:
  // Looks the paths up once.
  ReplyFiles(const std::vector<std::string>& paths, replies::Form from);

  // The bytes of all files; 0 where that is not known.
  uint64_t TotalBytes() const { return files_.bytes; }

  // Called before each read that may have to wait.
  void OnWait(std::function<void()> call) { on_wait_ = std::move(call); }
  // To be asked while it may have to wait: whether nothing has come for a while.
  bool HasPaused() { return unpacked_ != nullptr && unpacked_->HasPaused(); }
  // Called with the bytes dealt with, as the files have them, and the replies found since the last call.
  void OnProgress(std::function<void(uint64_t, uint64_t)> call) { on_progress_ = std::move(call); }

  // Only these are given by Next(). Called as ReplyReader::OnlyIf() has it, file by file.
  void OnlyIf(replies::Choose choose) { choose_ = std::move(choose); }
  // Asked before each reply: once it says so, Next() gives no more, and what follows is not read.
  void StopWhen(std::function<bool()> call) { stop_when_ = std::move(call); }

  // For who wants no reply from Next(), but only what is counted of all: several threads look at the parts of
  // a large file. `take` is called with what they saw, in the order of the file; what they did not see goes
  // to OnlyIf(). Nothing has to be taken by its number then, nor is damage an end.
  void CountAhead(int threads, MakeTally make, std::function<void(const Tally&)> take);

  // Secrets are taken out of what Next() gives (replies/redact.h). A reply in which they cannot be found is
  // an error instead.
  void RedactSecrets() { redact_ = true; }

  // A stream is read no further than to its first damage.
  void StopAtDamage() { resync_ = false; }

  // False at the end. Throws what the calls above throw, and Interrupted.
  bool Next(ReadItem* next);

 private:
  bool Open();
  void Close();
  void LookAhead();
  bool NextPart();
  bool Chooses(const replies::ReplyView& reply);
  void TellProgress(uint64_t unpacked);
  bool TakeReply(ReadItem* next);
  bool TakeLookalikes(ReadItem* next);

  const replies::Form from_;
  bool resync_ = true;
  replies::InputFiles files_;
  size_t next_file_ = 0;
  size_t source_width_ = 0;
  size_t next_error_ = 0;
  std::function<void()> on_wait_ = [] {};
  std::function<void(uint64_t, uint64_t)> on_progress_ = [](uint64_t, uint64_t) {};
  replies::Choose choose_ = [](const replies::ReplyView&) { return true; };
  std::function<bool()> stop_when_ = [] { return false; };
  int ahead_threads_ = 0;
  MakeTally make_tally_;
  std::function<void(const Tally&)> take_tally_;
  uint64_t seen_ = 0;       // replies, also those that are not wanted
  uint64_t seen_told_ = 0;  // of them as progress
  bool redact_ = false;

  // Of the file that is open.
  std::string name_;
  std::unique_ptr<replies::FileSource> source_;
  std::unique_ptr<replies::UnpackedSource> unpacked_;
  std::unique_ptr<replies::ReplyReader> replies_;
  std::unique_ptr<PartScan> scan_;
  uint64_t part_end_ = 0;     // where threads look ahead
  uint64_t last_number_ = 0;  // of a reply
  uint64_t counted_ = 0;
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_REPLY_FILES_H_
