// Calls into a library that raises exceptions: what comes of them, and what the log tells.
#include "mpegdecode/libcalls.h"
#include "tests/scripted/fixture.h"

namespace {

using namespace scripted;

class LibraryCalls : public ScriptedTest {
 protected:
  LibraryCalls() { library.addVideo(); }

  // Lines of errors since the last time.
  std::vector<std::string> errors() {
    std::vector<std::string> texts;
    for (auto const& line : log.lines)
      if (line.level == kLogError) texts.push_back(line.text);
    log.lines.clear();
    return texts;
  }
  using Texts = std::vector<std::string>;
};

TEST_F(LibraryCalls, ThatRaise_FailWithTheirResultAndTheirLine) {
  MpegInPtr const instance(guardedNew());
  ASSERT_TRUE(instance);
  Any const name = clip().string();
  instance->set.videoStream = 1;
  ASSERT_EQ(guardedOpen(instance.get(), name), 0);
  for (Function function :
       {kNew, kGetInfo, kOpen, kVideoAux, kAudioAux, kSeekFrame, kNextFrame, kSeekSample, kMfFileOpen})
    library.raiseAlways(function);
  char record[8];
  EXPECT_EQ(guardedNew(), nullptr);
  EXPECT_EQ(errors(), Texts{"Unhandled exception in mpegInNew"});
  EXPECT_EQ(guardedGetInfo(instance.get(), name), -1);
  EXPECT_EQ(errors(), Texts{"Unhandled exception in mpegInGetInfo"});
  EXPECT_EQ(guardedOpen(instance.get(), name), -1);
  EXPECT_EQ(errors(), Texts{"Unhandled exception in mpegInOpen"});
  EXPECT_EQ(guardedFileOpen(nullptr, name, nullptr), -1);
  EXPECT_EQ(errors(), Texts{"Unhandled exception in mpegInOpenW"});
  EXPECT_EQ(guardedVideoAuxinfo(instance.get(), kAuxThreads, nullptr, 1), std::nullopt);
  EXPECT_EQ(errors(), Texts{"Unhandled exception in mpegInVideoAuxinfo"});
  EXPECT_EQ(guardedAudioAuxinfo(instance.get(), kAuxSampleFormat, record, sizeof record), std::nullopt);
  EXPECT_EQ(errors(), Texts{"Unhandled exception in mpegInAudioAuxinfo"});
  EXPECT_EQ(guardedSeekSample(instance.get(), 0), 1);
  EXPECT_EQ(guardedSeekFrame(instance.get(), 0), -1);
  EXPECT_EQ(guardedNextFrame(instance.get()), -1);
  EXPECT_EQ(errors(), Texts()) << "those who seek and read tell themselves";
}

TEST_F(LibraryCalls, AreGivenTheFileNameWhileTheyParseAlone) {
  MpegInPtr const instance(guardedNew());
  std::string seen;
  library.onInfo = [&](MpegIn const& parsed) { seen = parsed.fileName ? parsed.fileName : "none"; };
  EXPECT_EQ(guardedGetInfo(instance.get(), clip().wstring()), 0);
  EXPECT_EQ(seen, clip().string());
  EXPECT_EQ(instance->fileName, nullptr);
}

TEST_F(LibraryCalls, CountNoVideoWhereThePicturesAreAbsent) {
  MpegInPtr const instance(guardedNew());
  EXPECT_EQ(guardedGetInfo(instance.get(), clip().string()), 0);
  EXPECT_EQ(instance->nVideo, 1);
  library.video[0].info.present = 0;
  EXPECT_EQ(guardedGetInfo(instance.get(), clip().string()), 0);
  EXPECT_EQ(instance->nVideo, 0);
}

}  // namespace
