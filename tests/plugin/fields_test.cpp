// Pictures coded as two fields each, in one packet or in two, against the decode of the `ffmpeg` program.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

using test::PipePtr;

constexpr int kPictures = 60;

struct FieldFile {
  char const *name, *script, *packing;
  char const* codec;
};

class FieldPairs : public testing::TestWithParam<FieldFile> {
 protected:
  void SetUp() override {
    auto const& [name, script, packing, codec] = GetParam();
    file_ = test::scratchDir() / name;
    if (!std::filesystem::exists(file_))
      test::run(std::string("python3 -B ") + KY_SAMPLES_DIR + "/" + script + " " + test::quoted(file_) + " " +
                std::to_string(kPictures) + " " + packing);
    expected_ = test::frameHashes(file_);
    ASSERT_EQ(expected_.size(), static_cast<size_t>(kPictures));
  }
  std::filesystem::path file_;
  std::vector<std::string> expected_;
};

TEST_P(FieldPairs, AreOnePictureEach) {
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_EQ(info["codec"].asString(), GetParam().codec);
  EXPECT_EQ(info["frames"].asInt32(), kPictures);
  EXPECT_EQ(info["framerate"].asFramerate().rate(), 25.0);
  EXPECT_EQ(info["framerate"].asFramerate().pulldown(), 0);
  EXPECT_NE(info["framerate"].asFramerate().order(), 0);
  EXPECT_EQ(info["N"].asInt32(), 12);
  EXPECT_DOUBLE_EQ(info["vDuration"].asDouble(), kPictures / 25.0);
}

TEST_P(FieldPairs, ComeInOrderWithAnyNumberOfThreads) {
  for (int threads : {1, 2, 4}) {
    PipePtr const pipe = test::opened(file_, AnyDict("numThreads", threads));
    ASSERT_TRUE(pipe);
    EXPECT_EQ(test::readAllFrames(*pipe, 0), expected_) << threads << " threads";
  }
}

TEST_P(FieldPairs, AreFoundByTheirNumbers) {
  PipePtr const pipe = test::opened(file_);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  std::mt19937 random(17);
  for (int i = 0; i < 150; ++i) {
    size_t const n = random() % expected_.size();
    ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected_[n]) << n;
    if (n + 1 == expected_.size()) continue;
    ASSERT_EQ(pipe->readFrame(0), 0);
    ASSERT_EQ(pipe->readFrame(0), 0);
    ASSERT_EQ(test::md5(*pipe->videoFrame(0)), expected_[n + 1]) << n << " + 1";
  }
}

INSTANTIATE_TEST_SUITE_P(Files, FieldPairs,
                         testing::Values(FieldFile{"pair.ts", "h264_fields.py", "pair", "H.264"},
                                         FieldFile{"field.ts", "h264_fields.py", "field", "H.264"},
                                         FieldFile{"first.ts", "h264_fields.py", "first", "H.264"},
                                         FieldFile{"fields.m2v", "mpeg2_fields.py", "", "MPEG-2"},
                                         FieldFile{"mpeg2.ts", "mpeg2_fields.py", "", "MPEG-2"}),
                         [](auto const& parameter) {
                           std::string name = parameter.param.name;
                           for (char& c : name)
                             if (c == '.') c = '_';
                           return name;
                         });

}  // namespace
