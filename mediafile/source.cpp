#include "mediafile/source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <utility>

namespace mediafile {
namespace {

class PlainFile final : public ByteSource {
 public:
  PlainFile(int fd, int64_t size) : fd_(fd), size_(size) {}
  PlainFile(PlainFile const&) = delete;
  PlainFile& operator=(PlainFile const&) = delete;
  ~PlainFile() override { ::close(fd_); }

  int64_t size() const override { return size_; }

  int64_t readAt(int64_t position, std::span<uint8_t> out) override {
    size_t done = 0;
    while (done < out.size()) {
      ssize_t const got =
          ::pread(fd_, out.data() + done, out.size() - done, position + static_cast<int64_t>(done));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return -1;
      if (got == 0) break;
      done += static_cast<size_t>(got);
    }
    return static_cast<int64_t>(done);
  }

 private:
  int fd_;
  int64_t size_;
};

class ExternalFile final : public ByteSource {
 public:
  ExternalFile(ExternalFunctions const& functions, void* handle, int64_t size)
      : functions_(functions), handle_(handle), size_(size) {}
  ExternalFile(ExternalFile const&) = delete;
  ExternalFile& operator=(ExternalFile const&) = delete;
  ~ExternalFile() override { functions_.close(functions_.user, handle_); }

  int64_t size() const override { return size_; }

  int64_t readAt(int64_t position, std::span<uint8_t> out) override {
    if (position != position_ && functions_.seek(functions_.user, handle_, position, SEEK_SET) < 0) {
      position_ = -1;
      return -1;
    }
    position_ = position;
    size_t done = 0;
    while (done < out.size()) {
      int const wanted = static_cast<int>(std::min<size_t>(out.size() - done, INT_MAX));
      int const got = functions_.read(functions_.user, handle_, out.data() + done, wanted);
      if (got < 0 || got > wanted) {
        position_ = -1;
        return -1;
      }
      if (got == 0) break;
      done += static_cast<size_t>(got);
      position_ += got;
    }
    return static_cast<int64_t>(done);
  }

 private:
  ExternalFunctions functions_;
  void* handle_;
  int64_t size_;
  int64_t position_ = -1;  // of the host's handle, -1 unknown
};

class WatchedFile final : public ByteSource {
 public:
  WatchedFile(std::unique_ptr<ByteSource> file, std::shared_ptr<ReadWatch> watch, bool setsErrno)
      : file_(std::move(file)), watch_(std::move(watch)), setsErrno_(setsErrno) {}

  int64_t size() const override { return file_->size(); }

  int64_t readAt(int64_t position, std::span<uint8_t> out) override {
    int64_t const got = file_->readAt(position, out);
    if (got < 0) {
      std::string const why = setsErrno_ ? std::string(": ") + std::strerror(errno) : "";
      watch_->note("reading failed at byte " + std::to_string(position) + why);
    }
    return got;
  }

  void abandon(std::string const& reason) override { watch_->note(reason); }

 private:
  std::unique_ptr<ByteSource> file_;
  std::shared_ptr<ReadWatch> watch_;
  bool setsErrno_;
};

Error unopenable(std::string reason) { return {Fault::unopenable, std::move(reason)}; }

Result<std::unique_ptr<ByteSource>> openPlain(std::string const& name) {
  int const fd = ::open(name.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat info{};
  if (fd < 0 || ::fstat(fd, &info) != 0) {
    Error error = unopenable(std::strerror(errno));
    if (fd >= 0) ::close(fd);
    return error;
  }
  if (!S_ISREG(info.st_mode)) {
    ::close(fd);
    return unopenable("not a regular file");
  }
  return {std::make_unique<PlainFile>(fd, static_cast<int64_t>(info.st_size))};
}

Result<std::unique_ptr<ByteSource>> openExternal(ExternalFunctions const& functions,
                                                 std::string const& name) {
  if (!functions.open || !functions.seek || !functions.read || !functions.close)
    return unopenable("the external file access is incomplete");
  void* handle = functions.open(functions.user, name.c_str(), 0);
  if (!handle) return unopenable("the external file access cannot open it");
  // The size that came with the functions is that of one file only; others tell theirs themselves.
  int64_t size = functions.size;
  if (size <= 0 || name != functions.sizedName) size = functions.seek(functions.user, handle, 0, SEEK_END);
  auto file = std::make_unique<ExternalFile>(functions, handle, size);
  if (size < 0) return unopenable("the external file access cannot tell its size");
  return {std::move(file)};
}

}  // namespace

Result<std::unique_ptr<ByteSource>> FileAccess::open(std::string const& name) const {
  auto opened = external_ ? openExternal(functions_, name) : openPlain(name);
  if (!opened) return opened.error();
  std::unique_ptr<ByteSource> file = opened.take();
  if (watch_) file = std::make_unique<WatchedFile>(std::move(file), watch_, !external_);
  return {std::move(file)};
  // The analyzer does not follow the destructor of std::variant.
}  // NOLINT(clang-analyzer-cplusplus.NewDeleteLeaks)

FileAccess FileAccess::watchedBy(std::shared_ptr<ReadWatch> watch) const {
  FileAccess watched = *this;
  watched.watch_ = std::move(watch);
  return watched;
}

std::string FileAccess::identity(std::string const& name) const {
  char text[160];
  if (external_) {
    std::snprintf(text, sizeof text, "external %p %lld ", functions_.user,
                  static_cast<long long>(name == functions_.sizedName ? functions_.size : -1));
    return text + name;
  }
  struct stat info{};
  if (::stat(name.c_str(), &info) != 0) return {};
  std::snprintf(text, sizeof text, "file %llu:%llu %lld %lld.%09ld ",
                static_cast<unsigned long long>(info.st_dev), static_cast<unsigned long long>(info.st_ino),
                static_cast<long long>(info.st_size), static_cast<long long>(info.st_mtim.tv_sec),
                info.st_mtim.tv_nsec);
  return text + name;
}

}  // namespace mediafile
