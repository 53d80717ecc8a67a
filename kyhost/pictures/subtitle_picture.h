// Subtitle pictures as the decoder leaves them in a folder.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "mediafile/lav.h"

namespace kyhost {

struct SubtitleFile {
  std::filesystem::path path;
  int64_t number;
  int64_t begin, end;  // microseconds
};

// Files "<number>_<begin>_<end>.dxsa" or ".dxsb" of a folder, by their numbers.
std::vector<SubtitleFile> subtitleFiles(std::filesystem::path const& folder);

struct SubtitlePicture {
  lav::Frame frame;  // RGBA
  int left, top;     // in the video picture, pixels
};

// Decodes one XSUB packet; `alpha`: its colours have alpha values (dxsa). Throws Failure (read).
SubtitlePicture decodeSubtitle(std::vector<uint8_t> const& packet, bool alpha);

}  // namespace kyhost
