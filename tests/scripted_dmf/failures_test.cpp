// What the subtitle pass makes of a demultiplexer that fails, is odd, or has more than files of today hold.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string>
#include <vector>

#include "tests/scripted_dmf/pass.h"

namespace {

namespace fs = std::filesystem;
using namespace test;

class ScriptedDmfPass : public DmfPass, public testing::TestWithParam<Failures::Reaction> {
 protected:
  ScriptedDmfPass() : DmfPass(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(Handler, ScriptedDmfPass,
                         testing::Values(test::Failures::kReturn, test::Failures::kThrow),
                         [](auto const& test) {
                           return test.param == test::Failures::kThrow ? "Throws" : "Returns";
                         });

TEST_P(ScriptedDmfPass, FileThatCannotBeOpened_IsWarnedAboutAndThePipeOpens) {
  ScriptedFile file = titles({{audio(u"eng")}});
  file.opens = false;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), std::vector<std::string>{"DMF demuxer can not open " + name() +
                                                 ", cannot parse for language descriptors."});
  EXPECT_EQ(calls(), (std::vector<std::string>{"new", "open " + name(), "free"}));
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
}

TEST_P(ScriptedDmfPass, FileWithoutInformation_IsWarnedAboutAndClosed) {
  ScriptedFile file = titles({{audio(u"eng")}});
  file.hasInfo = false;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), std::vector<std::string>{"DMF demuxer can not get info for " + name() +
                                                 ", cannot parse for language descriptors."});
  EXPECT_EQ(calls(), (std::vector<std::string>{"new", "open " + name(), "close", "free"}));
}

TEST_P(ScriptedDmfPass, FileWithoutTitles_AddsNoStream) {
  PipePtr const pipe = open(titles({}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), std::vector<std::string>());
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_EQ(calls(), (std::vector<std::string>{"new", "open " + name(), "close", "free"}));
}

TEST_P(ScriptedDmfPass, UnreadableTitle_IsWarnedAboutAndTheNextOneIsRead) {
  ScriptedFile file =
      titles({{subtitle(282, {{"lost"}})}, {subtitle(282, {{"kept"}}), subtitle(281, {{"x", 1, 2}})}});
  file.titles[0].readable = false;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), std::vector<std::string>{"DMF demuxer can not get title info for " + name() +
                                                 ", cannot parse for language descriptors."});
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1) << "the bitmap pass is given up";
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any("kept"));
  EXPECT_EQ(subpic(pipe, 0)["titleNr"], Any(1));
  EXPECT_TRUE(temp.files().empty());
}

TEST_P(ScriptedDmfPass, TitleThatBitmapsCannotReadAnyMore_GivesThemUpAndLeavesNoFolder) {
  ScriptedFile file = titles({{subtitle(281, {{"x", 1, 2}})}, {subtitle(291, {{"y", 1, 2}})}});
  file.titles[1].readableTimes = 1;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), std::vector<std::string>());
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_TRUE(temp.files().empty());
}

TEST_P(ScriptedDmfPass, TextStream_IsAddedSoughtAndPushedToItsEnd) {
  PipePtr const pipe =
      open(titles({{video(320), subtitle(283, {{"[Script Info]\n"}, {std::string("a\0b", 3)}})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(calls(),
            (std::vector<std::string>{"new", "open " + name(), "add 41 to 1 as text", "seek 41 of 1 to 0",
                                      "push 1", "push 1", "push 1", "close", "free"}));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[DMFDemux] Read subtitle stream 41 for title=0, 17 bytes"));
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any("[Script Info]\na b"));
  EXPECT_EQ(subpic(pipe, 0)["subType"], Any("ssa"));
  EXPECT_EQ(subpic(pipe, 0)["language"], Any("eng"));
}

TEST_P(ScriptedDmfPass, EveryFailureOfATextStream_IsLoggedAndTheStreamIsThere) {
  ScriptedFile file = titles({{subtitle(282, {{"x"}})}});
  file.parsers = 0;
  file.seeks = false;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  std::vector<std::string> messages;
  for (auto const& line : log.lines)
    if (line.text.starts_with("[DMFDemux]")) {
      EXPECT_EQ(line.level, kLogInfo);
      messages.push_back(line.text);
    }
  EXPECT_EQ(messages, (std::vector<std::string>{"[DMFDemux] Failed to create stream parser for title=0",
                                                "[DMFDemux] Failed to add stream 40 for title=0",
                                                "[DMFDemux] Failed to seek stream 40 / title=0",
                                                "[DMFDemux] Failed to read subtitle stream 40 for title=0",
                                                "[DMFDemux] Read subtitle stream 40 for title=0, 0 bytes"}));
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any(""));
  EXPECT_EQ(subpic(pipe, 0)["subType"], Any("utf8"));
  EXPECT_TRUE(temp.files().empty());
}

TEST_P(ScriptedDmfPass, StreamThatCannotBeSought_IsReadAllTheSame) {
  ScriptedFile file = titles({{subtitle(284, {{"x"}})}});
  file.seeks = false;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  EXPECT_TRUE(log.has("[DMFDemux] Failed to seek stream 40 / title=0"));
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any("x"));
}

TEST_P(ScriptedDmfPass, WriterThatCannotBeMade_DropsTheStream) {
  fs::remove_all(temp.path());
  PipePtr const pipe = open(titles({{subtitle(282, {{"x"}})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_TRUE(log.contains("[DMFDemux] Failed to extract subtitles to=" + temp.path().string() + "/txt"));
}

TEST_P(ScriptedDmfPass, OtherSubtitleCodecs_ArePassedOver) {
  PipePtr const pipe = open(titles(
      {{subtitle(0, {{"x"}}), subtitle(280, {{"x"}}), subtitle(285, {{"x"}}), subtitle(292, {{"x"}})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_EQ(calls(), (std::vector<std::string>{"new", "open " + name(), "close", "free"}));
}

TEST_P(ScriptedDmfPass, BitmapStreams_ArePushedInTurnAndFromTheFirstAgainWhenOneEnds) {
  PipePtr const pipe =
      open(titles({{subtitle(281, {{"a", 1, 2}, {"b", 3, 4}, {"c", 5, 6}}), subtitle(291, {{"d", 7, 8}}),
                    subtitle(281, {{"e", 9, 10}, {"f", 11, 12}})}}));
  ASSERT_TRUE(pipe);
  std::string pushes;
  for (std::string const& call : calls())
    if (call.starts_with("push ")) pushes += call.substr(5);
  EXPECT_EQ(pushes, "123121313");
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 3);
  EXPECT_EQ(test::readText(fs::path(folder(pipe, 0)) / "0_1_2.dxsb"), "a");
  EXPECT_EQ(test::readText(fs::path(folder(pipe, 0)) / "2_5_6.dxsb"), "c");
  EXPECT_EQ(test::readText(fs::path(folder(pipe, 1)) / "0_7_8.dxsa"), "d");
  EXPECT_EQ(test::readText(fs::path(folder(pipe, 2)) / "1_11_12.dxsb"), "f");
}

TEST_P(ScriptedDmfPass, TextStreamsComeBeforeBitmapStreamsAndTitlesInOrder) {
  PipePtr const pipe = open(
      titles({{subtitle(281, {}), subtitle(282, {{"t0"}})}, {subtitle(284, {{"t1"}}), subtitle(291, {})}}));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 4);
  std::vector<std::string> order;
  for (int i = 0; i < 4; ++i)
    order.push_back(subpic(pipe, i)["subType"].asString() +
                    std::to_string(subpic(pipe, i)["titleNr"].asInt32()));
  EXPECT_EQ(order, (std::vector<std::string>{"utf80", "ass1", "dxsb0", "dxsa1"}));
  EXPECT_TRUE(fs::path(folder(pipe, 3)).filename().string().starts_with("1_1_dxsa_eng"));
}

TEST_P(ScriptedDmfPass, BitmapStream_HasCodesOfBytesAndADescription) {
  ScriptedStream stream = subtitle(281, {});
  stream.language = u"d\u0165u";  // each character is cut to its low byte
  stream.country = u"DEAT";
  stream.description = u"Zus\u00E4tze!";
  PipePtr const pipe = open(titles({{stream}}));
  ASSERT_TRUE(pipe);
  AnyDict const info = subpic(pipe, 0);
  EXPECT_EQ(info["language"], Any("deu"));
  EXPECT_EQ(info["countryCode"], Any("DEAT"));
  EXPECT_EQ(info["mediaDesc"], Any("Zus\xC3\xA4tze!"));
}

TEST_P(ScriptedDmfPass, LanguageThatLooksLikeAPath_StaysInsideTheTemporaryFolder) {
  ScriptedStream stream = subtitle(291, {{"x", 1, 2}});
  stream.language = u"/../";
  PipePtr const pipe = open(titles({{stream}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(fs::path(folder(pipe, 0)).parent_path(), temp.path());
  EXPECT_TRUE(fs::is_directory(folder(pipe, 0)));
}

TEST_P(ScriptedDmfPass, OtherEvents_WriteNothingAndLeaveTheBytesForTheNext) {
  PipePtr const pipe = open(titles({{subtitle(281, {{"a", 1, 2, 0xF001001}, {"b", 3, 4}})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(test::readText(fs::path(folder(pipe, 0)) / "0_3_4.dxsb"), "ab");
}

TEST_P(ScriptedDmfPass, PicturesLargerThanTheBuffer_AreWrittenWhole) {
  std::string const large(8193, 'l'), larger(100000, 'L');
  PipePtr const pipe = open(titles(
      {{subtitle(281, {{large, 1, 2}, {"small", 3, 4}, {larger, 5, 6}, {large, INT64_MIN, INT64_MAX}})}}));
  ASSERT_TRUE(pipe);
  fs::path const to = folder(pipe, 0);
  EXPECT_TRUE(test::readText(to / "0_1_2.dxsb") == large);
  EXPECT_EQ(test::readText(to / "1_3_4.dxsb"), "small");
  EXPECT_TRUE(test::readText(to / "2_5_6.dxsb") == larger);
  EXPECT_TRUE(test::readText(to / "3_-9223372036854775808_9223372036854775807.dxsb") == large);
}

TEST_P(ScriptedDmfPass, ParserThatCannotBeMade_GivesUpTheBitmapsAndLeavesNoFolder) {
  ScriptedFile file = titles({{subtitle(281, {{"a", 1, 2}}), subtitle(291, {{"b", 1, 2}})}});
  file.parsers = 1;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_TRUE(temp.files().empty());
  EXPECT_EQ(warnings(), std::vector<std::string>());
}

TEST_P(ScriptedDmfPass, BitmapStreamThatCannotBeAddedOrSought_IsThereWithoutPictures) {
  ScriptedFile file = titles({{video(1920), subtitle(281, {{"a", 1, 2}})}});
  file.adds = file.seeks = false;
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  fs::path const to = folder(pipe, 0);
  EXPECT_EQ(std::distance(fs::directory_iterator(to), fs::directory_iterator()), 1) << "meta.fil alone";
}

TEST_P(ScriptedDmfPass, LastVideoOfTheWholeFile_DecidesTheWindow) {
  PipePtr const pipe = open(titles({{video(1920), subtitle(281, {})}, {video(721)}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(subpic(pipe, 0)["windowWidth"], Any(960));
  EXPECT_EQ(subpic(pipe, 0)["windowHeight"], Any(720));
}

TEST_P(ScriptedDmfPass, WithoutVideo_TheWindowIsThatOfWidePictures) {
  PipePtr const pipe = open(titles({{subtitle(291, {})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(subpic(pipe, 0)["windowWidth"], Any(1440));
  std::array<int32_t, 3> values{};
  std::string const bytes = test::readText(fs::path(folder(pipe, 0)) / "meta.fil");
  ASSERT_EQ(bytes.size(), sizeof values);
  std::memcpy(values.data(), bytes.data(), sizeof values);
  EXPECT_EQ(values, (std::array<int32_t, 3>{1440, 1080, 1}));
}

TEST_P(ScriptedDmfPass, SubtitleWithoutItsFormatBlock_HasNoLanguage) {
  ScriptedStream text = subtitle(282, {{"x"}}), pictures = subtitle(281, {});
  text.noFormat = pictures.noFormat = true;
  PipePtr const pipe = open(titles({{text, pictures}}));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 2);
  EXPECT_EQ(subpic(pipe, 0)["language"], Any(""));
  EXPECT_EQ(subpic(pipe, 1)["language"], Any(""));
}

std::string language(PipePtr const& pipe, int index) {
  return test::info(*pipe, kKindAudio, index)
      .descendant("languageDescriptor.ISO_639_language_code", nullptr)
      .asString();
}

TEST_P(ScriptedDmfPass, AudioLanguage_GoesToTheStreamWithTheNumber) {
  PipePtr const pipe = open(titles({{video(320), audio(u"eng"), audio(u"fr\u0161\u0142x")}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(language(pipe, 0), "eng");
  EXPECT_EQ(language(pipe, 1), "fraB") << "four characters, the low byte of each";
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 0 (0:1), language=eng"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 1 (0:2), language=fraB"));
  EXPECT_EQ(warnings(), std::vector<std::string>());
}

TEST_P(ScriptedDmfPass, AudioWithoutALanguage_KeepsItsDescription) {
  PipePtr const pipe = open(titles({{video(320), audio(u"")}}));
  ASSERT_TRUE(pipe);
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 0 (0:1), language not set"));
  EXPECT_FALSE(test::info(*pipe, kKindAudio, 0).contains("languageDescriptor"));
}

TEST_P(ScriptedDmfPass, AudioWithoutItsFormatBlock_IsWarnedAbout) {
  ScriptedStream without = audio(u"eng");
  without.noFormat = true;
  PipePtr const pipe = open(titles({{video(320), without, audio(u"fre")}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), std::vector<std::string>{"DMF demuxer can not find audio format for 1"});
  EXPECT_EQ(language(pipe, 0), "");
  EXPECT_EQ(language(pipe, 1), "fre");
}

TEST_P(ScriptedDmfPass, AudioThatNoStreamMatches_IsWarnedAbout) {
  PipePtr const pipe = open(titles({{audio(u"eng")}, {video(320), audio(u"fre")}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(warnings(), (std::vector<std::string>{"DMF demuxer can not find matching audio stream for 0:0",
                                                  "DMF demuxer can not find matching audio stream for 1:1"}));
  EXPECT_EQ(language(pipe, 0), "");
}

}  // namespace
