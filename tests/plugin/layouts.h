// Files with several layouts of audio streams, made by the `ffmpeg` program. All have pictures, since a MOV
// without any is refused.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/media.h"

namespace test {

inline std::string tone(int hertz, std::string const& seconds = "1") {
  return "-f lavfi -i sine=frequency=" + std::to_string(hertz) + ":sample_rate=48000:duration=" + seconds +
         " ";
}

inline std::string channels(int count) {
  static std::string const layouts[] = {"", "mono", "stereo", "", "", "", "5.1"};
  std::string expressions;
  for (int i = 0; i < count; ++i)
    expressions += (i ? "|" : "") + std::string("0.2*sin(") + std::to_string(500 + 700 * i) + "*t)";
  return "-f lavfi -i aevalsrc='" + expressions + "':s=48000:d=1:c=" + layouts[count] + " ";
}

inline std::string picture() { return "-f lavfi -i testsrc2=s=64x48:r=25:d=1 "; }

// Maps `inputs` inputs, one stream each, in order.
inline std::string mapAll(int inputs) {
  std::string maps;
  for (int i = 0; i < inputs; ++i) maps += "-map " + std::to_string(i) + " ";
  return maps;
}

// Stereo, mono, mono and 5.1 beside a picture stream.
inline std::filesystem::path mixedLayouts() {
  return made("mixed.mov", picture() + channels(2) + tone(300) + tone(400) + channels(6) + mapAll(5) +
                               "-c:v mpeg2video -c:a pcm_s16le");
}

inline std::filesystem::path stereoPair() {
  return made("stereopair.mov",
              picture() + channels(2) + channels(2) + mapAll(3) + "-c:v mpeg2video -c:a pcm_s16le");
}

inline std::filesystem::path threeMono() {
  return made("threemono.mov",
              picture() + tone(300) + tone(400) + tone(500) + mapAll(4) + "-c:v mpeg2video -c:a pcm_s16le");
}

inline std::filesystem::path monoAndStereo() {
  return made("monostereo.mov",
              picture() + tone(300) + channels(2) + mapAll(3) + "-c:v mpeg2video -c:a pcm_s16le");
}

inline std::filesystem::path monoAndDolby() {
  return made("monodolby.mov", picture() + tone(300) + tone(400) + channels(2) + mapAll(4) +
                                   "-c:v mpeg2video -c:a:0 pcm_s16le -c:a:1 pcm_s16le -c:a:2 ac3");
}

// The second stream ends a quarter of a second before the first.
inline std::filesystem::path unequalMono() {
  return made("unequal.mov",
              picture() + tone(300) + tone(400, "0.75") + mapAll(3) + "-c:v mpeg2video -c:a pcm_s16le");
}

inline std::filesystem::path manyMono(int count) {
  std::string inputs = picture();
  for (int i = 0; i < count; ++i) inputs += tone(200 + 10 * i, "0.2");
  return made("mono" + std::to_string(count) + ".mov",
              inputs + mapAll(count + 1) + "-c:v mpeg2video -c:a pcm_s16le");
}

inline std::filesystem::path unequalSampleSizes() {
  return made("samplesizes.mov", picture() + tone(300) + tone(400) + mapAll(3) +
                                     "-c:v mpeg2video -c:a:0 pcm_s24le -c:a:1 pcm_s16le");
}

inline std::vector<int16_t> wordsOf(std::filesystem::path const& file, int stream) {
  std::vector<uint8_t> const bytes = samples(file, stream, "s16le");
  auto const* const words = reinterpret_cast<int16_t const*>(bytes.data());
  return {words, words + bytes.size() / sizeof(int16_t)};
}

}  // namespace test
