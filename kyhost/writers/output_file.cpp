#include "kyhost/writers/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "kyhost/session/failure.h"
#include "kyhost/session/signals.h"

namespace fs = std::filesystem;

namespace kyhost {
namespace {

constexpr size_t kBufferBytes = size_t{1} << 20;

mode_t newFileMode() {
  mode_t const mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

bool isDirectTarget(fs::path const& path) {
  std::error_code ignored;
  fs::file_status const status = fs::status(path, ignored);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

}  // namespace

OutputFile::OutputFile(fs::path const& path)
    : path_(path), name_(path == "-" ? "standard output" : path.string()) {
  int descriptor = -1;
  if (path == "-") {
    descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  } else if (isDirectTarget(path)) {
    descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
  } else {
    if (fs::is_directory(path)) throw Failure(ExitCode::Write, fmt::format("{}: is a folder", name_));
    // A link keeps pointing where it does: the file behind it is replaced.
    std::error_code ignored;
    if (fs::is_symlink(path, ignored)) path_ = fs::weakly_canonical(path);
    std::string pattern = (path_.parent_path() / ("." + path_.filename().string() + ".XXXXXX")).string();
    descriptor = mkostemp(pattern.data(), O_CLOEXEC);
    if (descriptor >= 0) {
      temporary_ = pattern;
      removeOnSecondSignal(pattern);
      fchmod(descriptor, newFileMode());
    }
  }
  if (descriptor < 0) fail("cannot be created", errno);
  file_.reset(fdopen(descriptor, "wb"));
  if (!file_) {
    int const error = errno;
    ::close(descriptor);
    fail("cannot be written", error);
  }
  std::setvbuf(file_.get(), nullptr, _IOFBF, kBufferBytes);
}

OutputFile::~OutputFile() {
  file_.reset();
  if (temporary_.empty()) return;
  unlink(temporary_.c_str());
  removeOnSecondSignal({});
}

void OutputFile::write(std::span<unsigned char const> bytes) {
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
    fail("cannot be written", errno);
  position_ += static_cast<int64_t>(bytes.size());
}

void OutputFile::write(std::string_view text) {
  write({reinterpret_cast<unsigned char const*>(text.data()), text.size()});
}

void OutputFile::writeRows(unsigned char const* first, int rows, int rowBytes, int stride) {
  auto const bytes = static_cast<size_t>(rowBytes);
  if (stride == rowBytes) {
    write({first, bytes * static_cast<size_t>(rows)});
    return;
  }
  for (int row = 0; row < rows; ++row) write({first + static_cast<ptrdiff_t>(row) * stride, bytes});
}

void OutputFile::seek(int64_t position) {
  if (fseeko(file_.get(), position, SEEK_SET) != 0) fail("cannot be positioned", errno);
  position_ = position;
}

void OutputFile::commit() {
  if (std::fflush(file_.get()) != 0) fail("cannot be written", errno);
  if (std::fclose(file_.release()) != 0) fail("cannot be written", errno);
  if (temporary_.empty()) return;
  if (std::rename(temporary_.c_str(), path_.c_str()) != 0) fail("cannot be created", errno);
  temporary_.clear();
  removeOnSecondSignal({});
}

void OutputFile::fail(std::string const& what, int error) const {
  if (error == EPIPE) throw Failure(ExitCode::Write, fmt::format("{}: its reader has gone", name_));
  std::string advice;
  if (error == ENOENT) advice = "create its folder first";
  if (error == ENOSPC) advice = "free space on that disk; the unfinished file has been removed";
  throw Failure(ExitCode::Write, fmt::format("{}: {} ({})", name_, what, std::strerror(error)), advice);
}

void refuseToOverwriteInput(fs::path const& output, fs::path const& input) {
  std::error_code ignored;
  if (output == "-" || !fs::exists(output, ignored) || !fs::equivalent(output, input, ignored)) return;
  throw Failure(ExitCode::Usage, fmt::format("{}: is the file to be read", output.string()),
                "choose another name after -o");
}

}  // namespace kyhost
