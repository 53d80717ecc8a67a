// Reads that fail while a file is opened. What cannot be read is told; a film never gets shorter by it.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>

#include "clips.h"
#include "counting_host.h"
#include "player.h"

namespace {

struct Kind {
  char const* name;
  char const* coding;  // of 4 s of pictures and sound, for the ffmpeg program
  bool sound;
};

std::vector<Kind> const& kinds() {
  static std::vector<Kind> const all = {
      {"film.ts", "-c:v mpeg2video -b:v 3M -g 12 -bf 2 -c:a mp2", true},
      {"h264.ts", "-c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a ac3", true},
      {"film.m2ts", "-c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a ac3 -f mpegts -mpegts_m2ts_mode 1",
       true},
      {"film.vob", "-c:v mpeg2video -b:v 3M -g 12 -bf 2 -c:a ac3", true},
      {"film.mpg", "-c:v mpeg1video -b:v 3M -c:a mp2", true},
      {"film.mp4", "-c:v mpeg4 -b:v 3M -c:a aac", true},
      {"front.mp4", "-c:v mpeg4 -b:v 3M -c:a aac -movflags +faststart", true},
      {"pieces.mp4", "-c:v mpeg4 -b:v 3M -g 25 -c:a aac -movflags +frag_keyframe+empty_moov", true},
      {"film.mov", "-c:v mpeg4 -b:v 3M -c:a pcm_s16be", true},
      {"film.mkv", "-c:v mpeg4 -b:v 3M -c:a ac3", true},
      {"film.avi", "-c:v mpeg4 -b:v 3M -c:a mp3", true},
      {"film.asf", "-c:v msmpeg4 -b:v 3M -c:a wmav2", true},
      {"film.mxf", "-c:v mpeg2video -b:v 3M -c:a pcm_s16le", true},
      {"film.flv", "-c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac", true},
      {"film.m2v", "-c:v mpeg2video -b:v 3M -g 12 -bf 2", false},
      {"film.264", "-c:v libx264 -preset ultrafast -pix_fmt yuv420p -f h264", false},
      {"film.265", "-c:v libx265 -preset ultrafast -x265-params log-level=error -pix_fmt yuv420p -f hevc",
       false},
  };
  return all;
}

std::string fileOf(Kind const& kind) {
  std::string arguments = "-f lavfi -i testsrc2=s=320x240:r=25:d=4 ";
  if (kind.sound) arguments += "-f lavfi -i sine=f=440:r=48000:d=4 ";
  return clip(kind.name, arguments + kind.coding + " {out}");
}

struct Found {
  int result = 0;
  int pictures = 0;
  int64_t samples = 0;
};

Found parse(std::string const& path, CountingHost& host) {
  Player player;
  host.install(player.get(), path);
  Found found;
  found.result = player.parse(path);
  found.pictures = player->video.frames;
  found.samples = player->audio.samples;
  return found;
}

class ReadError : public testing::TestWithParam<size_t> {};

TEST_P(ReadError, WhileParsing_FailsTheOpening_OrWasNoneOfItsReads) {
  std::string const path = fileOf(kinds()[GetParam()]);
  auto const size = static_cast<double>(fileBytes(path).size());
  CountingHost healthy;
  Found const whole = parse(path, healthy);
  ASSERT_EQ(whole.result, kMpegOk);
  ASSERT_GT(whole.pictures, 90);
  for (double const part : {0.02, 0.3, 0.6, 0.95, 0.999}) {
    SCOPED_TRACE(part);
    CountingHost host;
    host.failFrom = static_cast<int64_t>(size * part);
    Found const found = parse(path, host);
    EXPECT_EQ(host.opened, host.closed);
    if (host.failed == 0) {
      EXPECT_EQ(found.result, kMpegOk);
      EXPECT_EQ(found.pictures, whole.pictures);
      EXPECT_EQ(found.samples, whole.samples);
    } else {
      EXPECT_EQ(found.result, kMpegErrorOpen);
      EXPECT_TRUE(wasPrinted("reading failed"));
    }
  }
}

// One read in the middle that fails and would work the next time.
TEST_P(ReadError, ThatPasses_FailsTheOpeningToo) {
  std::string const path = fileOf(kinds()[GetParam()]);
  CountingHost healthy;
  ASSERT_EQ(parse(path, healthy).result, kMpegOk);
  for (double const part : {0.3, 0.6, 0.9}) {
    SCOPED_TRACE(part);
    CountingHost host;
    host.failAtRead = static_cast<int64_t>(static_cast<double>(healthy.reads) * part);
    EXPECT_EQ(parse(path, host).result, kMpegErrorOpen);
    EXPECT_EQ(host.failed, 1);
    EXPECT_EQ(host.opened, host.closed);
  }
}

std::string nameOf(testing::TestParamInfo<size_t> const& info) {
  std::string name = kinds()[info.param].name;
  for (char& letter : name)
    if (!std::isalnum(static_cast<unsigned char>(letter))) letter = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Containers, ReadError, testing::Range<size_t>(0, kinds().size()), nameOf);

TEST(ReadErrors, FileThatSimplyEnds_OpensWithWhatItHas) {
  for (size_t const kind : {size_t{0}, size_t{3}, size_t{9}}) {
    std::string const path = fileOf(kinds()[kind]);
    SCOPED_TRACE(path);
    CountingHost healthy;
    Found const whole = parse(path, healthy);
    std::vector<uint8_t> const bytes = fileBytes(path);
    std::string const cut = scratch(std::string("ends_") + kinds()[kind].name);
    writeFile(cut, bytes.data(), bytes.size() * 6 / 10);
    CountingHost host;
    Found const found = parse(cut, host);
    EXPECT_EQ(found.result, kMpegOk);
    EXPECT_GT(found.pictures, whole.pictures / 2);
    EXPECT_LT(found.pictures, whole.pictures);
  }
}

// A host that says more bytes than there are: its reads end, they do not fail.
TEST(ReadErrors, ReadsThatEndBeforeTheSize_OpenWithWhatThereIs) {
  std::string const path = fileOf(kinds().front());
  CountingHost healthy;
  Found const whole = parse(path, healthy);
  Player player;
  CountingHost host;
  host.install(player.get(), path);
  player->io.size += 100000;
  EXPECT_EQ(player.parse(path), kMpegOk);
  EXPECT_EQ(player->video.frames, whole.pictures);
}

TEST(ReadErrors, InAClipOfATakeList_FailTheOpening) {
  std::string const path = fileOf(kinds()[8]);
  std::string const list = scratch("failing.mzl");
  writeFile(list, "XMP4\n" + path + ";" + std::to_string(fileBytes(path).size()) + "\n");
  CountingHost healthy;
  ASSERT_EQ(parse(list, healthy).result, kMpegOk);
  CountingHost host;
  host.failAtRead = healthy.reads - 1;
  EXPECT_EQ(parse(list, host).result, kMpegErrorTakeList);
  EXPECT_TRUE(wasPrinted("reading failed"));
}

TEST(OpeningTwice, InformationAndThenOpening_ReadTheFileOnce) {
  std::string const path = fileOf(kinds().front());
  CountingHost host;
  Player player;
  host.install(player.get(), path);
  ASSERT_EQ(player.parse(path), kMpegOk);
  int64_t const parsed = host.bytes;
  ASSERT_GE(parsed, static_cast<int64_t>(fileBytes(path).size()));
  ASSERT_EQ(mpegInOpen(player.get(), path.c_str()), kMpegOk);
  EXPECT_LT(host.bytes - parsed, 1024);
}

}  // namespace
