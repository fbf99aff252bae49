// Memory of every workload: what the returned table holds, the peak of the call, and the allocations, for the
// table route and for the floor. Counted at malloc, which this program stands in for.
#include <dlfcn.h>
#include <malloc.h>

#include <cstddef>
#include <cstdio>

#include "bench/peers.h"
#include "bench/workloads.h"
#include "tsl_base/table.h"

namespace {

struct Counters {
  size_t held = 0;
  size_t peak = 0;
  size_t calls = 0;
};
// Single-threaded: the program counts one call at a time.
Counters counters;

void Took(void* block) {
  if (block == nullptr) return;
  counters.held += malloc_usable_size(block);
  ++counters.calls;
  if (counters.held > counters.peak) counters.peak = counters.held;
}

void Gave(void* block) {
  if (block != nullptr) counters.held -= malloc_usable_size(block);
}

}  // namespace

// The names under which glibc keeps its own allocator for programs that stand in for it.
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);

void* malloc(size_t size) {
  void* block = __libc_malloc(size);
  Took(block);
  return block;
}
void* calloc(size_t n, size_t size) {
  void* block = __libc_calloc(n, size);
  Took(block);
  return block;
}
void* realloc(void* old, size_t size) {
  Gave(old);
  void* block = __libc_realloc(old, size);
  Took(block);
  return block;
}
void* aligned_alloc(size_t alignment, size_t size) {
  void* block = __libc_memalign(alignment, size);
  Took(block);
  return block;
}
void free(void* block) {
  Gave(block);
  __libc_free(block);
}
}

int main() {
  std::printf("%-13s %10s  %23s  %10s  %12s  %10s %12s\n", "workload", "bytes", "held by the table", "peak",
              "allocations", "floor peak", "floor allocs");
  for (const Workload& w : MakeWorkloads()) {
    const size_t before = counters.held;
    counters.peak = before;
    counters.calls = 0;
    void* table = w.type == TPTypeById ? TesparserPB2Table(w.reply) : TesparserPB2TableType(w.reply, w.type);
    const size_t held = counters.held - before;
    const size_t peak = counters.peak - before;
    const size_t calls = counters.calls;
    table_free(table);
    const size_t base = counters.held;
    counters.peak = base;
    counters.calls = 0;
    BenchParse(w.reply);
    std::printf("%-13s %10zu  %10zu (%.2f x input)  %10zu  %12zu  %10zu %12zu\n", w.name.c_str(),
                w.reply.size(), held, static_cast<double>(held) / static_cast<double>(w.reply.size()), peak,
                calls, counters.peak - base, counters.calls);
  }
  return 0;
}
