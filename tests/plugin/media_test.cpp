// Public media files of many makers, each opened and exact, or refused by a rule that the table names.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

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

template <class Word>
void appendWords(std::vector<uint8_t>& out, uint8_t const* row, int first, int step, int count, int shift) {
  Word const* words = reinterpret_cast<Word const*>(row) + first;
  for (int i = 0; i < count; ++i, words += step) {
    auto const value = static_cast<Word>(*words >> shift);
    auto const* const bytes = reinterpret_cast<uint8_t const*>(&value);
    out.insert(out.end(), bytes, bytes + sizeof value);
  }
}

// MD5 of a picture in planes with right-aligned values, as decoders of `depth` bits give them.
std::string planarHash(KyFrame const& frame, int depth) {
  if (frame.is420() && depth == 8) return test::md5(frame);
  std::vector<uint8_t> bytes;
  if (frame.is420()) {
    for (int plane = 0; plane < 3; ++plane)
      for (int y = 0; y < frame.height(plane); ++y)
        appendWords<uint16_t>(bytes, frame.pixelPtr(plane, 0, y), 0, 1, frame.width(plane), 16 - depth);
    return test::md5(bytes);
  }
  int const chroma = (frame.width() + 1) / 2;
  struct {
    int first, step, count;
  } const planes[] = {{0, 2, frame.width()}, {1, 4, chroma}, {3, 4, chroma}};
  for (auto const& plane : planes)
    for (int y = 0; y < frame.height(); ++y) {
      uint8_t const* const row = frame.pixelPtr(0, 0, y);
      if (depth == 8)
        appendWords<uint8_t>(bytes, row, plane.first, plane.step, plane.count, 0);
      else
        appendWords<uint16_t>(bytes, row, plane.first, plane.step, plane.count, 16 - depth);
    }
  return test::md5(bytes);
}

int depthOf(std::string const& pixelFormat) { return pixelFormat.find("10") != std::string::npos ? 10 : 8; }

std::vector<std::string> linearHashes(KyDecodePipe& pipe, int stream, int depth) {
  std::vector<std::string> hashes;
  EXPECT_EQ(pipe.selectStream(kKindVideo, stream), 0) << pipe.errorDesc();
  int result = pipe.seekToFrame(0, stream);
  while (result == 0 && (result = pipe.readFrame(stream)) == 0)
    hashes.push_back(planarHash(*pipe.videoFrame(stream), depth));
  EXPECT_EQ(result, kResultEndOfStream) << pipe.errorDesc();
  return hashes;
}

std::string joined(std::vector<std::string> const& lines) {
  std::string text;
  for (std::string const& line : lines) text += (text.empty() ? "" : "\n") + line;
  return text;
}

std::string md5Text(std::string const& text) {
  return test::md5(std::span(reinterpret_cast<uint8_t const*>(text.data()), text.size()));
}

// 16-bit samples; words of more bits are rounded to nearest, as a converter without dither does.
std::vector<int16_t> samples16(KyDecodePipe& pipe, int stream) {
  int const bytes = test::info(pipe, kKindAudio, stream)["bytesPerSample"].asInt32();
  if (bytes == 2) return test::readAllSamples<int16_t>(pipe, stream, 4096);
  auto const raw = test::readAllSamples<uint8_t>(pipe, stream, 4096);
  std::vector<int16_t> words;
  words.reserve(raw.size() / static_cast<size_t>(bytes));
  for (size_t i = 0; i + static_cast<size_t>(bytes) <= raw.size(); i += static_cast<size_t>(bytes)) {
    // Both 3-byte samples and 32-bit words hold 24-bit values.
    int32_t value = raw[i] | raw[i + 1] << 8 | static_cast<int32_t>(static_cast<int8_t>(raw[i + 2])) * 65536;
    if (bytes == 4) std::copy_n(&raw[i], 4, reinterpret_cast<uint8_t*>(&value));
    words.push_back(static_cast<int16_t>(std::clamp(value >> 8, -32768, 32767)));
  }
  return words;
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
      auto const hashes = linearHashes(*pipe, static_cast<int>(i), depthOf(stream["pix_fmt"]));
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
  std::mt19937 random(41);
  for (int stream = 0; stream < pipe->countStreams(kKindVideo); ++stream) {
    auto const linear = linearHashes(*pipe, stream, 8);
    ASSERT_FALSE(linear.empty());
    for (int i = 0; i < 100; ++i) {
      size_t const n = random() % linear.size();
      ASSERT_EQ(pipe->seekToFrame(static_cast<int64_t>(n), stream), 0) << n << ": " << pipe->errorDesc();
      ASSERT_EQ(planarHash(*pipe->videoFrame(stream), 8), linear[n]) << n;
    }
  }
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
    auto const words = samples16(*pipe, stream);
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
  std::mt19937 random(42);
  for (int stream = 0; stream < pipe->countStreams(kKindAudio); ++stream) {
    AnyDict const info = test::info(*pipe, kKindAudio, stream);
    std::string const codec = info["codec"].asString();
    auto const linear = samples16(*pipe, stream);
    int const channels = info["channels"].asInt32();
    int const bytes = info["bytesPerSample"].asInt32();
    int64_t const total = static_cast<int64_t>(linear.size()) / channels;
    for (int i = 0; i < 50 && total > 0; ++i) {
      int64_t const at = static_cast<int64_t>(random()) % total;
      int const want = static_cast<int>(std::min<int64_t>(2000, total - at));
      ASSERT_EQ(pipe->seekToSample(at, stream), 0) << at;
      ASSERT_EQ(pipe->readSamples(want, stream), want) << at;
      KyPcm const& pcm = *pipe->audioPcm(stream);
      for (int k = 0; k < want * channels; ++k) {
        unsigned char const* const sample = pcm.ptr() + k * bytes;
        int value = 0;
        if (bytes == 2) value = reinterpret_cast<int16_t const*>(sample)[0];
        if (bytes == 3) value = static_cast<int16_t>(sample[1] | sample[2] << 8);
        if (bytes == 4) value = std::clamp(reinterpret_cast<int32_t const*>(sample)[0] >> 8, -32768, 32767);
        ASSERT_EQ(value, linear[static_cast<size_t>(at * channels + k)])
            << codec << " stream " << stream << ", sample " << k / channels << " after a seek to " << at;
      }
    }
  }
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
