// What mutated sources call: it tells whether a mutation is the one to run, and notes which ones were
// reached.
//
// MUTANT             number of the mutation that is on; none without it
// MUTANTS_REACHED    a file of one byte a mutation, in which those that were reached are marked
// MUTANTS_OWNER      process whose marks are 1; those of any other are 2
#pragma once
#pragma GCC system_header

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mutants {

// One for each image. It holds no objects, so that it works before main, after it, and where memory has run
// out.
struct State {
  volatile unsigned char* reached;
  unsigned long size;
  unsigned long chosen;
  unsigned char mark;
  bool ready;
};
inline State state;

inline void Start() {
  const int error = errno;
  const char* chosen = getenv("MUTANT");
  if (chosen != nullptr) state.chosen = strtoul(chosen, nullptr, 10);
  const char* owner = getenv("MUTANTS_OWNER");
  state.mark = owner != nullptr && strtol(owner, nullptr, 10) == getpid() ? 1 : 2;
  const char* path = getenv("MUTANTS_REACHED");
  const int file = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
  struct stat status;
  if (file >= 0 && fstat(file, &status) == 0) {
    void* map =
        mmap(nullptr, static_cast<size_t>(status.st_size), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (map != MAP_FAILED) {
      state.size = static_cast<unsigned long>(status.st_size);
      state.reached = static_cast<unsigned char*>(map);
    }
  }
  if (file >= 0) close(file);
  errno = error;
  state.ready = true;
}

inline bool Ask(unsigned long number) {
  if (!state.ready) Start();
  if (state.reached != nullptr && number < state.size) state.reached[number] |= state.mark;
  return state.chosen == number;
}

// What the compiler works out stays as it is.
constexpr bool On(unsigned long number) {
  return !__builtin_is_constant_evaluated() && Ask(number);
}

}  // namespace mutants
