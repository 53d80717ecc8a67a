// Mono audio streams joined into one, on real files.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include "tests/plugin/layouts.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

constexpr char kInvalidStream[] = "./mpegdecode/mpegdecwrapper(571)";

PipePtr openedSelected(fs::path const& file, int audio) {
  PipePtr pipe = test::opened(file);
  if (pipe) {
    EXPECT_EQ(pipe->selectStream(kKindAudio, audio), 0) << pipe->errorDesc();
  }
  return pipe;
}

std::vector<int16_t> interleaved(std::vector<std::vector<int16_t>> const& tracks) {
  std::vector<int16_t> all;
  for (size_t i = 0; i < tracks[0].size(); ++i)
    for (auto const& track : tracks) all.push_back(track[i]);
  return all;
}

std::vector<int16_t> heldBy(KyPcm const& pcm) {
  auto const* const words = reinterpret_cast<int16_t const*>(pcm.ptr());
  return {words, words + pcm.nSamples * pcm.channels()};
}

TEST(Joining, PutsTheJoinedStreamInThePlaceOfTheFirstMonoStream) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 3);
  std::vector<int> channels;
  for (int i = 0; i < 3; ++i) channels.push_back(test::info(*pipe, kKindAudio, i)["channels"].asInt32());
  EXPECT_EQ(channels, (std::vector<int>{2, 2, 6}));
  EXPECT_FALSE(test::info(*pipe, kKindAudio, 0).contains("_joined"));
  EXPECT_EQ(test::info(*pipe, kKindAudio, 1)["_joined"].asVector(), (AnyVector{1, 2}));
  EXPECT_FALSE(test::info(*pipe, kKindAudio, 2).contains("_joined"));
}

TEST(Joining, KeepsTheSoundOfEveryStreamInItsPlace) {
  fs::path const file = test::mixedLayouts();
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, 1000) == test::wordsOf(file, 0));
  EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 1, 1000) ==
              interleaved({test::wordsOf(file, 1), test::wordsOf(file, 2)}));
  EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 2, 1000) == test::wordsOf(file, 3));
}

TEST(Joining, DescribesTheJoinedStreamAsItsFirstMemberButForThreeKeys) {
  PipePtr const joined = test::opened(test::mixedLayouts());
  PipePtr const separate = test::opened(test::mixedLayouts(), AnyDict("joinMonoStreams", false));
  ASSERT_TRUE(joined && separate);
  AnyDict expected = test::info(*separate, kKindAudio, 1);
  EXPECT_EQ(expected["channels"].asInt32(), 1);
  expected.set("_joined", AnyVector{1, 2});
  expected.set("channels", 2);
  expected.set("samples", static_cast<int64_t>(48000));
  EXPECT_EQ(test::info(*joined, kKindAudio, 1), expected);
}

TEST(Joining, OneMonoStreamBesideAStereoStreamIsNotJoined) {
  PipePtr const pipe = test::opened(test::monoAndStereo());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 2);
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["channels"].asInt32(), 1);
  EXPECT_FALSE(test::info(*pipe, kKindAudio, 0).contains("_joined"));
}

TEST(Joining, AFileWithADolbyStreamIsNotJoined) {
  PipePtr const pipe = test::opened(test::monoAndDolby());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 3);
  std::vector<std::string> codecs;
  for (int i = 0; i < 3; ++i) codecs.push_back(test::info(*pipe, kKindAudio, i)["codec"].asString());
  EXPECT_EQ(std::count(codecs.begin(), codecs.end(), "Dolby"), 1);
}

TEST(Joining, OfThreeMonoStreamsShowsOne) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
  EXPECT_EQ(pipe->countStreams(kKindVideo | kKindAudio), 2);
  EXPECT_EQ(pipe->countStreams(7), 2 + pipe->countStreams(kKindSubpic));
  EXPECT_EQ(pipe->countStreams(0), 0);
}

TEST(Joining, TurnedOffBeforeOpenLeavesAllStreamsSeparate) {
  PipePtr const pipe = test::opened(test::threeMono(), AnyDict("joinMonoStreams", false));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 3);
  Any flag;
  EXPECT_EQ(pipe->getParam("joinMonoStreams", flag), 0);
  EXPECT_FALSE(static_cast<bool>(flag));
}

TEST(Joining, TurnedOffWhileOpenTakesEffectAtTheNextOpen) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->setParam("joinMonoStreams", false), 0);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1);
  pipe->close();
  EXPECT_EQ(pipe->countStreams(kKindAudio), 0);
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 3);
}

TEST(Joining, FollowsTheModuleAttributeAtInit) {
  test::ScopedAttribute const separate("joinMonoStreams", 0);
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindAudio), 3);
}

TEST(Joining, MoreThan32StreamsAreAllThere) {
  fs::path const file = test::manyMono(40);
  PipePtr const pipe = openedSelected(file, 0);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 1);
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["channels"].asInt32(), 40);
  std::vector<std::vector<int16_t>> tracks;
  for (int i = 0; i < 40; ++i) tracks.push_back(test::wordsOf(file, i));
  EXPECT_TRUE(test::readAllSamples<int16_t>(*pipe, 0, 777) == interleaved(tracks));
}

TEST(Joining, OfUnequalLengthsLastsAsLongAsTheLongest) {
  PipePtr const pipe = test::opened(test::unequalMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["samples"].asInt64(), 48000);
  EXPECT_EQ(pipe->sampleCount(0), 48000);
}

TEST(Joining, AStreamThatDeliversLessIsSilentForTheWholeBlock) {
  fs::path const file = test::unequalMono();
  PipePtr const pipe = openedSelected(file, 0);
  ASSERT_TRUE(pipe);
  auto const longer = test::wordsOf(file, 0);
  auto const shorter = test::wordsOf(file, 1);
  ASSERT_EQ(shorter.size(), 36000U);
  constexpr int kBlock = 10000;
  for (int block = 0; block < 4; ++block) {
    ASSERT_EQ(pipe->readSamples(kBlock, 0), kBlock);
    auto const held = heldBy(*pipe->audioPcm(0));
    ASSERT_EQ(held.size(), 2U * kBlock);
    bool const whole = block < 3;  // 6000 samples are left of it for the fourth
    for (size_t i = 0; i < kBlock; ++i) {
      size_t const at = static_cast<size_t>(block) * kBlock + i;
      ASSERT_EQ(held[2 * i], longer[at]) << at;
      ASSERT_EQ(held[2 * i + 1], whole ? shorter[at] : 0) << at;
    }
  }
}

TEST(Joining, EndsWithMinus4AndAnEmptyBufferAtPosition0) {
  PipePtr const pipe = openedSelected(test::threeMono(), 0);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->readSamples(48000, 0), 48000);
  EXPECT_EQ(pipe->readSamples(100, 0), -4);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, 0);
}

TEST(Joining, ReadingNoSamplesReadsNothing) {
  PipePtr const pipe = openedSelected(test::threeMono(), 0);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  auto const before = heldBy(*pipe->audioPcm(0));
  EXPECT_EQ(pipe->readSamples(0, 0), 0);
  EXPECT_EQ(heldBy(*pipe->audioPcm(0)), before);
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  EXPECT_EQ(pipe->audioPcm(0)->position, 200);
}

TEST(Joining, AbsurdRequestsGiveWhatTheFileHas) {
  PipePtr const pipe = openedSelected(test::threeMono(), 0);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->readSamples(2147483647, 0), 48000);
}

TEST(Joining, SeekingMovesEveryStreamAndEmptiesTheBuffer) {
  fs::path const file = test::threeMono();
  PipePtr const pipe = openedSelected(file, 0);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->readSamples(100, 0), 100);
  ASSERT_EQ(pipe->seekToSample(12345, 0), 0);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, 0);
  ASSERT_EQ(pipe->readSamples(64, 0), 64);
  auto const held = heldBy(*pipe->audioPcm(0));
  for (int track = 0; track < 3; ++track) {
    auto const words = test::wordsOf(file, track);
    for (size_t i = 0; i < 64; ++i)
      ASSERT_EQ(held[3 * i + static_cast<size_t>(track)], words[12345 + i]) << track << " " << i;
  }
}

TEST(Joining, StreamsOfAnotherSampleSizeAreSilentAndNothingIsReadBeyondThem) {
  ky_log()->take();
  PipePtr const pipe = openedSelected(test::unequalSampleSizes(), 0);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 1);
  auto const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].level, kLogWarning);
  EXPECT_EQ(messages[0].text,
            "Audio stream 1 has 2 bytes per sample, not 3 as the stream it is joined to: it is silent");
  ASSERT_EQ(pipe->audioPcm(0)->bytesPerSample(), 3);
  ASSERT_EQ(pipe->readSamples(48000, 0), 48000);
  KyPcm const& pcm = *pipe->audioPcm(0);
  bool firstSounds = false;
  for (int i = 0; i < 48000; ++i) {
    unsigned char const* const frame = pcm.ptr(i);
    firstSounds |= frame[0] || frame[1] || frame[2];
    ASSERT_FALSE(frame[3] || frame[4] || frame[5]) << i;
  }
  EXPECT_TRUE(firstSounds);
}

TEST(Joining, SelectingTheJoinedStreamSelectsAllItsStreams) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(pipe->isSelected(kKindAudio, i)) << i;
  EXPECT_EQ(pipe->selectStream(kKindAudio, 1), 0);
  EXPECT_TRUE(pipe->isSelected(kKindAudio, 1));
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 0));
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 2));
  EXPECT_EQ(pipe->readSamples(10, 1), 10);
  EXPECT_EQ(pipe->deselectStream(kKindAudio, 1), 0);
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 1));
}

TEST(Joining, MappedStreamsAreTheInnerOnesAtTheirNewNumbers) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->selectStream(kKindAudio, 2), 0);
  EXPECT_TRUE(pipe->isSelected(kKindAudio, 2));
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 1));
  EXPECT_EQ(pipe->sampleCount(2), 48000);
  EXPECT_EQ(pipe->audioPcm(2)->channels(), 6);
  EXPECT_EQ(pipe->seekToSample(100, 2), 0);
  EXPECT_EQ(pipe->readSamples(0, 2), 0);
  EXPECT_EQ(pipe->readSamples(10, 2), 10);
  EXPECT_EQ(pipe->deselectStream(kKindAudio, 2), 0);
  EXPECT_FALSE(pipe->isSelected(kKindAudio, 2));
}

TEST(Joining, ReadingAnUnselectedJoinedStreamGivesMinus1WithoutAText) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  EXPECT_EQ(pipe->readSamples(10, 0), -1);
  EXPECT_EQ(failures.seen.size(), 3U);
  EXPECT_EQ(pipe->audioPcm(0)->nSamples, 0);
  EXPECT_EQ(pipe->audioPcm(0)->position, 0);
  EXPECT_STREQ(pipe->errorDesc(), "");
}

TEST(Joining, TheSampleCountOfTheJoinedStreamNeedsNoSelection) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->sampleCount(0), 48000);
}

TEST(Joining, StreamParametersComeFromTheJoinedDescriptionOrTheMappedStream) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  Any value;
  EXPECT_EQ(pipe->getStreamParam(kKindAudio, 1, "channels", value), 0);
  EXPECT_EQ(value, Any(2));
  EXPECT_EQ(pipe->getStreamParam(kKindAudio, 1, "nothing", value), 0);
  EXPECT_FALSE(value.valid());
  EXPECT_EQ(pipe->getStreamParam(kKindAudio, 2, "channels", value), 0);
  EXPECT_EQ(value, Any(6));
  EXPECT_EQ(pipe->getStreamParam(kKindVideo, 0, "width", value), 0);
  EXPECT_EQ(value, Any(64));
}

TEST(Joining, SettingAParameterOfAnyAudioStreamChangesNothing) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  for (int i : {0, 1, 2, 3, -1, 99}) EXPECT_EQ(pipe->setStreamParam(kKindAudio, i, "channels", 7), 0) << i;
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0)["channels"].asInt32(), 2);
  EXPECT_EQ(test::info(*pipe, kKindAudio, 1)["channels"].asInt32(), 2);
  EXPECT_EQ(test::info(*pipe, kKindAudio, 2)["channels"].asInt32(), 6);
}

TEST(Joining, AudioNumbersOutsideTheOutwardOnesAreMinus13) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  for (int i : {-1, 3, 999, 2147483647}) {
    test::Failures failures;
    AnyDict description;
    Any value;
    EXPECT_EQ(pipe->streamInfo(kKindAudio, i, description), -13) << i;
    EXPECT_EQ(pipe->getStreamParam(kKindAudio, i, "channels", value), -13);
    EXPECT_EQ(pipe->selectStream(kKindAudio, i), -13);
    EXPECT_EQ(pipe->deselectStream(kKindAudio, i), -13);
    EXPECT_EQ(pipe->seekToSample(0, i), -13);
    EXPECT_EQ(pipe->readSamples(10, i), -13);
    EXPECT_EQ(pipe->readSamples(0, i), -13);
    EXPECT_EQ(pipe->sampleCount(i), -13);
    EXPECT_EQ(pipe->audioPcm(i), nullptr);
    EXPECT_TRUE(pipe->isSelected(kKindAudio, i)) << "an invalid number reads as selected";
    ASSERT_EQ(failures.seen.size(), 10U);
    for (auto const& failure : failures.seen) {
      EXPECT_EQ(failure.kind, KyFailureKind::Assertion);
      EXPECT_EQ(failure.where, kInvalidStream);
      EXPECT_EQ(failure.text, "Invalid stream number");
    }
    EXPECT_EQ(pipe->errorCode(), -13);
    EXPECT_STREQ(pipe->errorDesc(), "Invalid stream number");
  }
}

TEST(Joining, SampleCountChecksItsNumberWithoutJoiningToo) {
  PipePtr const pipe = test::opened(test::stereoPair());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  EXPECT_EQ(pipe->sampleCount(2), -13);
  EXPECT_TRUE(failures.has(kInvalidStream, "Invalid stream number"));
}

Any parameter(PipePtr const& pipe, char const* key, Any value = {}) {
  EXPECT_EQ(pipe->getParam(key, value), 0) << key;
  return value;
}

TEST(JoinedParameters, ChannelsOfTwoAreLeftAndRight) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(parameter(pipe, "channelName", 0), Any("left"));
  EXPECT_EQ(parameter(pipe, "channelName", 1), Any("right"));
  EXPECT_EQ(parameter(pipe, "channelName", 0x0200), Any("right")) << "whatever stream is meant";
}

TEST(JoinedParameters, ChannelsOfMoreAreNumbered) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(parameter(pipe, "channelName", 0), Any("channel 0"));
  EXPECT_EQ(parameter(pipe, "channelName", -2147483647), Any("channel -2147483647"));
}

TEST(JoinedParameters, TheTransportStructureIsNotReported) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_FALSE(parameter(pipe, "tsStructure", 5).valid());
}

TEST(JoinedParameters, AudioKeysUseOutwardNumbers) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(parameter(pipe, "audio1/channels"), Any(2));
  EXPECT_EQ(parameter(pipe, "audio2/channels"), Any(6));
  EXPECT_EQ(parameter(pipe, "audio1").asDict(), test::info(*pipe, kKindAudio, 1));
  EXPECT_EQ(parameter(pipe, "audio2").asDict(), test::info(*pipe, kKindAudio, 2));
}

TEST(JoinedParameters, AudioKeysWithoutAStreamAreMinus13) {
  PipePtr const pipe = test::opened(test::mixedLayouts());
  ASSERT_TRUE(pipe);
  for (char const* key : {"audio3/channels", "audio-1/channels", "audio/channels", "audioX/", "audio",
                          "audio99", "audio99999999999999999999", "audioBitrate", "audio/"}) {
    test::Failures failures;
    Any value(5);
    EXPECT_EQ(pipe->getParam(key, value), -13) << key;
    EXPECT_TRUE(failures.has(kInvalidStream, "Invalid stream number")) << key;
  }
}

TEST(JoinedParameters, OtherKeysAreTheInnerDecoders) {
  PipePtr const pipe = test::opened(test::threeMono());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(parameter(pipe, "displayName"), Any("MPEG decoder"));
  EXPECT_EQ(parameter(pipe, "filesize").asInt64(), static_cast<int64_t>(fs::file_size(test::threeMono())));
}

TEST(Parameters, StoreHoldsTheNameAndTheSettings) {
  PipePtr const pipe = test::makePipe();
  EXPECT_EQ(pipe->setParam("removeIMXTopBlanking", true), 0);
  EXPECT_EQ(pipe->setParam("numThreads", 3), 0);
  EXPECT_EQ(pipe->setParam("joinMonoStreams", false), 0);
  AnyDict const stored = parameter(pipe, "store").asDict();
  ASSERT_EQ(stored.size(), 6);
  char const* const keys[] = {"name",    "removeIMXTopBlanking", "estimateMemory",
                              "smpMode", "numThreads",           "joinMonoStreams"};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(stored.getEntry(i).key, keys[i]);
  EXPECT_EQ(stored["name"], Any(pipe->name()));
  EXPECT_EQ(stored["removeIMXTopBlanking"], Any(1));
  EXPECT_EQ(stored["estimateMemory"], Any(0));
  EXPECT_EQ(stored["smpMode"], Any(-1));
  EXPECT_EQ(stored["numThreads"], Any(3));
  EXPECT_EQ(stored["joinMonoStreams"], Any(0));
}

TEST(Parameters, ModuleAttributesReachTheInnerDecoderAtInit) {
  test::ScopedAttribute const blanking("removeIMXTopBlanking", true);
  test::ScopedAttribute const mode("smpMode", 2);
  test::ScopedAttribute const threads("numThreads", 5);
  test::ScopedAttribute const estimate("estimateMemory", true);
  AnyDict const stored = parameter(test::makePipe(), "store").asDict();
  EXPECT_EQ(stored["removeIMXTopBlanking"], Any(1));
  EXPECT_EQ(stored["smpMode"], Any(2));
  EXPECT_EQ(stored["numThreads"], Any(5));
  EXPECT_EQ(stored["estimateMemory"], Any(1));
}

TEST(Opening, ErrorsOfTheInnerDecoderComeThroughUnchanged) {
  fs::path const file = test::scratchDir() / "100%s%n of nothing.mov";
  std::ofstream(file) << "nothing that plays";
  PipePtr const pipe = test::pipeFor(file);
  int const result = pipe->open();
  EXPECT_LT(result, 0);
  EXPECT_EQ(pipe->errorCode(), result);
  EXPECT_STRNE(pipe->errorDesc(), "");
  EXPECT_EQ(pipe->state(), 2);
  EXPECT_EQ(pipe->countStreams(7), 0);
}

}  // namespace
