#include "mpegdecode/audiorules.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/failure.h"
#include "host/log.h"

namespace {

struct Request {
  MpegIn* instance;
  int reserved, code, size;
  std::vector<uint8_t> bytes;
};
std::vector<Request> requests;
int auxResult = 0;

}  // namespace

// Stands in for the import library.
int mpegInAudioAuxinfo(MpegIn* instance, int reserved, int request, void* record, int size) {
  auto const* bytes = static_cast<uint8_t const*>(record);
  requests.push_back({instance, reserved, request, size, {bytes, bytes + size}});
  return auxResult;
}

namespace {

struct Line {
  int level;
  std::string text;
};

class AudioRules : public testing::Test {
 protected:
  AudioRules() {
    requests.clear();
    auxResult = 0;
    ky_dbg()->setMask(0xFF);
    ky_dbg()->setSink(
        [this](int level, std::string_view text) { lines.push_back({level, std::string(text)}); });
    kySetFailureHandler(
        [](void* user, KyFailureKind kind, char const* where, char const* text) {
          auto& self = *static_cast<AudioRules*>(user);
          self.failures.push_back(std::string(kind == KyFailureKind::Assertion ? "assert " : "exception ") +
                                  where + " " + (text ? text : ""));
        },
        this);
  }
  ~AudioRules() override {
    kySetFailureHandler(nullptr, nullptr);
    ky_dbg()->setSink({});
  }

  MpegIn instance{};
  std::vector<Line> lines;
  std::vector<std::string> failures;
};

TEST_F(AudioRules, KnownBitDepthsGiveTheirBytes) {
  EXPECT_EQ(bytesPerSample(8), 1);
  EXPECT_EQ(bytesPerSample(16), 2);
  EXPECT_EQ(bytesPerSample(20), 3);
  EXPECT_EQ(bytesPerSample(24), 3);
  EXPECT_EQ(bytesPerSample(32), 4);
  EXPECT_TRUE(lines.empty());
}

TEST_F(AudioRules, UnknownBitDepthsCountAs16AfterOneMessage) {
  for (int bits : {12, 0, -1, 64}) {
    lines.clear();
    EXPECT_EQ(bytesPerSample(bits), 2);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 4);
    EXPECT_EQ(lines[0].text, "mpegdec: Unsupported number of bits per audio sample (" + std::to_string(bits) +
                                 "), assuming 16");
  }
}

TEST_F(AudioRules, SupportedDolbyConfigurationsPass) {
  for (int acmod : {0, 1, 2, 3, 4, 5, 6, 7, 21, 24}) {
    instance.audio.channels = 8;
    instance.audio.acmod = acmod;
    EXPECT_EQ(checkDolbyCodingMode(instance), 0) << acmod;
  }
  EXPECT_TRUE(lines.empty());
  EXPECT_TRUE(failures.empty());
}

TEST_F(AudioRules, OtherCodingModesFailWithAMessage) {
  for (int acmod : {8, 20, 22, 23, 25}) {
    lines.clear();
    instance.audio.channels = 6;
    instance.audio.acmod = acmod;
    instance.audio.lfeon = 1;
    EXPECT_EQ(checkDolbyCodingMode(instance), -1);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].text,
              "[mpegdec] unsupported DD coding mode/channel configuration: channels=6, ac3_acmod=" +
                  std::to_string(acmod) + ", ac3_lfeon=1");
  }
}

TEST_F(AudioRules, NineChannelsFailWhateverTheCodingMode) {
  for (int acmod : {0, 7, 21, 24}) {
    instance.audio.channels = 9;
    instance.audio.acmod = acmod;
    EXPECT_EQ(checkDolbyCodingMode(instance), -1) << acmod;
  }
  EXPECT_EQ(lines.size(), 4U);
}

TEST_F(AudioRules, CheckingAPassedThroughStreamIsAnAssertionFailure) {
  instance.smartRenderOnly = 1;
  instance.audio.channels = 9;
  EXPECT_EQ(checkDolbyCodingMode(instance), 0);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(
      failures[0],
      "assert ./mpegdecode/audiorules(28) Function should not be called for audio_pass_through_flag == 1");
}

TEST_F(AudioRules, APreferredFormatIsForAacOnly) {
  for (char const* name : {"Dolby", "MPEG", "LPCM", "AES3", "QT_PCM", "AMR", "WMA", "DTS", "", "aac"})
    for (int code : {3, 7, 13, 99}) EXPECT_EQ(setPreferredSampleFormat(name, instance, code), -1) << name;
  EXPECT_TRUE(requests.empty());
  EXPECT_TRUE(failures.empty());
  EXPECT_TRUE(lines.empty());
}

TEST_F(AudioRules, AFormatThatAacAlreadyDeliversIsNotAskedFor) {
  instance.audio.bits = 16;
  instance.audio.blockAlign = 77;
  EXPECT_EQ(setPreferredSampleFormat("AAC", instance, 3), 0);
  instance.audio.bits = 24;
  EXPECT_EQ(setPreferredSampleFormat("AAC", instance, 7), 0);
  EXPECT_TRUE(requests.empty());
  EXPECT_EQ(instance.audio.blockAlign, 77);
}

std::vector<uint8_t> recordWithWordSize(int32_t wordSize) {
  std::vector<uint8_t> bytes(128, 0);
  std::memset(bytes.data(), 0xFF, 16);
  int32_t const minusOne = -1;
  int32_t const one = 1;
  std::memcpy(&bytes[64], &minusOne, 4);
  std::memcpy(&bytes[68], &wordSize, 4);
  std::memcpy(&bytes[72], &minusOne, 4);
  std::memcpy(&bytes[76], &one, 4);
  return bytes;
}

TEST_F(AudioRules, Code3AsksForWordsOf2Bytes) {
  instance.audio.bits = 32;
  instance.audio.channels = 6;
  EXPECT_EQ(setPreferredSampleFormat("AAC", instance, 3), 0);
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].instance, &instance);
  EXPECT_EQ(requests[0].code, 0x10202);
  EXPECT_EQ(requests[0].bytes, recordWithWordSize(2));
  EXPECT_EQ(instance.audio.bits, 16);
  EXPECT_EQ(instance.audio.blockAlign, 12);
}

TEST_F(AudioRules, Code7AsksForWordsOf4Bytes) {
  instance.audio.bits = 16;
  instance.audio.channels = 2;
  EXPECT_EQ(setPreferredSampleFormat("AAC", instance, 7), 0);
  ASSERT_EQ(requests.size(), 1U);
  EXPECT_EQ(requests[0].code, 66050);
  EXPECT_EQ(requests[0].bytes, recordWithWordSize(4));
  EXPECT_EQ(instance.audio.bits, 24);
  EXPECT_EQ(instance.audio.blockAlign, 6);
}

TEST_F(AudioRules, ARefusedRequestIsLoggedAndChangesNothing) {
  auxResult = -106;
  instance.audio.bits = 32;
  instance.audio.blockAlign = 8;
  EXPECT_EQ(setPreferredSampleFormat("AAC", instance, 3), -1);
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_EQ(lines[0].level, 2);
  EXPECT_EQ(lines[0].text, "mpegdec: failed to set AAC output sample format");
  EXPECT_EQ(instance.audio.bits, 32);
  EXPECT_EQ(instance.audio.blockAlign, 8);
}

TEST_F(AudioRules, OtherCodesForAacAreAnAssertionFailure) {
  for (int code : {0, 13, -1}) {
    failures.clear();
    EXPECT_EQ(setPreferredSampleFormat("AAC", instance, code), -1);
    EXPECT_EQ(failures,
              std::vector<std::string>{
                  "assert ./mpegdecode/mpeginutil(1507) mpegdec: unsupported sample format for AAC"});
  }
  EXPECT_TRUE(requests.empty());
}

}  // namespace
