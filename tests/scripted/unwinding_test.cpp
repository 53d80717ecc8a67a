// Openings that end halfway: nothing stays, whatever ended them.
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;

class Unwinding : public BothHandlers {
 protected:
  // The check fails at the second or a later stream; a handler that throws ends the opening there.
  void expectUnwinds() {
    auto const result = failing([&] { return pipe->open(); });
    if (!throwing()) {
      EXPECT_EQ(result, 0);
      return;
    }
    expectClosed();
    EXPECT_FALSE(fileOf(*pipe).shared);
    EXPECT_EQ(pipe->selectStream(kKindVideo, 0), -1);
    EXPECT_EQ(pipe->close(), 0);
  }
};

TEST_P(Unwinding, FromTheSecondOfTwoVideoStreams) {
  library.addVideo();
  library.addVideo();
  library.onOpen = [](MpegIn& opened) {
    if (opened.set.videoStream == 2) opened.video.present = 0;
  };
  ready();
  expectUnwinds();
  library.onOpen = nullptr;
  EXPECT_EQ(pipe->open(), 0);
}

TEST_P(Unwinding, FromSoundBehindVideo) {
  library.addVideo();
  library.addAudio(kAudioMpegAac);
  module.setAttr("preferredSampleFormat", 5);
  ready();
  expectUnwinds();
  module.setAttr("preferredSampleFormat", 7);
  ready();
  EXPECT_EQ(pipe->open(), 0);
}

TEST_P(Unwinding, FromAnAspectThatNoTableHas) {
  library.addVideo();
  library.addVideo();
  MpegVideoInfo& second = library.video[1].info;
  second.mpeg2 = 0;
  second.h264 = second.aspectPresent = 1;
  second.aspectIdc = 17;
  ready();
  expectUnwinds();
}

TEST_P(Unwinding, LeavesAnEarlierOpeningClosed) {
  library.addVideo();
  library.addVideo();
  opened();
  library.onOpen = [](MpegIn& opened) {
    if (opened.set.videoStream == 2) opened.video.present = 0;
  };
  expectUnwinds();
}

TEST_P(Unwinding, HasNothingToTakeBack_ThePipeListsAFileWhenItIsComplete) {
  library.addVideo();
  library.addVideo();
  library.addAudio(kAudioLpcm);
  ready();
  int openings = 0;
  library.onOpen = [&](MpegIn&) {
    ++openings;
    EXPECT_EQ(pipe->countStreams(7), 0) << openings;
    EXPECT_EQ(pipe->state(), kStateInitialised) << openings;
  };
  EXPECT_EQ(pipe->open(), 0);
  library.onOpen = nullptr;
  EXPECT_EQ(openings, 3);
  EXPECT_EQ(pipe->countStreams(7), 3);
}

UNDER_BOTH_HANDLERS(Unwinding);

}  // namespace
