// The program with the real plug-in, on the sample card and on files made by ffmpeg.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/kyhost/program.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using nlohmann::json;
namespace fs = std::filesystem;
using test::quoted;

fs::path clipFile(std::string const& clip, std::string const& ending) {
  return test::sampleCard(true) / "BPAV" / "CLPR" / clip / (clip + ending);
}

std::vector<uint8_t> picturesOfClips() {
  std::vector<uint8_t> all;
  for (fs::path const& clip : test::spannedTake(true).clips) {
    auto const pictures = test::rawPictures(clip, "yuv420p");
    all.insert(all.end(), pictures.begin(), pictures.end());
  }
  return all;
}

// Samples of the mono tracks of all clips of the take, interleaved.
std::vector<uint8_t> soundOfClips(int tracks) {
  std::vector<uint8_t> all;
  for (fs::path const& clip : test::spannedTake(true).clips) {
    std::vector<std::vector<uint8_t>> mono;
    for (int track = 0; track < tracks; ++track) mono.push_back(test::samples(clip, track, "s16le"));
    for (size_t at = 0; at + 1 < mono[0].size(); at += 2) {
      for (auto const& samples : mono) all.insert(all.end(), {samples.at(at), samples.at(at + 1)});
    }
  }
  return all;
}

TEST(CardInfo, SpannedTake_IsOneStreamWithItsMonoTracksJoined) {
  Outcome const run = kyhost("info --json " + quoted(test::spannedTake(true).description));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  json const info = json::parse(run.output);
  EXPECT_EQ(info["plugin"]["version"], "3.7.2.22591");
  ASSERT_EQ(info["video"].size(), 1U);
  EXPECT_EQ(info["video"][0]["frames"], 37 + 25 + 41);
  EXPECT_EQ(info["video"][0]["framerate"]["order"], 1);
  ASSERT_EQ(info["audio"].size(), 1U);
  EXPECT_EQ(info["audio"][0]["channels"], 4);
  EXPECT_EQ(info["audio"][0]["_joined"], (json{0, 1, 2, 3}));
  EXPECT_EQ(info["container"]["filename"], test::spannedTake(true).description.string());
}

TEST(CardFrames, SpannedTake_EqualsItsClipsOneAfterAnother) {
  Folder const folder;
  Outcome const run = kyhost("frames -q " + quoted(test::spannedTake(true).description) + " -o " +
                             quoted(folder / "take.y4m"));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(fileText(folder / "take.y4m").rfind("YUV4MPEG2 W352 H288 F25:1 It ", 0), 0U);
  EXPECT_TRUE(test::rawPictures(folder / "take.y4m", "yuv420p") == picturesOfClips());
  EXPECT_EQ(folder.entries(), std::vector<std::string>{"take.y4m"});
}

TEST(CardFrames, RangeAcrossAJoint_EqualsTheSamePicturesOfTheWhole) {
  auto const whole = picturesOfClips();
  size_t const bytes = 352 * 288 * 3 / 2;
  Outcome const run =
      kyhost("frames -q --format raw -o - --from 35 --to 40 " + quoted(test::spannedTake(true).description));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_TRUE(std::equal(run.output.begin(), run.output.end(),
                         reinterpret_cast<char const*>(whole.data()) + 35 * bytes,
                         reinterpret_cast<char const*>(whole.data()) + 40 * bytes));
}

TEST(CardFrames, DropFrameClip_HasTheExactRate) {
  Outcome const run = kyhost("frames -q --to 1 -o - " + quoted(clipFile("632_0003_01", ".SMI")));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_NE(run.output.substr(0, 80).find(" F30000:1001 It "), std::string::npos);
}

TEST(CardAudio, SpannedTake_EqualsTheTracksOfItsClips) {
  Folder const folder;
  std::string const take = quoted(test::spannedTake(true).description);
  ASSERT_EQ(kyhost("audio -q " + take + " -o " + quoted(folder / "take.wav")).code, 0);
  EXPECT_TRUE(test::samples(folder / "take.wav", 0, "s16le") == soundOfClips(4));
}

TEST(CardAudio, WithoutJoining_EveryTrackIsAStream) {
  Folder const folder;
  std::string const take = quoted(test::spannedTake(true).description);
  json const info = json::parse(kyhost("info --json --set joinMonoStreams=0 " + take).output);
  EXPECT_EQ(info["audio"].size(), 4U);
  ASSERT_EQ(
      kyhost("audio -q --set joinMonoStreams=0 --stream 2 " + take + " -o " + quoted(folder / "2.wav")).code,
      0);
  auto const joined = soundOfClips(4);
  std::vector<uint8_t> third;
  for (size_t at = 4; at + 1 < joined.size(); at += 8)
    third.insert(third.end(), {joined[at], joined[at + 1]});
  EXPECT_TRUE(test::samples(folder / "2.wav", 0, "s16le") == third);
}

TEST(CardHash, Frames_AreThoseOfAnIndependentDecoder) {
  Outcome const run = kyhost("hash -q " + quoted(test::spannedTake(true).description));
  ASSERT_EQ(run.code, 0) << run.errors;
  std::vector<std::string> expected;
  for (fs::path const& clip : test::spannedTake(true).clips) {
    for (std::string const& hash : test::frameHashes(clip))
      expected.push_back("v0 " + std::to_string(expected.size()) + " " + hash);
  }
  std::istringstream lines(run.output);
  std::string line;
  for (std::string const& hash : expected) {
    std::getline(lines, line);
    ASSERT_EQ(line, hash);
  }
  std::getline(lines, line);
  EXPECT_EQ(line.rfind("v0 total 103 ", 0), 0U) << line;
}

TEST(CardHash, ThreadsDoNotChangeIt) {
  std::string const take = quoted(test::spannedTake(true).description);
  EXPECT_EQ(kyhost("hash -q --threads 1 " + take).output, kyhost("hash -q --threads 3 " + take).output);
}

TEST(CardDescription, OpensFromItsOwnFolder_AndAsSidecar) {
  fs::path const folder = test::spannedTake(true).description.parent_path();
  for (char const* name : {"632_0001_01.SMI", "632_0001_01M01.XML"}) {
    Outcome const run =
        shell("cd " + quoted(folder) + " && " + kyhostCommand(std::string("info --json ") + name));
    ASSERT_EQ(run.code, 0) << run.errors;
    EXPECT_EQ(json::parse(run.output)["video"][0]["frames"], 103) << name;
  }
}

TEST(CardDescription, LeavesNoTakeListBehind) {
  Folder const temporary;
  std::string const environment =
      "TMPDIR=" + temporary.path().string() + " KY_TEMP_DIR=" + temporary.path().string() + " ";
  std::string const take = quoted(test::spannedTake(true).description);
  ASSERT_EQ(shell(environment + kyhostCommand("hash -q " + take)).code, 0);
  ASSERT_EQ(shell(environment + kyhostCommand("info --set module.forgivingCards=0 " +
                                              quoted(clipFile("632_0004_01", ".SMI"))))
                .code,
            3);
  EXPECT_EQ(temporary.entries(), std::vector<std::string>{});
}

TEST(CardDescription, ThatTheCatalogueListsNoClipsFor_NamesTheEssenceFile) {
  Outcome const run = kyhost("info --set module.forgivingCards=0 " + quoted(clipFile("632_0004_01", ".SMI")));
  EXPECT_EQ(run.code, 3);
  EXPECT_EQ(run.output, "");
  fs::path const essence = clipFile("632_0004_01", ".MP4");
  EXPECT_NE(run.errors.find("No mp4 file found"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("open its essence file instead:\n    " + essence.string()), std::string::npos)
      << run.errors;
  EXPECT_EQ(kyhost("info " + quoted(essence)).code, 0);
}

// Layouts of the sample card and how many of their descriptions the card search follows without allowance.
struct Layout {
  char const* options;
  size_t descriptions, followed;
};

class CardLayout : public testing::TestWithParam<Layout> {
 protected:
  std::vector<fs::path> descriptions() const {
    std::string name = GetParam().options;
    std::replace(name.begin(), name.end(), ' ', '_');
    fs::path const card =
        test::sampleCard("card" + name, "--small --seconds 0.5 " + std::string(GetParam().options));
    std::vector<fs::path> found;
    for (auto const& entry : fs::recursive_directory_iterator(card / "BPAV")) {
      std::string const extension = entry.path().extension().string();
      if ((extension == ".SMI" || extension == ".XML") && entry.path().filename() != "MEDIAPRO.XML")
        found.push_back(entry.path());
    }
    EXPECT_EQ(found.size(), GetParam().descriptions);
    return found;
  }
  // Whether a run told of the whole take, of half a second.
  static bool opensWhole(Outcome const& run) {
    if (run.code != 0) return false;
    json const video = json::parse(run.output)["video"][0];
    return std::abs(video["duration"].get<double>() - 0.5) < 0.05;
  }
};

TEST_P(CardLayout, InfoOpensEveryDescriptionAndSaysWhatItForgave) {
  size_t warned = 0;
  for (fs::path const& description : descriptions()) {
    Outcome const run = kyhost("info --json " + quoted(description));
    EXPECT_TRUE(opensWhole(run)) << description << run.errors;
    warned += run.output.find("read with allowance for") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(warned, GetParam().descriptions - GetParam().followed);
}

TEST_P(CardLayout, WithTheAttributeOff_TheCardSearchDecides) {
  size_t followed = 0;
  for (fs::path const& description : descriptions()) {
    Outcome const run = kyhost("info --json --set module.forgivingCards=0 " + quoted(description));
    followed += opensWhole(run) ? 1 : 0;
    EXPECT_EQ((run.output + run.errors).find("allowance"), std::string::npos) << run.errors;
  }
  EXPECT_EQ(followed, GetParam().followed);
}

TEST(CardWarning, GoesToStandardErrorUnlessQuiet) {
  std::string const card = quoted(clipFile("632_0004_01", ".SMI"));
  Outcome const run = kyhost("info " + card);
  EXPECT_EQ(run.code, 0);
  EXPECT_NE(run.errors.find("kyhost: XDCAM card of "), std::string::npos) << run.errors;
  EXPECT_EQ(kyhost("info -q " + card).errors, "");
}

INSTANTIATE_TEST_SUITE_P(Card, CardLayout,
                         testing::Values(Layout{"--form attribute", 14, 8}, Layout{"--bom", 14, 0},
                                         Layout{"--form child --followed-umid", 14, 0},
                                         Layout{"--form child --twin-components", 14, 0},
                                         Layout{"--form child --relevant-info", 14, 0},
                                         Layout{"--broken-tags", 14, 0},
                                         Layout{"--form child --without-takr --crlf", 12, 12},
                                         Layout{"--all-layouts", 12, 0}),
                         [](auto const& parameter) {
                           std::string name;
                           for (char c : std::string(parameter.param.options))
                             if (c != ' ' && c != '-') name += c;
                           return name;
                         });

TEST(CardDescription, AwayFromItsCard_SaysWhatIsMissing) {
  Folder const folder;
  fs::create_directories(folder / "BPAV/CLPR/632_0002_01");
  fs::copy(clipFile("632_0002_01", ".SMI"), folder / "BPAV/CLPR/632_0002_01");
  fs::copy(clipFile("632_0002_01", ".SMI"), folder / "alone.SMI");
  fs::copy(clipFile("632_0002_01", ".SMI"), folder / "small.smi");
  Outcome run = kyhost("info " + quoted(folder / "BPAV/CLPR/632_0002_01/632_0002_01.SMI"));
  EXPECT_EQ(run.code, 3);
  EXPECT_NE(run.errors.find("BPAV/MEDIAPRO.XML is needed"), std::string::npos) << run.errors;
  run = kyhost("info " + quoted(folder / "alone.SMI"));
  EXPECT_EQ(run.code, 3);
  EXPECT_NE(run.errors.find("below the folder BPAV"), std::string::npos) << run.errors;
  run = kyhost("info " + quoted(folder / "small.smi"));
  EXPECT_EQ(run.code, 3);
  EXPECT_NE(run.errors.find("names in capitals"), std::string::npos) << run.errors;
}

TEST(CardFolder, IsRefusedWithItsDescriptionsNamed) {
  Outcome const run = kyhost("info " + quoted(test::sampleCard(true)));
  EXPECT_EQ(run.code, 3);
  EXPECT_NE(run.errors.find(test::spannedTake(true).description.string()), std::string::npos) << run.errors;
}

TEST(CardContact, SheetHasTheAskedWidth) {
  Folder const folder;
  std::string const take = quoted(test::spannedTake(true).description);
  ASSERT_EQ(
      kyhost("contact " + take + " --columns 3 --rows 2 --width 608 -o " + quoted(folder / "c.png")).code, 0);
  std::string const size = test::run("ffprobe -v error -show_entries stream=width,codec_name -of csv=p=0 " +
                                     quoted(folder / "c.png"));
  EXPECT_EQ(size, "png,608\n");
}

TEST(MediaFile, WithStreamsOfUnknownKinds_OpensWithTheSettingThatTheErrorNames) {
  fs::path const file = test::made(
      "flac.mkv", "-f lavfi -i testsrc2=s=64x64:d=0.4 -f lavfi -i sine=d=0.4 -c:v mpeg2video -c:a flac");
  Outcome const refused = kyhost("info " + quoted(file));
  EXPECT_EQ(refused.code, 3);
  EXPECT_NE(refused.errors.find("--set openParameters.ignoreUnknownStreams=1"), std::string::npos)
      << refused.errors;
  EXPECT_EQ(kyhost("info --set openParameters.ignoreUnknownStreams=1 " + quoted(file)).code, 0);
}

TEST(MediaFile, DolbySound_IsHeard) {
  Folder const folder;
  fs::path const file = test::made("tone.ts", "-f lavfi -i sine=f=440:r=48000:d=1 -ac 2 -c:a ac3");
  ASSERT_EQ(kyhost("audio -q " + quoted(file) + " -o " + quoted(folder / "tone.wav")).code, 0);
  auto const bytes = test::samples(folder / "tone.wav", 0, "s16le");
  ASSERT_GT(bytes.size(), 4U * 40000);
  double energy = 0.0;
  for (size_t at = 0; at + 1 < bytes.size(); at += 2) {
    auto const value = static_cast<int16_t>(bytes[at] | bytes[at + 1] << 8);
    energy += static_cast<double>(value) * value;
  }
  EXPECT_GT(std::sqrt(energy / (static_cast<double>(bytes.size()) / 2.0)), 1000.0);
}

TEST(MediaFile, InfoOfADolbyStream_TellsItsBitStream) {
  fs::path const file = test::made("room.ts",
                                   "-f lavfi -i sine=f=440:r=48000:d=1 -ac 6 -c:a ac3 -dialnorm -23 "
                                   "-room_type small -mixing_level 100");
  Outcome const text = kyhost("info " + quoted(file));
  ASSERT_EQ(text.code, 0) << text.errors;
  EXPECT_NE(text.output.find("6 channels (3/2 L C R Ls Rs + LFE)"), std::string::npos) << text.output;
  Outcome const run = kyhost("info --json " + quoted(file));
  ASSERT_EQ(run.code, 0) << run.errors;
  json const told = json::parse(run.output)["audio"][0]["bitstream"];
  EXPECT_EQ(told["syntax"], "AC-3");
  EXPECT_EQ(told["codingMode"], "3/2 L C R Ls Rs + LFE");
  EXPECT_EQ(told["bitStreamMode"], "complete main");
  EXPECT_EQ(told["dialogueLevelDb"], -23);
  EXPECT_EQ(told["mixingLevelDbSpl"], 100);
  EXPECT_EQ(told["mixingRoom"], "small");
  EXPECT_FALSE(told.contains("compressionDb"));
}

TEST(MediaFile, CapitalExtension_Opens) {
  fs::path const file = test::made("CLIP.MOV", "-f lavfi -i testsrc2=s=64x64:d=0.4 -c:v mpeg2video");
  EXPECT_EQ(kyhost("info " + quoted(file)).code, 0);
}

TEST(MediaFile, DeepPictures_KeepTheirBitsInY4m) {
  Folder const folder;
  fs::path const file = test::made(
      "deep.mov",
      "-f lavfi -i testsrc2=s=64x48:d=0.2 -vf format=yuv422p10le -c:v libx264 -qp 1 -profile:v high422");
  Outcome const run = kyhost("frames -q " + quoted(file) + " -o " + quoted(folder / "deep.y4m"));
  ASSERT_EQ(run.code, 0) << run.errors;
  auto const ten = test::rawPictures(file, "yuv422p10le");
  auto const sixteen = test::rawPictures(folder / "deep.y4m", "yuv422p16le");
  ASSERT_EQ(ten.size(), sixteen.size());
  for (size_t at = 0; at + 1 < ten.size(); at += 2)
    ASSERT_EQ((ten[at] | ten[at + 1] << 8) << 6, sixteen[at] | sixteen[at + 1] << 8) << at;
}

TEST(Debug, LogGoesToStandardError) {
  Outcome const run = kyhost("info --json --debug all " + quoted(test::spannedTake(true).description));
  EXPECT_TRUE(json::accept(run.output)) << run.output;
  EXPECT_NE(run.errors.find("[xdcamparser]"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("Opened successfuly : "), std::string::npos) << run.errors;
}

}  // namespace
