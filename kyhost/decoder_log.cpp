#include "kyhost/decoder_log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <utility>

#include "host/log.h"

namespace kyhost {
namespace {

constexpr size_t kKept = 20;

struct Kept {
  std::mutex mutex;
  std::vector<std::string> errors;
};

Kept& kept() {
  static Kept instance;
  return instance;
}

void keep(std::string_view text) {
  std::lock_guard const lock(kept().mutex);
  std::vector<std::string>& errors = kept().errors;
  if (errors.size() < kKept && std::find(errors.begin(), errors.end(), text) == errors.end())
    errors.emplace_back(text);
}

}  // namespace

void listenToDecoder(std::optional<int> mask) {
  if (!mask && std::getenv("KY_DEBUG")) mask = ky_dbg()->mask();
  int const shown = mask.value_or(0);
  ky_dbg()->setMask(shown | kLogError);
  ky_dbg()->setSink([shown](int level, std::string_view text) {
    if (level & kLogError) keep(text);
    if ((level & shown) != 0 || (level == 0 && shown != 0))
      std::fprintf(stderr, "%.*s\n", static_cast<int>(text.size()), text.data());
  });
}

std::vector<std::string> takeDecoderErrors() {
  std::lock_guard const lock(kept().mutex);
  return std::exchange(kept().errors, {});
}

std::vector<std::string> takeUserMessages() {
  std::vector<std::string> texts;
  for (KyLogBuffer::Message& message : ky_log()->take()) {
    if (std::find(texts.begin(), texts.end(), message.text) == texts.end())
      texts.push_back(std::move(message.text));
  }
  return texts;
}

}  // namespace kyhost
