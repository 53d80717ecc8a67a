// Files with bitmap subtitles, and decoders that draw them.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "mfimport/mfimport.h"
#include "tests/support/bitmap_subtitles.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace overlaying {

namespace fs = std::filesystem;
using test::PipePtr;

// 0 to 399 ms nothing, to 1399 a bitmap, to 1599 nothing, to 2799 another one; 25 frames per second.
constexpr int kBefore = 9, kFirst = 10, kFirstLast = 34, kGap = 37, kSecond = 40, kSecondLast = 69,
              kAfter = 70;
constexpr int kFrames = 100;

inline fs::path twoStreams() { return test::subtitledFile("two.mkv", {0, 1}, "copy"); }
inline fs::path dvd() { return test::subtitledFile("dvd.mkv", {0}, "dvdsub"); }
inline PipePtr selected(fs::path const& file, AnyDict const& parameters = {}) {
  PipePtr pipe = test::opened(file, parameters);
  if (pipe) {
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0) << pipe->errorDesc();
  }
  return pipe;
}

inline int overlay(KyDecodePipe& pipe, Any const& value) {
  return pipe.setStreamParam(kKindVideo, 0, "subpicOverlay", value);
}

inline int overlay(KyDecodePipe const& pipe) {
  Any value;
  pipe.getStreamParam(kKindVideo, 0, "subpicOverlay", value);
  return value.asInt32();
}

// The import library's instance behind the video stream.
inline MpegIn* instanceOf(KyDecodePipe const& pipe) {
  Any answer = 0;
  pipe.getParam("srParams", answer);
  return static_cast<MpegIn*>(const_cast<void*>(answer.asDict()["decoder_struct"].asGeneric()));
}

inline MpegDecodeStats stats(KyDecodePipe const& pipe) {
  MpegDecodeStats out{};
  EXPECT_EQ(mpegInVideoAuxinfo(instanceOf(pipe), 0, kAuxStats, &out, sizeof out), 0);
  return out;
}

inline std::string hashOf(KyDecodePipe& pipe) { return test::md5(*pipe.videoFrame(0)); }

inline std::string hashAt(KyDecodePipe& pipe, int frame) {
  EXPECT_EQ(pipe.seekToFrame(frame, 0), 0) << pipe.errorDesc();
  return hashOf(pipe);
}

inline std::vector<std::string> hashesWith(fs::path const& file, int overlayed) {
  PipePtr const pipe = selected(file);
  if (!pipe) return {};
  EXPECT_EQ(overlay(*pipe, overlayed), 0);
  return test::readAllFrames(*pipe, 0);
}

}  // namespace overlaying
