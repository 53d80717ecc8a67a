// Bitmap subtitles decoded in one go from the beginning, and drawn by a plain formula.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

#include "host/frame.h"

namespace test {

struct ReferenceBitmap {
  int x, y, width, height;
  std::vector<uint32_t> argb;  // of every pixel
};

struct ReferenceSubtitle {
  double begin, end;  // seconds
  int canvasWidth, canvasHeight;
  std::vector<ReferenceBitmap> bitmaps;
};

// Everything that the subtitle stream `stream` of the file shows, in order. A canvas that the stream does not
// tell is `width` x `height`.
std::vector<ReferenceSubtitle> referenceSubtitles(std::filesystem::path const& file, int stream, int width,
                                                  int height);

// What is shown at a time; null for nothing.
ReferenceSubtitle const* referenceAt(std::vector<ReferenceSubtitle> const& subtitles, double seconds);

// One plane of an I420 picture.
using Plane = std::vector<double>;
struct Picture {
  int width, height;
  bool fullRange;  // colours drawn on it use all levels
  Plane planes[3];
};
Picture pictureOf(KyFrame const& frame, bool fullRange);
// With a subtitle drawn on it; colours of ITU-R BT.601 below 720 lines, BT.709 from there on.
Picture drawn(Picture picture, ReferenceSubtitle const& subtitle);
// Largest difference of two components.
double difference(Picture const& a, Picture const& b);

// Presentation time of every frame of the first video stream, in seconds.
std::vector<double> frameTimes(std::filesystem::path const& file);

}  // namespace test
