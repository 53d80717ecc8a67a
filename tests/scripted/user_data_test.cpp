// User data of pictures and the captions in it.
#include "host/userdata.h"
#include "mpegdecode/userdatapackets.h"
#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
using Bytes = std::vector<uint8_t>;

// ATSC A/53 captions: "GA94", user data type 3, one triplet.
Bytes const kCaptions = {'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, 0x94, 0x2C, 0xFF};
// The same as a payload registered by ITU-T T.35: United States, ATSC.
Bytes const kCaptionsSei = {0xB5, 0x00, 0x31, 'G', 'A', '9', '4', 3, 0x41, 0xFF, 0xFC, 0x94, 0x2C, 0xFF};

Packet packet(Bytes bytes, int type = 4, bool null = false) { return {std::move(bytes), type, null}; }

class UserData : public BothHandlers {
 protected:
  Video& stream(int MpegVideoInfo::* codec = &MpegVideoInfo::mpeg2) {
    library.video.clear();
    Video& video = library.addVideo();
    video.info.mpeg2 = 0;
    video.info.*codec = 1;
    video.info.rate = video.info.secondRate = 30.0;
    return video;
  }
  void openSelected() {
    // The entries of captions are the test's own.
    ready();
    pipe->setParam("openParameters", AnyDict("disableCC", 1));
    ASSERT_EQ(pipe->open(), 0);
    ASSERT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 1), 0);
    ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  }
  // Format and bytes of the packets of the current picture.
  std::vector<std::pair<int, Bytes>> attached() const {
    std::vector<std::pair<int, Bytes>> packets;
    KyUserData const* const data = pipe->videoFrame(0)->userData();
    for (int i = 0; data && i < data->countPackets(kUserDataPicture); ++i) {
      int size = 0;
      int format = -1;
      auto const* const bytes = static_cast<uint8_t const*>(data->packet(kUserDataPicture, i, size, format));
      packets.emplace_back(format, Bytes(bytes, bytes + size));
    }
    return packets;
  }
  using Expected = std::vector<std::pair<int, Bytes>>;
};

TEST_P(UserData, OfMpegSkipsEntriesThatAreNull) {
  for (auto codec : {&MpegVideoInfo::mpeg2, &MpegVideoInfo::mpeg4}) {
    stream(codec).userData[0] = {packet({1, 2}), packet({9}, 4, true), packet({}), packet({3})};
    openSelected();
    EXPECT_EQ(attached(), (Expected{{0, {1, 2}}, {0, {3}}}));
  }
  EXPECT_EQ(instance(1).videoAux.back(), (std::pair<int, int>{0x101b2, 16}));
}

TEST_P(UserData, OfMpeg1IsThatOfMpeg2) {
  stream().info.mpeg2 = 0;
  library.video[0].userData[0] = {packet({1, 2})};
  openSelected();
  EXPECT_EQ(pipe->videoFrame(0)->userData() != nullptr, true);
  EXPECT_EQ(attached(), (Expected{{0, {1, 2}}}));
}

TEST_P(UserData, OfH264IsSeiOfTypes4And5) {
  stream(&MpegVideoInfo::h264).sei[0] = {packet({1}, 4), packet({2}, 6),       packet({3}, 5), packet({4}, 1),
                                         packet({}, 4),  packet({5}, 4, true), packet({6}, 0)};
  openSelected();
  EXPECT_EQ(attached(), (Expected{{1, {1}}, {2, {3}}}));
  EXPECT_EQ(lastInstance().videoAux.back(), (std::pair<int, int>{0x101b6, 8}));
}

TEST_P(UserData, OfOtherCodecsIsNotAskedFor) {
  for (auto codec : {&MpegVideoInfo::hevc, &MpegVideoInfo::vc1, &MpegVideoInfo::jpeg2000}) {
    stream(codec).userData[0] = {packet({1})};
    openSelected();
    EXPECT_EQ(pipe->videoFrame(0)->userData(), nullptr);
  }
}

TEST_P(UserData, ReplacesThatOfThePictureBefore) {
  stream().userData[0] = {packet({10})};
  openSelected();
  KyUserData data;
  for (uint8_t const old : {uint8_t{1}, uint8_t{2}}) data.addDataPacket(1, &old, 0, kUserDataPicture);
  collectUserData(videoOf(*pipe, 0).decoder(), "MPEG-2", data);
  EXPECT_EQ(data.countPackets(kUserDataPicture), 1);
}

TEST_P(UserData, IsThatOfEachPicture) {
  Video& video = stream();
  video.userData[0] = {packet({10})};
  video.userData[2] = {packet({12})};
  video.userData[50] = {packet({50})};
  openSelected();
  EXPECT_EQ(attached(), (Expected{{0, {10}}}));
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(attached(), (Expected{{0, {10}}})) << "the pending one";
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->userData(), nullptr) << "cleared";
  ASSERT_EQ(pipe->readFrame(0), 0);
  EXPECT_EQ(attached(), (Expected{{0, {12}}}));
  ASSERT_EQ(pipe->seekToFrame(50, 0), 0);
  EXPECT_EQ(attached(), (Expected{{0, {50}}}));
}

TEST_P(UserData, ThatTheLibraryRefusesIsNone) {
  for (auto codec : {&MpegVideoInfo::mpeg2, &MpegVideoInfo::h264}) {
    Video& video = stream(codec);
    video.userData[0] = video.sei[0] = {packet({1})};
    openSelected();
    ASSERT_EQ(attached().size(), 1U);
    for (bool raises : {false, true}) {
      if (raises)
        library.raise(kVideoAux);
      else
        library.give(kVideoAux, -106);
      ASSERT_EQ(pipe->seekToFrame(0, 0), 0);
      EXPECT_TRUE(attached().empty());
    }
    library.give(kVideoAux, 0);
    ASSERT_EQ(pipe->seekToFrame(0, 0), 0);
    EXPECT_TRUE(attached().empty()) << "granted, but nothing given";
  }
}

TEST_P(UserData, IsAttachedAtOnceWhenEnabled) {
  stream().userData[0] = {packet({10})};
  opened();
  size_t const asked = lastInstance().videoAux.size();
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 1), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 0), 1);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 0), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 1), 0);
  EXPECT_EQ(pipe->userDataEnabled(kKindAudio, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 0), 0);
  EXPECT_EQ(lastInstance().videoAux.size(), asked) << "not selected, or not wanted";
  EXPECT_TRUE(attached().empty());
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 256), 0);
  EXPECT_EQ(attached().size(), 1U);
  EXPECT_EQ(pipe->userDataEnabled(kKindVideo, 0), 1);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 0), 0);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, 1, 1), -1);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindVideo, -1, 1), -1);
  EXPECT_EQ(pipe->setUserDataEnabled(kKindAudio, 0, 1), -1);
}

TEST_P(UserData, IsNotAttachedAfterAFailedSeek) {
  stream().userData[0] = {packet({10})};
  openSelected();
  size_t const asked = lastInstance().videoAux.size();
  library.give(kSeekFrame, -1);
  EXPECT_EQ(pipe->seekToFrame(5, 0), -1);
  EXPECT_EQ(lastInstance().videoAux.size(), asked);
  EXPECT_EQ(attached().size(), 1U);
}

TEST_P(UserData, CaptionsOfNoEntryAreAnAssertionFailure) {
  stream();
  openSelected();
  for (int index : {-1, 0}) {
    AnyDict out("old", 1);
    auto const result = failing([&] { return pipe->readCcData(index, 0, out); });
    expectAssertion("./mpegdecode/mpegindec(3042)");
    EXPECT_EQ(result.value_or(0), 0);
    EXPECT_TRUE(out.empty());
  }
}

TEST_P(UserData, CaptionsOfASubpictureAreAnAssertionFailure) {
  stream();
  openSelected();
  addSubpicture(*pipe);
  AnyDict out("old", 1);
  auto const result = failing([&] { return pipe->readCcData(0, 0, out); });
  expectAssertion("./mpegdecode/mpegindec(3046)");
  EXPECT_EQ(result.value_or(0), 0);
  EXPECT_TRUE(out.empty());
}

TEST_P(UserData, CaptionsOfAnEntryWithoutVideoAreAnAssertionFailure) {
  stream();
  openSelected();
  addSubpicture(*pipe).info().set("type", 4);
  AnyDict out("old", 1);
  auto const result = failing([&] { return pipe->readCcData(0, 0, out); });
  expectAssertion("./mpegdecode/mpegindec(3046)");
  EXPECT_EQ(result.value_or(0), 0);
}

TEST_P(UserData, CaptionsOfTheCurrentPictureAreStored) {
  for (auto codec : {&MpegVideoInfo::mpeg2, &MpegVideoInfo::h264}) {
    Video& video = stream(codec);
    video.userData[6] = {packet({1, 2, 3}), packet(kCaptions)};
    video.sei[6] = {packet({1, 2, 3}, 5), packet(kCaptionsSei)};
    openSelected();
    addCaptions(*pipe, 0);
    AnyDict out("old", 1);
    EXPECT_EQ(pipe->readCcData(0, 0, out), -1) << "none in this picture";
    EXPECT_TRUE(out.empty());
    ASSERT_EQ(pipe->seekToFrame(6, 0), 0);
    EXPECT_EQ(pipe->readCcData(0, 0, out), 0);
    EXPECT_EQ(out["format"], Any(0));
    EXPECT_NEAR(out["time"].asDouble(), 0.2, 1e-6);
    EXPECT_EQ(out["data"].genericSize(), 3);
  }
  expectNoFailure();
}

TEST_P(UserData, CaptionsWithoutACurrentPictureAreMinus18) {
  stream().userData[0] = {packet(kCaptions)};
  openSelected();
  addCaptions(*pipe, 0);
  AnyDict out;
  pipe->videoFrame(0)->setFrameNumber(-1);
  EXPECT_EQ(pipe->readCcData(0, 0, out), -18);
  stateOf(videoOf(*pipe, 0)).frame.reset();
  EXPECT_EQ(pipe->readCcData(0, 0, out), -18);
  expectNoFailure();
  pipe->deselectStream(kKindVideo, 0);
}

UNDER_BOTH_HANDLERS(UserData);

}  // namespace
