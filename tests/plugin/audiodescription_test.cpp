// The description of an audio stream from the facts of its instance, without any file.
#include <gtest/gtest.h>

#include "host/failure.h"
#include "host/pcm.h"
#include "mpegdecode/audiostream.h"
#include "tests/support/stream_state.h"

namespace {

using test::stateOf;

struct Format {
  char const* name;
  MpegAudioFormat run;
  int mpegAudio = 0;
};
constexpr Format kFormats[] = {{"MPEG", kAudioMpegAac, 2}, {"AAC", kAudioMpegAac}, {"LPCM", kAudioLpcm},
                               {"Dolby", kAudioDolby},     {"AES3", kAudioAes3},   {"AMR", kAudioAmr},
                               {"WMA", kAudioWma},         {"DTS", kAudioDts}};

// What an instance tells of two streams of one format.
struct Told {
  Told(Format const& format, uint16_t base) {
    file.nAudio[format.run] = 2;
    file.audioId[format.run] = ids;
    file.audio.mpegAudio = format.mpegAudio;
    file.containerType = kContainerTransport;
    for (MpegStreamId& id : ids) {
      id.pid = base++;
      id.id = static_cast<uint8_t>(base++);
      id.subId = static_cast<uint8_t>(base++);
      id.program = base++;
      id.reserved32 = base++;
      id.reserved16 = base++;
    }
  }
  Told(Told const&) = delete;
  Told& operator=(Told const&) = delete;

  MpegIn file{};
  MpegStreamId ids[2] = {};
};

class AudioDescription : public testing::Test {
 protected:
  AudioDescription() {
    MpegAudioInfo& audio = opened.file.audio;
    audio.rate = 44100;
    audio.bits = 24;
    audio.channels = 6;
    audio.bitRate = 448000;
    audio.samples = 4410000000;
    audio.firstPts = 10800000000;
  }
  // Of the second stream.
  AnyDict described(MpegIn const& listed) {
    MpegInAudioStream stream(listed, 1);
    stream.share(opened.file);
    stream.store();
    sampleCount = stateOf(stream).sampleCount;
    return stream.info();
  }
  AnyDict described() { return described(opened.file); }

  Told opened{{"LPCM", kAudioLpcm}, 0x20};
  int64_t sampleCount = -1;
};

TEST_F(AudioDescription, IsTheFactsOfTheInstanceUnderTheirKeys) {
  AnyDict codecParams("id", 0x27, "sub_id", 0x28, "pid", 0x26, "program_number", 0x29);
  codecParams.set("firstAPTS", Any(10800000000L));
  AnyDict expected;
  expected.set("codec", "LPCM");
  expected.set("audioCodec", "LPCM");
  expected.set("codecParams", codecParams);
  expected.set("samplerate", 44100);
  expected.set("bitsPerSample", 24);
  expected.set("bytesPerSample", 3);
  expected.set("channels", 6);
  expected.set("aBitrate", 448000);
  expected.set("samples", Any(4410000000L));
  expected.set("aDuration", 100000.0);
  expected.set("duration", 100000.0);
  expected.set("_explicitDRC", 0);
  AnyDict const description = described();
  EXPECT_EQ(description, expected) << Any(description).toString().asString();
  EXPECT_EQ(sampleCount, 4410000000);
  for (char const* key : {"aDuration", "duration"}) EXPECT_EQ(description[key].kind(), Any::kDouble) << key;
  EXPECT_EQ(description["samples"].kind(), Any::kInt64);
  EXPECT_EQ(description["codecParams"].asDict()["firstAPTS"].kind(), Any::kInt64);
}

TEST_F(AudioDescription, MadeAgainHoldsNothingOfTheOneBefore) {
  MpegInAudioStream stream(opened.file, 1);
  stream.share(opened.file);
  stream.info().child("codecParams").set("old", 1);
  stream.store();
  EXPECT_FALSE(stream.info()["codecParams"].asDict().contains("old"));
  opened.file.audio.firstPts = 5;
  stream.store();
  EXPECT_EQ(stream.info()["codecParams"].asDict()["firstAPTS"], Any(5L));
}

TEST_F(AudioDescription, OfA32BitDolbyStreamTellsTheBitsThatItHas) {
  for (Format const& format : kFormats) {
    Told const listed(format, 0x20);
    for (int bits : {16, 24, 32}) {
      opened.file.audio.bits = bits;
      AnyDict const description = described(listed.file);
      Any const wanted = format.run == kAudioDolby && bits == 32 ? Any(24) : Any();
      EXPECT_EQ(description["actualBitsPerSample"], wanted) << format.name << " of " << bits;
      EXPECT_EQ(description["bitsPerSample"], Any(bits)) << format.name;
    }
  }
}

TEST_F(AudioDescription, CountsTheBytesOfItsBufferWhereThereIsOne) {
  MpegInAudioStream stream(opened.file, 0);
  stream.share(opened.file);
  stateOf(stream).pcm = std::make_unique<KyPcm>();
  ASSERT_EQ(stateOf(stream).pcm->init(48000, 2, 4, 48000), 0);
  stream.store();
  EXPECT_EQ(stream.info()["bytesPerSample"], Any(4));
}

// The identity of a stream after it was opened: what its own instance tells, where that knows the stream.
class AudioIdentity : public testing::TestWithParam<Format> {
 protected:
  Any pidAfterOpening(int streamIndex = 1) {
    MpegInAudioStream stream(listed.file, streamIndex);
    EXPECT_EQ(stream.name(), Any(GetParam().name));
    stream.share(opened.file);
    stream.store();
    return stream.info()["codecParams"].asDict()["pid"];
  }
  Told listed{GetParam(), 0x40}, opened{GetParam(), 0x80};
};

TEST_P(AudioIdentity, IsThatOfTheOpenedInstance) {
  EXPECT_EQ(pidAfterOpening(0), Any(0x80));
  EXPECT_EQ(pidAfterOpening(1), Any(0x86));
}

TEST_P(AudioIdentity, OfAStreamThatTheInstanceDoesNotCountIsKept) {
  opened.file.nAudio[GetParam().run] = 1;
  EXPECT_EQ(pidAfterOpening(), Any(0x46));
  opened.file.nAudio[GetParam().run] = 0;
  EXPECT_EQ(pidAfterOpening(), Any(0x46));
}

TEST_P(AudioIdentity, WithoutRecordsIsKept) {
  opened.file.audioId[GetParam().run] = nullptr;
  EXPECT_EQ(pidAfterOpening(), Any(0x46));
}

TEST_P(AudioIdentity, WithoutRecordsOfTheFileIsZeroUntilItIsOpened) {
  listed.file.audioId[GetParam().run] = nullptr;
  MpegInAudioStream const stream(listed.file, 1);
  EXPECT_EQ(stream.identity().pid, 0);
  EXPECT_EQ(stateOf(stream).formatIndex, 1);
  EXPECT_EQ(pidAfterOpening(), Any(0x86));
}

INSTANTIATE_TEST_SUITE_P(Formats, AudioIdentity, testing::ValuesIn(kFormats),
                         [](auto const& format) { return std::string(format.param.name); });

TEST(AudioIdentityOfQuickTimePcm, IsTheOneThatTheFileListed) {
  Told listed({"QT_PCM", kAudioAes3}, 0x40), opened({"QT_PCM", kAudioAes3}, 0x80);
  listed.file.containerType = opened.file.containerType = kContainerQuickTime;
  MpegInAudioStream stream(listed.file, 1);
  stream.share(opened.file);
  stream.store();
  EXPECT_EQ(stream.info()["codec"], Any("QT_PCM"));
  EXPECT_EQ(stream.info()["codecParams"].asDict()["pid"], Any(0x46));
}

TEST(AudioIdentityOfNoRun, IsZero) {
  Told const listed({"LPCM", kAudioLpcm}, 0x40);
  Told opened({"LPCM", kAudioLpcm}, 0x80);
  MpegInAudioStream stream(listed.file, 2);
  stream.share(opened.file);
  stream.store();
  EXPECT_FALSE(stream.info()["codec"].valid());
  EXPECT_EQ(stream.info()["codecParams"].asDict()["pid"], Any(0));
}

}  // namespace
