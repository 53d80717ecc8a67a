#include "clips.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

class Folder {
 public:
  Folder() {
    std::string pattern = std::filesystem::temp_directory_path() / "mfimport_test_XXXXXX";
    if (mkdtemp(pattern.data())) path_ = pattern;
  }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  ~Folder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  std::filesystem::path const& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

std::vector<uint8_t> outputOf(std::string const& command) {
  std::vector<uint8_t> bytes;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) {
    ADD_FAILURE() << "cannot run " << command;
    return bytes;
  }
  std::array<uint8_t, 65536> block{};
  while (size_t const got = fread(block.data(), 1, block.size(), pipe))
    bytes.insert(bytes.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(got));
  EXPECT_EQ(pclose(pipe), 0) << command;
  return bytes;
}

constexpr char kFfmpeg[] = "ffmpeg -nostdin -hide_banner -loglevel error -y ";

}  // namespace

std::string scratch(std::string const& name) {
  static Folder const folder;
  return folder.path() / name;
}

std::string clip(std::string const& name, std::string const& arguments) {
  std::string const path = scratch(name);
  if (std::filesystem::exists(path)) return path;
  std::string command = kFfmpeg + arguments;
  command.replace(command.find("{out}"), 5, path);
  outputOf(command);
  EXPECT_TRUE(std::filesystem::exists(path)) << command;
  return path;
}

std::vector<uint8_t> decodedByFfmpeg(std::string const& path, std::string const& arguments,
                                     std::string const& inputOptions) {
  return outputOf(kFfmpeg + (inputOptions + " -i '" + path + "' " + arguments + " -"));
}

std::vector<std::string> linesOf(std::string const& command) {
  std::vector<uint8_t> const bytes = outputOf(command);
  std::vector<std::string> lines;
  std::string line;
  for (uint8_t const byte : bytes) {
    if (byte != '\n') {
      line += static_cast<char>(byte);
    } else {
      lines.push_back(std::move(line));
      line.clear();
    }
  }
  return lines;
}

std::vector<uint8_t> fileBytes(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void writeFile(std::string const& path, void const* data, size_t size) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(static_cast<char const*>(data), static_cast<std::streamsize>(size));
  ASSERT_TRUE(file.good());
}

void writeFile(std::string const& path, std::string const& text) {
  writeFile(path, text.data(), text.size());
}

std::string openGopMp4() {
  return clip(
      "open_gop.mp4",
      "-f lavfi -i testsrc2=s=320x240:r=30000/1001:d=5 -f lavfi -i sine=f=440:r=48000:d=5 -c:v libx264 "
      "-preset veryfast -pix_fmt yuv420p -x264-params keyint=24:min-keyint=8:open-gop=1:bframes=3:"
      "b-pyramid=normal -c:a aac -aac_pns 0 -ac 2 {out}");
}

std::string openGopMov() {
  return clip("open_gop.mov", "-i " + openGopMp4() + " -c:v copy -c:a pcm_s16be -f mov {out}");
}

std::string editListMp4() { return clip("edit_list.mp4", "-ss 1.35 -i " + openGopMp4() + " -c copy {out}"); }

std::string hevc10Mp4() {
  return clip("hevc10.mp4",
              "-f lavfi -i testsrc2=s=320x240:r=25:d=3 -c:v libx265 -preset ultrafast -pix_fmt yuv420p10le "
              "-x265-params log-level=error:keyint=20:open-gop=1 -tag:v hvc1 {out}");
}

std::string mpeg2Mov() {
  return clip("mpeg2.mov",
              "-f lavfi -i testsrc2=s=1920x1080:r=25:d=2 -f lavfi -i sine=f=300:r=48000:d=2 "
              "-f lavfi -i sine=f=500:r=48000:d=2 -map 0 -map 1 -map 2 -c:v mpeg2video -b:v 35M -maxrate 35M "
              "-bufsize 18M -g 12 -bf 2 -flags +ildct+ilme -top 1 -tag:v xdvc -c:a pcm_s16be -ac 1 {out}");
}

std::string nonReferenceBMp4() {
  return clip(
      "plain_b.mp4",
      "-f lavfi -i testsrc2=s=320x240:r=25:d=3 -c:v libx264 -preset veryfast -pix_fmt yuv420p -x264-params "
      "keyint=15:bframes=2:b-pyramid=none:b-adapt=0:weightb=0 {out}");
}
