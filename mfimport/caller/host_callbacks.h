// What the caller's resource getter hands out: an allocator for the big blocks, and printers.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"

namespace mfimport {

// Both functions or neither come from the caller. Callable from any thread.
struct HostMemory {
  void* (*allocate)(size_t) = std::malloc;
  void (*release)(void*) = std::free;
};

// Allocator of containers whose memory the caller wants to account for.
template <class T>
class HostAllocator {
 public:
  using value_type = T;

  explicit HostAllocator(HostMemory memory) : memory_(memory) {}
  template <class U>
  HostAllocator(HostAllocator<U> const& other) : memory_(other.memory()) {}

  T* allocate(size_t count) {
    void* block = count > SIZE_MAX / sizeof(T) ? nullptr : memory_.allocate(count * sizeof(T));
    if (!block) throw std::bad_alloc();
    return static_cast<T*>(block);
  }
  void deallocate(T* block, size_t) { memory_.release(block); }

  HostMemory const& memory() const { return memory_; }
  bool operator==(HostAllocator const& other) const { return memory_.release == other.memory_.release; }

 private:
  HostMemory memory_;
};

template <class T>
using HostVector = std::vector<T, HostAllocator<T>>;

// The callbacks of one instance, looked up once. A printer that the caller lacks prints nothing.
class HostCallbacks {
 public:
  explicit HostCallbacks(MpegResourceGetter getter);

  HostMemory const& memory() const { return memory_; }

  // The library's messages; one line each, without a line end.
  void error(std::string const& text) const { print(error_, text); }
  void warning(std::string const& text) const { print(warning_, text); }
  void information(std::string const& text) const { print(information_, text); }

 private:
  using Printer = void (*)(char const*, ...);
  static void print(Printer printer, std::string const& text) {
    if (printer) printer("%s", text.c_str());
  }

  HostMemory memory_;
  Printer error_ = nullptr, warning_ = nullptr, information_ = nullptr;
};

// printf into a string.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
inline std::string
formatted(char const* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace mfimport
