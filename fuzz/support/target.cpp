#include "fuzz/support/target.h"

#include <google/protobuf/stubs/logging.h>

#include <cstdio>
#include <cstdlib>

namespace fuzz {

Target* targets = nullptr;

namespace {

// Each input that is no reply would have its line of log.
const bool quiet = (google::protobuf::SetLogHandler(nullptr), true);

}  // namespace

void RunTarget(const Target& target, const uint8_t* data, size_t size) {
  if (quiet && size <= target.longest) target.run(data, size);
}

void Fail(const char* what, const char* file, int line) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, what);
  std::abort();
}

}  // namespace fuzz
