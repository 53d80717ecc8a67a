// What streams say about themselves, on files made for each rule and on public ones against ffprobe.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>
#include <vector>

#include "host/colour.h"
#include "host/framerate.h"
#include "mpegdecode/videostream.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::PipePtr;

AnyDict videoOf(fs::path const& file) {
  PipePtr const pipe = test::opened(file);
  return pipe ? test::info(*pipe, kKindVideo, 0) : AnyDict();
}

std::string source(int width, int height, std::string const& rate = "25",
                   std::string const& seconds = "0.2") {
  return "-f lavfi -i testsrc2=s=" + std::to_string(width) + "x" + std::to_string(height) + ":r=" + rate +
         ":d=" + seconds + " ";
}

struct H264Aspect {
  int width, height;
  char const* sampleAspect;
  double frameAspect;
};

class H264FrameAspect : public testing::TestWithParam<H264Aspect> {};

TEST_P(H264FrameAspect, IsExact) {
  auto const& [width, height, sampleAspect, frameAspect] = GetParam();
  std::string name = "sar" + std::to_string(width) + sampleAspect + std::to_string(height) + ".mp4";
  std::replace(name.begin(), name.end(), '/', '_');
  AnyDict const info = videoOf(test::made(name, source(width, height) + "-vf setsar=" + sampleAspect +
                                                    " -c:v libx264 -preset ultrafast -pix_fmt yuv420p "));
  EXPECT_EQ(info["width"].asInt32(), width);
  EXPECT_EQ(info["height"].asInt32(), height);
  EXPECT_EQ(info["frameAspect"].asDouble(), frameAspect);
  EXPECT_DOUBLE_EQ(info["pixelAspect"].asDouble(), height * frameAspect / width);
}

INSTANTIATE_TEST_SUITE_P(
    Sizes, H264FrameAspect,
    testing::Values(H264Aspect{720, 576, "12/11", 4.0 / 3}, H264Aspect{720, 576, "16/11", 16.0 / 9},
                    H264Aspect{720, 480, "10/11", 4.0 / 3}, H264Aspect{720, 480, "40/33", 16.0 / 9},
                    H264Aspect{544, 576, "16/11", 4.0 / 3}, H264Aspect{480, 576, "18/11", 4.0 / 3},
                    H264Aspect{1440, 1080, "4/3", 16.0 / 9}, H264Aspect{1440, 1080, "3/4", 16.0 / 9},
                    H264Aspect{960, 720, "3/4", 16.0 / 9},
                    H264Aspect{1280, 1080, "3/4", 1280.0 * 3 / (4 * 1080)},
                    H264Aspect{560, 360, "9/8", 16.0 / 9}, H264Aspect{640, 480, "1/1", 4.0 / 3},
                    H264Aspect{320, 240, "7/5", 7.0 * 320 / (5 * 240)}));

struct Mpeg2Aspect {
  char const *aspect, *extension;
  double frameAspect;
};

class Mpeg2FrameAspect : public testing::TestWithParam<Mpeg2Aspect> {};

TEST_P(Mpeg2FrameAspect, OfA720x576Picture) {
  auto const& [aspect, extension, frameAspect] = GetParam();
  std::string name = std::string("dar") + aspect + extension + ".ts";
  std::replace(name.begin(), name.end(), ':', '_');
  AnyDict const info = videoOf(test::made(
      name, source(720, 576) + "-c:v mpeg2video -aspect " + aspect + " -seq_disp_ext " + extension + " "));
  EXPECT_EQ(info["codec"].asString(), "MPEG-2");
  EXPECT_EQ(info["frameAspect"].asDouble(), frameAspect);
}

INSTANTIATE_TEST_SUITE_P(Codes, Mpeg2FrameAspect,
                         testing::Values(Mpeg2Aspect{"4:3", "never", 1.3333333},
                                         Mpeg2Aspect{"16:9", "never", 1.7777778},
                                         Mpeg2Aspect{"221:100", "never", 2.21},
                                         Mpeg2Aspect{"4:3", "always", 720 / (720 * 0.75 / 576 * 576)},
                                         Mpeg2Aspect{"16:9", "always", 720 / (720 * 0.5625 / 576 * 576)}));

TEST(Description, OfA25HzStream) {
  AnyDict const info = videoOf(test::made(
      "plain.ts", source(352, 288, "25", "1") +
                      "-c:v mpeg2video -g 12 -bf 2 -b:v 2M -maxrate 2M -minrate 2M -bufsize 500k "));
  EXPECT_EQ(info["framerate"].asFramerate(), KyFramerate(25, 0, false, 0));
  EXPECT_EQ(info["frames"].asInt32(), 25);
  EXPECT_DOUBLE_EQ(info["vDuration"].asDouble(), 1.0);
  EXPECT_DOUBLE_EQ(info["duration"].asDouble(), 1.0);
  EXPECT_EQ(info["pal"].asInt32(), 1);
  EXPECT_EQ(info["N"].asInt32(), 12);
  EXPECT_EQ(info["M"].asInt32(), 3);
  EXPECT_DOUBLE_EQ(info["vBitrate"].asDouble(), 2e6);
  EXPECT_EQ(info["codec"].asString(), "MPEG-2");
  EXPECT_EQ(info["videoCodec"].asString(), "MPEG-2");
  EXPECT_EQ(info["codecParams"].asDict()["MPEG"].asInt32(), 2);
  EXPECT_EQ(info["codecParams"].asDict()["pid"].asInt32(), 256);
  EXPECT_EQ(info["codecParams"].asDict()["program_number"].asInt32(), 1);
  EXPECT_EQ(info["_subpicOverlay"].asInt32(), -1);
  EXPECT_EQ(info["_displaySubpics"].asInt32(), 0);
  EXPECT_EQ(info["inColorRange"].asInt32(), 1);
}

TEST(Description, FieldOrderIsThatOfThePictures) {
  std::string const coded = "-vf tinterlace=4,setfield=";
  EXPECT_EQ(videoOf(test::made("tff.mov", source(64, 64, "50", "1") + coded +
                                              "tff -c:v mpeg2video -flags +ildct+ilme -top 1 "))["framerate"]
                .asFramerate(),
            KyFramerate(25, 1, false, 0));
  EXPECT_EQ(videoOf(test::made(
                "bff.mov",
                source(64, 64, "50", "1") +
                    "-vf tinterlace=5,setfield=bff -c:v mpeg2video -flags +ildct+ilme -top 0 "))["framerate"]
                .asFramerate(),
            KyFramerate(25, 2, false, 0));
}

struct DropFrame {
  char const *name, *options;
  bool drop;
};

class DropFrameCounting : public testing::TestWithParam<DropFrame> {};

TEST_P(DropFrameCounting, FollowsTheTimeCode) {
  auto const& [name, options, drop] = GetParam();
  AnyDict const info = videoOf(test::made(name, source(64, 64, "30000/1001", "1") + options));
  EXPECT_EQ(info["framerate"].asFramerate(), KyFramerate(30000.0 / 1001, 0, drop, 0));
}

INSTANTIATE_TEST_SUITE_P(
    Carriers, DropFrameCounting,
    testing::Values(DropFrame{"drop.mov", "-c:v libx264 -timecode '00:00:58;00' ", true},
                    DropFrame{"full.mov", "-c:v libx264 -timecode '00:00:58:00' ", false},
                    DropFrame{"drop.ts", "-c:v mpeg2video -timecode '00:00:58;00' ", true},
                    DropFrame{"full.ts", "-c:v mpeg2video -timecode '00:00:58:00' ", false},
                    DropFrame{"none.mp4", "-c:v libx264 ", false}),
    [](auto const& parameter) {
      std::string name = parameter.param.name;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

TEST(Description, DropFrameIsFor2997Only) {
  AnyDict const info = videoOf(
      test::made("drop59.mov", source(64, 64, "60000/1001", "1") + "-c:v libx264 -timecode '00:00:58;00' "));
  EXPECT_FALSE(info["framerate"].asFramerate().dropFrame());
}

// Film with the flags that repeat fields (ISO/IEC 13818-2 6.3.10): coded 24, shown 30.
TEST(Description, OfSoftTelecine_HasThePulldownAndTheCodedRate) {
  fs::path const coded =
      test::made("film.m2v", source(720, 480, "24000/1001", "2") +
                                 "-c:v mpeg2video -bf 0 -g 12 -b:v 2M -maxrate 4M -bufsize 1M ");
  std::ifstream in(coded, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), {});
  int picture = 0;
  for (size_t at = 0; at + 9 < bytes.size(); ++at) {
    if (bytes.compare(at, 3, std::string("\0\0\1", 3)) != 0) continue;
    auto* const unit = reinterpret_cast<unsigned char*>(&bytes[at + 3]);
    if (unit[0] == 0xB3) unit[4] = static_cast<unsigned char>((unit[4] & 0xF0) | 4);  // 29.97
    if (unit[0] != 0xB5) continue;
    if (unit[1] >> 4 == 1) unit[2] &= static_cast<unsigned char>(~0x08);  // no progressive sequence
    if (unit[1] >> 4 != 8) continue;
    constexpr bool kTop[] = {true, false, false, true}, kRepeat[] = {true, false, true, false};
    unit[4] = static_cast<unsigned char>((unit[4] & 0x7D) | (kTop[picture % 4] ? 0x80 : 0) |
                                         (kRepeat[picture % 4] ? 0x02 : 0));
    ++picture;
  }
  ASSERT_EQ(picture, 48);
  fs::path const flagged = test::scratchDir() / "telecine.m2v";
  std::ofstream(flagged, std::ios::binary) << bytes;
  AnyDict const info = videoOf(test::made(
      "telecine.ts",
      "-i " + test::quoted(flagged) + " -c copy -bsf:v \"setts=ts='floor(N/2)*7507.5+mod(N,2)*4504.5'\" "));
  KyFramerate const rate = info["framerate"].asFramerate();
  EXPECT_NEAR(rate.rate(), 24000.0 / 1001, 1e-6);
  EXPECT_EQ(rate.pulldown(), 2);
  EXPECT_EQ(rate.order(), 0);
  EXPECT_NEAR(info["streamFPS"].asDouble(), 30000.0 / 1001, 1e-6);
  EXPECT_EQ(info["frames"].asInt32(), 48);
  EXPECT_NEAR(info["vDuration"].asDouble(), 48 * 1001 / 24000.0, 1e-6);
}

TEST(Description, ABitRateBelow1000_IsZero) {
  fs::path const file = test::made("low.mp4", "-f lavfi -i color=black:s=64x64:r=1:d=60 -c:v libx264 ");
  EXPECT_EQ(videoOf(file)["vBitrate"].asDouble(), 0.0);
}

TEST(Description, OfJpeg2000) {
  AnyDict const info =
      videoOf(test::made("j2k.mxf", source(64, 64, "24", "0.5") + "-c:v jpeg2000 -pix_fmt yuv422p10le "));
  EXPECT_EQ(info["codec"].asString(), "JPEG2000");
  EXPECT_EQ(info["framerate"].asFramerate().rate(), 24.0);
  EXPECT_FALSE(info["vbr"].valid());
}

// Facts that no container gives: a description straight from the record of the library.
struct Record {
  Record() {
    file.nVideo = 1;
    file.videoId = &id;
    file.video.present = 1;
    file.video.width = 64;
    file.video.height = 64;
    file.video.frames = 96;
  }
  AnyDict described() {
    MpegInVideoStream stream(file, 0);
    stream.share(file);
    stream.store();
    return stream.info();
  }
  MpegStreamId id{};
  MpegIn file{};
};

TEST(Description, OfJpeg2000WithoutARate_Is48) {
  Record record;
  record.file.video.jpeg2000 = 1;
  AnyDict const info = record.described();
  EXPECT_EQ(info["framerate"].asFramerate().rate(), 48.0);
  EXPECT_EQ(info["framerate"].asFramerate().pulldown(), 0);
  EXPECT_EQ(info["vDuration"].asDouble(), 2.0);
  EXPECT_EQ(record.file.video.rate, 48.0);
  EXPECT_EQ(record.file.video.secondRate, 48.0);
}

TEST(Description, OfDoubledPictures_KeepsTheFieldOrderAndHasPulldown4) {
  for (int topFirst : {0, 1}) {
    Record record;
    record.file.video.rate = 30000.0 / 1001;
    record.file.video.secondRate = 60000.0 / 1001;
    record.file.video.topFieldFirst = topFirst;
    KyFramerate const rate = record.described()["framerate"].asFramerate();
    EXPECT_EQ(rate.order(), topFirst ? 1 : 2);
    EXPECT_EQ(rate.pulldown(), 4);
  }
}

TEST(Description, BitRatesStartAt1000) {
  Record record;
  record.file.video.rate = record.file.video.secondRate = 25;
  record.file.video.bitRate = 999;
  EXPECT_EQ(record.described()["vBitrate"].asDouble(), 0.0);
  record.file.video.bitRate = 1000;
  EXPECT_EQ(record.described()["vBitrate"].asDouble(), 1000.0);
}

TEST(Description, Vbr_FollowsTheBufferModel) {
  EXPECT_EQ(videoOf(test::made("cbr.ts",
                               source(352, 288, "25", "1") +
                                   "-c:v mpeg2video -b:v 2M -maxrate 2M -minrate 2M -bufsize 500k "))["vbr"]
                .asInt32(),
            0);
  EXPECT_EQ(videoOf(test::made("vbr.ts", source(352, 288, "25", "1") + "-c:v mpeg2video -qscale:v 5 "))["vbr"]
                .asInt32(),
            1);
  EXPECT_EQ(
      videoOf(test::made(
          "cbr264.ts",
          source(352, 288, "25", "1") +
              "-c:v libx264 -b:v 500k -x264-params nal-hrd=cbr:vbv-maxrate=500:vbv-bufsize=500 "))["vbr"]
          .asInt32(),
      0);
  EXPECT_EQ(videoOf(test::made("vbr264.ts", source(352, 288, "25", "1") + "-c:v libx264 "))["vbr"].asInt32(),
            1);
  EXPECT_FALSE(videoOf(test::made("mpeg4.mp4", source(352, 288, "25", "1") + "-c:v mpeg4 "))["vbr"].valid());
}

TEST(Description, OfAudio_CountsSecondsExactly) {
  PipePtr const pipe = test::opened(test::made("second.wav", "-f lavfi -i sine=r=48000:d=1 -c:a pcm_s16le "));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(info["samples"].asInt64(), 48000);
  EXPECT_EQ(info["aDuration"].asDouble(), 1.0);
  EXPECT_EQ(info["duration"].asDouble(), 1.0);
  EXPECT_EQ(info["codec"].asString(), "LPCM");
  EXPECT_EQ(info["audioCodec"].asString(), "LPCM");
  EXPECT_EQ(info["samplerate"].asInt32(), 48000);
  EXPECT_EQ(info["bitsPerSample"].asInt32(), 16);
  EXPECT_EQ(info["bytesPerSample"].asInt32(), 2);
  EXPECT_EQ(info["channels"].asInt32(), 1);
  EXPECT_EQ(info["aBitrate"].asInt32(), 768000);
  EXPECT_EQ(info["_explicitDRC"].asInt32(), 0);
  EXPECT_FALSE(info["actualBitsPerSample"].valid());
}

TEST(Description, OfDolby_HasWordsOf32BitsThatHold24) {
  PipePtr const pipe = test::opened(test::made(
      "surround.ts", "-f lavfi -i \"aevalsrc=0.1*sin(t)|0|0|0|0|0:c=5.1:s=48000:d=1\" -c:a ac3 -b:a 384k "));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindAudio, 0);
  EXPECT_EQ(info["codec"].asString(), "Dolby");
  EXPECT_EQ(info["bitsPerSample"].asInt32(), 32);
  EXPECT_EQ(info["actualBitsPerSample"].asInt32(), 24);
  EXPECT_EQ(info["bytesPerSample"].asInt32(), 4);
  EXPECT_EQ(info["channels"].asInt32(), 6);
  EXPECT_EQ(info["aBitrate"].asInt32(), 384000);
}

struct Guess {
  char const *name, *arguments;
  int identifier;
};

class GuessedProfile : public testing::TestWithParam<Guess> {};

TEST_P(GuessedProfile, OfAMadeFile) {
  auto const& [name, arguments, identifier] = GetParam();
  PipePtr const pipe = test::opened(test::made(name, arguments));
  ASSERT_TRUE(pipe);
  Any guess;
  ASSERT_EQ(pipe->getParam("guessProfile", guess), 0);
  EXPECT_EQ(guess.asInt32(), identifier);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, GuessedProfile,
    testing::Values(
        Guess{"p720.mp4", "-f lavfi -i testsrc2=s=1280x720:r=25:d=0.2 -c:v libx264 -preset ultrafast ",
              0x2160002},
        Guess{"p1080.mp4", "-f lavfi -i testsrc2=s=1920x1080:r=25:d=0.2 -c:v libx264 -preset ultrafast ",
              0x2160003},
        Guess{"vcd.mpg", "-f lavfi -i testsrc2=s=352x288:r=25:d=1 -f lavfi -i sine=d=1 -target pal-vcd ",
              0x2050001},
        Guess{"svcd.mpg", "-f lavfi -i testsrc2=s=480x576:r=25:d=1 -f lavfi -i sine=d=1 -target pal-svcd ",
              0x2040002},
        Guess{"dvd.mpg", "-f lavfi -i testsrc2=s=720x576:r=25:d=1 -f lavfi -i sine=d=1 -target pal-dvd ",
              0x2040001},
        Guess{
            "dvb.ts",
            "-f lavfi -i testsrc2=s=720x576:r=25:d=1 -f lavfi -i sine=d=1 -c:v mpeg2video -b:v 4M -c:a mp2 ",
            0x2140003},
        Guess{"imxp.mov",
              "-f lavfi -i testsrc2=s=720x608:r=25:d=0.4 -c:v mpeg2video -pix_fmt yuv422p -g 1 -qscale:v 2 ",
              0x20d0002}),
    [](auto const& parameter) {
      std::string name = parameter.param.name;
      std::replace(name.begin(), name.end(), '.', '_');
      return name;
    });

// Public files, read by ffprobe too.
fs::path mediaDir() { return KY_MEDIA_DIR; }

double fraction(json const& text) {
  auto const value = text.get<std::string>();
  size_t const slash = value.find_first_of("/:");
  double const below = std::stod(value.substr(slash + 1));
  return below == 0 ? 0 : std::stod(value) / below;
}

class PublicFile : public testing::TestWithParam<char const*> {
 protected:
  void SetUp() override {
    path_ = mediaDir() / GetParam();
    if (!fs::exists(path_)) GTEST_SKIP() << "the public media files are not at " << mediaDir();
  }
  json probe(std::string const& options) const {
    return json::parse(
        test::run("ffprobe -v quiet -of json -select_streams v:0 " + options + " " + test::quoted(path_)));
  }
  fs::path path_;
};

TEST_P(PublicFile, IsDescribedAsFfprobeSeesIt) {
  PipePtr const pipe = test::opened(path_, AnyDict("joinMonoStreams", 0));
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  json const stream = probe("-show_streams")["streams"][0];
  EXPECT_EQ(info["width"].asInt32(), stream["width"].get<int>());
  EXPECT_EQ(info["height"].asInt32(), stream["height"].get<int>());
  json const frames =
      probe("-show_frames -show_entries frame=pts_time,key_frame,interlaced_frame,top_field_first")["frames"];
  if (frames.size() > 1) {
    auto const second = [](json const& frame) { return std::stod(frame["pts_time"].get<std::string>()); };
    std::vector<double> steps;
    for (size_t i = 1; i < frames.size(); ++i) steps.push_back(second(frames[i]) - second(frames[i - 1]));
    std::sort(steps.begin(), steps.end());
    // Not those around pictures that the recording dropped.
    double const usual = steps[steps.size() / 2];
    steps.erase(std::upper_bound(steps.begin(), steps.end(), 1.5 * usual), steps.end());
    double const rate = static_cast<double>(steps.size()) / std::accumulate(steps.begin(), steps.end(), 0.0);
    EXPECT_NEAR(info["framerate"].asFramerate().rate(), rate, 0.005 * rate);
  }

  json const& first = frames[0];
  int const order = first["interlaced_frame"] == 0 ? 0 : first["top_field_first"] == 1 ? 1 : 2;
  EXPECT_EQ(info["framerate"].asFramerate().order(), order);
  std::vector<int> keys;
  for (size_t i = 0; i < frames.size(); ++i)
    if (frames[i]["key_frame"] == 1) keys.push_back(static_cast<int>(i));
  if (keys.size() > 1) {
    EXPECT_EQ(info["N"].asInt32(), keys[1] - keys[0]);
  }

  // ITU-T H.273 codes of the names.
  auto const code = [&](char const* key, std::vector<std::pair<char const*, int>> const& names) {
    for (auto const& [name, number] : names)
      if (stream.value(key, "unknown") == name) return number;
    return stream.contains(key) ? -1 : 2;
  };
  KyColourDesc const colour(info["colorimetry"]);
  EXPECT_EQ(colour.primaries(),
            code("color_primaries",
                 {{"bt709", 1}, {"unknown", 2}, {"bt470bg", 5}, {"smpte170m", 6}, {"bt2020", 9}}));
  EXPECT_EQ(colour.transfer(), code("color_transfer", {{"bt709", 1},
                                                       {"unknown", 2},
                                                       {"bt470bg", 5},
                                                       {"smpte170m", 6},
                                                       {"arib-std-b67", 18},
                                                       {"smpte2084", 16},
                                                       {"iec61966-2-4", 11}}));
  EXPECT_EQ(
      colour.matrix(),
      code("color_space", {{"bt709", 1}, {"unknown", 2}, {"bt470bg", 5}, {"smpte170m", 6}, {"bt2020nc", 9}}));

  // Broadcast pictures are wider than their active area, which containers count.
  if (stream.contains("display_aspect_ratio")) {
    EXPECT_NEAR(info["frameAspect"].asDouble(), fraction(stream["display_aspect_ratio"]), 0.06);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Public, PublicFile,
    testing::Values("amx_bbb_176x144_128kbps_15fps_h263.3gp", "amx_edit_list_positive_shift.mp4",
                    "amx_hlg10-color-test.mp4", "amx_sample.avi", "amx_sample_h262_mpeg_audio.ps",
                    "amx_sample_h264_mpeg_audio.ts", "amx_sample_h265.ts", "amx_sample_twos_pcm.mp4",
                    "amx_sample_with_srt.mkv", "amx_sowt-with-video.mov", "bmx_sample.mxf",
                    "jcodec_test1.short.mkv", "mux_sintel-captions.ts", "opf_hdv-1080i50.mov",
                    "opf_hdv-720p30.mov", "opf_mpeg-imx-525-60.mov", "opf_xdcam-ex-1080i50.mov",
                    "opf_xdcam-ex-1080i60.mov", "opf_xdcam-ex-720p50.mov", "opf_xdcam-hd-1080i50.mov",
                    "opf_xdcam-hd422-720p50.mov", "skv_bikes.mp4", "tc_h264_10bits.mp4", "tc_h265_10bits.mp4",
                    "tc_testsrc2_mpeg4.avi"),
    [](auto const& parameter) {
      std::string name = parameter.param;
      for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
      return name;
    });

// Pictures so small that several begin in one packet, of which only the first has a stamp.
TEST(VideoDescription, RateOfAProgramStream_CountsPicturesWithoutStamps) {
  auto const stamped = test::made(
      "stamped.ts", "-f lavfi -i testsrc2=s=96x64:r=30000/1001:d=6 -c:v mpeg2video -b:v 100k -bf 2 -g 15");
  auto const file = test::made("unstamped.mpg", "-i " + test::quoted(stamped) + " -c copy -f vob");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  AnyDict const info = test::info(*pipe, kKindVideo, 0);
  EXPECT_DOUBLE_EQ(info["framerate"].asFramerate().rate(), 30000.0 / 1001.0);
  EXPECT_NEAR(info["duration"].asDouble(), info["frames"].asInt32() * 1001.0 / 30000.0, 1e-9);
}

}  // namespace
