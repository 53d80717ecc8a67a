// The description of a video stream from the facts of its instance, without any file.
#include <gtest/gtest.h>

#include "mpegdecode/mpeginutil.h"

namespace {

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
    stream.decoder = &file;
    stream.store();
    return stream.info;
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

  MpegIn file{};

 private:
  MpegStreamId id_{};
};

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
