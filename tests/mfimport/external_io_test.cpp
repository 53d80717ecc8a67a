#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>

#include "clips.h"
#include "player.h"

namespace {

// A host's file functions that count what is asked of them.
struct CountingHost {
  int64_t bytes = 0;
  int opened = 0, closed = 0;
  int64_t failFrom = INT64_MAX;  // reads at or behind this byte fail

  static void* open(void* user, const char* name, int) {
    ++static_cast<CountingHost*>(user)->opened;
    return std::fopen(name, "rb");
  }
  static void* openWide(void*, const wchar_t*, int) { return nullptr; }
  static int64_t seek(void*, void* handle, int64_t position, int whence) {
    auto* file = static_cast<FILE*>(handle);
    return fseeko(file, position, whence) == 0 ? ftello(file) : -1;
  }
  static int read(void* user, void* handle, void* buffer, int size) {
    auto* file = static_cast<FILE*>(handle);
    auto& self = *static_cast<CountingHost*>(user);
    if (ftello(file) >= self.failFrom) return -1;
    const auto got = static_cast<int>(std::fread(buffer, 1, static_cast<size_t>(size), file));
    self.bytes += got;
    return got;
  }
  static int close(void* user, void* handle) {
    ++static_cast<CountingHost*>(user)->closed;
    return std::fclose(static_cast<FILE*>(handle));
  }

  void install(MpegIn* instance, const std::string& path) {
    instance->io = {1, this, static_cast<int64_t>(fileBytes(path).size()), open, openWide, seek, read, close};
  }
};

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
  const std::string path = clip("big.mov",
                                "-f lavfi -i testsrc2=s=640x480:r=25:d=40 -c:v mpeg2video -b:v 15M -minrate "
                                "15M -maxrate 15M -bufsize 2M -g 12 -bf 2 {out}");
  const auto size = static_cast<int64_t>(fileBytes(path).size());
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
  player->io.open = [](void*, const char*, int) -> void* { return nullptr; };
  EXPECT_EQ(player.parse(openGopMov()), kMpegErrorOpen);
}

}  // namespace
