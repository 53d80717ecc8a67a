// The description of a video stream from the facts of its instance, without any file.
#include <gtest/gtest.h>

#include "host/colour.h"
#include "host/failure.h"
#include "mpegdecode/videostream.h"
#include "tests/support/stream_state.h"

namespace {

using test::stateOf;

class VideoDescription : public testing::Test {
 protected:
  VideoDescription() {
    file.nVideo = 1;
    file.videoId = &id_;
    file.containerType = kContainerMp4;
    MpegVideoInfo& video = file.video;
    video.present = 1;
    video.width = 64;
    video.height = 48;
    video.rate = video.secondRate = 25.0;
    video.frames = 96;
    video.vbvDelay = 65535;
  }
  AnyDict described() {
    MpegInVideoStream stream(file, 0);
    stateOf(stream).headerColour = headerColour;
    stream.share(file);
    stream.store();
    return stream.info();
  }
  AnyDict describedAt(double rate, double secondRate) {
    file.video.rate = rate;
    file.video.secondRate = secondRate;
    return described();
  }
  int palAt(double rate) { return describedAt(rate, rate)["pal"].asInt32(); }
  int pulldownAt(double rate, double secondRate) {
    return describedAt(rate, secondRate)["framerate"].asFramerate().pulldown();
  }

  KyFramerate framerateAt(double rate, double secondRate) {
    return describedAt(rate, secondRate)["framerate"].asFramerate();
  }
  Any codecParam(char const* key) { return described()["codecParams"].asDict()[key]; }

  MpegIn file{};
  MpegColour headerColour;

 private:
  MpegStreamId id_{0x1011, 0xE3, 0x21, 7, 0, 0};
};

TEST_F(VideoDescription, IsTheFactsOfTheInstanceUnderTheirKeys) {
  MpegVideoInfo& video = file.video;
  video.mpeg2 = 1;
  video.fourcc = mpegFourcc("I420");
  video.width = 704;
  video.height = 576;
  video.containerWidth = 720;
  video.containerHeight = 608;
  video.bitRate = 5e6;
  video.aspectCode = 3;
  video.progressive = 0;
  video.topFieldFirst = 1;
  video.containerFps = 24.75;
  video.streamFps = 25.25;
  video.gopN = 15;
  video.gopM = 3;
  video.primaries = 5;
  video.transfer = 6;
  video.matrix = 7;
  video.frameDct = 1;
  video.firstPts = 108000000;

  AnyDict codecParams("MPEG", 2, "id", 0xE3, "pid", 0x1011, "sub_id", 0x21);
  codecParams.set("program_number", 7);
  codecParams.set("frame_dct", 1);
  codecParams.set("firstVPTS", Any(108000000L));
  codecParams.set("inFrameOffset", 100);
  AnyDict expected;
  expected.set("FOURCC", 0x30323449);
  expected.set("width", 704);
  expected.set("height", 576);
  expected.set("containerWidth", 720);
  expected.set("containerHeight", 608);
  expected.set("vBitrate", 5e6);
  expected.set("frames", 96);
  expected.set("frameAspect", 1.7777778);
  expected.set("pixelAspect", 576 * 1.7777778 / 704);
  expected.set("vDuration", 3.84);
  expected.set("duration", 3.84);
  expected.set("framerate", KyFramerate(25.0, 1, false, 0));
  expected.set("containerFPS", 24.75);
  expected.set("streamFPS", 25.25);
  expected.set("pal", 1);
  expected.set("N", 15);
  expected.set("M", 3);
  expected.set("colorimetry", KyColourDesc(5, 6, 7).toAny());
  expected.set("inColorRange", 1);
  expected.set("vbr", 1);
  expected.set("codec", "MPEG-2");
  expected.set("videoCodec", "MPEG-2");
  expected.set("codecParams", codecParams);
  expected.set("_subpicOverlay", -1);
  expected.set("_displaySubpics", 0);
  AnyDict const description = described();
  EXPECT_EQ(description, expected) << Any(description).toString().asString();
  EXPECT_EQ(description["codecParams"].asDict()["firstVPTS"].kind(), Any::kInt64);
}

TEST_F(VideoDescription, NamesTheCodecByTheFirstFlagThatHolds) {
  struct Row {
    int MpegVideoInfo::* flag;
    char const* name;
    Any mpeg;
  };
  auto const expectName = [this](char const* name, Any const& mpeg) {
    AnyDict const description = described();
    EXPECT_EQ(description["codec"], Any(name));
    EXPECT_EQ(description["videoCodec"], Any(name));
    EXPECT_EQ(description["codecParams"].asDict()["MPEG"], mpeg) << name;
  };
  expectName("MPEG-1", 1);
  // From the last rule to the first; what was set before stays set.
  for (Row const& row : {Row{&MpegVideoInfo::mpeg2, "MPEG-2", 2}, Row{&MpegVideoInfo::mpeg4, "MPEG-4", {}},
                         Row{&MpegVideoInfo::dv, "DV", {}}, Row{&MpegVideoInfo::hevc, "HEVC", {}},
                         Row{&MpegVideoInfo::vc1, "VC-1", {}}, Row{&MpegVideoInfo::jpeg2000, "JPEG2000", {}},
                         Row{&MpegVideoInfo::h264, "H.264", {}}}) {
    file.video.*row.flag = 1;
    expectName(row.name, row.mpeg);
  }
}

TEST_F(VideoDescription, GivesYuy2AsYuyv) {
  file.video.fourcc = mpegFourcc("YUY2");
  EXPECT_EQ(described()["FOURCC"], Any(0x56595559));
  file.video.fourcc = mpegFourcc("YUYV");
  EXPECT_EQ(described()["FOURCC"], Any(0x56595559));
  file.video.fourcc = mpegFourcc("Y216");
  EXPECT_EQ(described()["FOURCC"], Any(0x36313259));
}

TEST_F(VideoDescription, GivesABitRateBelow1000AsNone) {
  for (auto const& [rate, told] : {std::pair{999.0, 0.0}, {999.999, 0.0}, {1000.0, 1000.0}, {0.0, 0.0}}) {
    file.video.bitRate = rate;
    EXPECT_EQ(described()["vBitrate"], Any(told)) << rate;
    EXPECT_EQ(described()["vBitrate"].kind(), Any::kDouble);
  }
}

TEST_F(VideoDescription, TellsTheOrderOfTheFields) {
  EXPECT_EQ(framerateAt(25.0, 25.0), KyFramerate(25.0, 2, false, 0));
  EXPECT_EQ(framerateAt(25.0, 50.0), KyFramerate(25.0, 2, false, 4));
  EXPECT_EQ(framerateAt(24.0, 30.0), KyFramerate(24.0, 0, false, 2)) << "repeated fields have none";
  file.video.topFieldFirst = 1;
  EXPECT_EQ(framerateAt(25.0, 25.0), KyFramerate(25.0, 1, false, 0));
  EXPECT_EQ(framerateAt(25.0, 50.0), KyFramerate(25.0, 1, false, 4));
  EXPECT_EQ(framerateAt(24.0, 30.0), KyFramerate(24.0, 0, false, 2));
  file.video.progressive = 1;
  EXPECT_EQ(framerateAt(25.0, 25.0), KyFramerate(25.0, 0, false, 0));
  EXPECT_EQ(framerateAt(25.0, 50.0), KyFramerate(25.0, 0, false, 4));
}

TEST_F(VideoDescription, DropsFramesOnlyAt2997AndWhenTheFlagIsSet) {
  constexpr double kNtsc = 30000.0 / 1001.0;
  EXPECT_FALSE(framerateAt(kNtsc, kNtsc).dropFrame());
  file.video.dropFrame = 1;
  EXPECT_TRUE(framerateAt(kNtsc, kNtsc).dropFrame());
  for (double rate : {25.0, 30.0, 2 * kNtsc, 24000.0 / 1001.0})
    EXPECT_FALSE(framerateAt(rate, rate).dropFrame()) << rate;
}

TEST_F(VideoDescription, CallsAVbvDelayOfAllOnesAVariableRate) {
  for (auto const& [delay, vbr] : {std::pair{65535, 1}, {65534, 0}, {65536, 0}, {0, 0}}) {
    file.video.vbvDelay = delay;
    EXPECT_EQ(described()["vbr"], Any(vbr)) << delay;
  }
  file.video.h264 = 1;
  EXPECT_EQ(described()["vbr"], Any(1)) << "H.264 tells otherwise";
  file.video.cbr = 1;
  file.video.vbvDelay = 65535;
  EXPECT_EQ(described()["vbr"], Any(0));
}

TEST_F(VideoDescription, TakesFromTheHeadersWhatTheStreamLeavesUnspecified) {
  auto const expectColour = [this](int primaries, int transfer, int matrix) {
    EXPECT_EQ(described()["colorimetry"], KyColourDesc(primaries, transfer, matrix).toAny());
  };
  file.video.primaries = file.video.transfer = file.video.matrix = 2;
  expectColour(2, 2, 2);
  headerColour = {9, 14, 10};
  expectColour(9, 14, 10);
  file.video.primaries = 1;
  expectColour(1, 14, 10);
  file.video.transfer = 3;
  expectColour(1, 3, 10);
  file.video.matrix = 0;
  expectColour(1, 3, 0);
}

TEST_F(VideoDescription, TellsTheOverlayFromOneOn) {
  struct Row {
    int decoded, overlay, display, toldOverlay, toldDisplay;
  };
  for (Row const& row : {Row{0, 3, 1, -1, 0}, Row{1, 0, 0, -1, 0}, Row{1, 1, 0, 0, 0}, Row{1, 1, 1, 0, 1},
                         Row{1, 3, 1, 2, 1}, Row{1, 0, 1, -1, 1}}) {
    file.set.decodeSubpictures = row.decoded;
    file.set.overlay = row.overlay;
    file.set.displaySubpictures = row.display;
    AnyDict const description = described();
    EXPECT_EQ(description["_subpicOverlay"], Any(row.toldOverlay)) << row.overlay;
    EXPECT_EQ(description["_displaySubpics"], Any(row.toldDisplay)) << row.overlay;
  }
}

TEST_F(VideoDescription, CountsTheFrameOffsetAtItsOwnRate) {
  file.video.firstPts = 2700000;
  EXPECT_EQ(codecParam("inFrameOffset"), Any(2)) << "whole frames, not the nearest";
  file.video.rate = file.video.secondRate = 50.0;
  EXPECT_EQ(codecParam("inFrameOffset"), Any(5));
}

TEST_F(VideoDescription, HasTheIdentityOfTheOpenedInstanceWhereThatKnowsTheStream) {
  MpegStreamId const other[2] = {{1, 2, 3, 4, 5, 6}, {0x2022, 0xE8, 0x31, 9, 0, 0}};
  MpegIn opened = file;
  auto const pidAfterOpening = [&](int streamIndex) {
    MpegIn listed{};
    MpegStreamId const ids[2] = {{0x11, 0, 0, 0, 0, 0}, {0x12, 0, 0, 0, 0, 0}};
    listed.nVideo = 2;
    listed.videoId = ids;
    MpegInVideoStream stream(listed, streamIndex);
    stream.share(opened);
    stream.store();
    return stream.info()["codecParams"].asDict()["pid"];
  };
  opened.nVideo = 2;
  opened.videoId = other;
  EXPECT_EQ(pidAfterOpening(0), Any(1));
  EXPECT_EQ(pidAfterOpening(1), Any(0x2022));
  EXPECT_EQ(pidAfterOpening(-1), Any(0)) << "a number that is none";
  opened.nVideo = 1;
  EXPECT_EQ(pidAfterOpening(1), Any(0x12)) << "not counted";
  opened.videoId = nullptr;
  EXPECT_EQ(pidAfterOpening(0), Any(0x11)) << "no records";
}

TEST_F(VideoDescription, OfAnInstanceWithoutVideoIsAFailedCheckAndMadeAllTheSame) {
  file.video.present = 0;
  long const before = kyFailureCount();
  EXPECT_EQ(described()["width"], Any(64));
  EXPECT_EQ(kyFailureCount(), before + 1);
  file.video.present = 1;
  described();
  EXPECT_EQ(kyFailureCount(), before + 1);
}

TEST_F(VideoDescription, TellsAVariableRateOfMpeg1Mpeg2DvAndH264Alone) {
  EXPECT_EQ(described()["vbr"], Any(1)) << "MPEG-1";
  for (auto const& [flag, told] :
       {std::pair{&MpegVideoInfo::mpeg2, true}, std::pair{&MpegVideoInfo::dv, true},
        std::pair{&MpegVideoInfo::h264, true}, std::pair{&MpegVideoInfo::mpeg4, false},
        std::pair{&MpegVideoInfo::vc1, false}, std::pair{&MpegVideoInfo::jpeg2000, false},
        std::pair{&MpegVideoInfo::hevc, false}}) {
    file.video.*flag = 1;
    AnyDict const description = described();
    EXPECT_EQ(description.contains("vbr"), told) << description["codec"].asString();
    EXPECT_EQ(description["vbr"], told ? Any(1) : Any()) << description["codec"].asString();
    file.video.*flag = 0;
  }
}

TEST_F(VideoDescription, NamesDvBeforeItLooksAtTheContainer) {
  file.containerType = kContainerDmf;
  file.video.dv = 1;
  EXPECT_EQ(described()["codec"], Any("DV"));
  file.video.dv = 0;
  EXPECT_EQ(described()["codec"], Any("DivX"));
  file.video.mpeg4 = 1;
  EXPECT_EQ(described()["codec"], Any("DivX"));
  file.video.hevc = 1;
  EXPECT_EQ(described()["codec"], Any("HEVC"));
}

TEST_F(VideoDescription, OfJpeg2000TakesASecondRateBelowATenthForNone) {
  file.video.jpeg2000 = 1;
  AnyDict description = describedAt(25.0, 0.0999);
  EXPECT_EQ(description["framerate"].asFramerate(), KyFramerate(48.0, 2, false, 0));
  EXPECT_EQ(description["vDuration"], Any(2.0));
  EXPECT_EQ(file.video.rate, 48.0) << "it stays so for the decoder";
  EXPECT_EQ(file.video.secondRate, 48.0);
  description = describedAt(0.1, 0.1);
  EXPECT_EQ(description["framerate"].asFramerate().rate(), 0.1);
  EXPECT_EQ(file.video.secondRate, 0.1);
  EXPECT_EQ(describedAt(0.05, 25.0)["framerate"].asFramerate().rate(), 0.05) << "the second one decides";
  file.video.jpeg2000 = 0;
  EXPECT_EQ(describedAt(0.05, 0.05)["framerate"].asFramerate().rate(), 0.05);
}

TEST_F(VideoDescription, ComparesRatesToATenThousandthInSinglePrecision) {
  // 0.0001F is 0.00009999999747.
  constexpr double kWithin = 0.0000999999970, kBeyond = 0.0000999999980;
  for (double rate : {25.0, 50.0}) {
    EXPECT_EQ(palAt(rate + kWithin), 1) << rate;
    EXPECT_EQ(palAt(rate - kWithin), 1) << rate;
    EXPECT_EQ(palAt(rate + kBeyond), 0) << rate;
    EXPECT_EQ(palAt(rate - kBeyond), 0) << rate;
  }
  EXPECT_EQ(pulldownAt(24.0, 24.0 + kWithin), 0);
  EXPECT_EQ(pulldownAt(24.0, 24.0 + kBeyond), 2);
  EXPECT_EQ(pulldownAt(24.0, 48.0 + kWithin), 4);
  EXPECT_EQ(pulldownAt(24.0, 48.0 + kBeyond), 2);
  constexpr double kNtsc = 29.970029970029973;
  file.video.dropFrame = 1;
  EXPECT_TRUE(describedAt(kNtsc + kWithin, kNtsc)["framerate"].asFramerate().dropFrame());
  EXPECT_FALSE(describedAt(kNtsc + kBeyond, kNtsc)["framerate"].asFramerate().dropFrame());
}

}  // namespace
