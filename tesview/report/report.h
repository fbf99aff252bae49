// A report: one HTML file that shows replies in a browser, without a server and without a network.
//
// The data of each reply are written as they come; what tells of them follows at the end, so that memory is
// that of one reply and of a list.
#ifndef TESVIEW_REPORT_REPORT_H_
#define TESVIEW_REPORT_REPORT_H_

#include <cstdint>
#include <exception>
#include <set>
#include <string>
#include <utility>

#include "tesview/report/part.h"
#include "tesview/show/show.h"
#include "tesview/terminal/output.h"

namespace tesview {

// What a report takes at most: more would neither load quickly nor be mailed.
struct ReportLimits {
  size_t replies = 10000;
  size_t bytes = size_t{64} * 1024 * 1024;  // of data, in base64
};

// Thrown for what comes when the list is full: it and what follows are left out.
class ReportFull : public std::exception {};

class Report {
 public:
  // Both stay the caller's. Every call may throw what Output throws.
  explicit Report(Output* output, const ReportLimits& limits = ReportLimits());

  // A reply, in the order of the input. Both calls throw ReportFull.
  void Add(const Item& item, const ReportPart& part);
  // What could not be shown, in its place: a sentence that names the file.
  void AddFailure(const std::string& what);
  // Writes the rest.
  void End();

  // What was left out, in a sentence; empty if nothing was.
  std::string LeftOut() const;

 private:
  void CheckRoom();
  void Fill(const std::string& entry);
  bool Fits(const ReportPart& part) const;
  void AppendBlock(const char* key, const std::string& bytes, std::string* entry);
  std::string Kinds() const;

  Output* output_;
  const ReportLimits limits_;
  std::string entries_;                  // JSON objects with commas between them
  std::set<std::pair<int, int>> kinds_;  // Id and type of the tables that are in it
  size_t listed_ = 0;
  size_t replies_ = 0;
  size_t blocks_ = 0;
  size_t bytes_ = 0;
  size_t left_out_ = 0;
  bool full_ = false;
};

}  // namespace tesview

#endif  // TESVIEW_REPORT_REPORT_H_
