// What Arrow arrays cost beside the tables that they are made of: replies decoded and handed out as arrays,
// as a ratio to the same replies decoded and freed in the same run.
//
//   nested         each reply by itself, by table_export_arrow()
//   flat           a stream of the replies with a row for each innermost row, in batches of 65,536 rows
//   nested_stream  the same with lists
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

#include "replies/table_stream.h"
#include "replies/wire.h"
#include "tesparser/tesparser.h"
#include "tsl_base/table.h"
#include "tsl_base/text.h"

namespace {

// One reply so many times.
struct Replies {
  std::string name;
  std::string reply;
  int times = 1;
};

std::vector<Replies> ReadAll(const std::filesystem::path& directory) {
  std::vector<Replies> all;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::ifstream file(entry.path(), std::ios::binary);
    all.push_back({entry.path().stem().string(), std::string((std::istreambuf_iterator<char>(file)), {}), 1});
  }
  std::sort(all.begin(), all.end(), [](const Replies& a, const Replies& b) { return a.name < b.name; });
  return all;
}

[[noreturn]] void End(const char* what) {
  std::fprintf(stderr, "tesparser_arrow: %s\n", what);
  std::exit(1);
}

void DecodeAndFree(const Replies& replies) {
  for (int i = 0; i < replies.times; ++i)
    table_free(TesparserPB2Table(replies.reply));
}

void ExportAndRelease(const Replies& replies) {
  const tsl_base::KeepUtf8 keep;
  for (int i = 0; i < replies.times; ++i) {
    ArrowSchema schema{};
    ArrowArray array{};
    if (table_export_arrow(TesparserPB2Table(replies.reply), &schema, &array) != 0)
      End("a table cannot be exported");
    schema.release(&schema);
    array.release(&array);
  }
}

// Returns the number of rows.
uint64_t Stream(const Replies& replies, bool flat) {
  replies::StreamOptions options;
  options.flat = flat;
  int left = replies.times;
  const auto next = [&replies, &left](replies::Reply* reply, std::string*) {
    if (left-- == 0) return replies::Next::kEnd;
    // It keeps them; where replies come from is not measured.
    if (reply->bytes.size() != replies.reply.size()) reply->bytes = replies.reply;
    return replies::Next::kReply;
  };
  replies::StreamCounts counts;
  ArrowArrayStream stream{};
  std::string error;
  replies::TableRequest request;
  if (!replies::FindId(replies.reply, &request.id)) End("a reply without an Id");
  if (!replies::MakeTableStream(next, request, options, {}, &counts, &stream, &error)) End(error.c_str());
  ArrowSchema schema{};
  if (stream.get_schema(&stream, &schema) != 0) End(stream.get_last_error(&stream));
  for (;;) {
    ArrowArray array{};
    if (stream.get_next(&stream, &array) != 0) End(stream.get_last_error(&stream));
    if (array.release == nullptr) break;
    array.release(&array);
  }
  schema.release(&schema);
  stream.release(&stream);
  return counts.rows;
}

void StreamFlat(const Replies& replies) {
  Stream(replies, true);
}

void StreamNested(const Replies& replies) {
  Stream(replies, false);
}

// As many as have 65,536 rows: to begin a stream takes some 50 us, which are not what a reply of it costs.
void Repeat(Replies* replies) {
  const uint64_t rows = std::max<uint64_t>(Stream(*replies, true), 1);
  replies->times = static_cast<int>(std::clamp<uint64_t>(65536 / rows, 1, 500));
}

template <class Run>
void Register(const Replies& replies, const char* route, Run run) {
  benchmark::RegisterBenchmark((replies.name + "/" + route).c_str(), [&replies,
                                                                      run](benchmark::State& state) {
    for (auto _ : state)
      run(replies);
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

  void Print(const std::vector<Replies>& all) const {
    std::printf("%-13s %7s %12s   ratio to the tables: median [quartiles]\n", "workload", "replies",
                "tables, us");
    for (const Replies& replies : all) {
      const auto found = samples_.find(replies.name);
      if (found == samples_.end() || found->second.count("table") == 0) continue;
      const double table = Quantile(found->second.at("table"), 0.5);
      std::printf("%-13s %7d %12.2f ", replies.name.c_str(), replies.times, table);
      for (const char* route : {"nested", "flat", "nested_stream"}) {
        if (found->second.count(route) == 0) continue;
        const std::vector<double>& times = found->second.at(route);
        std::printf("  %s %.2f [%.2f %.2f]", route, Quantile(times, 0.5) / table,
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
  std::vector<Replies> all = ReadAll(argv[1]);
  std::vector<std::string> defaults = {argv[0], "--benchmark_enable_random_interleaving=true",
                                       "--benchmark_repetitions=15", "--benchmark_min_time=0.02"};
  std::vector<char*> args;
  for (std::string& text : defaults)
    args.push_back(text.data());
  args.insert(args.end(), argv + 2, argv + argc);
  int count = static_cast<int>(args.size());
  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 2;
  for (Replies& replies : all) {
    Repeat(&replies);
    Register(replies, "table", DecodeAndFree);
    Register(replies, "nested", ExportAndRelease);
    Register(replies, "flat", StreamFlat);
    Register(replies, "nested_stream", StreamNested);
  }
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  collector.Print(all);
  return 0;
}
