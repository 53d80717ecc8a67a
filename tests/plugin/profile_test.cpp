#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "mfimport/mfimport.h"
#include "mfimport/profiles.h"
#include "mpeg12/mpegutil.h"

namespace {

struct Name {
  uint32_t code;
  char const* name;
};

class ProfileName : public testing::TestWithParam<Name> {};

TEST_P(ProfileName, IsThatOfTheTable) { EXPECT_STREQ(profileName(GetParam().code), GetParam().name); }

INSTANTIATE_TEST_SUITE_P(
    AllCodes, ProfileName,
    testing::Values(Name{0, "MPEG1"}, Name{1, "VCD"}, Name{2, "MPEG2"}, Name{3, "SVCD"}, Name{4, "DVD"},
                    Name{5, ""}, Name{6, ""}, Name{7, ""}, Name{8, "DVB"}, Name{9, ""}, Name{10, "DVHS"},
                    Name{11, "ATSC"}, Name{12, "ATSC HI"}, Name{13, ""}, Name{14, ""}, Name{15, ""},
                    Name{16, ""}, Name{17, ""}, Name{18, "HDV HD1"}, Name{19, "HDV Hd2"}, Name{20, "D10"},
                    Name{21, "D10"}, Name{22, "D10"}, Name{23, "D10"}, Name{24, ""}, Name{25, ""},
                    Name{26, "Blu-ray"}, Name{27, "Blu-ray (HD)"}, Name{28, "XDCAM IMX"},
                    Name{29, "XDCAM IMX"}, Name{30, "XDCAM IMX"}, Name{31, "XDCAM IMX"}, Name{32, "XDCAM HD"},
                    Name{33, "XDCAM HD"}, Name{34, "XDCAM HD"}, Name{35, "XDCAM HD"}, Name{36, "XDCAM HD"},
                    Name{37, "XDCAM HD"}, Name{38, "XDCAM HD"}, Name{39, "XDCAM HD"}, Name{40, "XDCAM HD"},
                    Name{41, "XDCAM EX"}, Name{42, "XDCAM EX"}, Name{43, "XDCAM EX"}, Name{44, "AVCHD"},
                    Name{45, ""}, Name{0xFFFFFFFF, ""}),
    [](auto const& test) { return "Code" + std::to_string(test.param.code); });

TEST(ProfileTable, HasEveryCodeOnceInRisingOrder) {
  for (size_t i = 1; i < std::size(mpegprofile::kProfiles); ++i)
    EXPECT_LT(mpegprofile::kProfiles[i - 1].code, mpegprofile::kProfiles[i].code) << i;
}

TEST(ProfileTable, CallsTheProfilesOfBlankingLinesImx) {
  for (uint32_t code = 0; code < 50; ++code)
    EXPECT_EQ(mpegprofile::isImx(code), (code >= 21 && code <= 23) || (code >= 28 && code <= 31)) << code;
}

TEST(Containers, AreProgramStreamsTransportStreamsOrNeither) {
  for (int type = -1; type <= 21; ++type) {
    EXPECT_EQ(mpegIsProgramStream(type), type == 1 || type == 2) << type;
    EXPECT_EQ(mpegIsTransportStream(type), type == 3 || type == 7) << type;
  }
}

struct Guess {
  char const* title;
  int fileType;
  int h264, width, height;
  double bitRate;
  uint32_t profileType;
  int a, b, c;
  uint32_t identifier;
};

class ProfileGuess : public testing::TestWithParam<Guess> {};

TEST_P(ProfileGuess, IsTheHostsNumber) {
  Guess const& guess = GetParam();
  MpegVideoInfo video{};
  video.h264 = guess.h264;
  video.width = guess.width;
  video.height = guess.height;
  video.bitRate = guess.bitRate;
  video.profileType = guess.profileType;
  video.selA = guess.a;
  video.selB = guess.b;
  video.selC = guess.c;
  EXPECT_EQ(guessProfile(guess.fileType, video), guess.identifier);
}

auto guessTitle = [](auto const& test) { return std::string(test.param.title); };

INSTANTIATE_TEST_SUITE_P(
    ByContainer, ProfileGuess,
    testing::Values(Guess{"D10At50", 6, 0, 720, 576, 5000000.0, 2, 0, 0, 0, 0x20d0004},
                    Guess{"D10JustBelow50Rounds", 6, 0, 720, 576, 4999999.6, 2, 0, 0, 0, 0x20d0004},
                    Guess{"D10At49999994DoesNot", 6, 0, 720, 576, 4999999.4, 2, 0, 0, 0, 0x20d0002},
                    Guess{"D10At40", 6, 0, 720, 576, 4000000.0, 2, 0, 0, 0, 0x20d0003},
                    Guess{"D10OtherRate", 6, 0, 720, 576, 3000000.0, 2, 0, 0, 0, 0x20d0002},
                    Guess{"D10BeforeH264", 6, 1, 1920, 1080, 0.0, 2, 0, 0, 0, 0x20d0002},
                    Guess{"AvcIntra1440", 19, 1, 1440, 1080, 0.0, 2, 0, 0, 0, 0x2100001},
                    Guess{"AvcIntra960", 19, 1, 960, 720, 0.0, 2, 0, 0, 0, 0x2100001},
                    Guess{"AvcIntra1920", 19, 1, 1920, 1080, 0.0, 2, 0, 0, 0, 0x2100002},
                    Guess{"H264Above720", 4, 1, 1920, 1080, 0.0, 4, 0, 0, 0, 0x2160003},
                    Guess{"H264Of721", 4, 1, 1280, 721, 0.0, 4, 0, 0, 0, 0x2160003},
                    Guess{"H264Of720", 4, 1, 1280, 720, 0.0, 4, 0, 0, 0, 0x2160002}),
    guessTitle);

INSTANTIATE_TEST_SUITE_P(ByProfileType, ProfileGuess,
                         testing::Values(Guess{"Type0", 2, 0, 352, 288, 0, 0, 0, 0, 0, 0x2160009},
                                         Guess{"Type1", 2, 0, 352, 288, 0, 1, 0, 0, 0, 0x2050001},
                                         Guess{"Type3", 2, 0, 480, 576, 0, 3, 0, 0, 0, 0x2040002},
                                         Guess{"Type4", 2, 0, 720, 576, 0, 4, 0, 0, 0, 0x2040001},
                                         Guess{"Type8Of720", 3, 0, 720, 576, 0, 8, 0, 0, 0, 0x2140003},
                                         Guess{"Type8Of721", 3, 0, 721, 576, 0, 8, 0, 0, 0, 0x2140004},
                                         Guess{"Type11Of720", 3, 0, 720, 480, 0, 11, 0, 0, 0, 0x2140001},
                                         Guess{"Type11Of721", 3, 0, 721, 480, 0, 11, 0, 0, 0, 0x2140002},
                                         Guess{"Type12Of720", 3, 0, 720, 480, 0, 12, 0, 0, 0, 0x2140001},
                                         Guess{"Type12Of1920", 3, 0, 1920, 1080, 0, 12, 0, 0, 0, 0x2140002},
                                         Guess{"Type18", 3, 0, 1280, 720, 0, 18, 0, 0, 0, 0x2150001},
                                         Guess{"Type19", 3, 0, 1440, 1080, 0, 19, 0, 0, 0, 0x2150002},
                                         Guess{"Type20", 5, 0, 720, 576, 0, 20, 0, 0, 0, 0x20d0002},
                                         Guess{"Type21", 5, 0, 720, 576, 0, 21, 0, 0, 0, 0x20d0002},
                                         Guess{"Type22", 5, 0, 720, 576, 0, 22, 0, 0, 0, 0x20d0003},
                                         Guess{"Type23", 5, 0, 720, 576, 0, 23, 0, 0, 0, 0x20d0004},
                                         Guess{"Type26", 7, 0, 1920, 1080, 0, 26, 0, 0, 0, 0x2030004},
                                         Guess{"Type27", 7, 0, 1920, 1080, 0, 27, 0, 0, 0, 0x2030003},
                                         Guess{"Type28", 5, 0, 720, 576, 0, 28, 0, 0, 0, 0x20d0002},
                                         Guess{"Type29", 5, 0, 720, 576, 0, 29, 0, 0, 0, 0x20d0002},
                                         Guess{"Type30", 5, 0, 720, 576, 0, 30, 0, 0, 0, 0x20d0003},
                                         Guess{"Type31", 5, 0, 720, 576, 0, 31, 0, 0, 0, 0x20d0004},
                                         Guess{"Type32", 5, 0, 1440, 1080, 0, 32, 0, 0, 0, 0x20f0002},
                                         Guess{"Type33", 5, 0, 1440, 1080, 0, 33, 0, 0, 0, 0x20f0003},
                                         Guess{"Type34", 5, 0, 1440, 1080, 0, 34, 0, 0, 0, 0x20f0004},
                                         Guess{"Type35", 5, 0, 1280, 720, 0, 35, 0, 0, 0, 0x20f0007},
                                         Guess{"Type36", 5, 0, 1280, 720, 0, 36, 0, 0, 0, 0x20f0008},
                                         Guess{"Type37", 5, 0, 1280, 720, 0, 37, 0, 0, 0, 0x20f0009},
                                         Guess{"Type38", 5, 0, 1920, 1080, 0, 38, 0, 0, 0, 0x20f0005},
                                         Guess{"Type39", 5, 0, 1920, 1080, 0, 39, 0, 0, 0, 0x20f0001},
                                         Guess{"Type40", 5, 0, 1920, 1080, 0, 40, 0, 0, 0, 0x20f0005},
                                         Guess{"Type41", 4, 0, 1280, 720, 0, 41, 0, 0, 0, 0x20e0001},
                                         Guess{"Type42", 4, 0, 1440, 1080, 0, 42, 0, 0, 0, 0x20e0002},
                                         Guess{"Type43", 4, 0, 1920, 1080, 0, 43, 0, 0, 0, 0x20e0003}),
                         guessTitle);

INSTANTIATE_TEST_SUITE_P(BySelectors, ProfileGuess,
                         testing::Values(Guess{"Chroma422", 2, 0, 720, 576, 0, 2, 2, 1, 6, 0x216000e},
                                         Guess{"HdProgram", 2, 0, 720, 576, 0, 2, 1, 1, 6, 0x216000d},
                                         Guess{"HdOther", 2, 0, 720, 576, 0, 2, 1, 0, 6, 0x216000b},
                                         Guess{"SdProgram", 2, 0, 720, 576, 0, 2, 1, 1, 4, 0x216000c},
                                         Guess{"SifProgram", 2, 0, 352, 288, 0, 2, 1, 1, 5, 0x216000c},
                                         Guess{"SifElementary", 0, 0, 352, 288, 0, 2, 1, 0, 5, 0x216000a},
                                         Guess{"SdElementary", 0, 0, 720, 576, 0, 2, 1, 0, 4, 0x216000b},
                                         Guess{"Type44", 7, 0, 720, 576, 0, 44, 1, 0, 4, 0x216000b},
                                         Guess{"Type24", 5, 0, 720, 576, 0, 24, 1, 1, 4, 0x216000c}),
                         guessTitle);

}  // namespace
