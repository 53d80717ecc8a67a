// Every container and codec that the `ffmpeg` program writes, made here, opened through the plug-in and held
// against that program's decode. Needs no files from elsewhere.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/plugin/media_driver.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"

namespace {

using test::PipePtr;

struct Row {
  char const* file;
  char const* options;
};

constexpr Row kRows[] = {
#include "tests/plugin/made_media.inc"
};

// Each kind by the option that leaves it out.
constexpr char const* kPictures = "-vn";
constexpr char const* kSound = "-an";

bool has(Row const& row, char const* kind) {
  return std::string(row.options).find(kind) == std::string::npos;
}

std::vector<Row> rowsWith(char const* kind) {
  std::vector<Row> rows;
  for (Row const& row : kRows)
    if (has(row, kind)) rows.push_back(row);
  return rows;
}

// An entry of a stream, as the `ffprobe` program tells it.
std::string probed(std::filesystem::path const& file, std::string const& stream, std::string const& entry) {
  std::string const text =
      test::run("ffprobe -v error -select_streams " + stream + " -show_entries stream=" + entry +
                " -of default=nw=1:nk=1 " + test::quoted(file));
  return text.substr(0, text.find('\n'));
}

// Largest difference from the other decode. A sample too early or too late differs by hundreds.
int tolerance(AnyDict const& stream) {
  std::string const codec = stream["codec"].asString();
  // Decoders fill bands without bits with noise, every one its own.
  if (codec == "Dolby") return 70;
  // The other decode is in integers.
  if (codec == "MPEG") return 1;
  // Words of more bits are cut here and rounded there.
  return stream["bytesPerSample"].asInt32() > 2 ? 1 : 0;
}

class MadeFile : public testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    file_ = test::made(
        GetParam().file,
        std::string("-f lavfi -i testsrc2=s=176x144:r=25:d=2 -f lavfi -i "
                    "\"aevalsrc=0.4*sin(440*2*PI*t)|0.3*sin(300*3.3*t*t):s=48000:d=2\" -pix_fmt yuv420p "
                    "-flags +bitexact ") +
            GetParam().options);
  }
  PipePtr open(int threads) const {
    return test::opened(file_, AnyDict("joinMonoStreams", 0, "numThreads", threads));
  }

  // Dolby streams are heard, not tracked.
  test::ScopedAttribute tracker_{"dolbyMetadataTracker", Any(0)};
  std::filesystem::path file_;
};

class MadePictures : public MadeFile {};
class MadeSound : public MadeFile {};

TEST_P(MadeFile, HasTheStreamsThatWereWritten) {
  PipePtr const pipe = open(1);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindVideo), has(GetParam(), kPictures) ? 1 : 0);
  EXPECT_EQ(pipe->countStreams(kKindAudio), has(GetParam(), kSound) ? 1 : 0);
}

TEST_P(MadePictures, EqualTheIndependentDecodeAlsoAfterSeeks) {
  int const depth = probed(file_, "v:0", "pix_fmt").find("10") != std::string::npos ? 10 : 8;
  auto const expected = test::frameHashes(file_);
  ASSERT_GE(expected.size(), 45U);
  for (int threads : {1, 2}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    PipePtr const pipe = open(threads);
    ASSERT_TRUE(pipe);
    EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["frames"].asInt32(), static_cast<int>(expected.size()));
    EXPECT_EQ(test::linearHashes(*pipe, 0, depth), expected);
    test::expectFrameSeeks(*pipe, 0, depth, expected, 50, 41);
  }
}

TEST_P(MadeSound, EqualsTheIndependentDecodeAlsoAfterSeeks) {
  auto const bytes = test::samples(file_, 0, "s16le");
  auto const* const words = reinterpret_cast<int16_t const*>(bytes.data());
  std::vector<int16_t> const expected(words, words + bytes.size() / sizeof(int16_t));
  for (int threads : {1, 2}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    PipePtr const pipe = open(threads);
    ASSERT_TRUE(pipe);
    AnyDict const info = test::info(*pipe, kKindAudio, 0);
    std::string const codec = info["codec"].asString();
    auto const channels = static_cast<size_t>(info["channels"].asInt32());
    auto const linear = test::samples16(*pipe, 0);
    EXPECT_EQ(info["samples"].asInt64(), static_cast<int64_t>(linear.size() / channels));
    // libavcodec leaves out two blocks of 2048 samples at the start of WMA, of which the second carries
    // sound.
    size_t const ahead = codec == "WMA" && linear.size() > expected.size() ? 2048 * channels : 0;
    ASSERT_EQ(linear.size(), expected.size() + ahead);
    for (size_t i = 0; i < expected.size(); ++i)
      ASSERT_LE(std::abs(linear[ahead + i] - expected[i]), tolerance(info)) << "sample " << i / channels;
    test::expectSampleSeeks(*pipe, 0, linear, 50, 42);
  }
}

std::string rowName(testing::TestParamInfo<Row> const& info) {
  std::string name = info.param.file;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Made, MadeFile, testing::ValuesIn(kRows), rowName);
INSTANTIATE_TEST_SUITE_P(Made, MadePictures, testing::ValuesIn(rowsWith(kPictures)), rowName);
INSTANTIATE_TEST_SUITE_P(Made, MadeSound, testing::ValuesIn(rowsWith(kSound)), rowName);

}  // namespace
