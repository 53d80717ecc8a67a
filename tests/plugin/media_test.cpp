// Public media files of many makers, each opened and exact, or refused by a rule that the table names.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/plugin/media_driver.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

using nlohmann::json;
using test::PipePtr;

// What opening a file gives. A refusal names the error text; a stream that differs from the independent
// decode names the rule.
struct Row {
  char const* file;
  char const* streams;  // "kind codec count" of each, in order
  char const* refusal;
};

constexpr Row kRows[] = {
#include "tests/plugin/media_rows.inc"
};

std::filesystem::path mediaDir() { return KY_MEDIA_DIR; }

json const& expectations() {
  static json const loaded = [] {
    std::ifstream file(mediaDir() / "expect.json");
    return file ? json::parse(file)["files"] : json();
  }();
  return loaded;
}

int depthOf(std::string const& pixelFormat) { return pixelFormat.find("10") != std::string::npos ? 10 : 8; }

std::string joined(std::vector<std::string> const& lines) {
  std::string text;
  for (std::string const& line : lines) text += (text.empty() ? "" : "\n") + line;
  return text;
}

std::string md5Text(std::string const& text) {
  return test::md5(std::span(reinterpret_cast<uint8_t const*>(text.data()), text.size()));
}

class MediaFile : public testing::TestWithParam<Row> {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists(mediaDir() / "expect.json"))
      GTEST_SKIP() << "the public media files are not at " << mediaDir();
    path_ = mediaDir() / GetParam().file;
    expected_ = expectations()["media/" + std::string(GetParam().file)];
    ASSERT_FALSE(expected_.is_null());
  }

  PipePtr open(AnyDict const& parameters = AnyDict("joinMonoStreams", 0)) const {
    return test::opened(path_, parameters);
  }

  std::vector<json> streams(char const* type) const {
    std::vector<json> found;
    for (json const& stream : expected_["streams"])
      if (stream["type"] == type && stream.value("attached_pic", 0) == 0) found.push_back(stream);
    return found;
  }

  // Dolby streams are heard, not tracked.
  test::ScopedAttribute tracker_{"dolbyMetadataTracker", Any(0)};
  std::filesystem::path path_;
  json expected_;
};

class OpenedFile : public MediaFile {
 protected:
  void SetUp() override {
    MediaFile::SetUp();
    if (!IsSkipped() && GetParam().refusal) GTEST_SKIP() << "refused: " << GetParam().refusal;
  }
};

TEST_P(MediaFile, OpensOrIsRefusedAsTheTableSays) {
  PipePtr const pipe = test::pipeFor(path_);
  pipe->setParam("joinMonoStreams", 0);
  int const result = pipe->open();
  if (GetParam().refusal) {
    EXPECT_NE(result, 0);
    EXPECT_NE(std::string(pipe->errorDesc()).find(GetParam().refusal), std::string::npos)
        << pipe->errorDesc();
    return;
  }
  ASSERT_EQ(result, 0) << pipe->errorDesc();
  std::string text;
  for (int i = 0; i < pipe->countStreams(kKindVideo); ++i) {
    AnyDict const info = test::info(*pipe, kKindVideo, i);
    text += (text.empty() ? "" : ", ") + info["codec"].asString() + " " +
            std::to_string(info["frames"].asInt32());
  }
  for (int i = 0; i < pipe->countStreams(kKindAudio); ++i) {
    AnyDict const info = test::info(*pipe, kKindAudio, i);
    text += (text.empty() ? "" : ", ") + info["codec"].asString() + " " +
            std::to_string(info["samples"].asInt64());
  }
  EXPECT_EQ(text, GetParam().streams);
}

TEST_P(OpenedFile, EveryFrameEqualsTheIndependentDecodeAlsoWithThreads) {
  auto const expected = streams("video");
  if (expected.empty()) GTEST_SKIP() << "no video";
  for (int threads : {1, 2, 8}) {
    SCOPED_TRACE(std::to_string(threads) + " threads");
    PipePtr const pipe = open(AnyDict("numThreads", threads));
    ASSERT_TRUE(pipe);
    ASSERT_EQ(pipe->countStreams(kKindVideo), static_cast<int>(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i) {
      json const& stream = expected[i];
      auto const hashes = test::linearHashes(*pipe, static_cast<int>(i), depthOf(stream["pix_fmt"]));
      ASSERT_EQ(hashes.size(), stream["frames"].get<size_t>());
      for (json const& row : stream["md5_every_25"])
        EXPECT_EQ(hashes[row[0].get<size_t>()], row[2]) << row[0];
      EXPECT_EQ(md5Text(joined(hashes)), stream["md5_of_all_frame_md5"]);
    }
  }
}

TEST_P(OpenedFile, HundredRandomFrameSeeksEqualTheLinearReading) {
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  for (int stream = 0; stream < pipe->countStreams(kKindVideo); ++stream)
    test::expectFrameSeeks(*pipe, stream, 8, test::linearHashes(*pipe, stream, 8), 100, 41);
}

// Its packets hold 50 frames of AMR each, of which the independent decode reads the first.
constexpr char const* kManyAmrFrames = "mp4p_MOV00006.3gp";

TEST_P(OpenedFile, SamplesEqualTheIndependentDecode) {
  auto const expected = streams("audio");
  if (expected.empty()) GTEST_SKIP() << "no audio";
  if (GetParam().file == std::string(kManyAmrFrames)) GTEST_SKIP() << "see ManyAmrFrames";
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  for (int stream = 0; stream < pipe->countStreams(kKindAudio); ++stream) {
    auto const words = test::samples16(*pipe, stream);
    size_t const channels = static_cast<size_t>(test::info(*pipe, kKindAudio, stream)["channels"].asInt32());
    std::string const hash =
        test::md5(std::span(reinterpret_cast<uint8_t const*>(words.data()), words.size() * sizeof(int16_t)));
    double sum = 0;
    int peak = 0;
    for (int16_t word : words) {
      sum += static_cast<double>(word) * word;
      peak = std::max(peak, std::abs(static_cast<int>(word)));
    }
    double const rms = words.empty() ? 0 : std::sqrt(sum / static_cast<double>(words.size()));
    // libavcodec leaves out two blocks of 2048 samples at the start of WMA 2, of which the second carries
    // sound.
    bool const wma = test::info(*pipe, kKindAudio, stream)["codec"].asString() == "WMA";
    size_t const perChannel = words.size() / channels;
    auto const counted = [&](size_t wanted) {
      return perChannel == wanted || (wma && perChannel == wanted + 2048);
    };
    // Audio numbers run by format, so a stream is found by its content.
    bool const found = std::any_of(expected.begin(), expected.end(), [&](json const& other) {
      if (other["md5_s16le"] == hash) return true;
      bool const close = counted(other["samples_per_channel"].get<size_t>()) &&
                         std::abs(rms - other["rms_s16"].get<double>()) <= 2 + (wma ? 0.01 : 0.002) * rms &&
                         std::abs(peak - other["peak_s16"].get<int>()) <= 70;
      return close && !other["md5_is_bit_exact"].get<bool>();
    });
    EXPECT_TRUE(found) << "stream " << stream << ": " << words.size() / channels << " samples, rms " << rms
                       << ", peak " << peak;
  }
}

TEST(ManyAmrFrames, InOnePacketAreAllHeard) {
  std::filesystem::path const file = mediaDir() / kManyAmrFrames;
  if (!std::filesystem::exists(file)) GTEST_SKIP() << "the public media files are not at " << mediaDir();
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  auto const words = test::readAllSamples<int16_t>(*pipe, 0, 777);
  // Written one after another, the frames are found by their first bytes.
  auto const frames = test::made("frames.amr", "-i " + test::quoted(file) + " -map 0:a -c copy ");
  auto const expected = test::samples(frames, 0, "s16le");
  ASSERT_EQ(words.size() * sizeof(int16_t), expected.size());
  EXPECT_EQ(std::memcmp(words.data(), expected.data(), expected.size()), 0);
}

TEST_P(OpenedFile, FiftyRandomSampleSeeksEqualTheLinearReading) {
  PipePtr const pipe = open();
  ASSERT_TRUE(pipe);
  for (int stream = 0; stream < pipe->countStreams(kKindAudio); ++stream)
    test::expectSampleSeeks(*pipe, stream, test::samples16(*pipe, stream), 50, 42);
}

std::string rowName(testing::TestParamInfo<Row> const& info) {
  std::string name = info.param.file;
  for (char& c : name)
    if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Public, MediaFile, testing::ValuesIn(kRows), rowName);
INSTANTIATE_TEST_SUITE_P(Public, OpenedFile, testing::ValuesIn(kRows), rowName);

TEST(MediaTable, HasARowForEveryFile) {
  if (expectations().is_null()) GTEST_SKIP() << "the public media files are not at " << mediaDir();
  EXPECT_EQ(expectations().size(), std::size(kRows));
}

}  // namespace
