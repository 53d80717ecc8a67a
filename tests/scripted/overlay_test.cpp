// Subpictures switched over the pictures.
#include <algorithm>
#include <chrono>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Overlay : public BothHandlers {
 protected:
  // Three entries: numbers 0 to 2.
  Overlay() {
    library.addVideo();
    library.onOpen = [](MpegIn& instance) { instance.set.decodeSubpictures = 1; };
    opened();
    for (int i = 0; i < 3; ++i) addSubpicture(*pipe);
  }
  int show(Any const& overlay) { return pipe->setStreamParam(kKindVideo, 0, "subpicOverlay", overlay); }
  Any shown() const {
    Any value;
    pipe->getStreamParam(kKindVideo, 0, "subpicOverlay", value);
    return value;
  }
  MpegSettings const& settings() { return videoOf(*pipe, 0).decoder()->set; }
  // The overlay that the library put into the picture, 0 none.
  int inPicture() { return pipe->videoFrame(0)->pixelPtr(0, 4, 0)[0]; }
  void select(int frame) {
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    ASSERT_EQ(pipe->seekToFrame(frame, 0), 0);
  }
  std::vector<int> const& sought() { return instance(1).frames; }
};

TEST_P(Overlay, OutsideTheListIsMinus12AndAnExceptionFailure) {
  for (int overlay : {3, 4, -2, 1000000}) {
    size_t const before = failures.seen.size();
    auto const result = failing([&] { return show(overlay); });
    EXPECT_EQ(result.value_or(-12), -12);
    expectError(-12, "Invalid value for " + std::to_string(overlay) + " 'subpicOverlay'");
    ASSERT_EQ(failures.seen.size(), before + 1);
    expectException("./mpegdecode/mpegindec(2673)");
    EXPECT_EQ(shown(), Any(-1));
  }
}

TEST_P(Overlay, EntriesCarryTheIdentityOfTheirStreams) {
  static constexpr MpegStreamId kStreams[] = {{0x21, 0xBD, 0x20, 3, 0, 0}, {0x22, 0xBD, 0x21, 4, 0, 0}};
  library.subpictures = 2;
  library.onInfo = [](MpegIn& file) { file.subpictureId = kStreams; };
  opened();
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 2);
  EXPECT_EQ(info(kKindSubpic, 0)["codecParams"].asDict(),
            AnyDict("id", 0xBD, "pid", 0x21, "sub_id", 0x20, "program_number", 3));
  EXPECT_EQ(info(kKindSubpic, 1)["codecParams"].asDict(),
            AnyDict("id", 0xBD, "pid", 0x22, "sub_id", 0x21, "program_number", 4));
  library.onInfo = [](MpegIn& file) { file.subpictureId = nullptr; };
  opened();
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 2) << "nor do they need one";
}

TEST_P(Overlay, OfNoEntriesLeavesMinus1Alone) {
  opened();
  EXPECT_EQ(show(-1), 0);
  failing([&] { return show(0); });
  expectError(-12, "Invalid value for 0 'subpicOverlay'");
}

TEST_P(Overlay, SwitchedOnDecodesTheCurrentPictureAgainAndIsSaid) {
  select(7);
  EXPECT_EQ(inPicture(), 0);
  size_t const before = sought().size();
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(shown(), Any(1));
  EXPECT_EQ(settings().displaySubpictures, 1);
  EXPECT_EQ(settings().overlay, 2);
  ASSERT_EQ(sought().size(), before + 1);
  EXPECT_EQ(sought().back(), 7);
  EXPECT_EQ(inPicture(), 2);
  bool said = false;
  for (auto const& line : log.lines)
    said =
        said || (line.level == 0 && line.text.starts_with("[scripted] Switched video #0 to subpic #1 in "));
  EXPECT_TRUE(said);
  EXPECT_EQ(pipe->videoFrame(0)->frameNumber(), 7);
  expectNoFailure();
}

TEST_P(Overlay, SetToWhatIsShownDoesNothing) {
  select(7);
  ASSERT_EQ(show(1), 0);
  size_t const before = sought().size();
  log.lines.clear();
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(sought().size(), before);
  EXPECT_TRUE(log.lines.empty());
  ASSERT_EQ(show(-1), 0);
  size_t const off = sought().size();
  EXPECT_EQ(show(-1), 0);
  EXPECT_EQ(sought().size(), off);
}

TEST_P(Overlay, SwitchedOffDecodesTheCurrentPictureWithoutIt) {
  select(7);
  ASSERT_EQ(show(1), 0);
  EXPECT_EQ(show(-1), 0);
  EXPECT_EQ(shown(), Any(-1));
  EXPECT_EQ(settings().displaySubpictures, 0);
  EXPECT_EQ(sought().back(), 7);
  EXPECT_EQ(inPicture(), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(inPicture(), 0);
}

TEST_P(Overlay, SwitchedOnAgainShowsTheSameWithoutALine) {
  select(7);
  ASSERT_EQ(show(1), 0);
  ASSERT_EQ(show(-1), 0);
  log.lines.clear();
  size_t const before = sought().size();
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(shown(), Any(1));
  EXPECT_EQ(settings().displaySubpictures, 1);
  EXPECT_EQ(sought().size(), before + 1);
  EXPECT_EQ(inPicture(), 2);
  EXPECT_FALSE(log.contains("Switched"));
}

TEST_P(Overlay, OfAnotherTypeThanANumberSwitchesOff) {
  select(7);
  ASSERT_EQ(show(1), 0);
  EXPECT_EQ(show("2"), 0);
  EXPECT_EQ(shown(), Any(-1));
}

TEST_P(Overlay, OfAStreamThatIsNotSelectedWaitsForIt) {
  size_t const before = sought().size();
  EXPECT_EQ(show(2), 0);
  EXPECT_EQ(sought().size(), before);
  EXPECT_EQ(settings().displaySubpictures, 1);
  EXPECT_EQ(settings().overlay, 3);
  EXPECT_TRUE(log.contains("[scripted] Switched video #0 to subpic #2 in "));
  select(3);
  EXPECT_EQ(inPicture(), 3);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  size_t const off = sought().size();
  EXPECT_EQ(show(-1), 0);
  EXPECT_EQ(sought().size(), off) << "nothing is decoded for nobody";
  EXPECT_EQ(shown(), Any(-1));
}

TEST_P(Overlay, OfAStreamThatIsNotSelectedLeavesItsLibraryAloneWhenTheLastOneGoesOrComesBack) {
  MpegSettings& set = videoOf(*pipe, 0).decoder()->set;
  size_t const before = sought().size();
  ASSERT_EQ(show(2), 0);
  EXPECT_EQ(show(-1), 0);
  EXPECT_EQ(shown(), Any(-1));
  EXPECT_EQ(set.displaySubpictures, 1);
  set.displaySubpictures = 0;
  EXPECT_EQ(show(2), 0);
  EXPECT_EQ(shown(), Any(2));
  EXPECT_EQ(set.displaySubpictures, 0);
  EXPECT_EQ(sought().size(), before);
}

TEST_P(Overlay, OfAStreamThatIsNoLongerSelectedIsRememberedInItsDescription) {
  select(3);
  ASSERT_EQ(show(1), 0);
  ASSERT_EQ(pipe->deselectStream(kKindVideo, 0), 0);
  size_t const before = sought().size();
  for (int overlay : {2, -1, 2, 0}) {
    EXPECT_EQ(show(overlay), 0);
    EXPECT_EQ(shown(), Any(overlay));
  }
  EXPECT_EQ(sought().size(), before);
  expectNoFailure();
}

TEST_P(Overlay, SwitchedWhereTheLibraryAgreesAlreadyDecodesNothing) {
  select(7);
  ASSERT_EQ(show(1), 0);
  MpegSettings& set = videoOf(*pipe, 0).decoder()->set;
  size_t const before = sought().size();
  set.displaySubpictures = 0;
  EXPECT_EQ(show(-1), 0);
  EXPECT_EQ(sought().size(), before);
  set.displaySubpictures = 1;
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(sought().size(), before);
}

TEST_P(Overlay, ThatIsShownAlreadyLeavesALibraryThatDisagreesAlone) {
  select(7);
  MpegSettings& set = videoOf(*pipe, 0).decoder()->set;
  size_t const before = sought().size();
  set.displaySubpictures = 1;
  EXPECT_EQ(show(-1), 0);
  EXPECT_EQ(set.displaySubpictures, 1);
  EXPECT_EQ(sought().size(), before);
  ASSERT_EQ(show(1), 0);
  size_t const shownOnce = sought().size();
  set.displaySubpictures = 0;
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(set.displaySubpictures, 0);
  EXPECT_EQ(sought().size(), shownOnce);
}

TEST_P(Overlay, SwitchedOnAgainOverAPictureThatIsNotInTheFileIsOnForTheNextOne) {
  select(7);
  ASSERT_EQ(show(1), 0);
  ASSERT_EQ(show(-1), 0);
  stateOf(videoOf(*pipe, 0)).frame->setFrameNumber(100);
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(settings().displaySubpictures, 1);
}

TEST_P(Overlay, OfNumber666IsTheLastOneWhereThatIsUnknown) {
  select(3);
  while (pipe->countStreams(kKindSubpic) < 668) addSubpicture(*pipe);
  AnyDict& description = videoOf(*pipe, 0).info();
  for (int overlay : {665, 666, 667}) {
    description.set("_subpicOverlay", "lost");
    description.set("_displaySubpics", 0);
    EXPECT_EQ(show(overlay), 0);
    EXPECT_EQ(description["_subpicOverlay"], overlay == 666 ? Any("lost") : Any(overlay));
    EXPECT_EQ(description["_displaySubpics"], Any(1));
  }
}

TEST_P(Overlay, IsTimedWhileItsPictureIsDecoded) {
  select(3);
  library.onCall = [](Function function) {
    auto const begin = std::chrono::steady_clock::now();
    while (function == kSeekFrame &&
           std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(2)) {
    }
  };
  ASSERT_EQ(show(1), 0);
  std::string const said = "[scripted] Switched video #0 to subpic #1 in ";
  auto const line = std::find_if(log.lines.begin(), log.lines.end(),
                                 [&](auto const& one) { return one.text.starts_with(said); });
  ASSERT_NE(line, log.lines.end());
  EXPECT_GE(std::stod(line->text.substr(said.size())), 0.002);
}

TEST_P(Overlay, StaysOnWhenTheLibraryForgetsIt) {
  select(3);
  ASSERT_EQ(show(0), 0);
  videoOf(*pipe, 0).decoder()->set.displaySubpictures = 0;
  ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(inPicture(), 1);
  videoOf(*pipe, 0).decoder()->set.displaySubpictures = 0;
  ASSERT_EQ(pipe->seekToFrame(9, 0), 0);
  EXPECT_EQ(inPicture(), 1);
}

TEST_P(Overlay, WhoseLastOneIsUnknownIsSwitchedAnew) {
  select(3);
  videoOf(*pipe, 0).info().set("_subpicOverlay", "lost");
  EXPECT_EQ(show(0), 0);
  EXPECT_EQ(videoOf(*pipe, 0).info()["_subpicOverlay"], Any(0));
  EXPECT_TRUE(log.contains("Switched video #0 to subpic #0"));
}

TEST_P(Overlay, WhoseDecodingFailsIsSetAllTheSame) {
  select(3);
  library.give(kSeekFrame, -1);
  EXPECT_EQ(show(1), 0);
  EXPECT_EQ(shown(), Any(1));
  expectError(-1, "seekToFrame failed");
}

UNDER_BOTH_HANDLERS(Overlay);

}  // namespace
