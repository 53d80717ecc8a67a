#include "host/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/registry.h"

namespace {

// A path for the system's calls; empty for a value that is no path (no text, or a terminator inside it, which
// would name another file than the one meant). The calls refuse the empty path.
std::string native(Any const& path) {
  std::string text = path.asString();
  if (text.find('\0') != std::string::npos) text.clear();
  return text;
}

struct CloseDir {
  void operator()(DIR* dir) const { ::closedir(dir); }
};

bool isSelfOrParent(std::string_view name) { return name == "." || name == ".."; }

bool removeTree(int parent, char const* name);

// Takes the descriptor. The names come first: not every file system lists on soundly while entries vanish.
bool removeContents(int folder) {
  std::unique_ptr<DIR, CloseDir> const dir(::fdopendir(folder));
  if (!dir) {
    ::close(folder);
    return false;
  }
  std::vector<std::string> names;
  while (dirent const* const entry = ::readdir(dir.get())) {
    if (!isSelfOrParent(entry->d_name)) names.emplace_back(entry->d_name);
  }
  bool done = true;
  for (std::string const& name : names) done = removeTree(folder, name.c_str()) && done;
  return done;
}

// Every step is relative to an open folder and follows no link, so that nobody who swaps a folder for a link
// meanwhile can lead it outside.
bool removeTree(int parent, char const* name) {
  int const folder = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (folder < 0) {
    bool const notAFolder = errno == ENOTDIR || errno == ELOOP;
    return notAFolder && ::unlinkat(parent, name, 0) == 0;
  }
  return removeContents(folder) && ::unlinkat(parent, name, AT_REMOVEDIR) == 0;
}

std::string_view lastComponent(std::string_view path) {
  size_t const slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

// Keeps text that may come from a media file inside one component of a path.
std::string component(char const* text, size_t longest) {
  std::string name = text ? text : "";
  if (name.size() > longest) name.resize(longest);
  for (char& c : name) {
    if (c == '/' || static_cast<unsigned char>(c) < 0x20) c = '_';
  }
  return name;
}

// 128 bits as hexadecimal digits; empty when the system gives none.
std::string randomDigits() {
  unsigned char bytes[16];
  size_t filled = 0;
  while (filled < sizeof bytes) {
    ssize_t const count = ::getrandom(bytes + filled, sizeof bytes - filled, 0);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return {};
    filled += static_cast<size_t>(count);
  }
  std::string digits;
  for (unsigned char const byte : bytes) {
    digits.push_back("0123456789abcdef"[byte >> 4]);
    digits.push_back("0123456789abcdef"[byte & 15]);
  }
  return digits;
}

}  // namespace

std::FILE* KyFile::fopen(Any const& path, char const* mode) { return kyfopen(path, mode); }

int KyFile::fclose(std::FILE* file) { return file ? std::fclose(file) : -1; }

long KyFile::fread_(void* buffer, long bytes, std::FILE* file) {
  if (!buffer || !file || bytes <= 0) return 0;
  return static_cast<long>(std::fread(buffer, 1, static_cast<size_t>(bytes), file));
}

long KyFile::fwrite_(void const* buffer, long bytes, std::FILE* file) {
  if (!buffer || !file || bytes <= 0) return 0;
  return static_cast<long>(std::fwrite(buffer, 1, static_cast<size_t>(bytes), file));
}

int64_t KyFile::flength(Any const& path) {
  struct stat status;
  if (::stat(native(path).c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return -1;
  return status.st_size;
}

Any KyFile::getExt(Any const& path, bool lower) {
  std::string const text = path.asString();
  std::string_view const name = lastComponent(text);
  size_t const dot = name.rfind('.');
  if (dot == std::string_view::npos || dot == 0) return "";
  std::string ext(name.substr(dot + 1));
  if (lower) {
    for (char& c : ext) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
  }
  return ext;
}

bool KyFile::isDir(Any const& path) {
  struct stat status;
  return ::stat(native(path).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

Any KyFile::joinPath(Any const& folder, Any const& name) {
  std::string path = folder.asString();
  std::string const last = name.asString();
  if (path.empty()) return last;
  if (!path.ends_with('/')) path.push_back('/');
  path.append(last, last.starts_with('/') ? 1 : 0);
  return path;
}

int KyFile::mkdir(Any const& path) { return ::mkdir(native(path).c_str(), 0700); }

int KyFile::rm(Any const& path) { return ::unlink(native(path).c_str()); }

int KyFile::rmdir(Any const& path) {
  std::string text = native(path);
  // A slash at the end would make the system follow a link.
  while (text.ends_with('/')) text.pop_back();
  if (text.empty() || isSelfOrParent(lastComponent(text))) return -1;
  struct stat status;
  if (::lstat(text.c_str(), &status) != 0) return -1;
  if (!S_ISDIR(status.st_mode) && !S_ISLNK(status.st_mode)) return -1;
  return removeTree(AT_FDCWD, text.c_str()) ? 0 : -1;
}

Any KyFile::osFname(Any const& path) { return path.asString(); }

Any KyFile::tempFileName(char const* prefix, char const* ext) {
  std::string const start = component(prefix, 128);
  std::string const end = ext && *ext ? "." + component(ext, 32) : std::string();
  Any const folder = ky_registry()->tempDir();
  for (;;) {
    std::string const random = randomDigits();
    if (random.empty()) return {};
    std::string name = start;
    name.append("_").append(random).append(end);
    Any path = joinPath(folder, name);
    struct stat status;
    if (::lstat(native(path).c_str(), &status) != 0) return path;
  }
}

std::FILE* kyfopen(Any const& path, char const* mode) {
  return mode ? std::fopen(native(path).c_str(), mode) : nullptr;
}

char const* path_separator() { return "/"; }
