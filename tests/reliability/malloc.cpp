#include "tests/reliability/malloc.h"

#include <errno.h>
#include <malloc.h>

#include <algorithm>
#include <new>

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);
}

namespace {

struct State {
  bool counting;
  bool in_new;
  reliability::Heap heap;
  long until_failure;  // 0: none fails
  bool keep_failing;
  reliability::Failed failed;
};

// Read by malloc itself: nothing in it is constructed.
thread_local State state;

bool Refused(size_t size) {
  if (state.until_failure == 0) return false;
  if (state.until_failure > 1) {
    --state.until_failure;
    return false;
  }
  if (!state.keep_failing) state.until_failure = 0;
  ++(state.in_new ? state.failed.from_new : state.failed.from_malloc);
  if (state.in_new) state.failed.new_size = size;
  return true;
}

void* Taken(void* block, size_t size) {
  if (state.counting && block != nullptr) {
    ++state.heap.calls;
    ++state.heap.blocks;
    state.heap.allocated += static_cast<long>(size);
    state.heap.bytes += static_cast<long>(malloc_usable_size(block));
    state.heap.peak = std::max(state.heap.peak, state.heap.bytes);
  }
  return block;
}

void GivenBack(void* block) {
  if (state.counting && block != nullptr) {
    --state.heap.blocks;
    state.heap.bytes -= static_cast<long>(malloc_usable_size(block));
  }
}

void* OutOfMemory() {
  errno = ENOMEM;
  return nullptr;
}

void* NewBlock(size_t size, size_t alignment) {
  state.in_new = true;
  void* block = alignment == 0 ? malloc(size == 0 ? 1 : size) : memalign(alignment, size);
  state.in_new = false;
  return block;
}

void* NewOrThrow(size_t size, size_t alignment) {
  void* block = NewBlock(size, alignment);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

// The libraries have to find these too, whatever the compiler takes for the default.
#pragma GCC visibility push(default)
extern "C" {

void* malloc(size_t size) {
  return Refused(size) ? OutOfMemory() : Taken(__libc_malloc(size), size);
}

void* calloc(size_t count, size_t size) {
  return Refused(count * size) ? OutOfMemory() : Taken(__libc_calloc(count, size), count * size);
}

void* realloc(void* block, size_t size) {
  if (Refused(size)) return OutOfMemory();
  GivenBack(block);
  return Taken(__libc_realloc(block, size), size);
}

void* memalign(size_t alignment, size_t size) {
  return Refused(size) ? OutOfMemory() : Taken(__libc_memalign(alignment, size), size);
}

void* aligned_alloc(size_t alignment, size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) {
  void* made = memalign(alignment, size);
  if (made == nullptr) return ENOMEM;
  *block = made;
  return 0;
}

void free(void* block) {
  GivenBack(block);
  __libc_free(block);
}

}  // extern "C"
#pragma GCC visibility pop

void* operator new(size_t size) {
  return NewOrThrow(size, 0);
}
void* operator new[](size_t size) {
  return NewOrThrow(size, 0);
}
void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return NewBlock(size, 0);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return NewBlock(size, 0);
}
void* operator new(size_t size, std::align_val_t alignment) {
  return NewOrThrow(size, static_cast<size_t>(alignment));
}
void* operator new[](size_t size, std::align_val_t alignment) {
  return NewOrThrow(size, static_cast<size_t>(alignment));
}
void operator delete(void* block) noexcept {
  free(block);
}
void operator delete[](void* block) noexcept {
  free(block);
}
void operator delete(void* block, size_t) noexcept {
  free(block);
}
void operator delete[](void* block, size_t) noexcept {
  free(block);
}
void operator delete(void* block, const std::nothrow_t&) noexcept {
  free(block);
}
void operator delete[](void* block, const std::nothrow_t&) noexcept {
  free(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
  free(block);
}
void operator delete[](void* block, std::align_val_t) noexcept {
  free(block);
}
void operator delete(void* block, size_t, std::align_val_t) noexcept {
  free(block);
}
void operator delete[](void* block, size_t, std::align_val_t) noexcept {
  free(block);
}

namespace reliability {

void StartCounting() {
  state.heap = Heap();
  state.counting = true;
}

Heap StopCounting() {
  state.counting = false;
  return state.heap;
}

void FailAllocation(long n, Failing how) {
  state.failed = Failed();
  state.keep_failing = how == Failing::kAllFrom;
  state.until_failure = n;
}

Failed StopFailing() {
  state.until_failure = 0;
  return state.failed;
}

}  // namespace reliability
