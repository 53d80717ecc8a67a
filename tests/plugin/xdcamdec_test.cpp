// Clip descriptions and their temporary take lists.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "host/log.h"
#include "host/registry.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/tempfolder.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

std::string contentOf(fs::path const& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

fs::path written(fs::path const& file, std::string const& content) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  return file;
}

std::vector<std::string> userMessages() {
  std::vector<std::string> texts;
  for (KyLogBuffer::Message const& message : ky_log()->take())
    if (message.level == kLogError) texts.push_back(message.text);
  return texts;
}

class CardDecoder : public testing::Test {
 protected:
  CardDecoder() { ky_log()->take(); }

  fs::path onlyFile() const {
    auto const files = temp.files();
    EXPECT_EQ(files.size(), 1U);
    return files.empty() ? fs::path() : files[0];
  }
  // A card of its own, to be damaged.
  static fs::path ownCard(std::string const& name) {
    fs::path const card = test::scratchDir() / name;
    if (!fs::exists(card)) fs::copy(test::sampleCard(true), card, fs::copy_options::recursive);
    return card / "BPAV" / "CLPR";
  }

  test::TempFolder temp;
  test::SampleTake const take = test::spannedTake(true);
};

TEST_F(CardDecoder, TheTakeListNamesTheClipsInPlayingOrderWithTheirSizes) {
  PipePtr const pipe = test::opened(take.description);
  ASSERT_TRUE(pipe);
  std::vector<std::string> lines;
  std::string const text = contentOf(onlyFile());
  for (size_t begin = 0, end; (end = text.find("\r\n", begin)) != std::string::npos; begin = end + 2)
    lines.push_back(text.substr(begin, end - begin));
  EXPECT_TRUE(text.ends_with("\r\n"));
  ASSERT_EQ(lines.size(), 1 + take.clips.size());
  EXPECT_EQ(lines[0], "XMP4");
  for (size_t i = 0; i < take.clips.size(); ++i) {
    std::string const& line = lines[i + 1];
    size_t const separator = line.find(";  ");
    ASSERT_NE(separator, std::string::npos) << line;
    EXPECT_TRUE(fs::equivalent(line.substr(0, separator), take.clips[i])) << line;
    EXPECT_EQ(line.substr(separator + 3), std::to_string(fs::file_size(take.clips[i])));
  }
}

TEST_F(CardDecoder, TheTakeListIsNamedAfterTheDescriptionAndReadableByItsOwnerOnly) {
  PipePtr const pipe = test::opened(take.description);
  ASSERT_TRUE(pipe);
  fs::path const list = onlyFile();
  EXPECT_THAT(list.filename().string(), testing::MatchesRegex("632_0001_01\\.SMI_[0-9]+_[0-9]+\\.mzl"));
  struct stat status{};
  ASSERT_EQ(::stat(list.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
}

// A clip whose own entry names "./CLPR/" before its first component.
fs::path unlistedClip() {
  return test::sampleCard(true) / "BPAV" / "CLPR" / "632_0004_01" / "632_0004_01.SMI";
}

TEST_F(CardDecoder, AForgivenCardHasATakeListLikeAnyOther) {
  test::ScopedAttribute const forgiving("forgivingCards", Any(1));
  test::LogLines const log;
  PipePtr const pipe = test::opened(unlistedClip());
  ASSERT_TRUE(pipe);
  fs::path const list = onlyFile();
  fs::path const clip = fs::path(unlistedClip()).replace_extension(".MP4");
  EXPECT_THAT(list.filename().string(), testing::MatchesRegex("632_0004_01\\.SMI_[0-9]+_[0-9]+\\.mzl"));
  EXPECT_EQ(contentOf(list),
            "XMP4\r\n" + clip.string() + ";  " + std::to_string(fs::file_size(clip)) + "\r\n");
  struct stat status{};
  ASSERT_EQ(::stat(list.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_TRUE(log.hasAt(kLogTrace, "[xdcamparser] Created multiple take file '" + list.string() + "'"));
  EXPECT_TRUE(log.hasAt(kLogTrace, "Order of clips in take:"));
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, WhatWasForgivenIsOneWarning) {
  test::ScopedAttribute const forgiving("forgivingCards", Any(1));
  auto const warnings = [](fs::path const& description) {
    ky_log()->take();
    EXPECT_TRUE(test::opened(description)) << description;
    std::vector<std::string> texts;
    for (KyLogBuffer::Message const& message : ky_log()->take())
      if (message.level == kLogWarning) texts.push_back(message.text);
    return texts;
  };
  EXPECT_THAT(warnings(take.description), testing::IsEmpty());
  EXPECT_THAT(
      warnings(unlistedClip()),
      testing::ElementsAre("XDCAM card of " + unlistedClip().string() +
                           " read with allowance for an entry that names \"./CLPR/\" before its first "
                           "component"));
  std::string const mark = "\xEF\xBB\xBF";
  fs::path const clips = ownCard("marked");
  fs::remove(clips.parent_path() / "MEDIAPRO.XML");
  written(clips.parent_path() / "MEDIAPRO.XML",
          mark +
              "<x><Material umid=\"U\"><Component uri=\"./CLPR/632_0004_01/632_0004_01.MP4\" "
              "umid=\"U\"/></Material></x>");
  fs::path const marked = written(clips / "632_0004_01" / "other.SMI", mark + "<smil umid=\"U\"/>");
  EXPECT_THAT(warnings(marked), testing::ElementsAre("XDCAM card of " + marked.string() +
                                                     " read with allowance for a byte-order mark before the "
                                                     "description, a byte-order mark before the catalogue"));
}

TEST_F(CardDecoder, CardsAreForgivenWhereAHostAsksWithANumberOtherThanZero) {
  for (Any const& value : {Any(), Any(0), Any("1"), Any(1.0)}) {
    test::ScopedAttribute const forgiving("forgivingCards", value);
    EXPECT_EQ(test::pipeFor(unlistedClip())->open(), -1);
    EXPECT_EQ(userMessages(), std::vector<std::string>{"Invalid XDCAM xml file " + unlistedClip().string() +
                                                       ": No mp4 file found"});
  }
  for (Any const& value : {Any(1), Any(-2)}) {
    test::ScopedAttribute const forgiving("forgivingCards", value);
    EXPECT_EQ(test::pipeFor(unlistedClip())->open(), 0);
    EXPECT_TRUE(userMessages().empty());
  }
}

TEST_F(CardDecoder, ADescriptionThatIsNotForgivenEither_HasTheTextOfTheSearch) {
  test::ScopedAttribute const forgiving("forgivingCards", Any(1));
  fs::path const stranger =
      written(ownCard("strange") / "632_0004_01" / "632_0004_01.SMI", "<smil umid=\"060A\"/>");
  fs::remove(ownCard("strange").parent_path() / "MEDIAPRO.XML");
  written(ownCard("strange").parent_path() / "MEDIAPRO.XML", "<MediaProfile/>");
  EXPECT_EQ(test::pipeFor(stranger)->open(), -1);
  EXPECT_EQ(userMessages(), std::vector<std::string>{"Invalid XDCAM xml file " + stranger.string() +
                                                     ": take umid not found!"});
}

TEST_F(CardDecoder, TheTakeListExistsFromOpenToClose) {
  PipePtr const pipe = test::pipeFor(take.description);
  EXPECT_TRUE(temp.files().empty());
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(temp.files().size(), 1U);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_TRUE(temp.files().empty());
  EXPECT_EQ(pipe->state(), 2);
}

TEST_F(CardDecoder, DestroyingAnOpenDecoderDeletesTheTakeList) {
  PipePtr pipe = test::opened(take.description);
  ASSERT_EQ(temp.files().size(), 1U);
  pipe.reset();
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, ASecondCloseDeletesNothingMore) {
  PipePtr const pipe = test::opened(take.description);
  fs::path const list = onlyFile();
  EXPECT_EQ(pipe->close(), 0);
  written(list, "somebody else's");
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_TRUE(fs::exists(list));
}

TEST_F(CardDecoder, EveryOpenOfADescriptionHasANewTakeList) {
  PipePtr const pipe = test::opened(take.description);
  fs::path const first = onlyFile();
  EXPECT_EQ(pipe->close(), 0);
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_NE(onlyFile(), first);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipe->readFrame(0), 0);
}

TEST_F(CardDecoder, OpeningAnOpenDecoderAgainLeavesOneTakeList) {
  PipePtr const pipe = test::opened(take.description);
  fs::path const first = onlyFile();
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(pipe->state(), 3);
  EXPECT_NE(onlyFile(), first);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, DecodersOfTheSameClipHaveTakeListsOfTheirOwn) {
  // Opened at once, each decoder seeds the generator with the same second.
  std::vector<PipePtr> pipes;
  for (int i = 0; i < 4; ++i) pipes.push_back(test::opened(take.description));
  EXPECT_EQ(temp.files().size(), 4U);
  pipes[0]->close();
  EXPECT_EQ(temp.files().size(), 3U);
  ASSERT_EQ(pipes[3]->selectStream(kKindVideo, 0), 0);
  EXPECT_EQ(pipes[3]->readFrame(0), 0);
}

TEST_F(CardDecoder, MetadataSidecarsOpenTheTakeToo) {
  fs::path const sidecar = take.description.parent_path() / "632_0001_01M01.XML";
  PipePtr const pipe = test::opened(sidecar);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(temp.files().size(), 1U);
  PipePtr const whole = test::opened(take.description);
  EXPECT_EQ(test::info(*pipe, kKindVideo, 0)["frames"], test::info(*whole, kKindVideo, 0)["frames"]);
}

TEST_F(CardDecoder, TheNameOfTheDescriptionIsWhatTheHostReadsBack) {
  PipePtr const pipe = test::opened(take.description);
  Any name;
  EXPECT_EQ(pipe->getParam("filename", name), 0);
  EXPECT_EQ(name, Any(take.description.string()));
}

TEST_F(CardDecoder, AFileNameSetWhileOpenDoesNotChangeWhatIsReadBack) {
  PipePtr const pipe = test::opened(take.description);
  pipe->setParam("filename", "other.mov");
  Any name;
  EXPECT_EQ(pipe->getParam("filename", name), 0);
  EXPECT_EQ(name, Any(take.description.string()));
}

TEST_F(CardDecoder, AWideFileNameOpensAsWell) {
  PipePtr const pipe = test::makePipe();
  pipe->setParam("filename", Any(take.description.wstring()));
  ASSERT_EQ(pipe->open(), 0) << pipe->errorDesc();
  EXPECT_EQ(temp.files().size(), 1U);
}

TEST_F(CardDecoder, ATakeListIsOpenedDirectlyAndNeverDeleted) {
  std::string text = "XMP4\r\n";
  for (fs::path const& clip : take.clips)
    text += clip.string() + ";  " + std::to_string(fs::file_size(clip)) + "\r\n";
  fs::path const list = written(test::scratchDir() / "own.mzl", text);
  PipePtr pipe = test::opened(list);
  ASSERT_TRUE(pipe);
  EXPECT_TRUE(temp.files().empty());
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_TRUE(fs::exists(list));
  ASSERT_EQ(pipe->open(), 0);
  pipe.reset();
  EXPECT_TRUE(fs::exists(list));
}

TEST_F(CardDecoder, LogsTheFolderTheListAndItsLines) {
  test::LogLines log;
  PipePtr const pipe = test::opened(take.description);
  ASSERT_TRUE(pipe);
  std::string const list = onlyFile().string();
  EXPECT_TRUE(log.hasAt(32, "[xdcamdec]Temporary file folder is " + temp.path().string()));
  EXPECT_TRUE(log.hasAt(32, "[xdcamparser] creating temporary .mzl file: " + list));
  EXPECT_TRUE(log.hasAt(32, "[xdcamparser] Created multiple take file '" + list + "'"));
  EXPECT_TRUE(log.hasAt(32, "Order of clips in take:"));
  for (fs::path const& clip : take.clips) EXPECT_TRUE(log.contains(clip.filename().string() + ";  ")) << clip;
}

TEST_F(CardDecoder, EchoesParametersWhenAskedTo) {
  ky_registry()->setDbgOption("log_setparam", 1);
  {
    test::LogLines log;
    PipePtr const pipe = test::pipeFor("named.mov");
    EXPECT_TRUE(log.contains("setParam filename=named.mov"));
  }
  ky_registry()->setDbgOption("log_setparam", 0);
  test::LogLines log;
  PipePtr const pipe = test::pipeFor("named.mov");
  EXPECT_FALSE(log.contains("setParam filename"));
  ky_registry()->setDbgOption("log_setparam", Any());
}

TEST_F(CardDecoder, ADescriptionOfNoCardIsRefusedAndReported) {
  fs::path const name = written(test::scratchDir() / "lonely" / "c0001.xml", "<a/>");
  PipePtr pipe = test::pipeFor(name);
  EXPECT_EQ(pipe->open(), -1);
  EXPECT_EQ(pipe->state(), 2);
  EXPECT_EQ(userMessages(), std::vector<std::string>{"Invalid XDCAM xml file " + name.string() +
                                                     ": Invalid input file !! Must be SMI or XML"});
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, ARefusalWithoutAReasonKeepsTheColon) {
  fs::path const name = written(test::scratchDir() / "text" / "BPAV" / "CLPR" / "C" / "C.XML", "no markup");
  PipePtr const pipe = test::pipeFor(name);
  EXPECT_EQ(pipe->open(), -1);
  EXPECT_EQ(userMessages(), std::vector<std::string>{"Invalid XDCAM xml file " + name.string() + ":"});
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, AListOfARefusedTakeIsGoneAtTheNextOpen) {
  fs::path const clips = ownCard("withoutclips");
  for (char const* part : {"632_0001_01", "632_0001_02", "632_0001_03"})
    fs::remove(clips / part / (std::string(part) + ".MP4"));
  fs::path const description = clips / "632_0001_01" / "632_0001_01.SMI";
  PipePtr const pipe = test::pipeFor(description);
  EXPECT_EQ(pipe->open(), -1);
  EXPECT_EQ(userMessages(), std::vector<std::string>{"Invalid XDCAM xml file " + description.string() +
                                                     ": No mp4 file found"});
  pipe->setParam("filename", Any(take.clips[0].string()));
  EXPECT_EQ(pipe->open(), 0);
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, AListOfARefusedTakeIsGoneWithTheDecoder) {
  fs::path const clips = ownCard("withoutclips");
  for (char const* part : {"632_0001_01", "632_0001_02", "632_0001_03"})
    fs::remove(clips / part / (std::string(part) + ".MP4"));
  PipePtr pipe = test::pipeFor(clips / "632_0001_01" / "632_0001_01.SMI");
  EXPECT_EQ(pipe->open(), -1);
  pipe.reset();
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, ATakeWithoutItsSecondClipPlaysTheOthers) {
  fs::path const clips = ownCard("withoutsecond");
  fs::remove(clips / "632_0001_02" / "632_0001_02.MP4");
  PipePtr const pipe = test::opened(clips / "632_0001_01" / "632_0001_01.SMI");
  ASSERT_TRUE(pipe);
  PipePtr const first = test::opened(take.clips[0]);
  PipePtr const third = test::opened(take.clips[2]);
  auto const frames = [](PipePtr const& of) { return test::info(*of, kKindVideo, 0)["frames"].asInt32(); };
  EXPECT_EQ(frames(pipe), frames(first) + frames(third));
}

TEST_F(CardDecoder, ATakeWhoseClipsCannotBeReadLeavesNothing) {
  fs::path const clips = ownCard("garbled");
  for (char const* part : {"632_0001_01", "632_0001_02", "632_0001_03"})
    written(clips / part / (std::string(part) + ".MP4"), "not an MP4 file");
  fs::path const description = clips / "632_0001_01" / "632_0001_01.SMI";

  PipePtr closed = test::pipeFor(description);
  EXPECT_LT(closed->open(), 0);
  EXPECT_STRNE(closed->errorDesc(), "");
  EXPECT_EQ(closed->state(), 2);
  EXPECT_EQ(closed->close(), 0);
  EXPECT_TRUE(temp.files().empty());

  PipePtr destroyed = test::pipeFor(description);
  EXPECT_LT(destroyed->open(), 0);
  destroyed.reset();
  EXPECT_TRUE(temp.files().empty());

  PipePtr const reopened = test::pipeFor(description);
  EXPECT_LT(reopened->open(), 0);
  reopened->setParam("filename", Any(take.clips[0].string()));
  EXPECT_EQ(reopened->open(), 0);
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(CardDecoder, AFolderThatCannotBeWrittenIsReported) {
  ky_registry()->setTempDir("/nowhere/at/all");
  PipePtr const pipe = test::pipeFor(take.description);
  EXPECT_EQ(pipe->open(), -1);
  auto const messages = userMessages();
  ASSERT_EQ(messages.size(), 1U);
  EXPECT_NE(messages[0].find(": Unable to create mzl file : /nowhere/at/all/"), std::string::npos)
      << messages[0];
}

std::string announcedList(test::LogLines const& log) {
  std::string const announcement = "[xdcamparser] creating temporary .mzl file: ";
  for (auto const& line : log.lines)
    if (line.text.starts_with(announcement)) return line.text.substr(announcement.size());
  return {};
}

TEST_F(CardDecoder, ANameWithoutFolderGivesTheListItsWholeName) {
  test::LogLines log;
  PipePtr const pipe = test::pipeFor("NOWHERE.XML");
  EXPECT_EQ(pipe->open(), -1);
  EXPECT_TRUE(announcedList(log).starts_with(temp.path().string() + "/NOWHERE.XML_")) << announcedList(log);
}

TEST_F(CardDecoder, NamesOfTakeListsEndAfter511Characters) {
  ky_registry()->setTempDir("/" + std::string(600, 'x'));
  test::LogLines log;
  PipePtr const pipe = test::pipeFor(take.description);
  EXPECT_EQ(pipe->open(), -1);
  EXPECT_EQ(announcedList(log).size(), 511U);
}

TEST_F(CardDecoder, WithoutAFileNameOpeningFails) {
  PipePtr const pipe = test::makePipe();
  EXPECT_NE(pipe->open(), 0);
  EXPECT_EQ(pipe->state(), 2);
}

}  // namespace
