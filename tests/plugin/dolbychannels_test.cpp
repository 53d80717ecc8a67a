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

// Speaker masks as WAVE numbers them; from bit 31 on as libavutil goes on.
TEST(DolbyChannels, OfDependentSubstreams_HaveTheNamesOfTheStandard) {
  struct Row {
    uint64_t mask;
    char const* name;
  };
  for (Row const& row :
       {Row{1ULL << 6, "Lc"}, Row{1ULL << 7, "Rc"}, Row{1ULL << 4, "Lrs"}, Row{1ULL << 5, "Rrs"},
        Row{1ULL << 8, "Cs"}, Row{1ULL << 11, "Ts"}, Row{1ULL << 33, "Lsd"}, Row{1ULL << 34, "Rsd"},
        Row{1ULL << 31, "Lw"}, Row{1ULL << 32, "Rw"}, Row{1ULL << 12, "Lvh"}, Row{1ULL << 14, "Rvh"},
        Row{1ULL << 13, "Cvh"}, Row{1ULL << 35, "LFE2"}})
    EXPECT_EQ(channelsOf(2, 0x3 | row.mask), "L0 R1 " + std::string(row.name) + "2");
  EXPECT_EQ(channelsOf(2, 0xF800079F3),
            "L0 R1 Lc4 Rc5 Lrs2 Rrs3 Cs6 Ts7 Lsd13 Rsd14 Lw11 Rw12 Lvh8 Rvh10 Cvh9 LFE215");
}

TEST(DolbyChannels, OfSpeakersThatTheModeDoesNotHave_AreNotNamed) {
  EXPECT_EQ(channelsOf(1, 0x005), "C1");
  EXPECT_EQ(channelsOf(1, 0x001), "");
  EXPECT_EQ(channelsOf(2, 0x607), "L0 R1");
}

TEST(DolbyChannels, ThatAreNotDelivered_AreNotNamed) {
  EXPECT_EQ(channelsOf(2, 0x001), "L0");
  EXPECT_EQ(channelsOf(2, 0x002), "R0");
  EXPECT_EQ(channelsOf(7, 0x606), "C1 R0 Ls2 Rs3");
}

TEST(DolbyChannels, AtTheSidesTakeTheBackOnesOnlyWhereThereAreNone) {
  EXPECT_EQ(channelsOf(7, 0x207), "L0 C2 R1 Ls3") << "one of the two";
  EXPECT_EQ(channelsOf(7, 0x407), "L0 C2 R1 Rs3");
  EXPECT_EQ(channelsOf(7, 0x017), "L0 C2 R1 Ls3");
  EXPECT_EQ(channelsOf(7, 0x027), "L0 C2 R1 Rs3");
}

TEST(DolbyChannels, OfUnknownSpeakersOrModes_AreNone) {
  EXPECT_EQ(channelsOf(7, 0), "");
  EXPECT_EQ(channelsOf(8, 0x607), "");
  EXPECT_EQ(channelsOf(-1, 0x607), "");
}

}  // namespace
