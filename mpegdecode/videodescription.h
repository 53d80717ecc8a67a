// The description of a video stream from its facts.
#pragma once

#include <cstdint>
#include <optional>

#include "host/any.h"
#include "host/framerate.h"
#include "mfimport/mfimport.h"

struct MpegColour {
  int primaries = 2, transfer = 2, matrix = 2;  // ISO/IEC 23091-2 code points, 2 unspecified
};
// That of the stream; what it leaves unspecified is that of `otherwise`.
MpegColour colourOf(MpegVideoInfo const& video, MpegColour const& otherwise);

struct VideoFacts {
  uint32_t fourcc = 0;
  int width = 0, height = 0, containerWidth = 0, containerHeight = 0;  // pixels
  double bitRate = 0;                                                  // bits per second, 0 unknown
  int frames = 0;
  double frameAspect = 0;  // width to height of the whole picture
  KyFramerate framerate;
  double containerFps = 0, streamFps = 0;
  int gopN = 0, gopM = 0;
  MpegColour colour;
  uint32_t colorRange = 1;
  std::optional<bool> variableRate;  // where the codec tells
  char const* codec = "";
  MpegStreamId identity{};
  int frameDct = 0;
  int64_t firstPts = 0;  // 27 MHz
  int overlay = -1;      // entry of the subpicture list that is overlaid, -1 none
  int displaySubpictures = 0;
};

// What an instance tells; identity and range are the stream's own. Raises a failed check for an aspect that
// no table has.
VideoFacts videoFacts(MpegIn const& file);

// Sets the keys of a video description; others stay. Without a rate the durations are infinite or undefined.
void describe(VideoFacts const& facts, AnyDict& info);
