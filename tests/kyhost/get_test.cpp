// Single facts, time stamps and reading from memory, with the real plug-in.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/kyhost/program.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using nlohmann::json;
using test::quoted;

std::string clip() {
  return quoted(test::made("get.ts",
                           "-f lavfi -i testsrc2=s=64x48:r=25:d=1 -f lavfi -i \"sine=d=1:r=48000,aformat="
                           "channel_layouts=stereo\" -c:v mpeg2video -bf 2 -c:a mp2 "));
}

bool says(Outcome const& run, std::string const& text) { return run.errors.find(text) != std::string::npos; }

TEST(Get, AsksTheDecoder) {
  EXPECT_EQ(kyhost("get " + clip() + " typeName").output, "DVB\n");
  EXPECT_EQ(kyhost("get " + clip() + " program_stream_flag").output, "3\n");
  json const programs = json::parse(kyhost("get --json " + clip() + " tsStructure").output);
  ASSERT_EQ(programs.size(), 1U);
  EXPECT_EQ(programs[0]["vids"][0]["nr"], 0);
}

TEST(Get, HandsAnArgumentOver) {
  EXPECT_EQ(kyhost("get " + clip() + " channelName 1").output, "right\n");
  EXPECT_EQ(kyhost("get " + clip() + " channelName 256").output, "Error: invalid stream 1\n");
  json const answer = json::parse(kyhost("get --json " + clip() + " srParams 1,0").output);
  EXPECT_EQ(answer["codec_name"], "MPEG-2");
}

TEST(Get, AsksAStream) {
  EXPECT_EQ(kyhost("get " + clip() + " video0/width").output, "64\n");
  EXPECT_EQ(kyhost("get " + clip() + " audio0/channels").output, "2\n");
}

TEST(Get, OfWhatIsNotThere_IsOneAndSaysWhat) {
  Outcome run = kyhost("get " + clip() + " nonsense");
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "the decoder has no parameter 'nonsense'")) << run.errors;
  run = kyhost("get " + clip() + " audio0/nonsense");
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "'audio0/nonsense' has no value for this file")) << run.errors;
  run = kyhost("get " + clip() + " video3/width");
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "no video stream 3: the file has one video stream, number 0")) << run.errors;
}

TEST(Timestamps, AreThoseOfTheIndependentReading) {
  Outcome const run = kyhost("timestamps " + clip());
  ASSERT_EQ(run.code, 0) << run.errors;
  std::istringstream expected(
      test::run("ffprobe -v error -select_streams v:0 -show_entries frame=pts_time -of csv=p=0 " + clip()));
  std::istringstream got(run.output);
  int frames = 0;
  std::string stamp;
  while (std::getline(expected, stamp)) {
    if (stamp.empty()) continue;  // side data
    int number = -1;
    double seconds = 0;
    ASSERT_TRUE(got >> number >> seconds) << "frame " << frames;
    EXPECT_EQ(number, frames);
    EXPECT_NEAR(seconds, std::stod(stamp), 1e-6);
    ++frames;
  }
  EXPECT_EQ(frames, 25);
  EXPECT_FALSE(got >> stamp) << stamp;
}

TEST(Timestamps, OfAFileWithoutVideo_IsOne) {
  std::string const sound = quoted(test::made("get.wav", "-f lavfi -i sine=d=1 "));
  Outcome const run = kyhost("timestamps " + sound);
  EXPECT_EQ(run.code, 1);
  EXPECT_TRUE(says(run, "the file has no video streams")) << run.errors;
}

TEST(MemoryIo, GivesTheHashesOfTheFileSystem) {
  for (std::string const& file : {clip(), quoted(test::spannedTake(true).description)}) {
    Outcome const fromFile = kyhost("hash " + file);
    Outcome const fromMemory = kyhost("--io memory hash " + file);
    ASSERT_EQ(fromMemory.code, 0) << fromMemory.errors;
    EXPECT_EQ(fromMemory.output, fromFile.output);
    EXPECT_FALSE(fromMemory.output.empty());
  }
}

TEST(MemoryIo, OtherKindsAreRefused) { EXPECT_EQ(kyhost("--io tape info " + clip()).code, 1); }

}  // namespace
