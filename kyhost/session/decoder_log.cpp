#include "kyhost/session/decoder_log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <utility>

#include "host/log.h"

namespace kyhost {
namespace {

constexpr size_t kKeptLines = 50;
constexpr int kRemarks = kLogWarning | kLogInfo;

// The first lines count: what follows is mostly their consequence.
struct Kept {
  std::mutex mutex;
  std::vector<std::string> errors;
  std::vector<std::string> remarks;
};

Kept& kept() {
  static Kept instance;
  return instance;
}

void keep(std::vector<std::string>& lines, std::string_view text) {
  std::lock_guard const lock(kept().mutex);
  if (lines.size() < kKeptLines && std::find(lines.begin(), lines.end(), text) == lines.end())
    lines.emplace_back(text);
}

std::vector<std::string> takeLines(std::vector<std::string>& lines) {
  std::lock_guard const lock(kept().mutex);
  return std::exchange(lines, {});
}

}  // namespace

void listenToDecoder(std::optional<int> mask) {
  if (!mask && std::getenv("KY_DEBUG")) mask = ky_dbg()->mask();
  int const shown = mask.value_or(0);
  ky_dbg()->setMask(shown | kLogError | kRemarks);
  ky_dbg()->setSink([shown](int level, std::string_view text) {
    if (level & kLogError) keep(kept().errors, text);
    if (level & kRemarks) keep(kept().remarks, text);
    if ((level & shown) != 0 || (level == 0 && shown != 0))
      std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
  });
}

std::vector<std::string> takeDecoderErrors() { return takeLines(kept().errors); }
std::vector<std::string> takeDecoderRemarks() { return takeLines(kept().remarks); }

std::vector<std::string> takeUserMessages() {
  std::vector<std::string> texts;
  for (KyLogBuffer::Message& message : ky_log()->take()) {
    if (std::find(texts.begin(), texts.end(), message.text) == texts.end())
      texts.push_back(std::move(message.text));
  }
  return texts;
}

}  // namespace kyhost
