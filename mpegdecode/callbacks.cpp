#include "mpegdecode/callbacks.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>

#include "host/log.h"

MemoryRegistry& MemoryRegistry::instance() {
  static MemoryRegistry registry;
  return registry;
}

void MemoryRegistry::enable(bool on) {
  std::lock_guard guard(lock_);
  sizes_.clear();
  enabled_.store(on, std::memory_order_relaxed);
}

void MemoryRegistry::disable() { enabled_.store(false, std::memory_order_relaxed); }

void* MemoryRegistry::allocate(size_t bytes) {
  if (!enabled_.load(std::memory_order_relaxed)) return std::malloc(bytes);
  std::lock_guard guard(lock_);
  void* const block = std::malloc(bytes);
  if (block) sizes_[block] = static_cast<uint32_t>(bytes);
  return block;
}

void MemoryRegistry::release(void* block) {
  if (!enabled_.load(std::memory_order_relaxed)) {
    std::free(block);
    return;
  }
  std::lock_guard guard(lock_);
  sizes_.erase(block);
  std::free(block);
}

int MemoryRegistry::estimateKB() {
  std::lock_guard guard(lock_);
  uint64_t sum = 0;
  for (auto const& [block, size] : sizes_) sum += size;
  return static_cast<int>(sum / 1024);
}

namespace {

void* allocate(size_t bytes) { return MemoryRegistry::instance().allocate(bytes); }
void release(void* block) { MemoryRegistry::instance().release(block); }

void logFormatted(int level, char const* format, va_list arguments) {
  char line[1024];
  std::vsnprintf(line, sizeof line, format, arguments);
  ky_dbg()->logs(level, line);
}

template <int level>
void print(char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logFormatted(level, format, arguments);
  va_end(arguments);
}

void printProgress(int, char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logFormatted(kLogProgress, format, arguments);
  va_end(arguments);
}

}  // namespace

void* importCallback(char const* name) {
  std::string_view const wanted = name ? name : "";
  if (wanted == "malloc") return reinterpret_cast<void*>(&allocate);
  if (wanted == "free") return reinterpret_cast<void*>(&release);
  if (wanted == "err_printf") return reinterpret_cast<void*>(&print<kLogError>);
  if (wanted == "prg_printf") return reinterpret_cast<void*>(&printProgress);
  if (wanted == "wrn_printf") return reinterpret_cast<void*>(&print<kLogWarning>);
  if (wanted == "inf_printf") return reinterpret_cast<void*>(&print<kLogInfo>);
  return nullptr;
}
