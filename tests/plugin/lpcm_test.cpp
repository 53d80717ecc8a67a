// Linear PCM of DVD-Video at 16, 20 and 24 bits against the signal that was written, and against the `ffmpeg`
// program.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

struct Format {
  int bits, channels;
};

class DvdLpcm : public testing::TestWithParam<Format> {
 protected:
  static constexpr int kSamples = 120000;

  void SetUp() override {
    auto const [bits, channels] = GetParam();
    fs::path const video =
        test::made("lpcm.m2v", "-f lavfi -i testsrc2=s=64x64:r=25:d=2.6 -c:v mpeg2video -bf 0 ");
    std::string const name = "lpcm" + std::to_string(bits) + "_" + std::to_string(channels) + ".mpg";
    file_ = test::scratchDir() / name;
    if (!fs::exists(file_))
      test::run(std::string("python3 -B ") + KY_SAMPLES_DIR + "/lpcm_program.py " + test::quoted(file_) +
                " " + std::to_string(bits) + " " + std::to_string(channels) + " " + std::to_string(kSamples) +
                " " + test::quoted(video));
    bytes_ = bits == 16 ? 2 : 3;
    for (uint32_t n = 0; n < kSamples; ++n) {
      for (int channel = 0; channel < channels; ++channel) {
        // The upper bits of 32; below them 20-bit samples have none in their three bytes.
        uint32_t word = (n * 7919 + static_cast<uint32_t>(channel) * 104729 + 1) * 2654435761U;
        word &= ~uint32_t{0} << (32 - bits);
        for (int byte = 4 - bytes_; byte < 4; ++byte)
          signal_.push_back(static_cast<uint8_t>(word >> (8 * byte)));
      }
    }
  }

  PipePtr openedSound() const {
    PipePtr pipe = test::opened(file_, AnyDict("joinMonoStreams", 0));
    if (pipe) {
      EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    }
    return pipe;
  }

  size_t frameBytes() const { return static_cast<size_t>(bytes_ * GetParam().channels); }

  void expectSamples(KyPcm const& pcm, int64_t at, int count) const {
    ASSERT_LE(at + count, kSamples);
    EXPECT_EQ(std::memcmp(pcm.ptr(), signal_.data() + static_cast<size_t>(at) * frameBytes(),
                          static_cast<size_t>(count) * frameBytes()),
              0)
        << count << " samples at " << at;
  }

  fs::path file_;
  int bytes_ = 0;
  std::vector<uint8_t> signal_;  // as it is to be delivered
};

TEST_P(DvdLpcm, IsDescribed) {
  PipePtr const pipe = openedSound();
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  auto const [bits, channels] = GetParam();
  EXPECT_EQ(info["codec"].asString(), "LPCM");
  EXPECT_EQ(info["samplerate"].asInt32(), 48000);
  EXPECT_EQ(info["bitsPerSample"].asInt32(), bits);
  EXPECT_EQ(info["bytesPerSample"].asInt32(), bytes_);
  EXPECT_EQ(info["channels"].asInt32(), channels);
  EXPECT_EQ(info["samples"].asInt64(), kSamples);
  EXPECT_EQ(info["aDuration"].asDouble(), 2.5);
  EXPECT_EQ(info["aBitrate"].asInt32(), 48000 * channels * bits);
  EXPECT_EQ(info["codecParams"].asDict()["sub_id"].asInt32(), 0xA0);
}

TEST_P(DvdLpcm, EverySampleIsThereForEveryBlockSize) {
  PipePtr const pipe = openedSound();
  ASSERT_TRUE(pipe);
  for (int block : {1, 2, 3, 999, 4097, 48000})
    EXPECT_TRUE(test::readAllSamples<uint8_t>(*pipe, 0, block) == signal_) << "blocks of " << block;
  auto const decoded = test::samples(file_, 0, bytes_ == 2 ? "s16le" : "s24le");
  EXPECT_TRUE(decoded == signal_);
}

TEST_P(DvdLpcm, OddRequestsUpToTheCapacity_GiveEverySampleOnce) {
  PipePtr const pipe = openedSound();
  ASSERT_TRUE(pipe);
  KyPcm const& pcm = *pipe->audioPcm(0);
  // With one sample kept from the request before, a full second asks for an odd rest; without, for an even
  // one.
  int64_t at = 0;
  for (int want : {47999, 48001, 1, 3, 47995}) {
    int const given = pipe->readSamples(want, 0);
    ASSERT_EQ(given, std::min<int64_t>({want, 48000, kSamples - at}));
    expectSamples(pcm, at, given);
    at += given;
    EXPECT_EQ(pcm.position, at);
  }
  EXPECT_EQ(at, kSamples);
  EXPECT_EQ(pipe->readSamples(1, 0), -4);
}

TEST_P(DvdLpcm, SeeksToOddSamples_AreExact) {
  PipePtr const pipe = openedSound();
  ASSERT_TRUE(pipe);
  std::mt19937 random(11);
  for (int i = 0; i < 60; ++i) {
    int64_t const at = static_cast<int64_t>(random() % (kSamples - 10));
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    ASSERT_EQ(pipe->readSamples(7, 0), 7);
    expectSamples(*pipe->audioPcm(0), at, 7);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, DvdLpcm,
                         testing::Values(Format{16, 1}, Format{16, 2}, Format{20, 1}, Format{20, 2},
                                         Format{24, 1}, Format{24, 2}),
                         [](auto const& parameter) {
                           return std::to_string(parameter.param.bits) + "BitsOf" +
                                  std::to_string(parameter.param.channels) + "Channels";
                         });

}  // namespace
