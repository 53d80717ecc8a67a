// What opening asks of the library, in which order, and what it says.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <thread>

#include "host/colour.h"
#include "mpegdecode/callbacks.h"
#include "mpegdecode/dolbytracker.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
using namespace std::chrono_literals;

class OpeningDetails : public ScriptedTest {
 protected:
  // The numbers of the only line at the level that is the pattern with a number for each "$", in order.
  std::vector<std::string> numbersOf(int level, std::string_view pattern) const {
    std::vector<std::string> found;
    int lines = 0;
    for (auto const& line : log.lines) {
      auto numbers = numbersIn(line.text, pattern);
      if (line.level != level || !numbers) continue;
      ++lines;
      found = std::move(*numbers);
    }
    EXPECT_EQ(lines, 1) << pattern;
    return found;
  }

 private:
  // Nothing where the whole text is not that of the pattern.
  static std::optional<std::vector<std::string>> numbersIn(std::string_view text, std::string_view pattern) {
    std::vector<std::string> numbers;
    for (char const wanted : pattern) {
      if (wanted != '$') {
        if (!text.starts_with(wanted)) return std::nullopt;
        text.remove_prefix(1);
        continue;
      }
      size_t const length = std::min(text.find_first_not_of("-.0123456789"), text.size());
      if (length == 0) return std::nullopt;
      numbers.emplace_back(text.substr(0, length));
      text.remove_prefix(length);
    }
    return text.empty() ? std::optional(numbers) : std::nullopt;
  }
};

TEST_F(OpeningDetails, ThreadsAreSetBetweenTheOpeningAndTheFirstSeek) {
  MpegVideoInfo& video = library.addVideo().info;
  video.mpeg2 = 0;
  video.hevc = 1;
  std::vector<Function> order;  // since the last opening
  library.onCall = [&](Function function) {
    if (function == kOpen) order.clear();
    order.push_back(function);
  };
  opened();
  library.onCall = nullptr;
  EXPECT_EQ(order, (std::vector<Function>{kOpen, kVideoAux, kVideoAux, kSeekFrame}));
}

TEST_F(OpeningDetails, EveryImxProfileLosesItsBlanking) {
  MpegVideoInfo& video = library.addVideo().info;
  video.width = 720;
  video.height = 608;
  video.chromaFormat = 2;
  for (uint32_t profile = 18; profile <= 34; ++profile) {
    video.profileType = profile;
    ready();
    pipe->setParam("removeIMXTopBlanking", true);
    ASSERT_EQ(pipe->open(), 0);
    bool const imx = (profile >= 21 && profile <= 23) || (profile >= 28 && profile <= 31);
    EXPECT_EQ(info(kKindVideo, 0)["height"], Any(imx ? 576 : 608)) << profile;
  }
}

TEST_F(OpeningDetails, SoundAloneIsOpenedWithoutVideoBesideIt) {
  library.addAudio(kAudioLpcm);
  library.containerType = kContainerTransport;
  opened();
  EXPECT_EQ(instance(1).set.decodeVideo[0], 0);
  EXPECT_EQ(instance(1).set.decodeVideo[1], 0);
  EXPECT_TRUE(instance(1).videoAux.empty());
  EXPECT_FALSE(log.contains("Opening video in audio decoder instance"));
}

TEST_F(OpeningDetails, ADolbyTrackerIsPrimedWithTheFirstMetadata) {
  // No library of today describes them; the description is where they would stand.
  class Described : public MpegInAudioStream {
   public:
    using MpegInAudioStream::MpegInAudioStream;
    void store() override {
      MpegInAudioStream::store();
      info().child("codecParams").set("dolbyMeta0", 42);
    }
  };
  library.addAudio(kAudioDolby).info.bits = 20;
  opened();
  MpegIn const& shared = *(fileOf(*pipe).shared);
  Described stream(shared, 0);
  stateOf(stream).endOfStream = true;
  ASSERT_EQ(stream.open((pipe.get()->*memberOf(Source{}))()), 0);
  ASSERT_NE(stateOf(stream).tracker, nullptr);
  EXPECT_EQ(stateOf(stream).tracker->last(), Any(42));
  EXPECT_FALSE(stateOf(stream).endOfStream);
}

TEST_F(OpeningDetails, ADolbyTrackerCountsBytesRoundedUp) {
  for (auto [bits, bytes] :
       {std::pair{16, 2}, std::pair{17, 3}, std::pair{20, 3}, std::pair{24, 3}, std::pair{32, 4}}) {
    library.audio.clear();
    library.addAudio(kAudioDolby).info.bits = bits;
    opened();
    EXPECT_EQ(stateOf(audioOf(*pipe, 0)).tracker->bytesPerSample(), bytes) << bits;
  }
}

TEST_F(OpeningDetails, StreamsAreNotAtTheirEnd) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_FALSE(stateOf(videoOf(*pipe, 0)).endOfStream);
  EXPECT_FALSE(stateOf(audioOf(*pipe, 0)).endOfStream);
}

TEST_F(OpeningDetails, TheParsingIsTimedAndItsStreamsAreCounted) {
  for (int i = 0; i < 2; ++i) library.addVideo();
  for (MpegAudioFormat format : {kAudioMpegAac, kAudioLpcm, kAudioLpcm, kAudioDts}) library.addAudio(format);
  library.subpictures = 3;
  library.onInfo = [](MpegIn& file) { file.nOtherAudio = 5; };
  library.onCall = [](Function function) {
    if (function == kGetInfo) std::this_thread::sleep_for(20ms);
  };
  auto const begin = std::chrono::steady_clock::now();
  opened();
  double const whole = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
  library.onCall = nullptr;
  auto const numbers = numbersOf(kLogTrace, "mpegInGetInfo: $ sec, result=$, nvids=$, nauds=$, nsubs=$");
  ASSERT_EQ(numbers.size(), 5U);
  EXPECT_GE(std::stod(numbers[0]), 0.02);
  EXPECT_EQ(numbers[1], "0");
  EXPECT_EQ(numbers[2], "2");
  EXPECT_EQ(numbers[3], "9") << "four of the known formats and five others";
  EXPECT_EQ(numbers[4], "3");
  double const told = std::stod(numbersOf(kLogTrace, "mpegdec: opened in $ sec.").at(0));
  EXPECT_GE(told, 0.02);
  EXPECT_LE(told, whole + 1e-6) << "since the opening began";
}

TEST_F(OpeningDetails, AFileWithoutVideoHasNoVideoStreamsWhateverTheirNumber) {
  library.addVideo().info.present = 0;
  library.addAudio(kAudioLpcm);
  opened();
  EXPECT_EQ(numbersOf(kLogTrace, "mpegInGetInfo: $ sec, result=0, nvids=$, nauds=1, nsubs=0").at(1), "0");
  EXPECT_EQ(pipe->countStreams(kKindVideo), 0);
}

TEST_F(OpeningDetails, TheOpeningOfAStreamIsTimedWithItsResult) {
  library.addVideo();
  library.onCall = [](Function function) {
    if (function == kOpen) std::this_thread::sleep_for(20ms);
  };
  opened();
  auto numbers = numbersOf(kLogTrace, "mpegInOpen: $ sec, result=$");
  ASSERT_EQ(numbers.size(), 2U);
  EXPECT_GE(std::stod(numbers[0]), 0.02);
  EXPECT_EQ(numbers[1], "0");
  log.lines.clear();
  library.give(kOpen, 17);
  ready();
  EXPECT_EQ(pipe->open(), -1);
  numbers = numbersOf(kLogTrace, "mpegInOpen: $ sec, result=$");
  ASSERT_EQ(numbers.size(), 2U);
  EXPECT_EQ(numbers[1], "17");
  library.onCall = nullptr;
}

TEST_F(OpeningDetails, SwitchingASubpictureIsTimed) {
  for (int i = 0; i < 2; ++i) library.addVideo();
  opened();
  for (int i = 0; i < 3; ++i) addSubpicture(*pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 1), 0);
  library.onCall = [](Function function) {
    if (function == kSeekFrame) std::this_thread::sleep_for(20ms);
  };
  ASSERT_EQ(pipe->setStreamParam(kKindVideo, 1, "subpicOverlay", 2), 0);
  library.onCall = nullptr;
  auto const numbers = numbersOf(0, "[scripted] Switched video #$ to subpic #$ in $");
  ASSERT_EQ(numbers.size(), 3U);
  EXPECT_EQ(numbers[0], "1");
  EXPECT_EQ(numbers[1], "2");
  EXPECT_GE(std::stod(numbers[2]), 0.02);
}

TEST_F(OpeningDetails, TheTraceIsDecidedAtTheOpening) {
  library.addVideo();
  library.addAudio(kAudioLpcm);
  auto const traced = [&] {
    log.lines.clear();
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    EXPECT_EQ(pipe->selectStream(kKindAudio, 0), 0);
    EXPECT_EQ(pipe->seekToFrame(3, 0), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(pipe->readFrame(0), 0);
    EXPECT_EQ(pipe->readSamples(10, 0), 10);
    return log.lines.size();
  };
  opened();
  ky_registry()->setDbgOption("log_progress", 1);
  EXPECT_EQ(traced(), 0U) << "switched on behind the opening";
  opened();
  ky_registry()->setDbgOption("log_progress", Any());
  EXPECT_EQ(traced(), 3U) << "switched off behind the opening";
}

TEST_F(OpeningDetails, TheCountingOfMemoryIsDecidedAtTheOpening) {
  library.addVideo();
  opened();
  pipe->setParam("estimateMemory", true);
  void* const block = reinterpret_cast<void* (*)(size_t)>(importCallback("malloc"))(8192);
  EXPECT_EQ(get("memoryEstimateKB"), Any(0));
  reinterpret_cast<void (*)(void*)>(importCallback("free"))(block);
}

TEST_F(OpeningDetails, TheNameOfTheFileIsWithTheInstanceWhileItIsParsedAlone) {
  library.addVideo();
  library.addAudio(kAudioDolby);
  int parsed = 0;
  library.onInfo = [&](MpegIn& file) {
    ASSERT_NE(file.fileName, nullptr);
    EXPECT_EQ(file.fileName, clip().string());
    ++parsed;
  };
  library.onOpen = [](MpegIn& stream) { EXPECT_EQ(stream.fileName, nullptr); };
  opened();
  EXPECT_EQ(parsed, 2) << "the file, and once more for the Dolby stream";
  EXPECT_EQ((fileOf(*pipe).shared)->fileName, nullptr);
  library.raise(kGetInfo, 2);
  opened();
  EXPECT_EQ(pipe->countStreams(kKindAudio), 1) << "also when parsing raised";
}

TEST_F(OpeningDetails, OfTwoVideoStreamsOfAProgram_SoundIsComparedWithTheFirst) {
  constexpr int64_t kMs = 27000;
  library.containerType = kContainerTransport;
  for (auto [program, stamp] : {std::pair{1, 0}, std::pair{2, 100}, std::pair{2, 140}, std::pair{3, 30}}) {
    Video& video = library.addVideo();
    video.id.program = static_cast<uint16_t>(program);
    video.info.firstPts = stamp * kMs;
  }
  Audio& sound = library.addAudio(kAudioLpcm);
  sound.id.program = 2;
  sound.info.firstPts = 200 * kMs;
  opened();
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).syncDelaySamples, 4800);
}

TEST_F(OpeningDetails, AFileOfSubtitlesIsReadForThemBehindItsStreams) {
  library.addVideo();
  library.containerType = kContainerDmf;
  ky_log()->take();
  opened();
  auto const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_EQ(messages[0].text,
            "DMF demuxer can not open " + clip().string() + ", cannot parse for language descriptors.");
}

TEST_F(OpeningDetails, OfTwoVideoStreamsOfTheFirstProgram_SoundIsComparedWithTheFirst) {
  constexpr int64_t kMs = 27000;
  library.containerType = kContainerTransport;
  for (int64_t stamp : {0, 100}) {
    Video& video = library.addVideo();
    video.id.program = 1;
    video.info.firstPts = stamp * kMs;
  }
  Audio& sound = library.addAudio(kAudioLpcm);
  sound.id.program = 1;
  sound.info.firstPts = 200 * kMs;
  opened();
  EXPECT_EQ(stateOf(audioOf(*pipe, 0)).syncDelaySamples, 9600);
}

class DescriptionOverrides : public ScriptedTest {
 protected:
  DescriptionOverrides() {
    library.addVideo();
    library.video[0].info.height = 64;  // as wide, so that a frame aspect is a pixel aspect
    opened();
  }
  int set(char const* key, Any const& value) { return pipe->setOverride(kKindVideo, 0, key, value); }
  KyFrame& frame() { return *stateOf(videoOf(*pipe, 0)).frame; }
};

TEST_F(DescriptionOverrides, OfTheFormatRenameDescriptionAndFrame) {
  int const renamed = static_cast<int>(kyFourcc("IYUV"));
  EXPECT_EQ(set("FOURCC", renamed), 0);
  EXPECT_EQ(info(kKindVideo, 0)["FOURCC"], Any(renamed));
  EXPECT_EQ(frame().fourcc(), kyFourcc("IYUV"));
  EXPECT_EQ(set("FOURCC", static_cast<int>(kyFourcc("YUYV"))), -1);
  EXPECT_EQ(info(kKindVideo, 0)["FOURCC"], Any(renamed));
  EXPECT_EQ(frame().fourcc(), kyFourcc("IYUV"));
}

TEST_F(DescriptionOverrides, OfTheColoursReachDescriptionAndFrame) {
  KyColourDesc const wide(9, 14, 9);
  ASSERT_NE(frame().yuvMatrix(), KyYUVMatrix::Bt2020);
  EXPECT_EQ(set("colorimetry", AnyVector{9, 14, 9}), 0);
  EXPECT_EQ(info(kKindVideo, 0)["colorimetry"], wide.toAny());
  EXPECT_EQ(frame().yuvMatrix(), KyYUVMatrix::Bt2020);
}

TEST_F(DescriptionOverrides, OfTheAspectAreSquareBetween0995And1005Alone) {
  auto const stored = [&](double aspect) {
    EXPECT_EQ(set("frameAspect", aspect), 0);
    return info(kKindVideo, 0)["pixelAspect"].asDouble();
  };
  EXPECT_EQ(stored(0.995), 0.995);
  EXPECT_EQ(stored(std::nextafter(0.995, 1.0)), 1.0);
  EXPECT_EQ(stored(std::nextafter(1.005, 1.0)), 1.0);
  EXPECT_EQ(stored(1.005), 1.005);
}

}  // namespace
