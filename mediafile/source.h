// Bytes of a file, from the file system or from functions that the host supplies.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "mediafile/result.h"

namespace mediafile {

// A file open for reading at any position. One thread at a time.
class ByteSource {
 public:
  virtual ~ByteSource() = default;

  // Bytes in the file when it was opened.
  virtual int64_t size() const = 0;

  // Fills `out` from `position`. The number of bytes read, less than asked only at the end of the file;
  // negative when reading failed.
  virtual int64_t readAt(int64_t position, std::span<uint8_t> out) = 0;

  // The reader stops before the end, for `reason`: whoever watches the source learns it.
  virtual void abandon(std::string const& /*reason*/) {}
};

// Remembers what went wrong in reading. libavformat takes many an error for the end of the file, and goes on
// with what it has. One thread at a time.
class ReadWatch {
 public:
  bool failed() const { return !reason_.empty(); }
  // Of the first failure; empty when there was none.
  std::string const& reason() const { return reason_; }
  void note(std::string const& reason) {
    if (reason_.empty()) reason_ = reason;
  }

 private:
  std::string reason_;
};

// File functions of the host; `user` comes first in all of them. read gives 0 at the end, negative on
// failure; whence as fseek has it; a mode of 0 opens for reading.
struct ExternalFunctions {
  void* user = nullptr;
  int64_t size = 0;  // bytes of `sizedName`
  std::string sizedName;
  void* (*open)(void* user, char const* name, int mode) = nullptr;
  int64_t (*seek)(void* user, void* handle, int64_t position, int whence) = nullptr;
  int (*read)(void* user, void* handle, void* buffer, int bytes) = nullptr;
  int (*close)(void* user, void* handle) = nullptr;
};

// The way files are opened: default-constructed from the file system. Every opening gives its own handle,
// so sources of one access can be used in different threads.
class FileAccess {
 public:
  FileAccess() = default;
  explicit FileAccess(ExternalFunctions functions) : external_(true), functions_(std::move(functions)) {}

  // The same access, whose sources tell `watch` of reads that fail.
  FileAccess watchedBy(std::shared_ptr<ReadWatch> watch) const;

  // Only regular files are opened. Never holds null.
  Result<std::unique_ptr<ByteSource>> open(std::string const& name) const;

  // A text that is equal for equal content: name, size and modification time, or the user data, name and
  // size of an external file. Empty when the file cannot be examined.
  std::string identity(std::string const& name) const;

 private:
  bool external_ = false;
  ExternalFunctions functions_;
  std::shared_ptr<ReadWatch> watch_;
};

}  // namespace mediafile
