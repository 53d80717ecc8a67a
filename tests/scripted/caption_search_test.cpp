// Captions: what the search at the opening leaves, and which of several packets counts.
#include <cstring>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
using Bytes = std::vector<uint8_t>;

// ATSC A/53 captions: "GA94", user data type 3, one triplet that ends in `last`.
Packet captions(uint8_t last) { return {{'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, 0x94, last, 0xFF}}; }

class CaptionSearch : public ScriptedTest {
 protected:
  CaptionSearch() { setRate(30.0); }
  void setRate(double rate) {
    library.video.clear();
    MpegVideoInfo& info = library.addVideo().info;
    info.rate = info.secondRate = rate;
  }
  // Number of the picture in the frame of a stream that nobody selected.
  int heldPicture() const {
    int number = -1;
    std::memcpy(&number, stateOf(videoOf(*pipe, 0)).frame->pixelPtr(0, 0, 0), sizeof number);
    return number;
  }
  AnyDict captionsOf(int frame) {
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), 0);
    EXPECT_EQ(pipe->seekToFrame(frame, 0), 0);
    AnyDict out;
    EXPECT_EQ(pipe->readCcData(0, 0, out), 0);
    return out;
  }
};

TEST_F(CaptionSearch, ThatFoundSome_LeavesTheFirstPictureInTheFrame) {
  library.video[0].userData[4] = {captions(0x2C)};
  opened();
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(info(kKindSubpic, 0)["type"], Any(4));
  EXPECT_TRUE(log.has("Found cc in frame nr 4"));
  EXPECT_EQ(heldPicture(), 0);
  EXPECT_EQ(instance(1).frames, (std::vector<int>{0, 0, 0})) << "first picture, begin and end of the search";
}

TEST_F(CaptionSearch, ThatFoundNone_LeavesTheFirstPictureInTheFrame) {
  opened();
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_EQ(library.calls(kNextFrame), 10);
  EXPECT_EQ(heldPicture(), 0);
  EXPECT_EQ(instance(1).frames, (std::vector<int>{0, 0, 0}));
}

TEST_F(CaptionSearch, IsForThreeCodecsOfThe60HzWorldAlone) {
  struct Row {
    int MpegVideoInfo::* flag;  // none: MPEG-1
    double rate;
    bool searched;
  };
  for (Row const& row : {Row{nullptr, 30.0, true}, Row{&MpegVideoInfo::mpeg2, 30.0, true},
                         Row{&MpegVideoInfo::h264, 60.0, true}, Row{&MpegVideoInfo::mpeg2, 24.0, true},
                         Row{nullptr, 25.0, false}, Row{&MpegVideoInfo::mpeg2, 25.0, false},
                         Row{&MpegVideoInfo::h264, 50.0, false}, Row{&MpegVideoInfo::mpeg4, 30.0, false},
                         Row{&MpegVideoInfo::hevc, 30.0, false}, Row{&MpegVideoInfo::vc1, 30.0, false}}) {
    setRate(row.rate);
    library.video[0].info.mpeg2 = 0;
    if (row.flag) library.video[0].info.*row.flag = 1;
    int const before = library.calls(kNextFrame);
    log.lines.clear();
    opened();
    std::string const codec = info(kKindVideo, 0)["codec"].asString();
    EXPECT_EQ(library.calls(kNextFrame) - before, row.searched ? 10 : 0) << codec << " " << row.rate;
    EXPECT_EQ(log.hasAt(kLogTrace, "parsing frames for cc data"), row.searched) << codec << " " << row.rate;
    EXPECT_FALSE(log.has("parsing frames for cc data done")) << "nothing was found";
  }
}

TEST_F(CaptionSearch, OfAShortStreamEndsBeforeItsLastPicture) {
  for (auto [frames, searched] : {std::pair{5, 4}, std::pair{10, 9}, std::pair{11, 10}, std::pair{12, 10}}) {
    setRate(30.0);
    library.video[0].info.frames = frames;
    int const before = library.calls(kNextFrame);
    opened();
    EXPECT_EQ(library.calls(kNextFrame) - before, searched) << frames;
    library.video[0].userData[searched] = {captions(0x2C)};
    opened();
    EXPECT_EQ(pipe->countStreams(kKindSubpic), 0) << frames;
    library.video[0].userData[searched - 1] = {captions(0x2C)};
    opened();
    EXPECT_EQ(pipe->countStreams(kKindSubpic), 1) << frames;
    EXPECT_TRUE(log.hasAt(kLogTrace, "parsing frames for cc data done"));
  }
}

TEST_F(CaptionSearch, NumbersTheEntriesInTheOrderOfTheStreamsThatHaveSome) {
  library.video[0].userData[0] = {captions(0x2C)};
  library.video.push_back(library.video[0]);
  library.video[1].userData.clear();
  library.video.push_back(library.video[0]);
  library.subpictures = 1;
  opened();
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 3);
  auto const& entries = fileOf(*pipe).subpic;
  for (int i = 0; i < 2; ++i) {
    MpegInSubpicStream const& entry = *entries.at(i);
    EXPECT_EQ(entry.index(), i);
    EXPECT_EQ(entry.info()["type"], Any(4));
    EXPECT_EQ(entry.captionSource(), &videoOf(*pipe, 2 * i));
  }
  EXPECT_EQ(entries.at(2)->info()["type"], Any(2)) << "subpictures follow";
  EXPECT_EQ(entries.at(2)->index(), 0);
}

TEST_F(CaptionSearch, OfSeveralPacketsWithCaptions_TheFirstCounts) {
  library.video[0].userData[0] = {{{1, 2, 3}}, captions(0x2C), captions(0x2F)};
  library.video[0].userData[1] = {captions(0x2F), captions(0x2C)};
  opened();
  for (auto [frame, last] : {std::pair{0, 0x2C}, std::pair{1, 0x2F}}) {
    AnyDict const out = captionsOf(frame);
    ASSERT_EQ(out["data"].genericSize(), 3) << frame;
    EXPECT_EQ(static_cast<uint8_t const*>(out["data"].asGeneric())[2], last) << frame;
  }
}

TEST_F(CaptionSearch, TimesOfCaptionsCountUnitsOfASecondBy35280000) {
  // 49 divides that scale and none of the usual clocks.
  setRate(49.0);
  library.video[0].userData[1] = {captions(0x2C)};
  opened();
  EXPECT_EQ(captionsOf(1)["time"], Any(720000.0 / 35280000.0));
}

}  // namespace
