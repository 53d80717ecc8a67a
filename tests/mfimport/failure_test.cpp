#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "clips.h"
#include "player.h"

namespace {

constexpr size_t kPicture = 320 * 240 * 3 / 2;

TEST(Failure, MissingFile_CannotBeOpened) {
  Player player;
  EXPECT_EQ(player.parse("/nowhere/at/all.mp4"), kMpegErrorOpen);
  EXPECT_TRUE(wasPrinted("/nowhere/at/all.mp4"));
  EXPECT_EQ(player.openVideo("/nowhere/at/all.mp4"), kMpegErrorOpen);
}

TEST(Failure, Folder_CannotBeOpened) {
  Player player;
  EXPECT_EQ(player.parse("/tmp"), kMpegErrorOpen);
}

TEST(Failure, TextAndEmptyFiles_AreNoKnownFormat) {
  writeFile(scratch("text.mp4"), "Dear diary, nothing happened today.\n");
  writeFile(scratch("empty.mp4"), "");
  Player player;
  EXPECT_EQ(player.parse(scratch("text.mp4")), kMpegErrorFormat);
  EXPECT_EQ(player.parse(scratch("empty.mp4")), kMpegErrorFormat);
}

TEST(Failure, PlaylistsInDisguise_AreRefused) {
  writeFile(scratch("list.mp4"),
            "#EXTM3U\n#EXT-X-TARGETDURATION:5\n#EXTINF:5,\n" + openGopMp4() + "\n#EXT-X-ENDLIST\n");
  writeFile(scratch("concat.mp4"), "ffconcat version 1.0\nfile '" + openGopMp4() + "'\n");
  Player player;
  EXPECT_EQ(player.parse(scratch("list.mp4")), kMpegErrorFormat);
  EXPECT_EQ(player.parse(scratch("concat.mp4")), kMpegErrorFormat);
}

TEST(Failure, LackOfMemory_AtWhicheverBlockOfTheIndex_IsThatAndLeavesNothing) {
  int failed = 0;
  for (std::string const& path : {openGopMp4(), mpeg2Mov()}) {
    for (int64_t further = 0;; ++further) {
      SCOPED_TRACE(path + " with " + std::to_string(further));
      Player player;
      int64_t const before = blocksInUse();
      limitBlocks(further);
      int const result = player.parse(path);
      limitBlocks(INT64_MAX);
      if (result == kMpegOk) break;
      ++failed;
      ASSERT_EQ(result, kMpegErrorMemory);
      EXPECT_TRUE(wasPrinted("mfimport: out of memory in mpegInGetInfo"));
      EXPECT_EQ(blocksInUse(), before);
    }
  }
  EXPECT_GE(failed, 8);  // lists of packets, pictures, their numbers and samples
}

TEST(Failure, StreamThatDoesNotExist_IsRefused) {
  Player player;
  EXPECT_EQ(player.openVideo(openGopMp4(), "I420", 2), kMpegErrorNoStream);
  Player sound;
  EXPECT_EQ(sound.openAudio(openGopMp4(), kAudioDolby), kMpegErrorNoStream);
}

TEST(Failure, TruncatedFile_PlaysToTheCut) {
  std::string const whole = clip("front.mp4", "-i " + openGopMp4() + " -c copy -movflags +faststart {out}");
  std::vector<uint8_t> const bytes = fileBytes(whole);
  std::string const cut = scratch("cut.mp4");
  writeFile(cut, bytes.data(), bytes.size() * 6 / 10);
  auto const pictures = decodedByFfmpeg(whole, "-map 0:v -fps_mode passthrough -f rawvideo");
  Player player;
  ASSERT_EQ(player.openVideo(cut), 0);
  ASSERT_GT(player->video.frames, 40);
  ASSERT_LT(player->video.frames, static_cast<int>(pictures.size() / kPicture));
  int equal = 0;
  for (int frame = 0; frame < player->video.frames; ++frame)
    if (player.next() == 0 && std::equal(player.picture().begin(), player.picture().end(),
                                         pictures.begin() + static_cast<std::ptrdiff_t>(kPicture) * frame))
      ++equal;
  EXPECT_GE(equal, player->video.frames - 4);  // the last ones may refer to pictures beyond the cut
}

TEST(Failure, FileCutBeforeItsTables_IsRefused) {
  std::vector<uint8_t> const bytes = fileBytes(openGopMp4());
  writeFile(scratch("half.mp4"), bytes.data(), bytes.size() / 2);
  Player player;
  EXPECT_EQ(player.parse(scratch("half.mp4")), kMpegErrorFormat);
}

struct PacketPlace {
  double time;
  size_t position, size;
};

std::vector<PacketPlace> videoPackets(std::string const& path) {
  std::vector<PacketPlace> places;
  for (std::string line :
       linesOf("ffprobe -v error -select_streams v -show_entries packet=pts_time,size,pos -of csv=p=0 '" +
               path + "'")) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream fields(line);
    PacketPlace place{};
    fields >> place.time >> place.size >> place.position;
    places.push_back(place);
  }
  return places;
}

// A clip whose picture number `frame`, one that no other refers to, is all zeros.
std::string withBrokenPicture(int frame) {
  std::vector<uint8_t> bytes = fileBytes(nonReferenceBMp4());
  for (PacketPlace const& place : videoPackets(nonReferenceBMp4()))
    if (static_cast<int>(place.time * 25 + 0.5) == frame)
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(place.position), place.size, uint8_t{0});
  std::string const path = scratch("broken.mp4");
  writeFile(path, bytes.data(), bytes.size());
  return path;
}

// The number, in display order from 30 on, of a picture that is decoded after one that is shown later.
int someBidirectionalPicture() {
  double latest = -1;
  for (PacketPlace const& place : videoPackets(nonReferenceBMp4())) {
    if (place.time < latest && place.time >= 30 / 25.0) return static_cast<int>(place.time * 25 + 0.5);
    latest = std::max(latest, place.time);
  }
  return -1;
}

TEST(Failure, BrokenPicture_FailsAtItsOwnPlace_AndTheNextOneIsRight) {
  auto const pictures = decodedByFfmpeg(nonReferenceBMp4(), "-map 0:v -fps_mode passthrough -f rawvideo");
  auto const shows = [&](Player const& player, int frame) {
    return std::equal(player.picture().begin(), player.picture().end(),
                      pictures.begin() + static_cast<std::ptrdiff_t>(kPicture) * frame);
  };
  int const broken = someBidirectionalPicture();
  ASSERT_GT(broken, 0);
  std::string const path = withBrokenPicture(broken);
  for (int const threads : {1, 4}) {
    SCOPED_TRACE(threads);
    Player player;
    ASSERT_EQ(player.openVideo(path), 0);
    ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxThreads, nullptr, threads), 0);
    EXPECT_EQ(player->video.frames, 75);
    for (int frame = 0; frame < 75; ++frame) {
      int const result = player.next();
      if (frame == broken) {
        EXPECT_EQ(result, kMpegError);
        EXPECT_TRUE(shows(player, frame - 1)) << "the target was written";
      } else {
        ASSERT_EQ(result, 0) << frame;
        ASSERT_TRUE(shows(player, frame)) << frame;
      }
    }
    EXPECT_EQ(player.stats().seeks, 0);
    EXPECT_TRUE(wasPrinted("picture " + std::to_string(broken)));
    EXPECT_EQ(player.seek(broken), kMpegError);
    EXPECT_EQ(player.seek(broken + 1), 0);
    EXPECT_TRUE(shows(player, broken + 1));
    EXPECT_EQ(player.seek(broken - 1), 0);
    EXPECT_TRUE(shows(player, broken - 1));
  }
}

TEST(Failure, DamagedFiles_AnswerEveryCallWithinTheirOwnPictures) {
  std::mt19937 random(3);
  for (std::string const& path : {openGopMp4(), openGopMov(), hevc10Mp4()}) {
    std::vector<uint8_t> const whole = fileBytes(path);
    int opened = 0;
    for (int round = 0; round < 12; ++round) {
      SCOPED_TRACE(path + ", round " + std::to_string(round));
      std::vector<uint8_t> bytes = whole;
      for (int i = 0; i < (round % 3 + 1) * 40; ++i)
        bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
      // Half of the rounds hit the tables, which ffmpeg writes at the end.
      if (round % 2)
        for (int i = 0; i < 10; ++i)
          bytes[bytes.size() - 1 - random() % 6000] = static_cast<uint8_t>(random());
      std::string const damaged = scratch("damaged.mp4");
      writeFile(damaged, bytes.data(), bytes.size());
      Player player;
      bool const deep = path == hevc10Mp4();
      int const result = deep ? player.openVideo(damaged, "W016") : player.openVideo(damaged, "I420");
      EXPECT_TRUE(result == 0 || (result <= kMpegErrorOpen && result >= kMpegErrorMemory)) << result;
      if (result != 0) continue;
      ++opened;
      int const frames = player->video.frames;
      size_t const size = player.target().size();
      for (int i = 0; i < 20 && frames > 0; ++i) {
        int const frame = static_cast<int>(random() % static_cast<unsigned>(frames));
        int const sought = player.seek(frame);
        EXPECT_TRUE(sought == 0 || sought == kMpegError) << sought;
        int const read = player.next();
        EXPECT_TRUE(read == 0 || read == kMpegError || read == kMpegEndOfStream) << read;
      }
      EXPECT_EQ(player.target().size(), size);
      // No request costs more than the file from its beginning, for the picture and the one after it.
      EXPECT_LE(player.stats().packets, int64_t{20} * 2 * (frames + 1));
      EXPECT_EQ(player.seek(frames), kMpegEndOfStream);
      EXPECT_NE(player.seek(-1), 0);
    }
    EXPECT_GE(opened, 6) << "rounds that spare the tables open";
  }
}

TEST(AStreamWithoutAnyPacket, IsNeitherKnownNorUnknownAndIsWarnedOf) {
  std::string const whole = clip("announced.ts",
                                 "-f lavfi -i testsrc2=s=96x64:r=25:d=1 -f lavfi -i sine=d=1 -c:v mpeg2video "
                                 "-c:a mp2 {out}");
  std::string const silent = scratch("announced_only.ts");
  linesOf(std::string("python3 -B ") + KY_SAMPLES_DIR + "/without_pid.py " + whole + " " + silent + " 0x101");
  Player player;
  ASSERT_EQ(player.parse(silent), kMpegOk);
  EXPECT_EQ(player->nVideo, 1);
  EXPECT_EQ(player->nUnknownAudio, 0);
  for (int const count : player->nAudio) EXPECT_EQ(count, 0);
  EXPECT_TRUE(wasPrinted("of which no packet is there"));
}

}  // namespace
