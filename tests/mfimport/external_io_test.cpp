#include <gtest/gtest.h>

#include "clips.h"
#include "counting_host.h"
#include "player.h"

namespace {

TEST(ExternalIo, ReadsThroughTheHost_AndClosesEveryHandle) {
  CountingHost host;
  {
    Player player;
    host.install(player.get(), openGopMov());
    ASSERT_EQ(player.openVideo(openGopMov()), 0);
    ASSERT_EQ(player.seek(50), 0);
    Player plain;
    ASSERT_EQ(plain.openVideo(openGopMov()), 0);
    ASSERT_EQ(plain.seek(50), 0);
    EXPECT_EQ(player.picture(), plain.picture());
    EXPECT_GT(host.bytes, 0);
  }
  EXPECT_EQ(host.opened, host.closed);
}

TEST(ExternalIo, ParsingAMovie_ReadsItsTablesAndNoMoreThanABeginningOfThePayload) {
  std::string const path = clip("big.mov",
                                "-f lavfi -i testsrc2=s=640x480:r=25:d=40 -c:v mpeg2video -b:v 15M -minrate "
                                "15M -maxrate 15M -bufsize 2M -g 12 -bf 2 {out}");
  auto const size = static_cast<int64_t>(fileBytes(path).size());
  CountingHost host;
  Player player;
  host.install(player.get(), path);
  ASSERT_EQ(player.parse(path), 0);
  EXPECT_EQ(player->video.frames, 1000);
  EXPECT_LT(host.bytes, size / 8) << "of " << size;
}

TEST(ExternalIo, FailingReads_AreErrorsOfTheirPictures) {
  CountingHost host;
  Player player;
  host.install(player.get(), openGopMov());
  ASSERT_EQ(player.openVideo(openGopMov()), 0);
  ASSERT_EQ(player.seek(0), 0);
  host.failFrom = 0;
  EXPECT_EQ(player.seek(100), kMpegError);
  host.failFrom = INT64_MAX;
  EXPECT_EQ(player.seek(100), 0);
}

TEST(ExternalIo, HostThatCannotOpen_FailsTheParse) {
  CountingHost host;
  Player player;
  host.install(player.get(), openGopMov());
  player->io.open = [](void*, char const*, int) -> void* { return nullptr; };
  EXPECT_EQ(player.parse(openGopMov()), kMpegErrorOpen);
}

}  // namespace
