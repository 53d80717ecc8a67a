#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/file.h"
#include "host/log.h"
#include "host/registry.h"
#include "host/text.h"
#include "xdcamdecode/xdcamdec.h"

namespace {

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string_view baseName(std::string_view path) {
  size_t at = path.rfind(path_separator()[0]);
  if (at == std::string_view::npos) at = path.rfind('/');
  return at == std::string_view::npos ? path : path.substr(at + 1);
}

// Length of the line that `text` begins with, without its end.
size_t lineLength(std::string_view text) {
  size_t end = text.find('\n');
  if (end == std::string_view::npos) end = text.find('\r');
  return std::min(end, text.size());
}

void logLines(std::string_view text) {
  constexpr size_t kTooLong = 1023;
  while (!text.empty()) {
    size_t const length = lineLength(text);
    if (length < kTooLong) ky_dbg()->logs(kLogTrace, std::string(text.substr(0, length)).c_str());
    text.remove_prefix(std::min(length + 1, text.size()));
  }
}

}  // namespace

Any XdcamDec::MakeTakeListName(Any const& clipName) const {
  std::string const clip = clipName.toString().asString();
  std::string const base(baseName(clip));
  std::string const folder = ky_registry()->tempDir().toString().asString();
  std::rand();
  int const random = std::abs(std::rand());
  // The most negative number has no absolute value of its own type.
  int const seconds = std::abs(std::max(static_cast<int32_t>(std::time(nullptr)), -INT32_MAX));
  char name[512];
  // NOLINTNEXTLINE(bugprone-unused-return-value): longer names are cut
  std::snprintf(name, sizeof name, "%s%s%s_%d_%d.mzl", folder.c_str(), path_separator(), base.c_str(), random,
                seconds);
  return Any(name);
}

// The generator is seeded with the second by every decoder, so two that open the same clip within a second
// would share a name, and the first to close would take the other's list away.
Any XdcamDec::reserveTakeList() const {
  constexpr int kAttempts = 1000;
  Any name;
  for (int i = 0; i < kAttempts; ++i) {
    name = MakeTakeListName(fileName_);
    std::string const path = name.asString();
    int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file >= 0) ::close(file);
    if (file >= 0 || errno != EEXIST) break;
  }
  return name;
}

void XdcamDec::LogTakeList(Any const& name, bool wide) const {
  std::unique_ptr<std::FILE, FileCloser> const file(kyfopen(name, "r"));
  if (!file) {
    ky_dbg()->log(kLogError, "Can not open mzl file '%s'", name.toString().asString().c_str());
    return;
  }
  // One zero character behind what is read ends the text.
  constexpr size_t kCharacters = 60000;
  std::string text;
  size_t bytes = 0;
  if (wide) {
    std::vector<wchar_t> buffer(kCharacters, L'\0');
    bytes = std::fread(buffer.data(), 1, (kCharacters - 1) * sizeof(wchar_t), file.get());
    text = KyText::toUtf8(buffer.data());
  } else {
    std::vector<char> buffer(kCharacters, '\0');
    bytes = std::fread(buffer.data(), 1, kCharacters - 1, file.get());
    text = buffer.data();
  }
  if (bytes == 0) {
    ky_dbg()->logs(kLogTrace, wide ? "empty [wc] mzl file" : "empty [c]mzl file");
    return;
  }
  ky_dbg()->logs(kLogTrace, "Order of clips in take:");
  logLines(text);
}
