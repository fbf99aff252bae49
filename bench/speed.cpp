// Times every route over every workload and prints one table of ratios to the floor of the same run.
//
// The repetitions of all benchmarks are interleaved at random, so that a drift of the machine's speed meets
// all of them alike; the table gives medians and, in brackets, the quartiles of the ratio to the median
// floor.
//
//   tesparser_speed [--benchmark_filter=REGEX] [other options of Google Benchmark]
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "bench/peers.h"
#include "bench/workloads.h"
#include "tsl_base/table.h"

namespace {

void* Table(const Workload& w) {
  return w.type == TPTypeById ? TesparserPB2Table(w.reply) : TesparserPB2TableType(w.reply, w.type);
}

template <class Run>
void Register(const Workload& w, const char* route, Run run) {
  benchmark::RegisterBenchmark((w.name + "/" + route).c_str(), [&w, run](benchmark::State& state) {
    for (auto _ : state)
      run(w);
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(w.reply.size()));
  })->UseRealTime();
}

void RegisterRoutes(const Workload& w) {
  Register(w, "floor", [](const Workload& x) { benchmark::DoNotOptimize(BenchParse(x.reply)); });
  Register(w, "table", [](const Workload& x) { table_free(Table(x)); });
  if (w.name.rfind("snapshot", 0) == 0) {
    Register(w, "direct", [](const Workload& x) { benchmark::DoNotOptimize(BenchDirectSnapshot(x.reply)); });
  }
  if (w.name.rfind("kline", 0) == 0) {
    Register(w, "direct", [](const Workload& x) { benchmark::DoNotOptimize(BenchDirectKline(x.reply)); });
  }
  Register(w, "json", [](const Workload& x) { benchmark::DoNotOptimize(TesparserPB2Json(x.reply)); });
  Register(w, "plain_json", [](const Workload& x) { benchmark::DoNotOptimize(BenchPlainJson(x.reply)); });
  Register(w, "protobuf_json",
           [](const Workload& x) { benchmark::DoNotOptimize(BenchProtobufJson(x.reply)); });
  Register(w, "text_format", [](const Workload& x) { benchmark::DoNotOptimize(BenchTextFormat(x.reply)); });
}

// Tables on the way from the threads that made them to those that free them.
struct Batch {
  static constexpr size_t kTables = 64;
  std::array<void*, kTables> tables{};
  size_t count = 0;
};
std::atomic<Batch*> handed_over{nullptr};

void Free(Batch* batch) {
  if (batch == nullptr) return;
  for (size_t i = 0; i < batch->count; ++i)
    table_free(batch->tables[i]);
  delete batch;
}

// What one thread makes the next one that comes frees.
void MakeForOthers(const Workload& w, benchmark::State* state) {
  auto* mine = new Batch;
  for (auto _ : *state) {
    mine->tables[mine->count++] = Table(w);
    if (mine->count == Batch::kTables) {
      Free(handed_over.exchange(mine));
      mine = new Batch;
    }
  }
  Free(mine);
}

// Different replies on 1 to 16 threads at once, and the floor the same way: what the machine itself takes
// away from each thread shows there.
void RegisterThreads(const std::vector<Workload>& workloads) {
  static const std::vector<Workload>& all = workloads;
  const auto mine = [](const benchmark::State& state) -> const Workload& {
    return all[static_cast<size_t>(state.thread_index()) % 2 == 0 ? 1 : 3];
  };
  for (const int threads : {1, 2, 4, 8, 16}) {
    benchmark::RegisterBenchmark("threads/table",
                                 [mine](benchmark::State& state) {
                                   const Workload& w = mine(state);
                                   for (auto _ : state)
                                     table_free(Table(w));
                                 })
        ->Threads(threads)
        ->UseRealTime();
    benchmark::RegisterBenchmark("threads/freed_elsewhere",
                                 [mine](benchmark::State& state) { MakeForOthers(mine(state), &state); })
        ->Threads(threads)
        ->UseRealTime();
    benchmark::RegisterBenchmark("threads/floor",
                                 [mine](benchmark::State& state) {
                                   const Workload& w = mine(state);
                                   for (auto _ : state)
                                     benchmark::DoNotOptimize(BenchParse(w.reply));
                                 })
        ->Threads(threads)
        ->UseRealTime();
  }
}

double Quantile(std::vector<double> values, double q) {
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(q * static_cast<double>(values.size() - 1) + 0.5)];
}

// Keeps the time of every repetition by workload and route.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      const auto slash = name.find('/');
      std::string route = name.substr(slash + 1);
      if (!run.run_name.threads.empty()) route += " " + run.run_name.threads;
      const double nanoseconds = run.real_accumulated_time / static_cast<double>(run.iterations) * 1e9;
      samples_[name.substr(0, slash)][route].push_back(nanoseconds * static_cast<double>(run.threads));
    }
  }

  void Print(const std::vector<Workload>& workloads) const {
    std::printf("%-13s %10s %12s   ratio to the floor: median [quartiles]\n", "workload", "bytes",
                "floor, us");
    for (const Workload& w : workloads) {
      const auto found = samples_.find(w.name);
      if (found == samples_.end() || found->second.count("floor") == 0) continue;
      const double floor = Quantile(found->second.at("floor"), 0.5);
      std::printf("%-13s %10zu %12.2f ", w.name.c_str(), w.reply.size(), floor / 1e3);
      for (const char* route : {"table", "direct", "json", "plain_json", "protobuf_json", "text_format"}) {
        PrintRatio(found->second, route, floor);
      }
      PrintJson(found->second);
      std::printf("\n");
    }
    const auto threads = samples_.find("threads");
    if (threads == samples_.end()) return;
    for (const auto& [route, times] : threads->second) {
      std::printf("%-24s %10.2f us a call and thread\n", route.c_str(), Quantile(times, 0.5) / 1e3);
    }
  }

 private:
  using Routes = std::map<std::string, std::vector<double>>;

  static void PrintRatio(const Routes& routes, const char* route, double floor) {
    const auto found = routes.find(route);
    if (found == routes.end()) return;
    std::printf("  %s %.2f [%.2f %.2f]", route, Quantile(found->second, 0.5) / floor,
                Quantile(found->second, 0.25) / floor, Quantile(found->second, 0.75) / floor);
  }

  static void PrintJson(const Routes& routes) {
    const auto json = routes.find("json");
    if (json == routes.end()) return;
    for (const char* peer : {"plain_json", "protobuf_json"}) {
      const auto found = routes.find(peer);
      if (found == routes.end()) continue;
      std::printf("  json/%s %.2f", peer, Quantile(json->second, 0.5) / Quantile(found->second, 0.5));
    }
  }

  std::map<std::string, Routes> samples_;
};

}  // namespace

int main(int argc, char** argv) {
  // glibc gives memory back and takes it again around large replies; whether it does depends on the heap's
  // past, which makes two groups of timings out of one workload. Pinned, the figures are about decoding.
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  std::vector<std::string> defaults = {argv[0], "--benchmark_enable_random_interleaving=true",
                                       "--benchmark_repetitions=15", "--benchmark_min_time=0.02"};
  std::vector<char*> args;
  for (std::string& text : defaults)
    args.push_back(text.data());
  args.insert(args.end(), argv + 1, argv + argc);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 2;
  const std::vector<Workload> workloads = MakeWorkloads();
  for (const Workload& w : workloads)
    RegisterRoutes(w);
  RegisterThreads(workloads);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  collector.Print(workloads);
  return 0;
}
