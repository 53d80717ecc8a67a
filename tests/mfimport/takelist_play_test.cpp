#include <gtest/gtest.h>

#include <cstdio>

#include "clips.h"
#include "player.h"

namespace {

std::string part(int number) {
  std::string const n = std::to_string(number);
  return clip("part" + n + ".mov", "-f lavfi -i testsrc2=s=160x120:r=25:d=" + n + " -f lavfi -i sine=f=" + n +
                                       "00:r=48000:d=" + n + " -vf hue=h=" + n +
                                       "0 -c:v libx264 -preset veryfast -pix_fmt yuv420p -x264-params "
                                       "keyint=12:open-gop=1:bframes=3 -c:a pcm_s16be {out}");
}

std::string list(std::string const& name, std::vector<std::string> const& paths) {
  std::string text = "XMP4\r\n";
  for (std::string const& path : paths) text += path + ";  1\r\n";
  std::string const file = scratch(name);
  writeFile(file, text);
  return file;
}

std::vector<uint8_t> joined(std::vector<std::string> const& paths, std::string const& arguments) {
  std::vector<uint8_t> all;
  for (std::string const& path : paths) {
    auto const one = decodedByFfmpeg(path, arguments);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

constexpr size_t kPicture = 160 * 120 * 3 / 2;

TEST(TakeList, OfThreeClips_PlaysAsOne_WithoutSeeking) {
  std::vector<std::string> const paths = {part(1), part(2), part(3)};
  std::vector<uint8_t> const pictures = joined(paths, "-map 0:v -fps_mode passthrough -f rawvideo");
  Player player;
  ASSERT_EQ(player.openVideo(list("three.mzl", paths)), 0);
  EXPECT_EQ(player->containerType, kContainerMp4);
  ASSERT_EQ(player->video.frames, 150);
  ASSERT_EQ(pictures.size(), 150 * kPicture);
  std::remove(scratch("three.mzl").c_str());  // not needed any more once it is open
  for (int frame = 0; frame < 150; ++frame) {
    ASSERT_EQ(player.next(), 0) << frame;
    ASSERT_TRUE(std::equal(player.picture().begin(), player.picture().end(),
                           pictures.begin() + static_cast<std::ptrdiff_t>(kPicture) * frame))
        << frame;
  }
  EXPECT_EQ(player.next(), kMpegEndOfStream);
  EXPECT_EQ(player.stats().seeks, 0);
  for (int const frame : {149, 25, 24, 74, 75, 76, 0}) {
    ASSERT_EQ(player.seek(frame), 0) << frame;
    ASSERT_TRUE(std::equal(player.picture().begin(), player.picture().end(),
                           pictures.begin() + static_cast<std::ptrdiff_t>(kPicture) * frame))
        << frame;
  }
}

TEST(TakeList, Samples_AreThoseOfTheClipsInARow) {
  std::vector<std::string> const paths = {part(1), part(2), part(3)};
  Player player;
  ASSERT_EQ(player.openAudio(list("sound.mzl", paths), kAudioLpcm), 0);
  EXPECT_EQ(player->audio.samples, 6 * 48000);
  EXPECT_TRUE(player.readAll(1001) == joined(paths, "-map 0:a -f s16le"));
  ASSERT_EQ(player.seekSample(48000 - 3), 0);
  std::vector<uint8_t> across(12);
  EXPECT_EQ(mpegInGetNextSample(player.get(), across.data(), 6), 6);
}

std::string withSound(std::string const& name, std::string const& seconds) {
  return clip(name, "-f lavfi -i testsrc2=s=160x120:r=25:d=1 -f lavfi -i sine=f=500:r=48000:d=" + seconds +
                        " -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a pcm_s16be {out}");
}

TEST(TakeList, SoundWithinAPictureOfTheVideo_IsAppendedAsItIs) {
  std::string const slightlyShort = withSound("sound_0_97.mov", "0.97");
  Player player;
  ASSERT_EQ(player.openAudio(list("slight.mzl", {slightlyShort, part(1)}), kAudioLpcm), 0);
  EXPECT_EQ(player->audio.samples, 46560 + 48000);
  EXPECT_TRUE(printedMessages().empty());
}

TEST(TakeList, ShortSound_IsPaddedAtTheJoint_WithAWarning) {
  Player player;
  ASSERT_EQ(player.openAudio(list("short.mzl", {withSound("sound_0_8.mov", "0.8"), part(1)}), kAudioLpcm), 0);
  EXPECT_EQ(player->audio.samples, 96000);
  EXPECT_TRUE(wasPrinted("silence"));
  std::vector<uint8_t> const all = player.readAll(777);
  ASSERT_EQ(all.size(), 192000U);
  for (size_t i = 38400 * 2; i < 96000; ++i) ASSERT_EQ(all[i], 0);
  auto const second = decodedByFfmpeg(part(1), "-map 0:a -f s16le");
  EXPECT_TRUE(std::equal(second.begin(), second.end(), all.begin() + 96000));
}

TEST(TakeList, LongSound_IsCutAtTheJoint_WithAWarning) {
  Player player;
  ASSERT_EQ(player.openAudio(list("long.mzl", {withSound("sound_1_5.mov", "1.5"), part(1)}), kAudioLpcm), 0);
  EXPECT_EQ(player->audio.samples, 96000);
  EXPECT_TRUE(wasPrinted("left out"));
}

TEST(TakeList, SumOfSizes_IsThatOfTheFilesNotOfTheList) {
  Player player;
  ASSERT_EQ(player.parse(list("sizes.mzl", {part(1), part(2)})), 0);
  EXPECT_EQ(player->fileSize, static_cast<int64_t>(fileBytes(part(1)).size() + fileBytes(part(2)).size()));
}

TEST(TakeList, WithAMissingClip_FailsAndNamesIt) {
  Player player;
  EXPECT_EQ(player.parse(list("missing.mzl", {part(1), "/nowhere/C0002.MP4"})), kMpegErrorTakeList);
  EXPECT_TRUE(wasPrinted("/nowhere/C0002.MP4"));
}

TEST(TakeList, WithClipsThatDiffer_FailsAndNamesTheClip) {
  Player player;
  EXPECT_EQ(player.parse(list("size.mzl", {part(1), openGopMov()})), kMpegErrorTakeList);
  EXPECT_TRUE(wasPrinted("open_gop.mov"));
  EXPECT_EQ(player.parse(list("codec.mzl", {openGopMov(), openGopMp4()})), kMpegErrorTakeList);
  EXPECT_TRUE(wasPrinted("open_gop.mp4"));
}

TEST(TakeList, NamingATakeList_Fails) {
  std::string const inner = list("inner.mzl", {part(1)});
  Player player;
  EXPECT_EQ(player.parse(list("outer.mzl", {inner})), kMpegErrorTakeList);
}

TEST(TakeList, WithNothingButItsFirstLine_Fails) {
  writeFile(scratch("empty.mzl"), "XMP4\r\n");
  Player player;
  EXPECT_EQ(player.parse(scratch("empty.mzl")), kMpegErrorTakeList);
}

}  // namespace
