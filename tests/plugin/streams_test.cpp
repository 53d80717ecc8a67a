// Stream objects, their lists and the guarded calls.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "host/failure.h"
#include "mpegdecode/dolbytracker.h"
#include "mpegdecode/frametimestamps.h"
#include "mpegdecode/libcalls.h"
#include "mpegdecode/subpicstream.h"
#include "tests/support/stream_state.h"

namespace {

using test::stateOf;

// Failed checks of one test, in order.
class Failures {
 public:
  Failures() {
    kySetFailureHandler(
        [](void* self, KyFailureKind, char const* where, char const* text) {
          static_cast<Failures*>(self)->seen.emplace_back(where, text ? text : "");
        },
        this);
  }
  ~Failures() { kySetFailureHandler(nullptr, nullptr); }
  Failures(Failures const&) = delete;
  Failures& operator=(Failures const&) = delete;

  std::vector<std::pair<std::string, std::string>> seen;
};

// Information of a file with known identities.
struct FileInformation {
  FileInformation() {
    file.nVideo = 2;
    file.videoId = video;
    for (int format = 0; format < kAudioFormats; ++format) {
      file.nAudio[format] = counts[format];
      file.audioId[format] = &audio[format * 4];
      for (int i = 0; i < 4; ++i) {
        MpegStreamId& id = audio[format * 4 + i];
        id.pid = static_cast<uint16_t>(100 * format + i);
        id.id = static_cast<uint8_t>(0xC0 + i);
        id.subId = static_cast<uint8_t>(0x80 + i);
        id.program = static_cast<uint16_t>(format + 1);
      }
    }
  }
  MpegIn file{};
  MpegStreamId video[2] = {{0x1011, 0xE0, 0, 7, 3, 4}, {0x1012, 0xE1, 1, 8, 5, 6}};
  MpegStreamId audio[kAudioFormats * 4] = {};
  int counts[kAudioFormats] = {1, 2, 1, 2, 1, 1, 1};
};

TEST(StreamTypeNames, AreInTheOrderVideoAudioSubpicture) {
  EXPECT_EQ(streamTypeNames[0].kind, 1);
  EXPECT_STREQ(streamTypeNames[0].name, "video");
  EXPECT_STREQ(streamTypeNames[0].collection, "vids");
  EXPECT_EQ(streamTypeNames[1].kind, 2);
  EXPECT_STREQ(streamTypeNames[1].name, "audio");
  EXPECT_STREQ(streamTypeNames[1].collection, "auds");
  EXPECT_EQ(streamTypeNames[2].kind, 4);
  EXPECT_STREQ(streamTypeNames[2].name, "subpic");
  EXPECT_STREQ(streamTypeNames[2].collection, "subs");
}

TEST(Lookup, WithMinusOneTheSizeOrAnUnselectedStream_IsNull) {
  MpegInStreamList list;
  MpegInSubpicStream first(0), second(1);
  list.append(&first);
  list.append(&second);
  stateOf(second).selected = true;
  EXPECT_EQ(selectedStream(list, -1), nullptr);
  EXPECT_EQ(selectedStream(list, 2), nullptr);
  EXPECT_EQ(selectedStream(list, 0), nullptr);
  EXPECT_EQ(selectedStream(list, 1), &second);
}

TEST(GuardedCalls, FileNameGivenAsAnInteger_GivesMinus13WithoutCallingTheLibrary) {
  Failures failures;
  MpegInPtr const instance(mpegInNew(nullptr, 0));
  ASSERT_TRUE(instance);
  instance->containerType = 77;  // a call would overwrite it
  EXPECT_EQ(guardedOpen(instance.get(), Any(5)), -13);
  EXPECT_EQ(guardedGetInfo(instance.get(), Any(5)), -13);
  EXPECT_EQ(guardedFileOpen(nullptr, Any(5), nullptr), -13);
  EXPECT_EQ(instance->containerType, 77);
  EXPECT_EQ(instance->fileName, nullptr);
  ASSERT_EQ(failures.seen.size(), 3u);
  for (auto const& [where, text] : failures.seen) EXPECT_EQ(text, "MpegInDec: invalid filename argument");
  EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(838)");
  EXPECT_EQ(failures.seen[1].first, "./mpegdecode/mpeginutil(866)");
  EXPECT_EQ(failures.seen[2].first, "./mpegdecode/mpeginutil(890)");
}

TEST(GuardedCalls, FileNameFieldIsNullAgainAfterParsing) {
  MpegInPtr const instance(mpegInNew(nullptr, 0));
  ASSERT_TRUE(instance);
  EXPECT_NE(guardedGetInfo(instance.get(), Any(L"/nowhere/at all.mp4")), 0);
  EXPECT_EQ(instance->fileName, nullptr);
  EXPECT_EQ(instance->nVideo, 0);
}

TEST(FrameTimes, EqualKeysKeepTheirOrderAfterSorting) {
  std::vector<FrameTime> times = {{3, 30}, {1, 10}, {3, 31}, {-5, 0}, {1, 11}};
  sortFrameTimes(times);
  std::vector<int64_t> order;
  for (FrameTime const& time : times) order.push_back(time.time);
  EXPECT_EQ(order, (std::vector<int64_t>{0, 10, 11, 30, 31}));
}

// Sorts that are not stable keep short lists in order all the same.
TEST(FrameTimes, EqualKeysOfALongListKeepTheirOrderAfterSorting) {
  constexpr int kKeys = 7;
  std::vector<FrameTime> times(2000);
  for (size_t i = 0; i < times.size(); ++i)
    times[i] = {static_cast<int64_t>(i * 5 % kKeys), static_cast<int64_t>(i)};
  sortFrameTimes(times);
  for (size_t i = 1; i < times.size(); ++i) {
    ASSERT_LE(times[i - 1].sortKey, times[i].sortKey) << i;
    if (times[i - 1].sortKey == times[i].sortKey) {
      ASSERT_LT(times[i - 1].time, times[i].time) << i;
    }
  }
}

TEST(AudioBlockBuffer, ConstructionAllocatesBytesPerSampleFrameTimes1536TimesBlocks) {
  AudioBlockBuffer const buffer(nullptr, 6, 3);
  EXPECT_EQ(buffer.data().size(), 6u * 1536 * 3);
  EXPECT_EQ(buffer.filled(), 0);
}

TEST(AudioBlockBuffer, RemembersWhatItWasMadeFor) {
  MpegIn file{};
  AudioBlockBuffer const buffer(&file, 6, 3);
  EXPECT_EQ(buffer.file(), &file);
  EXPECT_EQ(buffer.blocks(), 3u);
  EXPECT_EQ(buffer.bytesPerSampleFrame(), 6u);
}

TEST(AudioBlockBuffer, ResizingTo4BlocksAllocates98304BytesWhateverTheSampleFrame) {
  for (uint32_t bytes : {1u, 4u, 16u, 64u}) {
    AudioBlockBuffer buffer(nullptr, bytes, 1);
    buffer.resize(bytes, 4);
    EXPECT_EQ(buffer.data().size(), 98304u) << bytes;
    EXPECT_EQ(buffer.bytesPerSampleFrame(), bytes);
    EXPECT_EQ(buffer.blocks(), 4u);
    EXPECT_EQ(buffer.filled(), 0);
  }
}

TEST(AudioBlockBuffer, ResizingWithAllBitsSetKeepsTheBlockCount) {
  AudioBlockBuffer buffer(nullptr, 4, 2);
  buffer.resize(8, 0xFFFFFFFF);
  EXPECT_EQ(buffer.blocks(), 2u);
  EXPECT_EQ(buffer.bytesPerSampleFrame(), 8u);
  EXPECT_EQ(buffer.data().size(), 2u * 24576);
  EXPECT_EQ(buffer.reset(), 0);
}

TEST(VideoStream, ConstructionCopiesTheIdentityBlock) {
  FileInformation const information;
  MpegInVideoStream const stream(information.file, 1);
  EXPECT_EQ(stream.index(), 1);
  EXPECT_EQ(stream.identity().pid, 0x1012);
  EXPECT_EQ(stream.identity().id, 0xE1);
  EXPECT_EQ(stream.identity().subId, 1);
  EXPECT_EQ(stream.identity().program, 8);
  EXPECT_EQ(stream.identity().reserved32, 5u);
  EXPECT_EQ(stream.identity().reserved16, 6);
  EXPECT_EQ(stateOf(stream).colorRange, 1u);
  EXPECT_FALSE(stream.selected());
  EXPECT_FALSE(stateOf(stream).userDataEnabled);
}

TEST(VideoStream, StartsWithoutDecoderFramesOrDescription) {
  MpegInVideoStream const stream(FileInformation().file, 0);
  EXPECT_FALSE(stream.name().valid());
  EXPECT_TRUE(stream.info().empty());
  EXPECT_EQ(stream.decoder(), nullptr);
  EXPECT_FALSE(stateOf(stream).decoder.ownsDecoderMemory);
  EXPECT_FALSE(stateOf(stream).endOfStream);
  EXPECT_EQ(stateOf(stream).frame, nullptr);
  EXPECT_EQ(stateOf(stream).scratch, nullptr);
  EXPECT_FALSE(stateOf(stream).framePending);
  EXPECT_EQ(stateOf(stream).passedPictures, 0);
  EXPECT_EQ(stateOf(stream).headerColour.primaries, 2);
  EXPECT_EQ(stateOf(stream).headerColour.transfer, 2);
  EXPECT_EQ(stateOf(stream).headerColour.matrix, 2);
}

TEST(VideoStream, OfAFileWithoutRecordsHasNoIdentity) {
  MpegIn file{};
  file.nVideo = 1;
  Failures failures;
  MpegInVideoStream const stream(file, 0);
  EXPECT_TRUE(failures.seen.empty());
  EXPECT_EQ(stream.identity().pid, 0);
  EXPECT_EQ(stream.identity().id, 0);
  EXPECT_EQ(stream.identity().subId, 0);
  EXPECT_EQ(stream.identity().program, 0);
  EXPECT_EQ(stream.identity().reserved32, 0u);
  EXPECT_EQ(stream.identity().reserved16, 0);
}

TEST(VideoStream, NumberOutsideTheFile_RaisesAtPosition467) {
  FileInformation const information;
  for (int number : {-1, 2}) {
    Failures failures;
    MpegInVideoStream const stream(information.file, number);
    ASSERT_EQ(failures.seen.size(), 1u);
    EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(467)");
    EXPECT_EQ(stream.identity().pid, 0);
  }
}

TEST(VideoStream, NumberOutsideTheFile_DoesNotReadBesideItsRecords) {
  MpegStreamId const ids[3] = {{1, 1, 1, 1, 1, 1}, {2, 2, 2, 2, 2, 2}, {3, 3, 3, 3, 3, 3}};
  MpegIn file{};
  file.nVideo = 1;
  file.videoId = ids + 1;
  EXPECT_EQ(MpegInVideoStream(file, -1).identity().pid, 0);
  EXPECT_EQ(MpegInVideoStream(file, 0).identity().pid, 2);
  EXPECT_EQ(MpegInVideoStream(file, 1).identity().pid, 0);
}

TEST(VideoStream, StoreWithoutADecoder_RaisesAtPosition540AndGoesOn) {
  FileInformation const information;
  MpegInVideoStream stream(information.file, 0);
  Failures failures;
  stream.store();
  ASSERT_FALSE(failures.seen.empty());
  EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(540)");
  EXPECT_EQ(stream.info()["codec"].asString(), "MPEG-1");
}

TEST(AudioStream, NumbersRunFormatByFormat) {
  FileInformation const information;
  struct Row {
    int number;
    char const* name;
    int formatIndex;
    int pid;
  };
  for (Row const& row : {Row{0, "AAC", 0, 0}, Row{1, "LPCM", 0, 100}, Row{2, "LPCM", 1, 101},
                         Row{3, "Dolby", 0, 200}, Row{4, "AES3", 0, 300}, Row{5, "AES3", 1, 301},
                         Row{6, "AMR", 0, 400}, Row{7, "WMA", 0, 500}, Row{8, "DTS", 0, 600}}) {
    MpegInAudioStream const stream(information.file, row.number);
    EXPECT_EQ(stream.name().asString(), row.name) << row.number;
    EXPECT_EQ(stateOf(stream).formatIndex, row.formatIndex) << row.number;
    EXPECT_EQ(stream.identity().pid, row.pid) << row.number;
    EXPECT_EQ(stream.index(), row.number);
  }
}

TEST(AudioStream, StartsWithoutDecoderSamplesOrDelay) {
  MpegInAudioStream const stream(FileInformation().file, 0);
  EXPECT_TRUE(stream.info().empty());
  EXPECT_EQ(stream.decoder(), nullptr);
  EXPECT_FALSE(stream.selected());
  EXPECT_FALSE(stateOf(stream).decoder.ownsDecoderMemory);
  EXPECT_FALSE(stateOf(stream).endOfStream);
  EXPECT_EQ(stateOf(stream).pcm, nullptr);
  EXPECT_EQ(stateOf(stream).scratch, nullptr);
  EXPECT_EQ(stateOf(stream).blocks, nullptr);
  EXPECT_EQ(stateOf(stream).tracker, nullptr);
  EXPECT_EQ(stateOf(stream).sampleCount, 0);
  EXPECT_EQ(stateOf(stream).syncDelaySamples, 0);
  EXPECT_EQ(stateOf(stream).use32BitSamples, 0u);
  EXPECT_TRUE(stateOf(stream).carry.empty());
  EXPECT_EQ(stateOf(stream).carrySamples, 0);
}

TEST(AudioStream, RemembersTheRunThatItWasListedIn) {
  FileInformation const information;
  int const formats[] = {kAudioMpegAac, kAudioLpcm, kAudioLpcm, kAudioDolby, kAudioAes3,
                         kAudioAes3,    kAudioAmr,  kAudioWma,  kAudioDts};
  for (int number = 0; number < 9; ++number)
    EXPECT_EQ(stateOf(MpegInAudioStream(information.file, number)).format, formats[number]) << number;
}

TEST(AudioStream, OnlyTheNameDolbyIsDolby) {
  FileInformation const information;
  for (int number = 0; number < 9; ++number)
    EXPECT_EQ(MpegInAudioStream(information.file, number).isDolby(), number == 3) << number;
}

TEST(AudioStream, NamesFollowTheMpegFlagAndTheContainer) {
  FileInformation information;
  information.file.audio.mpegAudio = 1;
  information.file.containerType = kContainerQuickTime;
  EXPECT_EQ(MpegInAudioStream(information.file, 0).name().asString(), "MPEG");
  EXPECT_EQ(MpegInAudioStream(information.file, 4).name().asString(), "QT_PCM");
}

TEST(AudioStream, NumberPastAllRuns_RaisesAtPositions223And280AndHasNoIdentity) {
  FileInformation const information;
  for (int number : {9, -1}) {
    Failures failures;
    MpegInAudioStream const stream(information.file, number);
    ASSERT_EQ(failures.seen.size(), 2u);
    EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(223)");
    EXPECT_EQ(failures.seen[1].first, "./mpegdecode/mpeginutil(280)");
    EXPECT_EQ(stream.identity().pid, 0);
    EXPECT_EQ(stateOf(stream).formatIndex, -1);
  }
}

// The further count is that of streams without a format.
TEST(AudioStream, OfNoFormatHasNoRun) {
  FileInformation information;
  information.file.nOtherAudio = 100;
  Failures failures;
  MpegInAudioStream const stream(information.file, 9);
  EXPECT_EQ(failures.seen.size(), 2u);
  EXPECT_EQ(stateOf(stream).format, -1);
  MpegSettings settings{};
  selectAudioStream(settings, information.file, 9);
  EXPECT_EQ(failures.seen.size(), 3u);
}

TEST(AudioStream, StoreWithoutADecoder_RaisesAtPosition288AndGoesOn) {
  FileInformation const information;
  MpegInAudioStream stream(information.file, 1);
  Failures failures;
  stream.store();
  ASSERT_FALSE(failures.seen.empty());
  EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(288)");
  EXPECT_EQ(stream.info()["codec"].asString(), "LPCM");
}

TEST(DolbyMetadataTracker, CannotReadAndSaysSo) {
  Failures failures;
  EXPECT_EQ(DolbyMetadataTracker::read(), -1);
  ASSERT_EQ(failures.seen.size(), 1u);
  EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(1932)");
}

TEST(SubpictureStream, StoreDescribesItByTypeAndIdentity) {
  MpegInSubpicStream stream(3);
  stream.setIdentity({0x20, 0xBD, 0x21, 2, 0, 0});
  stream.store();
  EXPECT_EQ(stream.name().asString(), "Subpicture");
  EXPECT_EQ(stream.index(), 3);
  EXPECT_EQ(stream.info()["type"].asInt32(), 2);
  AnyDict const& codecParams = stream.info()["codecParams"].asDict();
  EXPECT_EQ(codecParams["id"].asInt32(), 0xBD);
  EXPECT_EQ(codecParams["pid"].asInt32(), 0x20);
  EXPECT_EQ(codecParams["sub_id"].asInt32(), 0x21);
  EXPECT_EQ(codecParams["program_number"].asInt32(), 2);
}

TEST(AudioSelection, MapsTheHostNumberToOneFormatAndClearsTheOthers) {
  FileInformation const information;
  MpegSettings settings{};
  settings.audioStream[kAudioWma] = 9;
  selectAudioStream(settings, information.file, 5);
  for (int format = 0; format < kAudioFormats; ++format)
    EXPECT_EQ(settings.audioStream[format], format == kAudioAes3 ? 2 : 0) << format;
}

TEST(AudioSelection, NumbersRunFormatByFormat) {
  FileInformation const information;
  int number = 0;
  for (int format = 0; format < kAudioFormats; ++format)
    for (int inFormat = 1; inFormat <= information.counts[format]; ++inFormat, ++number) {
      MpegSettings settings{};
      std::fill(std::begin(settings.audioStream), std::end(settings.audioStream), 77);
      selectAudioStream(settings, information.file, number);
      for (int other = 0; other < kAudioFormats; ++other)
        EXPECT_EQ(settings.audioStream[other], other == format ? inFormat : 0) << number << " in " << other;
    }
}

TEST(AudioSelection, NumberOutsideAllRuns_RaisesAtPosition918AndSelectsNothing) {
  FileInformation const information;
  for (int number : {-1, 9}) {
    Failures failures;
    MpegSettings settings{};
    selectAudioStream(settings, information.file, number);
    ASSERT_EQ(failures.seen.size(), 1u);
    EXPECT_EQ(failures.seen[0].first, "./mpegdecode/mpeginutil(918)");
    for (int selection : settings.audioStream) EXPECT_EQ(selection, 0);
  }
}

}  // namespace
