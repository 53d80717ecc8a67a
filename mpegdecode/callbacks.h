// What the import library gets from its user: an allocator that can be watched, and four log printers.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>

#include "host/threads.h"

// Sizes of the blocks that the import library holds, for all decoders of the process. Library threads
// allocate too: the map is only touched under the lock.
class MemoryRegistry {
 public:
  static MemoryRegistry& instance();

  void enable(bool on);  // and forget all blocks
  void disable();        // blocks stay counted
  void* allocate(size_t bytes);
  void release(void* block);
  int estimateKB();

 private:
  KYThreads::KyCriticalSection lock_;
  std::map<void*, uint32_t> sizes_;
  std::atomic<bool> enabled_ = false;
};

// The resource getter for mpegInNew; null for an unknown name.
void* importCallback(char const* name);
