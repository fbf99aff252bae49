#include "tsl_base/detail/spec_cache.h"

#include <string.h>
#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#endif

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

#if defined(_WIN32)

// Of a thread that is ending, and where there is no memory for another.
SpecCache no_cache = {{}, 0, true};
DWORD index_of_cache = FLS_OUT_OF_INDEXES;

void WINAPI Free(void* ending_cache) {
  if (ending_cache == nullptr || ending_cache == &no_cache) return;
  Close(ending_cache);
  HeapFree(GetProcessHeap(), 0, ending_cache);
  // Destructors that run later may make tables, too.
  FlsSetValue(index_of_cache, &no_cache);
}

// Windows calls into this library when a thread ends, so it must not have been unloaded by then.
bool HasIndex() {
  HMODULE pinned = nullptr;
  if (GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                         reinterpret_cast<const wchar_t*>(&Free), &pinned) == 0) {
    return false;
  }
  index_of_cache = FlsAlloc(Free);
  return index_of_cache != FLS_OUT_OF_INDEXES;
}

// It is memory of its own: what is thread_local may be gone when Windows tells that the thread ends.
SpecCache& CacheOfThread() {
  static const bool has_index = HasIndex();
  if (!has_index) return no_cache;
  if (void* known = FlsGetValue(index_of_cache)) return *static_cast<SpecCache*>(known);
  void* made = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, sizeof(SpecCache));
  if (made == nullptr) return no_cache;
  if (FlsSetValue(index_of_cache, made) == 0) {
    HeapFree(GetProcessHeap(), 0, made);
    return no_cache;
  }
  return *static_cast<SpecCache*>(made);
}

bool WillBeClosed(SpecCache&) {
  return true;
}

#else

thread_local SpecCache cache_of_thread;

SpecCache& CacheOfThread() {
  return cache_of_thread;
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

#endif

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
  SpecCache& cache = CacheOfThread();
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
