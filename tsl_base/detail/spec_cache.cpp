#include "tsl_base/detail/spec_cache.h"

#include <pthread.h>
#include <string.h>

namespace tsl_base {
namespace detail {
namespace {

// Longer specs are parsed each time, so that what a thread keeps is bounded. The longest spec that is known
// ahead has less than 700 bytes.
constexpr size_t kLongestCached = 4096;
constexpr size_t kEntries = 8;

struct Entry {
  const char* address;  // of the text when it was last asked for: a guess at what will match
  Spec* spec;           // with a reference of the entry's own; null while the entry is free
};

// Trivial on purpose: it can be used even after the thread's destructors have run.
struct SpecCache {
  Entry entries[kEntries];
  size_t oldest;
  bool closed;  // the thread is ending, and nobody would empty the cache again
};

thread_local SpecCache cache_of_thread;

void Evict(Entry& entry) {
  if (entry.spec) ReleaseSpec(entry.spec);
  entry = Entry{};
}

void Close(void* ending_cache) {
  SpecCache& cache = *static_cast<SpecCache*>(ending_cache);
  cache.closed = true;
  for (Entry& entry : cache.entries)
    Evict(entry);
}

// Sees to it that the cache is closed when its thread ends. A thread_local object with a destructor would end
// the process where there is no memory to register it; a key says so, and its destructor runs after those of
// such objects.
struct EndOfThread {
  pthread_key_t key{};
  const bool has_key = pthread_key_create(&key, Close) == 0;
};

bool WillBeClosed(SpecCache& cache) {
  static const EndOfThread end;
  return end.has_key && pthread_setspecific(end.key, &cache) == 0;
}

void Insert(SpecCache& cache, const char* text, Spec* spec) {
  if (cache.closed || !WillBeClosed(cache)) return;
  Entry& entry = cache.entries[cache.oldest];
  cache.oldest = (cache.oldest + 1) % kEntries;
  Evict(entry);
  AddReference(spec);
  entry = Entry{text, spec};
}

bool Matches(const Entry& entry, const char* text) {
  return entry.spec && strcmp(entry.spec->original(), text) == 0;
}

Spec* Find(SpecCache& cache, const char* text) {
  for (const Entry& entry : cache.entries) {
    if (entry.address == text && Matches(entry, text)) return entry.spec;
  }
  for (Entry& entry : cache.entries) {
    if (!Matches(entry, text)) continue;
    entry.address = text;
    return entry.spec;
  }
  return nullptr;
}

}  // namespace

Spec* AcquireSpec(const char* text) {
  SpecCache& cache = cache_of_thread;
  if (Spec* known = Find(cache, text)) {
    AddReference(known);
    return known;
  }
  const size_t length = strlen(text);
  const bool is_cached = length <= kLongestCached;
  Spec* spec = ParseSpec(text, length, is_cached);
  if (is_cached) Insert(cache, text, spec);
  return spec;
}

}  // namespace detail
}  // namespace tsl_base
