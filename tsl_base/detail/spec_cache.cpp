#include "tsl_base/detail/spec_cache.h"

#include <pthread.h>
#include <string.h>

namespace tsl_base {
namespace detail {
namespace {

// Longer specs are parsed anew each time, so that what a thread keeps is bounded. The longest spec that is
// known ahead has less than 700 bytes.
constexpr size_t kLongestRemembered = 4096;
constexpr size_t kRemembered = 8;

// A thread takes references in bulk and hands them out and takes them back without touching the shared count,
// as most tables are freed by the thread that made them.
constexpr uint64_t kBulk = uint64_t{1} << 20;

struct Remembered {
  const char* where;  // the text's address when it was last asked for: a guess at what will match
  Spec* spec;
  uint64_t stock;  // the references that lie here, one or more
};

// Trivial on purpose: it can be read without a guard, and even after the thread's destructors have run.
struct Memory {
  Remembered entries[kRemembered];
  size_t next;
  bool closed;
};

thread_local Memory memory;

void GiveBack(Remembered& entry) {
  const Remembered old = entry;
  entry = Remembered{};
  if (old.spec) DropReferences(old.spec, old.stock);
}

Spec* HandOut(Remembered& entry) {
  if (entry.stock == 1) {
    entry.spec->references.fetch_add(kBulk, std::memory_order_relaxed);
    entry.stock += kBulk;
  }
  --entry.stock;
  return entry.spec;
}

// Gives back what the thread remembered when it ends.
void Forget(void* memory_of_thread) {
  Memory& mine = *static_cast<Memory*>(memory_of_thread);
  mine.closed = true;
  for (Remembered& entry : mine.entries)
    GiveBack(entry);
}

// A thread's own object with a destructor would end the process where memory for registering it is exhausted;
// a key tells, and its destructor runs after those of such objects.
struct Key {
  pthread_key_t key{};
  const bool made = pthread_key_create(&key, Forget) == 0;
};

bool WillForget(Memory& mine) {
  static const Key key;
  return key.made && pthread_setspecific(key.key, &mine) == 0;
}

void Remember(Memory& mine, const char* text, Spec* spec) {
  if (mine.closed || !WillForget(mine)) return;
  Remembered& entry = mine.entries[mine.next];
  mine.next = (mine.next + 1) % kRemembered;
  GiveBack(entry);
  AddReference(spec);
  entry = Remembered{text, spec, 1};
}

bool Matches(const Remembered& entry, const char* text) {
  return entry.spec && strcmp(entry.spec->original(), text) == 0;
}

}  // namespace

Spec* AcquireSpec(const char* text) {
  Memory& mine = memory;
  for (Remembered& entry : mine.entries) {
    if (entry.where == text && Matches(entry, text)) return HandOut(entry);
  }
  for (Remembered& entry : mine.entries) {
    if (Matches(entry, text)) {
      entry.where = text;
      return HandOut(entry);
    }
  }
  const size_t length = strlen(text);
  const bool is_short = length <= kLongestRemembered;
  Spec* spec = ParseSpec(text, length, is_short);
  if (is_short) Remember(mine, text, spec);
  return spec;
}

void ReleaseSpec(Spec* spec) noexcept {
  for (Remembered& entry : memory.entries) {
    if (entry.spec == spec) {
      ++entry.stock;
      return;
    }
  }
  DropReferences(spec, 1);
}

}  // namespace detail
}  // namespace tsl_base
