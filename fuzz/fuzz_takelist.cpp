#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "mfimport/takelist/takelist.h"

/// A take list as it lies on disk.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string_view const text(reinterpret_cast<char const*>(data), size);
  auto const read = mfimport::parseTakeList(text);
  if (!read && read.error().text.empty()) std::abort();
  if (!read) return 0;
  if (read->clips.empty()) std::abort();
  for (mfimport::TakeListClip const& clip : read->clips)
    if (clip.path.empty() || text.find(clip.path) == std::string_view::npos) std::abort();
  return 0;
}
