#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "mfimport/takelist.h"

/// A take list as it lies on disk.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  mfimport::TakeList list;
  std::string error;
  const bool read = mfimport::parseTakeList(text, list, error);
  if (read != error.empty()) std::abort();
  if (!read) return 0;
  if (list.clips.empty()) std::abort();
  for (const mfimport::TakeListClip& clip : list.clips)
    if (clip.path.empty() || text.find(clip.path) == std::string_view::npos) std::abort();
  return 0;
}
