// User data of pictures, read in one go and after seeks.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "host/userdata.h"
#include "tests/support/captions.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"

namespace {

using test::PipePtr;

// Format and bytes of each packet.
using Packets = std::vector<std::pair<int, std::string>>;

Packets packetsOf(KyFrame const& frame) {
  Packets packets;
  KyUserData const* const data = frame.userData();
  for (int i = 0; data && i < data->countPackets(kUserDataPicture); ++i) {
    int size = 0, format = -1;
    void const* const bytes = data->packet(kUserDataPicture, i, size, format);
    packets.emplace_back(format, std::string(static_cast<char const*>(bytes), static_cast<size_t>(size)));
  }
  return packets;
}

std::filesystem::path fieldFile(std::string const& name, std::string const& script,
                                std::string const& arguments) {
  auto const file = test::scratchDir() / name;
  if (!std::filesystem::exists(file))
    test::run("python3 -B " KY_SAMPLES_DIR "/" + script + " " + test::quoted(file) + " 60 " + arguments);
  return file;
}

std::vector<Packets> readAll(KyDecodePipe& pipe) {
  std::vector<Packets> all;
  EXPECT_EQ(pipe.setUserDataEnabled(kKindVideo, 0, 1), 0);
  EXPECT_EQ(pipe.selectStream(kKindVideo, 0), 0);
  while (pipe.readFrame(0) == 0) all.push_back(packetsOf(*pipe.videoFrame(0)));
  return all;
}

void expectSameAfterSeeks(KyDecodePipe& pipe, std::vector<Packets> const& expected) {
  std::mt19937 random(31);
  for (int i = 0; i < 50; ++i) {
    size_t const n = random() % expected.size();
    ASSERT_EQ(pipe.seekToFrame(static_cast<int64_t>(n), 0), 0) << n;
    ASSERT_EQ(packetsOf(*pipe.videoFrame(0)), expected[n]) << n;
  }
}

TEST(FieldPairs, OfMpeg2_HaveTheUserDataOfHeadersAndBothFields) {
  for (std::string const name : {"fields.m2v", "fields.ts"}) {
    PipePtr const pipe = test::opened(fieldFile(name, "mpeg2_fields.py", "user_data"));
    ASSERT_TRUE(pipe);
    std::vector<Packets> const all = readAll(*pipe);
    ASSERT_EQ(all.size(), 60U);
    for (size_t n = 0; n < all.size(); ++n) {
      Packets expected;
      if (n % 12 == 0) expected = {{0, "sequence"}, {0, "group"}};
      expected.emplace_back(0, std::to_string(n) + " top");
      expected.emplace_back(0, std::to_string(n) + " bottom");
      EXPECT_EQ(all[n], expected) << name << " " << n;
    }
    expectSameAfterSeeks(*pipe, all);
  }
}

TEST(FieldPairs, OfH264_HaveTheMessagesOfBothFields) {
  for (std::string const packing : {"pair", "field", "first"}) {
    auto const file = fieldFile(packing + ".ts", "h264_fields.py", packing + " captions");
    for (int threads : {1, 3}) {
      PipePtr const pipe = test::opened(file, AnyDict("numThreads", threads));
      ASSERT_TRUE(pipe);
      std::vector<Packets> const all = readAll(*pipe);
      ASSERT_EQ(all.size(), 60U);
      auto const captions = test::captionBytes(file);
      for (size_t n = 0; n < all.size(); ++n) {
        ASSERT_EQ(all[n].size(), 2U) << packing << " " << n;
        EXPECT_EQ(all[n][0].first, 1);
        EXPECT_EQ(all[n][0].second.substr(0, 8), std::string("\xB5\0\x31GA94\3", 8));
        KyCcData cc;
        ASSERT_EQ(cc.fromBuffer(KyCcData::kFormatA53, static_cast<int>(all[n][0].second.size()),
                                all[n][0].second.data(), nullptr),
                  0);
        ASSERT_EQ(cc.triplets().size(), 1U);
        EXPECT_EQ((cc.triplets()[0].data2 & 0x7F) - 0x20, static_cast<int>(n)) << packing;
        EXPECT_EQ(all[n][1], std::make_pair(2, std::string(16, '\0') + std::to_string(n))) << packing;
      }
      expectSameAfterSeeks(*pipe, all);
    }
  }
}

TEST(UserDataOf, FramesOfMpeg2WithBPictures_IsTheSameInOneGoAndAfterSeeks) {
  for (std::string const name : {"a53.ts", "a53.mpg"}) {
    PipePtr const pipe = test::opened(test::captioned(name, "mpeg2"));
    ASSERT_TRUE(pipe);
    std::vector<Packets> const all = readAll(*pipe);
    ASSERT_EQ(all.size(), 180U);
    EXPECT_TRUE(std::none_of(all.begin(), all.end(), [](Packets const& packets) { return packets.empty(); }));
    expectSameAfterSeeks(*pipe, all);
  }
}

TEST(UserDataOf, GroupsOfPictures_BelongsToTheirFirstCodedPicture) {
  PipePtr const pipe = test::opened(test::captioned("dvd.ts", "mpeg2", 180, "--form dvd"));
  ASSERT_TRUE(pipe);
  std::vector<Packets> const all = readAll(*pipe);
  int carrying = 0;
  for (Packets const& packets : all) {
    if (packets.empty()) continue;
    EXPECT_EQ(packets[0].second.substr(0, 4), "CC\x01\xF8");
    ++carrying;
  }
  EXPECT_EQ(carrying, 180 / 15 + 1)
      << "the first group is shorter, its picture comes before the next group's B pictures";
  EXPECT_FALSE(all[0].empty());
  expectSameAfterSeeks(*pipe, all);
}

TEST(UserDataOf, FramesOfMpeg4_IsThatOfTheirPackets) {
  for (std::string const name : {"mpeg4.avi", "mpeg4.m4v"}) {
    auto const file = test::made(name, "-f lavfi -i testsrc2=s=96x64:r=25:d=2 -c:v mpeg4 -bf 2 -g 12" +
                                           std::string(name == "mpeg4.m4v" ? " -f m4v" : ""));
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    ASSERT_EQ(test::info(*pipe, kKindVideo, 0)["codec"].asString(), "MPEG-4");
    std::vector<Packets> const all = readAll(*pipe);
    ASSERT_EQ(all.size(), 50U);
    ASSERT_EQ(all[0].size(), 1U) << name;
    EXPECT_EQ(all[0][0].first, 0);
    EXPECT_EQ(all[0][0].second.substr(0, 4), "Lavc") << name;
    expectSameAfterSeeks(*pipe, all);
  }
}

TEST(UserDataOf, FramesOfMpeg1_IsThatOfThePictures) {
  // MPEG-1 has the same user data unit as MPEG-2.
  auto const plain = test::made("plain.m1v",
                                "-f lavfi -i testsrc2=s=96x64:r=30000/1001:d=2 -c:v mpeg1video -bf 2 -g 15 "
                                "-f mpeg1video");
  auto const file = test::scratchDir() / "mpeg1.m1v";
  test::run("python3 -B " KY_SAMPLES_DIR "/captions.py " + test::quoted(plain) + " " + test::quoted(file) +
            " /dev/null");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(test::info(*pipe, kKindVideo, 0)["codec"].asString(), "MPEG-1");
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 1);
  std::vector<Packets> const all = readAll(*pipe);
  EXPECT_EQ(all.size(), 60U);
  for (Packets const& packets : all) EXPECT_EQ(packets.size(), 1U);
  expectSameAfterSeeks(*pipe, all);
}

TEST(UserDataOf, OtherCodecs_IsNone) {
  auto const file = test::made(
      "plain.hevc.mp4", "-f lavfi -i testsrc2=s=96x64:r=25:d=1 -c:v libx265 -x265-params log-level=none");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  for (Packets const& packets : readAll(*pipe)) EXPECT_TRUE(packets.empty());
}

TEST(EnablingUserData, OnASelectedStream_GivesItToTheCurrentPicture) {
  PipePtr const pipe = test::opened(test::captioned("a53.ts", "mpeg2"));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->seekToFrame(7, 0), 0);
  EXPECT_EQ(pipe->videoFrame(0)->userData(), nullptr);
  ASSERT_EQ(pipe->setUserDataEnabled(kKindVideo, 0, 1), 0);
  Packets const enabled = packetsOf(*pipe->videoFrame(0));
  EXPECT_EQ(enabled.size(), 1U);
  ASSERT_EQ(pipe->seekToFrame(90, 0), 0);
  EXPECT_EQ(packetsOf(*pipe->videoFrame(0)).size(), 1U);
  ASSERT_EQ(pipe->seekToFrame(7, 0), 0);
  EXPECT_EQ(packetsOf(*pipe->videoFrame(0)), enabled);
}

TEST(EnablingUserData, APictureWithout_LosesThatOfThePictureBefore) {
  PipePtr const pipe =
      test::opened(test::captioned("firstonly.ts", "mpeg2", 60, "--pictures 0:1", test::CaptionKind::Silent));
  ASSERT_TRUE(pipe);
  std::vector<Packets> const all = readAll(*pipe);
  ASSERT_EQ(all.size(), 60U);
  EXPECT_EQ(all[0].size(), 1U);
  for (size_t n = 1; n < all.size(); ++n) EXPECT_TRUE(all[n].empty()) << n;
}

}  // namespace
