// Requests for the bit stream information of Dolby streams.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "clips.h"
#include "player.h"

namespace {

constexpr std::pair<int, int> kRequests[] = {
    {kAuxDolbyConfig, 16},   {kAuxDolbyGeneral, 62}, {kAuxDolbyMix, 86},      {kAuxDolbyProduction, 40},
    {kAuxDolbyTimecode, 44}, {kAuxDolbyAddbsi, 66},  {kAuxDolbyAuxdata, 2050}};

std::string ac3Transport() {
  return clip("dialogue.ts", "-f lavfi -i sine=r=48000:d=1 -ac 2 -c:a ac3 -dialnorm -19 {out}");
}

int ask(Player& player, int request, void* record, int size) {
  return mpegInAudioAuxinfo(player.get(), 0, request, record, size);
}

TEST(DolbyRequests, OfTheirSize_FillTheRecordAndNothingBehindIt) {
  Player player;
  ASSERT_EQ(player.openAudio(ac3Transport(), kAudioDolby), 0);
  for (auto const& [request, size] : kRequests) {
    std::vector<uint8_t> record(static_cast<size_t>(size) + 16, 0x5E);
    EXPECT_EQ(ask(player, request, record.data(), size), 0) << request;
    for (size_t i = static_cast<size_t>(size); i < record.size(); ++i) EXPECT_EQ(record[i], 0x5E) << request;
  }
  MpegDolbyGeneral general;
  ASSERT_EQ(ask(player, kAuxDolbyGeneral, &general, sizeof general), 0);
  EXPECT_EQ(general.dialnorm, 19);
}

TEST(DolbyRequests, OfAnotherSize_AreUnsupportedAndLeaveTheRecord) {
  Player player;
  ASSERT_EQ(player.openAudio(ac3Transport(), kAudioDolby), 0);
  for (auto const& [request, size] : kRequests) {
    std::vector<uint8_t> record(4096, 0x5E);
    for (int const wrong : {0, -1, 1, size - 1, size + 1, 4096})
      EXPECT_EQ(ask(player, request, record.data(), wrong), kMpegErrorUnsupported) << request;
    EXPECT_EQ(ask(player, request, nullptr, size), kMpegErrorUnsupported);
    EXPECT_EQ(record, std::vector<uint8_t>(4096, 0x5E));
  }
  uint8_t record[16];
  EXPECT_EQ(ask(player, 0x20000, record, 16), kMpegErrorUnsupported);
  EXPECT_EQ(ask(player, 0x20008, record, 16), kMpegErrorUnsupported);
}

TEST(DolbyRequests, OnOtherStreams_AreUnsupported) {
  Player sound;
  ASSERT_EQ(sound.openAudio(openGopMp4(), kAudioMpegAac), 0);
  Player parsed;
  ASSERT_EQ(parsed.parse(ac3Transport()), 0);
  Player closed;
  ASSERT_EQ(closed.openAudio(ac3Transport(), kAudioDolby), 0);
  mpegInClose(closed.get());
  for (Player* player : {&sound, &parsed, &closed}) {
    for (auto const& [request, size] : kRequests) {
      std::vector<uint8_t> record(static_cast<size_t>(size));
      EXPECT_EQ(ask(*player, request, record.data(), size), kMpegErrorUnsupported) << request;
    }
  }
}

TEST(DolbyRequests, OfAFileThatIsGone_FailAndSaySo) {
  std::string const path = scratch("gone.ac3");
  std::filesystem::copy_file(
      clip("stays.ac3", "-f lavfi -i sine=r=48000:d=1 -ac 2 -c:a ac3 -dialnorm -19 {out}"), path,
      std::filesystem::copy_options::overwrite_existing);
  Player player;
  ASSERT_EQ(player.openAudio(path, kAudioDolby), 0);
  std::filesystem::remove(path);
  MpegDolbyGeneral general;
  std::memset(&general, 0, sizeof general);
  EXPECT_EQ(ask(player, kAuxDolbyGeneral, &general, sizeof general), kMpegError);
  EXPECT_EQ(general.dialnorm, 0);
  EXPECT_TRUE(wasPrinted("bit stream information at sample 0"));
}

TEST(DolbyRequests, TheCodingModeOfTheStream_IsThatOfItsBitStream) {
  Player player;
  ASSERT_EQ(
      player.openAudio(clip("five.mp4", "-f lavfi -i sine=r=48000:d=0.5 -ac 6 -c:a eac3 {out}"), kAudioDolby),
      0);
  EXPECT_EQ(player->audio.acmod, 7);
  EXPECT_EQ(player->audio.lfeon, 1);
  EXPECT_EQ(player->audio.speakers, 0x60FU);
  MpegDolbyGeneral general;
  ASSERT_EQ(ask(player, kAuxDolbyGeneral, &general, sizeof general), 0);
  EXPECT_EQ(general.acmod, 7);
  EXPECT_EQ(general.lfeon, 1);
}

}  // namespace
