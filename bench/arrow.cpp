// What Arrow arrays cost beside the tables that they are made of: replies decoded and handed out as arrays,
// with lists and flat, as a ratio to the same replies decoded and freed in the same run.
//
// The repetitions of all benchmarks are interleaved at random; the table gives medians and, in brackets, the
// quartiles of the ratio to the median of the tables.
//
//   tesparser_arrow DIRECTORY [--benchmark_filter=REGEX] [other options of Google Benchmark]
//
// DIRECTORY is what tesparser_workloads wrote.
#include "tsl_base/arrow.h"

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "tesparser/tesparser.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

struct Replies {
  std::string name;
  std::string reply;
};

std::vector<Replies> ReadAll(const std::filesystem::path& directory) {
  std::vector<Replies> all;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::ifstream file(entry.path(), std::ios::binary);
    all.push_back({entry.path().stem().string(), std::string((std::istreambuf_iterator<char>(file)), {})});
  }
  std::sort(all.begin(), all.end(), [](const Replies& a, const Replies& b) { return a.name < b.name; });
  return all;
}

[[noreturn]] void End(const char* what) {
  std::fprintf(stderr, "tesparser_arrow: %s\n", what);
  std::exit(1);
}

void DecodeAndFree(const std::string& reply) {
  table_free(TesparserPB2Table(reply));
}

void ExportAndRelease(const std::string& reply) {
  const tsl_base::KeepUtf8 keep;
  ArrowSchema schema{};
  ArrowArray array{};
  if (table_export_arrow(TesparserPB2Table(reply), &schema, &array) != 0) End("a table cannot be exported");
  schema.release(&schema);
  array.release(&array);
}

template <class Run>
void Register(const Replies& replies, const char* route, Run run) {
  benchmark::RegisterBenchmark((replies.name + "/" + route).c_str(), [&replies,
                                                                      run](benchmark::State& state) {
    for (auto _ : state)
      run(replies.reply);
  })->UseRealTime();
}

double Quantile(std::vector<double> values, double q) {
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(q * static_cast<double>(values.size() - 1) + 0.5)];
}

class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      const auto slash = name.find('/');
      samples_[name.substr(0, slash)][name.substr(slash + 1)].push_back(
          run.real_accumulated_time / static_cast<double>(run.iterations) * 1e6);
    }
  }

  void Print() const {
    std::printf("%-13s %10s   ratio to the table: median [quartiles]\n", "workload", "table, us");
    for (const auto& [name, routes] : samples_) {
      const double table = Quantile(routes.at("table"), 0.5);
      std::printf("%-13s %10.2f ", name.c_str(), table);
      for (const auto& [route, times] : routes) {
        if (route == "table") continue;
        std::printf("  %s %.2f [%.2f %.2f]", route.c_str(), Quantile(times, 0.5) / table,
                    Quantile(times, 0.25) / table, Quantile(times, 0.75) / table);
      }
      std::printf("\n");
    }
  }

 private:
  std::map<std::string, std::map<std::string, std::vector<double>>> samples_;
};

}  // namespace

int main(int argc, char** argv) {
  // As the other benchmarks: what is measured is not when glibc gives memory back.
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  if (argc < 2) End("usage: tesparser_arrow DIRECTORY [options]");
  const std::vector<Replies> all = ReadAll(argv[1]);
  std::vector<std::string> defaults = {argv[0], "--benchmark_enable_random_interleaving=true",
                                       "--benchmark_repetitions=15", "--benchmark_min_time=0.02"};
  std::vector<char*> args;
  for (std::string& text : defaults)
    args.push_back(text.data());
  args.insert(args.end(), argv + 2, argv + argc);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 2;
  for (const Replies& replies : all) {
    Register(replies, "table", DecodeAndFree);
    Register(replies, "nested", ExportAndRelease);
  }
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  collector.Print();
  return 0;
}
