#include "tests/support/allocations.h"

#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace {

std::atomic<int64_t> blocks{0}, bytes{0}, most{0}, threads{0};

[[maybe_unused]] void* taken(void* block) {
  if (!block) return block;
  ++blocks;
  auto const size = static_cast<int64_t>(::malloc_usable_size(block));
  int64_t const now = bytes.fetch_add(size) + size;
  for (int64_t seen = most; now > seen && !most.compare_exchange_weak(seen, now);) {
  }
  return block;
}

[[maybe_unused]] void givenBack(void* block) {
  if (!block) return;
  --blocks;
  bytes -= static_cast<int64_t>(::malloc_usable_size(block));
}

template <class Function>
Function library(char const* name, Function) {
  return reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

namespace test {

Allocations allocations() { return {blocks, bytes}; }
int64_t mostBytes() { return most; }
void forgetMostBytes() { most = bytes.load(); }
int64_t startedThreads() { return threads; }

}  // namespace test

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

// Libraries find these only if the program exports them.
#pragma GCC visibility push(default)

// glibc's own names of its allocator, for programs that stand before it.
extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) { return taken(__libc_malloc(size)); }
void* calloc(size_t count, size_t size) { return taken(__libc_calloc(count, size)); }

void* realloc(void* block, size_t size) {
  // Both blocks may exist while the content moves, so the new one counts before the old one goes.
  auto const before = static_cast<int64_t>(block ? ::malloc_usable_size(block) : 0);
  void* const moved = __libc_realloc(block, size);
  bool const gone = block && (moved || size == 0);
  taken(moved);
  if (gone) {
    --blocks;
    bytes -= before;
  }
  return moved;
}

void free(void* block) {
  givenBack(block);
  __libc_free(block);
}

void* memalign(size_t alignment, size_t size) { return taken(__libc_memalign(alignment, size)); }
void* aligned_alloc(size_t alignment, size_t size) { return taken(__libc_memalign(alignment, size)); }
int posix_memalign(void** block, size_t alignment, size_t size) {
  void* const found = taken(__libc_memalign(alignment, size));
  if (!found) return ENOMEM;
  *block = found;
  return 0;
}

int pthread_create(pthread_t* thread, pthread_attr_t const* attributes, void* (*entry)(void*),
                   void* argument) {
  static auto const original = library("pthread_create", &pthread_create);
  int const result = original(thread, attributes, entry, argument);
  if (result == 0) ++threads;
  return result;
}

int pthread_join(pthread_t thread, void** result) {
  static auto const original = library("pthread_join", &pthread_join);
  int const failed = original(thread, result);
  if (failed == 0) --threads;
  return failed;
}

int pthread_detach(pthread_t thread) {
  static auto const original = library("pthread_detach", &pthread_detach);
  int const failed = original(thread);
  if (failed == 0) --threads;
  return failed;
}

}  // extern "C"

#pragma GCC visibility pop

#endif
