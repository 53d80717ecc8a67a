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
    std::memcpy(&number, videoOf(*pipe, 0).frame->pixelPtr(0, 0, 0), sizeof number);
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
