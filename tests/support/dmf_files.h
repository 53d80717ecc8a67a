// DMF files for tests, by the `ffmpeg` program and samples/xsub_avi.py. KY_SAMPLES_DIR must be defined.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/support/media.h"

namespace test {

inline std::string readText(std::filesystem::path const& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

inline std::filesystem::path scratchText(std::string const& name, std::string const& text) {
  std::filesystem::path const file = scratchDir() / name;
  std::ofstream(file, std::ios::binary) << text;
  return file;
}

// A copy of `file` with every `from` replaced by `to` of the same length.
inline std::filesystem::path patched(std::filesystem::path const& file, std::string const& name,
                                     std::string const& from, std::string const& to) {
  std::string bytes = readText(file);
  for (size_t at = bytes.find(from); at != std::string::npos; at = bytes.find(from, at + to.size()))
    bytes.replace(at, to.size(), to);
  return scratchText(name, bytes);
}

// A second of MPEG-4 video and of stereo sound as input of further commands.
inline std::string const pictureInput = "-f lavfi -i testsrc=s=320x240:r=25:d=1 ";
inline std::string const soundInput = "-f lavfi -i aevalsrc='0.1*sin(440*t)|0.1*sin(660*t)':d=1 ";

// A Matroska file with a subtitle script of any kind that the `ffmpeg` program reads.
inline std::filesystem::path matroskaWith(std::string const& name, std::filesystem::path const& script,
                                          std::string const& options = "") {
  return made(name, pictureInput + soundInput + "-i " + quoted(script) +
                        " -map 0 -map 1 -map 2 -c:v mpeg4 -c:a pcm_s16le -c:s copy " + options);
}

// An AVI with MPEG-4 pictures of that width, MP2 sound and no subtitles.
inline std::filesystem::path plainAvi(int width) {
  std::string const size = std::to_string(width) + "x" + std::to_string(width * 9 / 16 / 8 * 8);
  return made("plain" + size + ".avi",
              "-f lavfi -i testsrc=s=" + size + ":r=25:d=1 " + soundInput + "-c:v mpeg4 -c:a mp2");
}

// The same with what samples/xsub_avi.py adds; `arguments` are its options and times.
inline std::filesystem::path xsubAvi(std::string const& name, int width, std::string const& arguments) {
  std::filesystem::path const file = scratchDir() / name;
  run(std::string("python3 -B ") + KY_SAMPLES_DIR + "/xsub_avi.py " + quoted(plainAvi(width)) + " " +
      quoted(file) + " " + arguments);
  return file;
}

}  // namespace test
