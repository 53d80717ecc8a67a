#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

/// Opens with open(2) flags beyond those that stdio offers. Never waits for the other end of a pipe. Null on
/// failure.
inline FilePtr openFile(std::string const& path, int flags, char const* mode) {
  int const fd = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR);
  if (fd < 0) return nullptr;
  FilePtr file(::fdopen(fd, mode));
  if (!file) ::close(fd);
  return file;
}

/// Length in bytes by seeking to the end and back; false for what has no length (folders, pipes). A folder
/// can be opened and some file systems even let it be seeked, with a meaningless result.
inline bool lengthBySeeking(std::FILE* file, std::uint32_t& length) {
  struct stat status{};
  if (::fstat(::fileno(file), &status) != 0 || S_ISDIR(status.st_mode)) return false;
  if (::fseeko(file, 0, SEEK_END) != 0) return false;
  off_t const end = ::ftello(file);
  if (end < 0 || ::fseeko(file, 0, SEEK_SET) != 0) return false;
  length = static_cast<std::uint32_t>(end);
  return true;
}

/// Reads `length` bytes, as far as the first NUL. Memory grows with what really arrives: the length is what
/// the file system claims.
inline bool readText(std::FILE* file, std::uint32_t length, std::string& text) {
  constexpr std::size_t kPiece = std::size_t{1} << 20;
  try {
    while (text.size() < length) {
      std::size_t const have = text.size();
      std::size_t const want = std::min<std::size_t>(kPiece, length - have);
      text.resize(have + want);
      if (std::fread(text.data() + have, 1, want, file) != want) return false;
    }
  } catch (std::bad_alloc const&) {
    return false;
  }
  text.resize(std::strlen(text.c_str()));
  return true;
}
