// The overlay as a parameter of the video stream: its values, the list it counts, what a switch does.
#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/plugin/overlay_pipe.h"
#include "tests/support/recording.h"

namespace {

using namespace overlaying;

fs::path without() {
  return test::made("without.mkv", "-f lavfi -i testsrc2=s=160x120:r=25:d=1 -c:v mpeg2video ");
}

TEST(OverlayList, HoldsEveryBitmapSubtitleStreamWithItsIdentity) {
  PipePtr const pipe = test::opened(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 2);
  for (int i = 0; i < 2; ++i) {
    AnyDict const info = test::info(*pipe, kKindSubpic, i);
    EXPECT_EQ(info["type"], Any(2));
    EXPECT_EQ(info.get("codecParams").asDict()["pid"], Any(1 + i));
  }
  PipePtr const ps = test::opened(test::subtitledFile("dvd.mpg", {0}, "dvdsub", "-f vob"));
  ASSERT_TRUE(ps);
  ASSERT_EQ(ps->countStreams(kKindSubpic), 1);
  EXPECT_EQ(test::info(*ps, kKindSubpic, 0).get("codecParams").asDict()["sub_id"], Any(0x20));
}

TEST(OverlayList, OfAFileWithoutSubtitlesIsEmptyAndOnlyOffIsAccepted) {
  PipePtr const pipe = selected(without());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_EQ(overlay(*pipe, -1), 0);
  test::Failures failures;
  EXPECT_EQ(overlay(*pipe, 0), -12);
  EXPECT_EQ(failures.seen.size(), 1U);
}

TEST(OverlayValue, TheNumberOfEntries_IsRefusedWithItsText) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  for (int value : {2, -2, INT32_MAX, INT32_MIN}) {
    test::Failures failures;
    EXPECT_EQ(overlay(*pipe, value), -12) << value;
    EXPECT_EQ(pipe->errorCode(), -12);
    EXPECT_EQ(pipe->errorDesc(), "Invalid value for " + std::to_string(value) + " 'subpicOverlay'");
    ASSERT_EQ(failures.seen.size(), 1U);
    EXPECT_EQ(failures.seen[0].kind, KyFailureKind::Exception);
    EXPECT_EQ(overlay(*pipe), -1);
  }
  EXPECT_EQ(overlay(*pipe, 1), 0);
}

TEST(OverlayValue, MinusOneIsAlwaysAccepted) {
  PipePtr const pipe = test::opened(twoStreams());
  ASSERT_TRUE(pipe);
  test::Failures failures;
  EXPECT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(overlay(*pipe, -1), 0);
  EXPECT_TRUE(failures.seen.empty());
}

TEST(OverlayValue, WhatIsNoInteger_SwitchesOff) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(overlay(*pipe, Any("1")), 0);
  EXPECT_EQ(overlay(*pipe), -1);
}

TEST(OverlayValue, TheCurrentOne_DoesNothing) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->readFrame(0), 0);
  for (int value : {-1, 1}) {
    ASSERT_EQ(overlay(*pipe, value), 0);
    MpegDecodeStats const before = stats(*pipe);
    test::LogLines lines;
    EXPECT_EQ(overlay(*pipe, value), 0);
    MpegDecodeStats const after = stats(*pipe);
    EXPECT_EQ(after.conversions, before.conversions) << value;
    EXPECT_EQ(after.cacheHits, before.cacheHits);
    EXPECT_EQ(after.subpictures, before.subpictures);
    EXPECT_TRUE(lines.lines.empty());
  }
}

TEST(OverlaySwitch, IsLoggedWithStreamAndTime) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  test::LogLines lines;
  ASSERT_EQ(overlay(*pipe, 1), 0);
  EXPECT_TRUE(lines.contains("Switched video #0 to subpic #1 in "));
}

TEST(OverlaySwitch, IsReportedByTheDescription) {
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  auto const description = [&](char const* key) { return test::info(*pipe, kKindVideo, 0)[key]; };
  EXPECT_EQ(description("subpicOverlay"), Any(-1));
  ASSERT_EQ(overlay(*pipe, 1), 0);
  EXPECT_EQ(description("subpicOverlay"), Any(1));
  EXPECT_EQ(description("_displaySubpics"), Any(1));
  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(description("subpicOverlay"), Any(-1));
  EXPECT_EQ(description("_subpicOverlay"), Any(1));
  EXPECT_EQ(description("_displaySubpics"), Any(0));
}

TEST(OverlaySwitch, Off_GivesTheCleanFramesBitForBit) {
  auto const clean = test::frameHashes(twoStreams());
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_NE(hashAt(*pipe, 20), clean[20]);
  EXPECT_NE(hashAt(*pipe, 19), clean[19]);
  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(hashOf(*pipe), clean[19]);
  EXPECT_EQ(test::readAllFrames(*pipe, 0), clean);
}

// Pictures that refer to drawn ones are decoded from the clean ones, and so are those kept for backward
// steps.
TEST(OverlaySwitch, DrawnFrames_LeaveNoTraceInThoseDecodedFromThem) {
  auto const clean = test::frameHashes(twoStreams());
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  for (int frame = 38; frame >= 28; --frame) {
    bool const shown = frame <= kFirstLast;
    ASSERT_EQ(hashAt(*pipe, frame) == clean[static_cast<size_t>(frame)], !shown) << frame;
  }
  ASSERT_NE(hashAt(*pipe, kFirstLast), clean[kFirstLast]);
  ASSERT_EQ(pipe->readFrame(0), 0);  // the frame of the seek
  for (size_t frame = kFirstLast + 1; frame < kSecond; ++frame) {
    ASSERT_EQ(pipe->readFrame(0), 0);
    ASSERT_EQ(hashOf(*pipe), clean[frame]) << frame;
  }
}

TEST(OverlaySwitch, WhileReading_DecodesTheCurrentFrameAgainAndLeavesItPending) {
  auto const clean = test::frameHashes(twoStreams());
  auto const drawn = hashesWith(twoStreams(), 0);
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->seekToFrame(20, 0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(hashOf(*pipe), clean[21]);
  MpegDecodeStats const before = stats(*pipe);

  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 21);
  EXPECT_EQ(hashOf(*pipe), drawn[21]);
  EXPECT_EQ(stats(*pipe).packets, before.packets) << "the decoded picture is still there";
  EXPECT_EQ(stats(*pipe).conversions, before.conversions + 1);

  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 21);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 22);
  EXPECT_EQ(hashOf(*pipe), drawn[22]);

  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 22);
  EXPECT_EQ(hashOf(*pipe), clean[22]);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(hashOf(*pipe), drawn[22]) << "shown before, then off";
}

TEST(OverlaySwitch, FromOneStreamToTheOther_DrawsTheOther) {
  auto const first = hashesWith(twoStreams(), 0), second = hashesWith(twoStreams(), 1);
  ASSERT_NE(first[20], second[20]);
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->seekToFrame(20, 0), 0);
  for (int value : {0, 1, 0, 1}) {
    ASSERT_EQ(overlay(*pipe, value), 0);
    EXPECT_EQ(overlay(*pipe), value);
    EXPECT_EQ(hashOf(*pipe), (value == 0 ? first : second)[20]) << value;
  }
}

// The decoder's own switch goes off with a selected stream alone.
TEST(OverlaySwitch, OnWhileTheStreamIsNotSelected_HoldsFromItsSelection_OffDoesNot) {
  auto const clean = test::frameHashes(dvd());
  auto const drawn = hashesWith(dvd(), 0);
  PipePtr const pipe = test::opened(dvd());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(hashAt(*pipe, 20), drawn[20]);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(overlay(*pipe), -1);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(hashAt(*pipe, 20), drawn[20]);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  ASSERT_EQ(overlay(*pipe, -1), 0);
  EXPECT_EQ(hashAt(*pipe, 20), clean[20]);
}

TEST(OverlayCost, IsNothingWhileOffAndOnePacketForEachSubtitle) {
  PipePtr const pipe = selected(dvd());
  ASSERT_TRUE(pipe);
  for (int frame = 0; frame < kFrames; ++frame) ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(stats(*pipe).subpictures, 0);
  ASSERT_EQ(overlay(*pipe, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(kFirst, 0), 0);
  int64_t const begun = stats(*pipe).subpictures;
  for (int frame = kFirst; frame < kSecond; ++frame) ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(stats(*pipe).subpictures, begun) << "while the first one stands and behind it";
  for (int frame = kSecond; frame < kAfter; ++frame) ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(stats(*pipe).subpictures, begun + 1);
}

TEST(OverlayList, EntriesInFrontOfTheFilesOwn_AreNeverDrawn) {
  auto const clean = test::frameHashes(twoStreams());
  auto const first = hashesWith(twoStreams(), 0);
  PipePtr const pipe = selected(twoStreams());
  ASSERT_TRUE(pipe);
  instanceOf(*pipe)->set.captionEntries = 1;
  ASSERT_EQ(overlay(*pipe, 0), 0);
  EXPECT_EQ(hashAt(*pipe, 20), clean[20]);
  ASSERT_EQ(overlay(*pipe, 1), 0);
  EXPECT_EQ(hashAt(*pipe, 20), first[20]);
}

TEST(OverlayList, OfAFileWhoseSubtitlesAreExtracted_HasNothingToDraw) {
  fs::path const text = test::scratchDir() / "text.srt";
  std::ofstream(text) << "1\n00:00:00,000 --> 00:00:03,000\nText\n";
  fs::path const file =
      test::made("mixed.mkv", "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -itsoffset 0.4 -fix_sub_duration -i " +
                                  test::quoted(test::subtitleFile(0)) + " -i " + test::quoted(text) +
                                  " -map 0 -map 1 -map 2 -c:v mpeg4 -c:s:0 copy -c:s:1 srt ");
  auto const clean = test::frameHashes(file);
  PipePtr const pipe = selected(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(instanceOf(*pipe)->containerType, kContainerDmf);
  ASSERT_EQ(instanceOf(*pipe)->nSubpictures, 1);
  for (int i = 0; i < pipe->countStreams(kKindSubpic); ++i) {
    EXPECT_NE(test::info(*pipe, kKindSubpic, i)["type"], Any(2)) << i;
    ASSERT_EQ(overlay(*pipe, i), 0);
    EXPECT_EQ(hashAt(*pipe, 20), clean[20]) << i;
  }
  // Not even when the list says otherwise.
  MpegSettings& set = instanceOf(*pipe)->set;
  set.displaySubpictures = set.overlay = 1;
  EXPECT_EQ(hashAt(*pipe, 20), clean[20]);
}

}  // namespace
