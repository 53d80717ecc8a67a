#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "clips.h"
#include "player.h"

namespace {

TEST(Api, ModuleQueries_AnswerNameAndVersion) {
  using Query = int (*)(int, void*);
  auto* query = reinterpret_cast<Query>(mpegInGetAPIExt(1));
  ASSERT_NE(query, nullptr);
  EXPECT_EQ(mpegInGetAPIExt(2), nullptr);
  char name[128] = {}, version[128] = {};
  EXPECT_EQ(query(1, name), 0);
  EXPECT_STREQ(name, "mfimport");
  MpegModuleVersion record{};
  record.type = -1;
  EXPECT_EQ(query(3, &record), 0);
  EXPECT_EQ(record.type, 1);
  EXPECT_EQ(query(4, version), 0);
  EXPECT_EQ(std::string(version), std::to_string(record.major) + "." + std::to_string(record.minor) + "." +
                                      std::to_string(record.revision));
  EXPECT_NE(query(9, version), 0);
  EXPECT_NE(query(3, nullptr), 0);
}

TEST(Api, NullInstances_AreRefusedOrIgnored) {
  EXPECT_LT(mpegInGetInfo(nullptr), 0);
  EXPECT_LT(mpegInOpen(nullptr, "x"), 0);
  EXPECT_LT(mpegInSeekFrame(nullptr, 0), 0);
  EXPECT_LT(mpegInGetNextFrame(nullptr), 0);
  EXPECT_LT(mpegInSeekSample64(nullptr, 0, 0, 0), 0);
  EXPECT_LT(mpegInGetNextSample(nullptr, nullptr, 1), 0);
  mpegInClose(nullptr);
  mpegInFree(nullptr);
  mfimportFree(nullptr);
  mfimportStreamFree(nullptr);
}

TEST(Api, InstanceWithoutCallbacks_Works) {
  MpegIn* instance = mpegInNew(nullptr, 0);
  ASSERT_NE(instance, nullptr);
  EXPECT_EQ(mpegInOpen(instance, "/nowhere"), kMpegErrorOpen);
  EXPECT_EQ(mpegInOpen(instance, openGopMp4().c_str()), 0);
  mpegInFree(instance);
}

TEST(Api, CallsBeforeOpening_AreErrors) {
  Player player;
  EXPECT_LT(player.seek(0), 0);
  EXPECT_LT(player.next(), 0);
  EXPECT_LT(player.seekSample(0), 0);
  EXPECT_EQ(mpegInGetInfo(player.get()), kMpegErrorOpen);
}

TEST(Api, ParsingAMovie_ReportsItsFacts) {
  Player player;
  ASSERT_EQ(player.parse(mpeg2Mov()), 0);
  EXPECT_EQ(player->containerType, kContainerQuickTime);
  EXPECT_EQ(player->nVideo, 1);
  EXPECT_EQ(player->nAudio[kAudioAes3], 2);
  EXPECT_EQ(player->nUnknownVideo + player->nUnknownAudio + player->nSubpictures, 0);
  EXPECT_EQ(player->fileSize, static_cast<int64_t>(fileBytes(mpeg2Mov()).size()));
  EXPECT_EQ(player->hasVideoDecoder, 1);
  EXPECT_EQ(player->hasAudioDecoder, 1);
  MpegVideoInfo const& video = player->video;
  EXPECT_EQ(video.present, 1);
  EXPECT_EQ(video.mpeg2, 1);
  EXPECT_EQ(video.width, 1920);
  EXPECT_EQ(video.height, 1080);
  EXPECT_EQ(video.frames, 50);
  EXPECT_DOUBLE_EQ(video.rate, 25);
  EXPECT_DOUBLE_EQ(video.secondRate, 25);
  EXPECT_EQ(video.progressive, 0);
  EXPECT_EQ(video.topFieldFirst, 1);
  EXPECT_EQ(video.gopN, 12);
  EXPECT_EQ(video.gopM, 3);
  EXPECT_EQ(video.aspectCode, 3);
  EXPECT_EQ(video.chromaFormat, 1);
  EXPECT_EQ(video.sourceDepth, 8);
  EXPECT_EQ(video.profileType, 43U);
  EXPECT_EQ(player->videoId[0].pid, 0);
  EXPECT_EQ(player->audioId[kAudioAes3][1].pid, 2);
  EXPECT_EQ(player->audio.rate, 48000);
}

TEST(Api, H264Facts_ComeFromItsParameterSets) {
  std::string const path =
      clip("cbr.mp4",
           "-f lavfi -i testsrc2=s=720x576:r=25:d=1 -c:v libx264 -preset veryfast -pix_fmt yuv420p "
           "-b:v 2M -x264-params nal-hrd=cbr:vbv-maxrate=2000:vbv-bufsize=2000:sar=16/11 {out}");
  Player player;
  ASSERT_EQ(player.parse(path), 0);
  EXPECT_EQ(player->video.h264, 1);
  EXPECT_EQ(player->video.cbr, 1);
  EXPECT_EQ(player->video.aspectPresent, 1);
  EXPECT_EQ(player->video.aspectIdc, 4);
  EXPECT_EQ(player->containerType, kContainerMp4);
}

TEST(Api, ExtendedHeader_TurnsDeepSourcesToY216) {
  Player player;
  ASSERT_EQ(player.parse(hevc10Mp4()), 0);
  MpegExtendedHeader const* header = nullptr;
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxExtendedHeader, &header, sizeof(MpegExtendedHeader)), 0);
  ASSERT_NE(header, nullptr);
  EXPECT_EQ(header->sourceDepth, 10);
  EXPECT_EQ(header->fourcc, mpegFourcc("Y216"));
  EXPECT_EQ(player->video.fourcc, mpegFourcc("Y216"));
  ASSERT_EQ(player.parse(openGopMp4()), 0);
  player->video.fourcc = 0;
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxExtendedHeader, &header, sizeof(MpegExtendedHeader)), 0);
  EXPECT_EQ(header->fourcc, 0U);
  EXPECT_EQ(player->video.fourcc, 0U);
}

TEST(Api, UnknownRequests_AreUnsupported) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  EXPECT_EQ(mpegInVideoAuxinfo(player.get(), 0, 1, nullptr, 0), kMpegErrorUnsupported);
  EXPECT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxSmpMode, nullptr, 3), kMpegErrorUnsupported);
  EXPECT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxThreads, nullptr, 0), kMpegErrorUnsupported);
  uint8_t record[16];
  EXPECT_EQ(mpegInAudioAuxinfo(player.get(), 0, kAuxDolbyConfig, record, 16), kMpegErrorUnsupported);
}

TEST(Api, UserDataOfH264Pictures_IsTheirSeiMessages) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.seek(0), 0);
  MpegSeiList const* list = nullptr;
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxUserDataH264, &list, 8), 0);
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->count, 1);  // the encoder signs its first picture
  EXPECT_EQ(list->entries[0].type, 5);
  std::string const text(reinterpret_cast<char const*>(list->entries[0].data) + 16,
                         static_cast<size_t>(list->entries[0].size) - 16);
  EXPECT_EQ(text.rfind("x264", 0), 0U);
  ASSERT_EQ(player.next(), 0);
  ASSERT_EQ(mpegInVideoAuxinfo(player.get(), 0, kAuxUserDataH264, &list, 8), 0);
  EXPECT_EQ(list->count, 0);
}

TEST(Api, ForcedFrameRate_TakesTheOneAskedFor) {
  Player player;
  player->set.forceFrameRate = 1;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  EXPECT_DOUBLE_EQ(player->video.rate, player->video.containerFps);
}

TEST(Api, Reopening_ReplacesWhatWasOpen) {
  Player player;
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  ASSERT_EQ(player.openVideo(nonReferenceBMp4()), 0);
  EXPECT_EQ(player->video.frames, 75);
  mpegInClose(player.get());
  EXPECT_LT(player.seek(0), 0);
  ASSERT_EQ(player.openVideo(openGopMp4()), 0);
  EXPECT_EQ(player.seek(0), 0);
}

TEST(Api, Memory_GoesBackThroughTheCallbacks) {
  int64_t const before = blocksInUse();
  {
    Player player;
    ASSERT_EQ(player.openVideo(openGopMp4()), 0);
    ASSERT_EQ(player.seek(9), 0);
    EXPECT_GT(blocksInUse(), before);
  }
  EXPECT_EQ(blocksInUse(), before);
}

TEST(Api, InstancesOnOneFile_WorkInDifferentThreads) {
  std::string const path = openGopMp4();
  std::vector<std::vector<uint8_t>> pictures(4);
  std::vector<std::thread> threads;
  Player holder;  // one instance, so that the printed messages of the others stay apart
  for (size_t i = 0; i < pictures.size(); ++i)
    threads.emplace_back([&, i] {
      Player player;
      if (player.openVideo(path) != 0) return;
      for (int frame = 0; frame < 60; frame += 7) player.seek(frame);
      player.seek(77);
      pictures[i] = player.picture();
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(pictures[0].empty());
  for (auto const& picture : pictures) EXPECT_EQ(picture, pictures[0]);
}

}  // namespace
