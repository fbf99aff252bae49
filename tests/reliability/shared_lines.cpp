// Claim: calls that run at the same time write to nothing that they share. Once the first ones are behind
// them, what a call writes is on its stack, in its heap or the thread's own, so that no line of a cache goes
// from one processor to another: the data of the libraries are made read-only here, and whoever writes to
// them ends the program with their name.
#include <dlfcn.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/reliability/replies.h"
#include "tsl_base/table.h"

namespace {

constexpr size_t kThreads = 4;
constexpr int kRounds = 3;

struct Range {
  std::string library;
  char* begin;
  size_t size;
};

bool IsOurs(const char* path) {
  return std::strstr(path, "/libtesparser.so") != nullptr || std::strstr(path, "/libtsl_base.so") != nullptr;
}

// What may be written of the libraries, in whole pages.
int AddRanges(dl_phdr_info* info, size_t, void* ranges) {
  if (!IsOurs(info->dlpi_name)) return 0;
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const auto& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) == 0) continue;
    const uintptr_t begin = (info->dlpi_addr + segment.p_vaddr) / page * page;
    const uintptr_t end = (info->dlpi_addr + segment.p_vaddr + segment.p_memsz + page - 1) / page * page;
    static_cast<std::vector<Range>*>(ranges)->push_back(
        {info->dlpi_name, reinterpret_cast<char*>(begin), static_cast<size_t>(end - begin)});
  }
  return 0;
}

// The process ends here, so that calls which are not safe in a handler do no harm.
void TellWrite(int, siginfo_t* info, void*) {
  Dl_info place{};
  dladdr(info->si_addr, &place);
  std::fprintf(stderr, "written while it should only be read: %s, %s\n",
               place.dli_fname != nullptr ? place.dli_fname : "?",
               place.dli_sname != nullptr ? place.dli_sname : "?");
  _exit(1);
}

struct Call {
  const reliability::Route* route;
  const std::string* reply;
};

// Each thread makes tables and JSON, and another one frees the tables.
void MakeAndFree(const std::vector<Call>& calls) {
  std::vector<std::vector<void*>> made(kThreads);
  const auto on_all = [](auto work) {
    std::vector<std::thread> threads;
    for (size_t t = 0; t < kThreads; ++t)
      threads.emplace_back(work, t);
    for (std::thread& thread : threads)
      thread.join();
  };
  on_all([&](size_t t) {
    for (int round = 0; round < kRounds; ++round) {
      for (const Call& call : calls) {
        reliability::CallHash(*call.route, *call.reply);
        if (!call.route->json) made[t].push_back(reliability::CallTable(*call.route, *call.reply));
      }
    }
  });
  on_all([&](size_t t) {
    for (void* table : made[(t + 1) % kThreads])
      table_free(table);
  });
}

// Whether a write is noticed at all.
bool NoticesAWrite(const Range& range) {
  const pid_t child = fork();
  if (child == 0) {
    if (std::freopen("/dev/null", "w", stderr) == nullptr) _exit(2);
    *static_cast<volatile char*>(range.begin + range.size - 1) = 1;
    _exit(0);
  }
  int status = 0;
  return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

}  // namespace

int main() {
  const std::vector<reliability::Sample> samples = reliability::Samples();
  std::vector<Call> calls;
  for (const reliability::Sample& sample : samples) {
    for (const reliability::Route& route : reliability::Routes()) {
      calls.push_back({&route, &sample.reply});
    }
  }
  MakeAndFree(calls);

  std::vector<Range> ranges;
  dl_iterate_phdr(AddRanges, &ranges);
  std::set<std::string> libraries;
  for (const Range& range : ranges)
    libraries.insert(range.library);
  if (libraries.size() != 2) {
    std::fprintf(stderr, "data of %zu libraries found, of two\n", libraries.size());
    return 1;
  }
  struct sigaction action {};
  action.sa_sigaction = TellWrite;
  action.sa_flags = SA_SIGINFO;
  sigaction(SIGSEGV, &action, nullptr);
  size_t bytes = 0;
  for (const Range& range : ranges) {
    if (mprotect(range.begin, range.size, PROT_READ) != 0 || !NoticesAWrite(range)) {
      std::fprintf(stderr, "the data of %s cannot be watched\n", range.library.c_str());
      return 1;
    }
    bytes += range.size;
  }
  MakeAndFree(calls);
  std::printf("%zu calls on %zu threads, tables freed by others: none of %zu bytes of data was written\n",
              calls.size() * kRounds * kThreads, kThreads, bytes);
  // What the libraries do when the process ends may write.
  std::fflush(stdout);
  _exit(0);
}
