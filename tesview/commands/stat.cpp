// tesview stat: how much there is of each Id in files.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "replies/vocabulary.h"
#include "replies/wire.h"
#include "tesview/commands/commands.h"
#include "tesview/commands/in_parallel.h"
#include "tesview/commands/printer.h"
#include "tesview/commands/reply_files.h"
#include "tesview/commands/reply_filter.h"
#include "tesview/commands/row_counter.h"
#include "tesview/terminal/interrupt.h"
#include "tesview/terminal/progress.h"
#include "tesview/terminal/terminal.h"

namespace tesview {
namespace {

// A line of what is printed: an Id, or all of them.
struct StatLine {
  std::string id;       // "20"; empty for the total and for replies without an Id
  std::string payload;  // what is known by that Id, or in words
  bool is_id = false;   // and not words
  SizeCounts sizes;
  RowCounts rows;
};

StatLine LineOf(int64_t id, const SizeCounts& sizes) {
  StatLine line;
  line.sizes = sizes;
  if (id == kNoId || id == kOtherIds) {
    line.payload = id == kNoId ? "(no Id)" : "(other Ids)";
    return line;
  }
  line.is_id = true;
  line.id = fmt::format("{}", id);
  if (const auto* payload = replies::FindPayload(static_cast<int32_t>(id))) line.payload = payload->name;
  return line;
}

// Each Id of which there is a reply, and behind them the total.
std::vector<StatLine> LinesOfStat(const CountsById<SizeCounts>& sizes, CountsById<RowCounts> rows) {
  std::vector<StatLine> lines;
  StatLine total;
  total.payload = "total";
  sizes.ForEach([&](int64_t id, const SizeCounts& counts) {
    if (counts.replies == 0) return;
    lines.push_back(LineOf(id, counts));
    lines.back().rows = rows.Of(id);
    total.sizes.replies += counts.replies;
    total.sizes.bytes += counts.bytes;
    total.rows.Add(lines.back().rows);
  });
  lines.push_back(total);
  return lines;
}

double ShareOf(const StatLine& line, const StatLine& total) {
  return total.sizes.bytes == 0
             ? 0
             : static_cast<double>(line.sizes.bytes) / static_cast<double>(total.sizes.bytes);
}

std::string TimeText(const std::optional<TimePoint>& time) {
  if (!time) return std::string();
  char text[replies::kTimeRoom];
  return {text, replies::WriteTime(text, time->kind, time->value)};
}

// Times with a date tell more than those without.
const TimeSpan& SpanOf(const RowCounts& counts) {
  return counts.moments.first() ? counts.moments : counts.of_a_day;
}

// ---- for people -------------------------------------------------------------------------------------------

using StatCells = std::vector<std::string>;

StatCells HeadingsOfStat(bool with_rows) {
  StatCells cells{"Id", "payload", "replies", "bytes", "share"};
  if (with_rows) cells.insert(cells.end(), {"rows", "failed", "first", "last"});
  return cells;
}

StatCells CellsOfStat(const StatLine& line, const StatLine& total, bool with_rows) {
  StatCells cells{line.id, line.payload, fmt::format("{}", line.sizes.replies),
                  fmt::format("{}", line.sizes.bytes), fmt::format("{:.1f}%", 100 * ShareOf(line, total))};
  if (!with_rows) return cells;
  const TimeSpan& span = SpanOf(line.rows);
  cells.push_back(line.rows.has_table ? fmt::format("{}", line.rows.rows) : "-");
  cells.push_back(fmt::format("{}", line.rows.failed));
  cells.push_back(span.first() ? TimeText(span.first()) : "-");
  cells.push_back(span.last() ? TimeText(span.last()) : "-");
  return cells;
}

// All of it is ASCII.
std::string AlignedStat(const std::vector<StatCells>& lines) {
  constexpr std::array<bool, 9> kLeft = {false, true, false, false, false, false, false, true, true};
  std::vector<size_t> widths(lines[0].size(), 0);
  for (const StatCells& line : lines) {
    for (size_t i = 0; i < line.size(); ++i)
      widths[i] = std::max(widths[i], line[i].size());
  }
  std::string text;
  for (const StatCells& line : lines) {
    std::string padded;
    for (size_t i = 0; i < line.size(); ++i) {
      padded += fmt::format(kLeft[i] ? "{}{:<{}}" : "{}{:>{}}", i == 0 ? "" : "  ", line[i], widths[i]);
    }
    padded.erase(padded.find_last_not_of(' ') + 1);
    text += padded + "\n";
  }
  return text;
}

std::string StatForPeople(const std::vector<StatLine>& lines, bool with_rows, uint64_t damaged) {
  std::vector<StatCells> cells{HeadingsOfStat(with_rows)};
  for (const StatLine& line : lines)
    cells.push_back(CellsOfStat(line, lines.back(), with_rows));
  std::string text = AlignedStat(cells);
  if (damaged != 0) text += fmt::format("damaged in {} {}\n", damaged, damaged == 1 ? "place" : "places");
  return text;
}

// ---- JSON -------------------------------------------------------------------------------------------------

std::string QuotedOrNull(const std::string& text) {
  return text.empty() ? "null" : "\"" + text + "\"";
}

std::string StatMembers(const StatLine& line, bool with_rows) {
  std::string json = fmt::format("\"replies\": {}, \"bytes\": {}", line.sizes.replies, line.sizes.bytes);
  if (!with_rows) return json;
  const TimeSpan& span = SpanOf(line.rows);
  return json + fmt::format(", \"rows\": {}, \"failed\": {}, \"first\": {}, \"last\": {}",
                            line.rows.has_table ? fmt::format("{}", line.rows.rows) : "null",
                            line.rows.failed, QuotedOrNull(TimeText(span.first())),
                            QuotedOrNull(TimeText(span.last())));
}

std::string StatAsJson(const std::vector<StatLine>& lines, bool with_rows, uint64_t damaged) {
  const StatLine& total = lines.back();
  std::string ids;
  for (size_t i = 0; i + 1 < lines.size(); ++i) {
    const StatLine& line = lines[i];
    ids += fmt::format("{}{{\"id\": {}, \"payload\": {}, {}, \"share\": {:.6g}}}", ids.empty() ? "" : ", ",
                       line.is_id ? line.id : "null", QuotedOrNull(line.payload),
                       StatMembers(line, with_rows), ShareOf(line, total));
  }
  return fmt::format("{{{}, \"damaged\": {}, \"ids\": [{}]}}\n", StatMembers(total, with_rows), damaged, ids);
}

// ---- counting ---------------------------------------------------------------------------------------------

// The bar goes away before anything is printed, so it may share the terminal with the output.
bool WantsBar(When when) {
  return when == When::kAlways || (when == When::kAuto && IsTerminal(STDERR_FILENO));
}

// The sizes of the replies that a filter takes.
class SizeTally : public Tally {
 public:
  explicit SizeTally(const FilterRequest& request) : filter_(request) {}

  void See(const replies::ReplyView& reply) override { Takes(reply); }

  // Whether the reply is counted.
  bool Takes(const replies::ReplyView& reply) {
    if (!filter_.Takes(reply)) return false;
    int32_t id = 0;
    SizeCounts& counts = sizes_.Of(replies::IdInFront(reply.bytes, &id) ? id : kNoId);
    ++counts.replies;
    counts.bytes += reply.bytes.size();
    return true;
  }
  bool is_full() const { return filter_.is_full(); }

  void Add(const SizeTally& other) {
    other.sizes_.ForEach([this](int64_t id, const SizeCounts& counts) {
      SizeCounts& all = sizes_.Of(id);
      all.replies += counts.replies;
      all.bytes += counts.bytes;
    });
  }
  const CountsById<SizeCounts>& sizes() const { return sizes_; }

 private:
  ReplyFilter filter_;
  CountsById<SizeCounts> sizes_;
};

}  // namespace

void Answer(const StatRequest& request, Output* output, ExitCode* code) {
  CatchInterrupts();
  ReplyFiles files(request.paths, request.from);
  SizeTally sizes(request.filter);
  files.StopWhen([&] { return sizes.is_full(); });
  files.OnlyIf([&](const replies::ReplyView& reply) { return sizes.Takes(reply) && request.rows; });
  if (!request.rows && !request.strict && !ReplyFilter::NeedsOrder(request.filter)) {
    files.CountAhead(
        request.jobs, [&] { return std::make_unique<SizeTally>(request.filter); },
        [&](const Tally& part) { sizes.Add(static_cast<const SizeTally&>(part)); });
  }
  Progress progress(WantsBar(request.progress), request.progress == When::kAlways, files.TotalBytes());
  files.OnProgress([&](uint64_t bytes, uint64_t replies) { progress.Add(bytes, replies); });
  // The printer says what is damaged; there is nothing of single replies for it to print.
  ShowRequest lines;
  lines.view.to = To::kJson;
  lines.strict = request.strict;
  Printer printer(lines, output, &progress, code);
  RowCounter counter;
  try {
    // Threads would have counted what is behind the first failure.
    ShowInParallel(&counter, request.rows && !request.strict ? request.jobs : 0, &files, &printer);
  } catch (const StopAtFirst&) {
    // What was counted until then is told.
  }
  progress.Clear();
  const std::vector<StatLine> all = LinesOfStat(sizes.sizes(), counter.counts());
  output->Write(request.as_json ? StatAsJson(all, request.rows, counter.damaged())
                                : StatForPeople(all, request.rows, counter.damaged()));
}

}  // namespace tesview
