// A host that decodes a stream of replies on several threads, as a terminal does: replies come in on one
// thread, any free worker turns one into a table, and the display takes the tables in the order in which the
// replies came.
//
//   threaded_host [--threads N] [--repeat N] FILE...
//
// Nothing of tesparser is locked here. The queue is the host's own; the decoder has no state, and a table is
// used by one thread at a time.
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <iterator>
#include <mutex>
#include <queue>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tesparser/tesparser.h"
#include "tsl_base/table.hpp"

namespace {

// Decodes on its own threads. Add() is called by one thread; what it gives may be waited for on any.
class Decoder {
 public:
  explicit Decoder(unsigned threads) {
    for (unsigned i = 0; i < threads; ++i)
      workers_.emplace_back([this] { Work(); });
  }

  ~Decoder() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      closed_ = true;
    }
    wake_.notify_all();
    for (std::thread& worker : workers_)
      worker.join();
  }

  Decoder(const Decoder&) = delete;
  Decoder& operator=(const Decoder&) = delete;

  std::future<tsl_base::Table> Add(std::string reply) {
    // An exception out of the decoder, which can only be exhausted memory, arrives with the future.
    std::packaged_task<tsl_base::Table()> task(
        [bytes = std::move(reply)] { return tsl_base::Table(TesparserPB2Table(bytes)); });
    std::future<tsl_base::Table> result = task.get_future();
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      tasks_.push(std::move(task));
    }
    wake_.notify_one();
    return result;
  }

 private:
  void Work() {
    for (;;) {
      std::packaged_task<tsl_base::Table()> task;
      {
        std::unique_lock<std::mutex> lock(mutex_);
        wake_.wait(lock, [this] { return closed_ || !tasks_.empty(); });
        if (tasks_.empty()) return;
        task = std::move(tasks_.front());
        tasks_.pop();
      }
      task();
    }
  }

  std::mutex mutex_;
  std::condition_variable wake_;
  std::queue<std::packaged_task<tsl_base::Table()>> tasks_;
  bool closed_ = false;
  std::vector<std::thread> workers_;
};

struct Totals {
  long long tables = 0;
  long long without_table = 0;
  long long cells = 0;
};

void CountCells(tsl_base::TableView table, Totals* totals) {
  for (tsl_base::RowView row : table) {
    for (int col = 0; col < table.cols(); ++col) {
      if (!row.is_set(col)) continue;
      ++totals->cells;
      if (auto child = row.get<tsl_base::TableView>(col)) CountCells(*child, totals);
    }
  }
}

int Usage() {
  std::fprintf(stderr, "usage: threaded_host [--threads N] [--repeat N] FILE...\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  long threads = 4;
  long repeat = 1;
  std::vector<std::string> replies;
  for (int i = 1; i < argc; ++i) {
    if ((std::strcmp(argv[i], "--threads") == 0 || std::strcmp(argv[i], "--repeat") == 0) && i + 1 < argc) {
      long& number = std::strcmp(argv[i], "--threads") == 0 ? threads : repeat;
      number = std::strtol(argv[++i], nullptr, 10);
      continue;
    }
    std::ifstream file(argv[i], std::ios::binary);
    if (!file) {
      std::fprintf(stderr, "threaded_host: cannot open %s\n", argv[i]);
      return 2;
    }
    replies.emplace_back((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  }
  if (replies.empty() || threads < 1 || threads > 256 || repeat < 1) return Usage();

  Totals totals;
  Decoder decoder(static_cast<unsigned>(threads));
  // A queue of this length bounds the memory, however long the stream is.
  constexpr size_t kInFlight = 64;
  std::queue<std::future<tsl_base::Table>> pending;
  const auto show_next = [&] {
    // Made on a worker, read and freed here: a table belongs to no thread.
    const tsl_base::Table table = pending.front().get();
    pending.pop();
    if (table) {
      ++totals.tables;
      CountCells(table.view(), &totals);
    } else {
      ++totals.without_table;
    }
  };
  for (long round = 0; round < repeat; ++round) {
    for (const std::string& reply : replies) {
      if (pending.size() == kInFlight) show_next();
      pending.push(decoder.Add(reply));
    }
  }
  while (!pending.empty())
    show_next();

  std::printf("%lld tables, %lld replies without one, %lld cells\n", totals.tables, totals.without_table,
              totals.cells);
  return 0;
}
