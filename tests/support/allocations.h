// Memory and threads of this process, counted: a program that links allocations.cpp is asked before the C
// library. Counts are the same on every machine; what the kernel holds resident is not.
#pragma once

#include <cstdint>

namespace test {

// Sanitizers bring an allocator of their own: nothing is counted under them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAllocationsAreCounted = false;
#else
constexpr bool kAllocationsAreCounted = true;
#endif

// Blocks that are held now, of all libraries, and their bytes.
struct Allocations {
  int64_t blocks;
  int64_t bytes;
};
Allocations allocations();

// Most bytes held at once since the last call of `forgetMostBytes`.
int64_t mostBytes();
void forgetMostBytes();

// Threads that were started and neither joined nor detached.
int64_t startedThreads();

}  // namespace test
