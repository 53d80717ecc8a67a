// First stamps, and sound that begins later than its pictures.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "host/codec.h"
#include "host/pcm.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/sequence.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

constexpr int kRate = 48000;
constexpr double kTicks = 27e6;

PipePtr openedSeparate(fs::path const& file) { return test::opened(file, AnyDict("joinMonoStreams", 0)); }

int64_t firstStamp(KyDecodePipe const& pipe, int kind, int index) {
  return test::info(pipe, kind, index)
      .descendant("codecParams", kind == kKindVideo ? "firstVPTS" : "firstAPTS", nullptr)
      .asInt64();
}

// What reading gives: silence, counted, and behind it the sound that is there without the correction.
struct Heard {
  int64_t silence = 0;
  bool soundFollows = false;
};

std::vector<int16_t> uncorrected(fs::path const& file, int stream) {
  test::ScopedAttribute const off("AVSyncFix", Any(0));
  PipePtr const pipe = openedSeparate(file);
  return pipe ? test::readAllSamples<int16_t>(*pipe, stream, 4096) : std::vector<int16_t>{};
}

Heard heard(KyDecodePipe& pipe, fs::path const& file, int stream) {
  auto const sound = uncorrected(file, stream);
  auto const all = test::readAllSamples<int16_t>(pipe, stream, 1000);
  Heard out;
  out.silence = static_cast<int64_t>(all.size()) - static_cast<int64_t>(sound.size());
  if (out.silence < 0) return out;
  auto const begin = all.begin() + out.silence;
  out.soundFollows = !sound.empty() &&
                     std::all_of(all.begin(), begin, [](int16_t word) { return word == 0; }) &&
                     std::equal(begin, all.end(), sound.begin(), sound.end());
  return out;
}

// Pictures from `pictureTicks` on and sound from `soundTicks` on, in ticks of 90 kHz. The sound is never 0.
std::string streams(int pictureTicks, int soundTicks) {
  return "-f lavfi -i testsrc2=s=64x64:r=25:d=1.2 -f lavfi -i "
         "\"aevalsrc=0.5+0.2*sin(440*t):s=48000:d=1.2\" -c:v mpeg2video -bf 0 -c:a mp2 -bsf:v "
         "setts=ts=N*3600+" +
         std::to_string(pictureTicks) + " -bsf:a setts=ts=N*2160+" + std::to_string(soundTicks) + " ";
}

struct Late {
  char const* name;
  int ticks;  // of 90 kHz
  int64_t silence;
};

class LateTransportStream : public testing::TestWithParam<Late> {
 protected:
  fs::path file_ = test::made(std::string(GetParam().name) + ".ts", streams(0, GetParam().ticks));
};

TEST_P(LateTransportStream, BeginsWithSilenceBeyondOneFrame) {
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(firstStamp(*pipe, kKindAudio, 0) - firstStamp(*pipe, kKindVideo, 0), GetParam().ticks * 300);
  Heard const got = heard(*pipe, file_, 0);
  EXPECT_EQ(got.silence, GetParam().silence);
  EXPECT_TRUE(got.soundFollows);
}

TEST_P(LateTransportStream, SeeksIntoAndPastTheSilenceAreExact) {
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  auto const all = test::readAllSamples<int16_t>(*pipe, 0, 4096);
  for (int64_t at : {0, 1, 500, 1967, 1968, 1969, 2500, 30000, 100}) {
    ASSERT_EQ(pipe->seekToSample(at, 0), 0);
    ASSERT_EQ(pipe->readSamples(3000, 0), 3000);
    auto const* const words = reinterpret_cast<int16_t const*>(pipe->audioPcm(0)->ptr());
    EXPECT_TRUE(std::equal(words, words + 3000, all.begin() + at)) << "from " << at;
  }
}

INSTANTIATE_TEST_SUITE_P(At25Hz, LateTransportStream,
                         testing::Values(Late{"late40ms", 3600, 0}, Late{"late41ms", 3690, 1968},
                                         Late{"late500ms", 45000, 24000}),
                         [](auto const& parameter) { return std::string(parameter.param.name); });

TEST(EarlySound, IsNeverChanged) {
  auto const file = test::made("early.ts", streams(18000, 0));
  PipePtr const pipe = openedSeparate(file);
  ASSERT_TRUE(pipe);
  ASSERT_LT(firstStamp(*pipe, kKindAudio, 0), firstStamp(*pipe, kKindVideo, 0));
  Heard const got = heard(*pipe, file, 0);
  EXPECT_EQ(got.silence, 0);
  EXPECT_TRUE(got.soundFollows);
}

// Three programs: the second one's pictures begin a second after the first one's; the third has sound alone.
class Programs : public testing::Test {
 protected:
  fs::path file_ = [] {
    auto const first = test::made("program1.ts", streams(0, 3690));
    auto const second = test::made("program2.ts", streams(90000, 97200));
    auto const third = test::made("program3.ts", streams(0, 7200));
    return test::made(
        "programs.ts",
        "-copyts -i " + test::quoted(first) + " -copyts -i " + test::quoted(second) + " -copyts -i " +
            test::quoted(third) +
            " -map 0:v -map 0:a -map 1:v -map 1:a -map 2:a -c copy -program program_num=5:st=0:st=1"
            " -program program_num=3:st=2:st=3 -program program_num=9:st=4 ");
  }();
};

TEST_F(Programs, SoundIsComparedWithThePicturesOfItsOwnProgram) {
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 3);
  EXPECT_EQ(heard(*pipe, file_, 0).silence, 1968);
  EXPECT_EQ(heard(*pipe, file_, 1).silence, 3840);
}

TEST_F(Programs, SoundWithoutPicturesOfItsOwnIsComparedWithTheFirstOnes) {
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  Heard const got = heard(*pipe, file_, 2);
  EXPECT_EQ(got.silence, 3840);
  EXPECT_TRUE(got.soundFollows);
}

TEST_F(Programs, TheStructureListsThemAscendingWithTheirStreams) {
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  Any value;
  ASSERT_EQ(pipe->getParam("tsStructure", value), 0);
  AnyVector const programs = value.asVector();
  ASSERT_EQ(programs.size(), 3);
  std::vector<int> numbers, videos, sounds;
  for (int i = 0; i < programs.size(); ++i) {
    AnyDict const& program = programs[i].asDict();
    numbers.push_back(program["program_number"].asInt32());
    videos.push_back(program["vids"].asVector().size());
    sounds.push_back(program["auds"].asVector().size());
    EXPECT_EQ(program["subs"].asVector().size(), 0);
  }
  EXPECT_EQ(numbers, (std::vector{3, 5, 9}));
  EXPECT_EQ(videos, (std::vector{1, 1, 0}));
  EXPECT_EQ(sounds, (std::vector{1, 1, 1}));
  AnyDict const& first = programs[0].asDict();
  EXPECT_EQ(first["vids"].asVector()[0].asDict()["nr"], Any(1));
  EXPECT_EQ(first["auds"].asVector()[0].asDict()["pid"],
            test::info(*pipe, kKindAudio, 1).descendant("codecParams", "pid", nullptr));
}

TEST(OneProgramStream, HasAnEmptyTsStructure) {
  PipePtr const pipe = openedSeparate(test::made("late41ms.mpg", "-f lavfi -i sine=d=1 -c:a mp2 "));
  ASSERT_TRUE(pipe);
  Any value;
  ASSERT_EQ(pipe->getParam("tsStructure", value), 0);
  EXPECT_EQ(value.kind(), Any::kVector);
  EXPECT_TRUE(value.asVector().empty());
}

struct Other {
  char const* name;
  std::string arguments;
  int64_t silence;  // with the correction on
};

// Containers that are corrected on request only, and of those the ones whose first stamps are measured.
class OtherContainer : public testing::TestWithParam<Other> {
 protected:
  fs::path file_ = test::made(GetParam().name, GetParam().arguments);
};

TEST_P(OtherContainer, IsLeftAloneByDefault) {
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(heard(*pipe, file_, 0).silence, 0);
}

TEST_P(OtherContainer, OnRequestIsCorrectedWhereStampsAreMeasured) {
  test::ScopedAttribute const on("AVSyncFix", Any(1));
  PipePtr const pipe = openedSeparate(file_);
  ASSERT_TRUE(pipe);
  auto const got = heard(*pipe, file_, 0);
  EXPECT_EQ(got.silence, GetParam().silence);
  EXPECT_TRUE(got.soundFollows);
}

// MP4 tells a delay of 100 ms by an empty edit; MXF has no place for it, so all its streams begin together.
INSTANTIATE_TEST_SUITE_P(
    Late, OtherContainer,
    testing::Values(
        Other{"late_ps.mpg", streams(0, 3690) + "-f vob ", 1968},
        Other{"late.mp4",
              "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -f lavfi -i "
              "\"aevalsrc=0.5+0.2*sin(440*t):s=48000:d=1\" -c:v mpeg4 -c:a mp2 -bsf:a setts=ts=N*1152+4800 ",
              0},
        Other{"late.mxf",
              "-f lavfi -i testsrc2=s=64x64:r=25:d=1 -itsoffset 0.1 -f lavfi -i "
              "\"aevalsrc=0.5+0.2*sin(440*t):s=48000:d=1\" -c:v mpeg2video -c:a pcm_s16le ",
              0}),
    [](auto const& parameter) {
      std::string name = parameter.param.name;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

fs::path mediaDir() { return KY_MEDIA_DIR; }

// Stamps of the first frames that the `ffprobe` program decodes, in seconds.
std::vector<double> firstFrameTimes(fs::path const& file, char const* kind) {
  std::string const listed =
      test::run("ffprobe -v quiet -select_streams " + std::string(kind) +
                " -read_intervals %+3 -show_entries frame=best_effort_timestamp_time -of csv=p=0 " +
                test::quoted(file));
  std::vector<double> times;
  for (size_t at = 0; at < listed.size();) {
    size_t const end = std::min(listed.find('\n', at), listed.size());
    double seconds = 0;
    if (std::sscanf(listed.substr(at, end - at).c_str(), "%lf", &seconds) == 1) times.push_back(seconds);
    at = end + 1;
  }
  return times;
}

class PublicFile : public testing::TestWithParam<char const*> {
 protected:
  void SetUp() override {
    if (!fs::exists(mediaDir() / GetParam()))
      GTEST_SKIP() << "the public media files are not at " << mediaDir();
  }
};

TEST_P(PublicFile, HasTheFirstStampsOfTheIndependentDecode) {
  fs::path const file = mediaDir() / GetParam();
  PipePtr const pipe = openedSeparate(file);
  ASSERT_TRUE(pipe);
  constexpr double kMicrosecond = kTicks / 1e6;  // the program prints six digits
  for (int kind : {int{kKindVideo}, int{kKindAudio}}) {
    if (pipe->countStreams(kind) == 0) continue;
    auto const times = firstFrameTimes(file, kind == kKindVideo ? "v:0" : "a:0");
    ASSERT_FALSE(times.empty());
    double const first = *std::min_element(times.begin(), times.end());
    EXPECT_NEAR(static_cast<double>(firstStamp(*pipe, kind, 0)), first * kTicks, kMicrosecond)
        << (kind == kKindVideo ? "video" : "audio");
  }
}

INSTANTIATE_TEST_SUITE_P(Files, PublicFile,
                         testing::Values("amx_sample_h262_mpeg_audio.ps", "amx_sample_h262_mpeg_audio.ts",
                                         "amx_sample_h264_mpeg_audio.ts", "amx_sample_dts.ts",
                                         "amx_sample_h265.ts", "amx_edit_list_positive_shift.mp4",
                                         "amx_sample_with_ssa_subtitles.mkv", "amx_sample_twos_pcm.mp4",
                                         "mux_sintel-captions.ts", "shaka_s_00000.ts",
                                         "se_sample_TS_dvbsub_rs204.ts", "tc_sine_stereo_mp2.mpg",
                                         "opf_xdcam-ex-1080i50.mov", "amx_sd-hls0000000000.ts"),
                         [](auto const& parameter) {
                           std::string name = parameter.param;
                           for (char& c : name)
                             if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                           return name;
                         });

}  // namespace
