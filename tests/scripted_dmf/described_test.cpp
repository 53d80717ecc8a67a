// What a host reads of subtitle streams, whole, and what the pass leaves behind.
#include <array>
#include <cstring>

#include "mpegdecode/dmfsubtitles.h"
#include "mpegdecode/subpicstream.h"
#include "tests/scripted_dmf/pass.h"
#include "tests/support/media.h"

namespace {

namespace fs = std::filesystem;
using namespace test;

AnyDict dict(std::initializer_list<std::pair<char const*, Any>> entries) {
  AnyDict made;
  for (auto const& [key, value] : entries) made.set(key, value);
  return made;
}

class DescribedSubtitles : public DmfPass, public testing::Test {
 protected:
  static std::vector<std::string> callsAbout(std::string const& kind) {
    std::vector<std::string> found;
    for (std::string const& call : calls())
      if (call.starts_with(kind)) found.push_back(call);
    return found;
  }
};

TEST_F(DescribedSubtitles, TextStream_HasSixEntries) {
  PipePtr const pipe = open(titles({{}, {video(320), subtitle(284, {{"[Script Info]\n"}})}}));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(subpic(pipe, 0), dict({{"type", 0},
                                   {"language", "eng"},
                                   {"subtitles", "[Script Info]\n"},
                                   {"titleNr", 1},
                                   {"subType", "ass"},
                                   {"format", 0}}));
}

TEST_F(DescribedSubtitles, BitmapStream_HasTenEntries) {
  ScriptedStream stream = subtitle(281, {{"x", 1, 2}});
  stream.country = u"DEAT";
  stream.description = u"Zeichen";
  PipePtr const pipe = open(titles({{}, {video(720), stream}}));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  ASSERT_EQ(temp.files().size(), 1U);
  EXPECT_EQ(subpic(pipe, 0), dict({{"type", 0},
                                   {"language", "eng"},
                                   {"countryCode", "DEAT"},
                                   {"mediaDesc", "Zeichen"},
                                   {"titleNr", 1},
                                   {"subtitles", temp.files()[0].string()},
                                   {"subType", "dxsb"},
                                   {"format", 0},
                                   {"windowWidth", 640},
                                   {"windowHeight", 480}}));
  EXPECT_EQ(readText(temp.files()[0] / "0_1_2.dxsb"), "x") << "of that title";
}

TEST_F(DescribedSubtitles, WindowFile_HoldsSizeAndWhetherPicturesHaveAlphaValues) {
  PipePtr const pipe = open(titles({{video(1920), subtitle(281, {}), subtitle(291, {})}}));
  ASSERT_TRUE(pipe);
  for (int i : {0, 1}) {
    std::string const bytes = readText(fs::path(folder(pipe, i)) / "meta.fil");
    std::array<int32_t, 3> values{};
    ASSERT_EQ(bytes.size(), sizeof values);
    std::memcpy(values.data(), bytes.data(), sizeof values);
    EXPECT_EQ(values, (std::array<int32_t, 3>{1440, 1080, i})) << i;
  }
}

TEST_F(DescribedSubtitles, Window_FollowsTheWidthOfThePictures) {
  struct {
    uint32_t pictures;
    int width, height;
  } const rows[] = {{1, 640, 480},      {720, 640, 480},    {721, 960, 720},          {1280, 960, 720},
                    {1281, 1440, 1080}, {1920, 1440, 1080}, {0xFFFFFFFFU, 1440, 1080}};
  for (auto const& row : rows) {
    PipePtr const pipe = open(titles({{video(row.pictures), subtitle(281, {})}}));
    ASSERT_TRUE(pipe);
    EXPECT_EQ(subpic(pipe, 0)["windowWidth"], Any(row.width)) << row.pictures;
    EXPECT_EQ(subpic(pipe, 0)["windowHeight"], Any(row.height)) << row.pictures;
  }
}

TEST_F(DescribedSubtitles, VideoWithoutItsFormatBlock_LeavesTheWindow) {
  ScriptedStream unknown = video(320);
  unknown.noFormat = true;
  PipePtr const pipe = open(titles({{video(1280), unknown, subtitle(281, {})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(subpic(pipe, 0)["windowWidth"], Any(960));
}

TEST_F(DescribedSubtitles, BitmapStreams_AreAddedUnchangedAndSoughtToTheirBeginning) {
  PipePtr const pipe = open(titles({{subtitle(282, {}), subtitle(281, {}), subtitle(291, {})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(callsAbout("add"),
            (std::vector<std::string>{"add 40 to 1 as text", "add 41 to 2", "add 42 to 3"}));
  EXPECT_EQ(callsAbout("seek"),
            (std::vector<std::string>{"seek 40 of 1 to 0", "seek 41 of 2 to 0", "seek 42 of 3 to 0"}));
  EXPECT_EQ(scriptedDmf().fifoSettings, std::vector<AnyDict>(2)) << "each fifo was initialised, with nothing";
}

TEST_F(DescribedSubtitles, TheWriterOfText_IsToldItsFileAndTheFormatBlock) {
  PipePtr const pipe = open(titles({{subtitle(282, {{"x"}})}}));
  ASSERT_TRUE(pipe);
  AnyDict const& settings = scriptedDmf().writerSettings;
  EXPECT_EQ(settings.size(), 2);
  EXPECT_EQ(fs::path(settings["outfilename"].asString()).parent_path(), temp.path());
  EXPECT_TRUE(fs::path(settings["outfilename"].asString()).filename().string().starts_with("txt"));
  ASSERT_FALSE(scriptedDmf().formats.empty());
  EXPECT_EQ(settings["format"].asGeneric(), scriptedDmf().formats.front());
}

TEST_F(DescribedSubtitles, TextOfOneByte_IsNoFailure) {
  PipePtr const pipe = open(titles({{subtitle(282, {{"x"}})}}));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any("x"));
  EXPECT_TRUE(log.has("[DMFDemux] Read subtitle stream 40 for title=0, 1 bytes"));
  EXPECT_FALSE(log.contains("[DMFDemux] Failed"));
}

TEST_F(DescribedSubtitles, TextWhoseFileWentAway_IsEmpty) {
  ScriptedFile file = titles({{subtitle(282, {{"x"}})}});
  file.onPush = [this] {
    for (fs::path const& one : temp.files()) fs::remove(one);
  };
  PipePtr const pipe = open(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any(""));
}

TEST_F(DescribedSubtitles, NoFileStaysOpen) {
  scriptedDmf().reset(titles({{}, {subtitle(282, {{"x"}}), subtitle(281, {{"x", 1, 2}, {"y", 3, 4}})}}));
  long const before = openDescriptors();
  MpegInStreamList none, subpics;
  EXPECT_EQ(parseDmfFile(none, subpics, dmfFile().string()), 0);
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_EQ(subpics.size(), 2);
  for (int i = 0; i < subpics.size(); ++i) delete subpics.at(i);
}

TEST_F(DescribedSubtitles, PassThatCannotBegin_IsMinus1) {
  MpegInStreamList none, subpics;
  ScriptedFile file = titles({{subtitle(282, {{"x"}})}});
  file.isMade = false;
  scriptedDmf().reset(file);
  EXPECT_EQ(parseDmfFile(none, subpics, "any"), -1);
  EXPECT_EQ(warnings(),
            std::vector<std::string>{"DMF demuxer can not open any, cannot parse for language descriptors."});
  file.isMade = true;
  file.opens = false;
  scriptedDmf().reset(file);
  EXPECT_EQ(parseDmfFile(none, subpics, "any"), -1);
  file.opens = true;
  file.hasInfo = false;
  scriptedDmf().reset(file);
  EXPECT_EQ(parseDmfFile(none, subpics, "any"), -1);
  EXPECT_EQ(subpics.size(), 0);
}

class SubtitleFolder : public testing::Test {
 protected:
  SubtitleFolder() {
    fs::create_directory(folder_);
    std::ofstream(folder_ / "0_1_2.dxsb") << "x";
  }
  static AnyDict described(char const* subType, std::string const& subtitles) {
    return AnyDict("subType", subType, "subtitles", subtitles);
  }
  static void closeEntry(AnyDict const& description) {
    MpegInSubpicStream entry(0);
    entry.info() = description;
    entry.close();
  }

  TempFolder temp_;
  fs::path const folder_ = temp_.path() / "pictures";
  LogLines log_;
};

TEST_F(SubtitleFolder, OfBitmapStreams_IsRemovedAfterTheMessage) {
  for (char const* subType : {"dxsa", "dxsb"}) {
    fs::create_directory(folder_);
    std::vector<std::pair<int, std::string>> lines;
    bool there = false;
    ky_dbg()->setSink([&](int level, std::string_view text) {
      lines.emplace_back(level, text);
      there = fs::is_directory(folder_);
    });
    closeEntry(described(subType, folder_.string()));
    ky_dbg()->setSink({});
    EXPECT_FALSE(fs::exists(folder_)) << subType;
    EXPECT_TRUE(there) << "when it is announced";
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0], std::pair(static_cast<int>(kLogInfo),
                                  "Deleting temporary subtitle folder " + folder_.string()));
  }
}

TEST_F(SubtitleFolder, OfATextThatReadsLikeOne_Stays) {
  for (char const* subType : {"utf8", "ssa", "ass", ""}) {
    closeEntry(described(subType, folder_.string()));
    EXPECT_TRUE(fs::exists(folder_ / "0_1_2.dxsb")) << subType;
  }
  EXPECT_TRUE(log_.lines.empty());
}

TEST_F(SubtitleFolder, ThatIsNone_IsLeftWithoutAMessage) {
  fs::path const file = folder_ / "0_1_2.dxsb";
  closeEntry(described("dxsb", file.string()));
  closeEntry(described("dxsa", (folder_ / "absent").string()));
  EXPECT_TRUE(fs::exists(file));
  EXPECT_TRUE(log_.lines.empty());
}

}  // namespace
