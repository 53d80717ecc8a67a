// Files with closed captions, and what an independent decoder finds in them.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace test {

struct CaptionText {
  char const* from;  // SubRip times, "00:00:01,001"
  char const* to;
  char const* text;
};
// What the files below say.
std::vector<CaptionText> const& captionTexts();

// Coded pictures without captions, `pictures` of them at 30000/1001 a second, with B pictures and open
// groups: an elementary stream of "mpeg2" or "h264".
std::filesystem::path plainStream(std::string const& codec, int pictures);

// A file of plainStream() with captions, once per process. The container is that of the name's ending.
// `options` go to captions.py; "silent" captions have bytes that show nothing.
enum class CaptionKind { Spoken, Silent };
std::filesystem::path captioned(std::string const& name, std::string const& codec, int pictures = 180,
                                std::string const& options = "", CaptionKind kind = CaptionKind::Spoken);

// Caption triplets of each picture in order of presentation, in hexadecimal, "-" where there are none, as
// libavcodec finds them.
std::vector<std::string> captionBytes(std::filesystem::path const& file);

}  // namespace test
