// A host's file functions that count what is asked of them and fail on demand.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "clips.h"
#include "mfimport/mfimport.h"

struct CountingHost {
  int64_t bytes = 0;
  int opened = 0, closed = 0;
  int64_t failFrom = INT64_MAX;  // reads at or behind this byte fail
  int64_t failAtRead = -1;       // this one fails
  int64_t reads = 0, failed = 0;

  static void* open(void* user, char const* name, int) {
    ++static_cast<CountingHost*>(user)->opened;
    return std::fopen(name, "rb");
  }
  static void* openWide(void*, wchar_t const*, int) { return nullptr; }
  static int64_t seek(void*, void* handle, int64_t position, int whence) {
    auto* file = static_cast<FILE*>(handle);
    return fseeko(file, position, whence) == 0 ? ftello(file) : -1;
  }
  static int read(void* user, void* handle, void* buffer, int size) {
    auto* file = static_cast<FILE*>(handle);
    auto& self = *static_cast<CountingHost*>(user);
    if (self.reads++ == self.failAtRead || ftello(file) >= self.failFrom) {
      ++self.failed;
      return -1;
    }
    auto const got = static_cast<int>(std::fread(buffer, 1, static_cast<size_t>(size), file));
    self.bytes += got;
    return got;
  }
  static int close(void* user, void* handle) {
    ++static_cast<CountingHost*>(user)->closed;
    return std::fclose(static_cast<FILE*>(handle));
  }

  void install(MpegIn* instance, std::string const& path) {
    instance->io = {1, this, static_cast<int64_t>(fileBytes(path).size()), open, openWide, seek, read, close};
  }
};
