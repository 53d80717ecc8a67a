#include "mpegdecode/dolbychannels.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// "L0 R1": names with their places.
std::string channelsOf(int acmod, uint64_t speakers) {
  MpegAudioInfo audio{};
  audio.acmod = acmod;
  audio.speakers = speakers;
  std::string text;
  for (auto const& [name, place] : dolbyChannels(audio))
    text += (text.empty() ? "" : " ") + std::string(name) + std::to_string(place);
  return text;
}

TEST(DolbyChannels, FollowTheCodingMode) {
  EXPECT_EQ(channelsOf(0, 0x003), "Ch10 Ch21");
  EXPECT_EQ(channelsOf(1, 0x004), "C0");
  EXPECT_EQ(channelsOf(2, 0x003), "L0 R1");
  EXPECT_EQ(channelsOf(3, 0x007), "L0 C2 R1");
  EXPECT_EQ(channelsOf(4, 0x103), "L0 R1 S2");
  EXPECT_EQ(channelsOf(5, 0x107), "L0 C2 R1 S3");
  EXPECT_EQ(channelsOf(6, 0x603), "L0 R1 Ls2 Rs3");
  EXPECT_EQ(channelsOf(7, 0x607), "L0 C2 R1 Ls3 Rs4");
}

TEST(DolbyChannels, WithLfe_HaveItBehindTheFrontOnes) {
  EXPECT_EQ(channelsOf(0, 0x00B), "Ch10 Ch21 LFE2");
  EXPECT_EQ(channelsOf(1, 0x00C), "C0 LFE1");
  EXPECT_EQ(channelsOf(2, 0x00B), "L0 R1 LFE2");
  EXPECT_EQ(channelsOf(3, 0x00F), "L0 C2 R1 LFE3");
  EXPECT_EQ(channelsOf(4, 0x10B), "L0 R1 S3 LFE2");
  EXPECT_EQ(channelsOf(5, 0x10F), "L0 C2 R1 S4 LFE3");
  EXPECT_EQ(channelsOf(6, 0x60B), "L0 R1 Ls3 Rs4 LFE2");
  EXPECT_EQ(channelsOf(7, 0x60F), "L0 C2 R1 Ls4 Rs5 LFE3");
}

TEST(DolbyChannels, SurroundsMayBeBackSpeakers) {
  EXPECT_EQ(channelsOf(7, 0x03F), "L0 C2 R1 Ls4 Rs5 LFE3");
  EXPECT_EQ(channelsOf(6, 0x033), "L0 R1 Ls2 Rs3");
}

TEST(DolbyChannels, OfDependentSubstreams_StandBehindThoseOfTheMode) {
  EXPECT_EQ(channelsOf(7, 0x63F), "L0 C2 R1 Ls6 Rs7 Lrs4 Rrs5 LFE3");
  EXPECT_EQ(channelsOf(7, 0x70F), "L0 C2 R1 Ls5 Rs6 Cs4 LFE3");
  EXPECT_EQ(channelsOf(7, 0x560F), "L0 C2 R1 Ls4 Rs5 Lvh6 Rvh7 LFE3");
}

TEST(DolbyChannels, OfUnknownSpeakersOrModes_AreNone) {
  EXPECT_EQ(channelsOf(7, 0), "");
  EXPECT_EQ(channelsOf(8, 0x607), "");
  EXPECT_EQ(channelsOf(-1, 0x607), "");
}

}  // namespace
