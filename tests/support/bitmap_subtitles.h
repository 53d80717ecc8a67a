// Bitmap subtitles that tests make themselves.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace test {

struct SubtitleColour {
  uint8_t y, cr, cb, alpha;
};

// A bitmap that stands from `begin` to `end` milliseconds.
struct SubtitleEvent {
  int begin, end;
  int x, y, width, height;
  std::vector<SubtitleColour> colours;
  std::function<int(int x, int y)> pixel;  // number of a colour
};

// HDMV presentation graphics of a `width` x `height` video as a file of segments with stamps, which the
// `ffmpeg` program reads. Events in order, without overlap.
std::vector<uint8_t> presentationGraphics(int width, int height, std::vector<SubtitleEvent> const& events);

// Such a file of the test program's folder for a video of 160 x 120: bitmaps from 400 to 1400 and from 1600
// to 2800 ms. `variant` 1 has others at the same times, elsewhere on the picture.
std::filesystem::path subtitleFile(int variant);

// Four seconds of a moving picture of 160 x 120 at 25 Hz with the streams of `variants` of subtitleFile(),
// made by the `ffmpeg` program: `codec` of its subtitle encoders or "copy", and further options for the
// output.
std::filesystem::path subtitledFile(std::string const& name, std::vector<int> const& variants,
                                    std::string const& codec, std::string const& options = "");

}  // namespace test
