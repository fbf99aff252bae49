// The floor that stays: the envelope on the stack, parsed and destroyed, in generated code that is compiled
// as anyone compiles it. Whoever tunes the library does not move it. It is a process of its own, as one
// process cannot hold the schema twice; tesparser_targets starts it and asks.
//
//   reply SIZE     and a line end, then SIZE bytes: the reply from now on. Answers "ok", or "bad" if it does
//   not parse. time TIMES     parses it so many times. Answers with the processor time of all, in
//   nanoseconds.
//
// Ends with its input.
#include <malloc.h>
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "MSG.pb.h"

namespace {

bool Parse(const std::string& reply) {
  tessel::MSG message;
  return message.ParseFromString(reply);
}

int64_t ProcessorTime() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

bool TakeReply(size_t size, std::string* reply) {
  reply->resize(size);
  return std::fread(reply->data(), 1, size, stdin) == size;
}

}  // namespace

int main() {
  // As in the process that asks.
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  std::string reply;
  char line[64];
  while (std::fgets(line, sizeof line, stdin) != nullptr) {
    size_t number = 0;
    if (std::sscanf(line, "reply %zu", &number) == 1) {
      if (!TakeReply(number, &reply)) return 1;
      std::puts(Parse(reply) ? "ok" : "bad");
    } else if (std::sscanf(line, "time %zu", &number) == 1) {
      const int64_t begin = ProcessorTime();
      for (size_t i = 0; i < number; ++i) {
        if (!Parse(reply)) return 1;
      }
      std::printf("%lld\n", static_cast<long long>(ProcessorTime() - begin));
    } else {
      return 2;
    }
    std::fflush(stdout);
  }
  return 0;
}
