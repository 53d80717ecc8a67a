// Files served to the decoder from memory through the host's own file functions: the worked example of how a
// host keeps media where no file system reaches.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kyhost {

// While it lives, every decoder of the process reads through it. A file is read into memory whole when it is
// first opened and dropped with its last handle. Decoders of several threads may use it at the same time; it
// must outlive them.
class MemoryIo {
 public:
  MemoryIo();
  ~MemoryIo();
  MemoryIo(MemoryIo const&) = delete;
  MemoryIo& operator=(MemoryIo const&) = delete;

 private:
  using Bytes = std::vector<unsigned char>;
  struct Handle {
    std::shared_ptr<Bytes const> bytes;
    int64_t position = 0;
  };

  static void* open(void* self, char const* name, int mode);
  static void* openWide(void* self, wchar_t const* name, int mode);
  static int64_t seek(void* self, void* handle, int64_t position, int whence);
  static int read(void* self, void* handle, void* buffer, int bytes);
  static int close(void* self, void* handle);
  static int64_t fileSize(void* self, char const* name);
  static int64_t fileSizeWide(void* self, wchar_t const* name);

  // Null when the file cannot be read.
  std::shared_ptr<Bytes const> load(std::string const& name);

  std::mutex lock_;
  std::map<std::string, std::weak_ptr<Bytes const>> files_;
};

}  // namespace kyhost
