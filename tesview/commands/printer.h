// What was shown of each reply, written in the order of the input, and what went wrong, said.
#ifndef TESVIEW_COMMANDS_PRINTER_H_
#define TESVIEW_COMMANDS_PRINTER_H_

#include <cstdint>
#include <exception>
#include <map>
#include <optional>
#include <string>

#include "tesview/commands/exit_code.h"
#include "tesview/commands/reply_files.h"
#include "tesview/commands/reply_filter.h"
#include "tesview/commands/requests.h"
#include "tesview/report/report.h"
#include "tesview/show/show.h"
#include "tesview/terminal/output.h"
#include "tesview/terminal/progress.h"
#include "tesview/terminal/split_files.h"

namespace tesview {

// Thrown behind the first failure if the user is strict. What came before has been written.
class StopAtFirst : public std::exception {};

// Thrown behind the last reply that the user asked for. All has been written.
class EnoughPrinted : public std::exception {};
// What csv and tsv begin with for spreadsheets that ask for it.
inline constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

// Every call may throw what Output throws.
class Printer {
 public:
  // `code` is raised with each failure.
  Printer(const ShowRequest& request, Output* output, Progress* progress, ExitCode* code);

  // What was shown goes into a report, which stays the caller's, and not to the output.
  void PrintInto(Report* report) { report_ = report; }
  // The same of files that the lines are split into.
  void PrintInto(SplitFiles* files) { split_ = files; }

  // Whether the first failure ends all: what is read behind it counts no more.
  bool StopsAtFirst() const;

  // Prints no more than these of the replies that are not dropped.
  void PrintOnly(const ReplyWindow& window) { window_ = window; }

  // Throws StopAtFirst and EnoughPrinted.
  void Print(const ReadItem& read, const Shown& shown);
  // What was printed goes out now.
  void Flush() { output_->Flush(); }
  // Also says how often errors came that were said once. `header` goes before all where nothing has been
  // printed, `footer` behind all, if there is a header.
  void End(const std::string& header, const std::string& footer);

 private:
  void PrintGood(const ReadItem& read, const Shown& shown);
  void WriteLines(const Shown& shown);
  bool WriteSplit(const Shown& shown);
  void WriteBytes(const Shown& shown);
  void PrintError(const Item& item, const Shown& shown);
  bool WasSaid(const Item& item, const std::string& repeats);
  void Count(const std::string& what, ExitCode code);
  void LeaveOut(const ReadItem& read, const Shown& shown);
  void SayLeftOut();
  void Fail(const std::string& what, ExitCode code);
  void TellRepeated();

  // An error that many replies share, behind the one that it was said of.
  struct Repeated {
    uint64_t more = 0;
    std::string last;  // where the last one is
  };

  const ShowRequest& request_;
  Output* output_;
  Progress* progress_;
  ExitCode* code_;
  Report* report_ = nullptr;
  std::optional<ReplyWindow> window_;
  std::map<std::string, Repeated> repeated_;
  SplitFiles* split_ = nullptr;
  const bool output_is_terminal_;
  std::string last_header_;
  uint64_t replies_ = 0;
  uint64_t bytes_ = 0;
  uint64_t printed_ = 0;
  uint64_t failed_ = 0;
  std::map<int32_t, uint64_t> left_out_;  // replies that do not fit the header, by Id
};

}  // namespace tesview

#endif  // TESVIEW_COMMANDS_PRINTER_H_
