// Each workload to a table and the table freed, as a ratio to the floor that does not move when the library
// is tuned (fixed_floor.cpp), beside what has to be reached.
//
//   tesparser_targets FLOOR [NAME...]      FLOOR is the other program
//
// The two run in turns, a few milliseconds each, and are measured by the processor time of the thread, so
// that what else the machine does meets both alike. Printed are the median of the ratios of all turns, and
// their quartiles.
#include <malloc.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bench/workloads.h"
#include "tsl_base/table.h"

namespace {

constexpr int kTurns = 51;
constexpr double kTurnNanoseconds = 10e6;

struct Target {
  double must;
  double aim;
};

const std::map<std::string, Target>& Targets() {
  static const std::map<std::string, Target> targets = {
      {"snapshot1", {0.40, 0.36}}, {"snapshot50", {0.95, 0.88}},   {"snapshot5000", {0.92, 0.85}},
      {"kline240", {0.98, 0.90}},  {"kline2000x10", {1.08, 1.00}}, {"wire5000", {1.30, 1.20}},
      {"blocks", {0.82, 0.72}},    {"news200", {3.3, 2.6}},        {"typed", {0.95, 0.85}},
      {"indicator", {0.70, 0.60}}};
  return targets;
}

[[noreturn]] void Fail(const char* what) {
  std::fprintf(stderr, "tesparser_targets: %s\n", what);
  std::exit(1);
}

int64_t ProcessorTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

class Floor {
 public:
  explicit Floor(const char* program) {
    int ask[2];
    int answer[2];
    if (pipe(ask) != 0 || pipe(answer) != 0) Fail("no pipe");
    child_ = fork();
    if (child_ < 0) Fail("no process");
    if (child_ == 0) {
      dup2(ask[0], STDIN_FILENO);
      dup2(answer[1], STDOUT_FILENO);
      for (const int fd : {ask[0], ask[1], answer[0], answer[1]})
        close(fd);
      execl(program, program, nullptr);
      _exit(127);
    }
    close(ask[0]);
    close(answer[1]);
    ask_ = fdopen(ask[1], "w");
    answer_ = fdopen(answer[0], "r");
  }
  ~Floor() {
    std::fclose(ask_);
    std::fclose(answer_);
    waitpid(child_, nullptr, 0);
  }
  Floor(const Floor&) = delete;
  Floor& operator=(const Floor&) = delete;

  void Take(const std::string& reply) {
    std::fprintf(ask_, "reply %zu\n", reply.size());
    std::fwrite(reply.data(), 1, reply.size(), ask_);
    if (Answer() != "ok\n") Fail("the floor cannot parse a workload");
  }

  // Nanoseconds of all.
  double Time(size_t times) {
    std::fprintf(ask_, "time %zu\n", times);
    return std::strtod(Answer().c_str(), nullptr);
  }

 private:
  std::string Answer() {
    std::fflush(ask_);
    char line[64];
    if (std::fgets(line, sizeof line, answer_) == nullptr) Fail("the floor has ended");
    return line;
  }

  pid_t child_ = -1;
  FILE* ask_ = nullptr;
  FILE* answer_ = nullptr;
};

double TimeTables(const Workload& w, size_t times) {
  const int64_t begin = ProcessorTime();
  for (size_t i = 0; i < times; ++i)
    table_free(w.type == TPTypeById ? TesparserPB2Table(w.reply) : TesparserPB2TableType(w.reply, w.type));
  return static_cast<double>(ProcessorTime() - begin);
}

double Quantile(const std::vector<double>& sorted, double q) {
  return sorted[static_cast<size_t>(q * static_cast<double>(sorted.size() - 1) + 0.5)];
}

void Measure(const Workload& w, Floor* floor) {
  floor->Take(w.reply);
  size_t times = 1;
  while (floor->Time(times) < kTurnNanoseconds)
    times *= 2;
  TimeTables(w, times);
  std::vector<double> ratios;
  std::vector<double> floors;
  for (int i = 0; i < kTurns; ++i) {
    const double parse = floor->Time(times);
    ratios.push_back(TimeTables(w, times) / parse);
    floors.push_back(parse / static_cast<double>(times));
  }
  std::sort(ratios.begin(), ratios.end());
  std::sort(floors.begin(), floors.end());
  std::printf("%-13s %12.2f %8.2f [%.2f %.2f]", w.name.c_str(), Quantile(floors, 0.5) / 1e3,
              Quantile(ratios, 0.5), Quantile(ratios, 0.25), Quantile(ratios, 0.75));
  const auto target = Targets().find(w.name);
  if (target != Targets().end()) std::printf(" %8.2f %8.2f", target->second.must, target->second.aim);
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) Fail("usage: tesparser_targets FLOOR [NAME...]");
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  Floor floor(argv[1]);
  std::vector<std::string> names(argv + 2, argv + argc);
  if (names.empty()) names = WorkloadNames();
  std::printf("%-13s %12s %8s %11s %8s %8s\n", "workload", "floor, us", "table", "[quartiles]", "must",
              "aim");
  for (const std::string& name : names)
    Measure(MakeWorkload(name), &floor);
  return 0;
}
