// Subtitles and languages of DMF files, through the plug-in.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "host/registry.h"
#include "tests/support/allocations.h"
#include "tests/support/dmf_files.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"
#include "tests/support/recording.h"
#include "tests/support/tempfolder.h"

namespace {

namespace fs = std::filesystem;
using test::PipePtr;

constexpr int kDmf = 8, kAvi = 9, kMatroska = 20;

int containerType(KyDecodePipe const& pipe) {
  Any value;
  pipe.getParam("program_stream_flag", value);
  return value.asInt32();
}

AnyDict subpic(PipePtr const& pipe, int index) { return test::info(*pipe, kKindSubpic, index); }

std::vector<std::string> keys(AnyDict const& dict) {
  std::vector<std::string> out;
  for (int i = 0; i < dict.size(); ++i) out.push_back(dict.getEntry(i).key);
  std::sort(out.begin(), out.end());
  return out;
}

std::string language(PipePtr const& pipe, int audio) {
  return test::info(*pipe, kKindAudio, audio)
      .descendant("languageDescriptor.ISO_639_language_code", nullptr)
      .asString();
}

// A script without empty lines and their line ends' kind: the program copies those that packets end in.
std::string plainLines(std::string text) {
  std::erase(text, '\r');
  std::string lines;
  for (char const c : text)
    if (c != '\n' || !lines.ends_with('\n')) lines.push_back(c);
  return lines;
}

std::vector<std::string> userWarnings() {
  std::vector<std::string> texts;
  for (auto const& message : ky_log()->take())
    if (message.level == kLogWarning) texts.push_back(message.text);
  return texts;
}

std::string extracted(fs::path const& file, int stream, std::string const& format) {
  return plainLines(test::run("ffmpeg -v error -nostdin -i " + test::quoted(file) + " -map 0:s:" +
                              std::to_string(stream) + " -c:s copy -f " + format + " - 2>/dev/null"));
}

constexpr char kAssScript[] =
    "[Script Info]\nTitle: All kinds\nScriptType: v4.00+\n\n[V4+ Styles]\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour\nStyle: Default,Arial,20,&H00FFFFFF\n"
    "Style: Sign,Arial,30,&H0000FFFF\n\n[Events]\n"
    "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
    "Dialogue: 0,0:00:00.40,0:00:00.60,Default,,0,0,0,,later, but first in the script\n"
    "Dialogue: 2,0:00:00.10,0:00:00.90,Sign,Me,10,20,30,Banner;5,{\\\\i1}a@@@b\\\\Nc\n";

fs::path assFile() { return test::matroskaWith("kinds.mkv", test::scratchText("kinds.ass", kAssScript)); }

TEST(DmfText, AssStream_IsOneSubpictureStreamWithTheWholeScript) {
  test::TempFolder const temp;
  PipePtr const pipe = test::opened(assFile());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(containerType(*pipe), kDmf);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  AnyDict const info = subpic(pipe, 0);
  EXPECT_EQ(keys(info),
            (std::vector<std::string>{"format", "language", "subType", "subtitles", "titleNr", "type"}));
  EXPECT_EQ(info["type"], Any(0));
  EXPECT_EQ(info["format"], Any(0));
  EXPECT_EQ(info["titleNr"], Any(0));
  EXPECT_EQ(info["subType"], Any("ass"));
  EXPECT_EQ(plainLines(info["subtitles"].asString()), extracted(assFile(), 0, "ass"));
  EXPECT_EQ(info["subtitles"], Any(kAssScript));
  EXPECT_TRUE(temp.files().empty()) << "the file the text went through is removed";
}

TEST(DmfText, NulBytesInTheScript_ArriveAsBlanks) {
  PipePtr const pipe = test::opened(test::patched(assFile(), "nul.mkv", "@@@", std::string("\0\0\0", 3)));
  ASSERT_TRUE(pipe);
  std::string expected = kAssScript;
  expected.replace(expected.find("@@@"), 3, "   ");
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any(expected));
}

TEST(DmfText, SelectingATextStream_Succeeds) {
  PipePtr const pipe = test::opened(assFile());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->selectStream(kKindSubpic, 0), 0);
}

// One event far behind the end of the file, which the muxer leaves out.
fs::path withoutEvents() {
  return test::matroskaWith(
      "none.mkv", test::scratchText("none.srt", "1\n01:00:00,000 --> 01:00:01,000\nnever\n"), "-t 1");
}

TEST(DmfText, StreamWithoutData_YieldsAStreamWithAnEmptyTextAfterTwoMessages) {
  test::TempFolder const temp;
  test::LogLines const log;
  PipePtr const pipe = test::opened(withoutEvents());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(subpic(pipe, 0)["subtitles"], Any(""));
  EXPECT_EQ(subpic(pipe, 0)["subType"], Any("utf8"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[DMFDemux] Failed to read subtitle stream 2 for title=0"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "[DMFDemux] Read subtitle stream 2 for title=0, 0 bytes"));
  EXPECT_TRUE(temp.files().empty());
}

struct Public {
  char const* file;
  char const* format;
  char const* subType;
  char const* language;
};

class DmfPublicFile : public testing::TestWithParam<Public> {};

TEST_P(DmfPublicFile, HasEveryEventWithItsTimesAndStyle) {
  fs::path const file = fs::path(KY_MEDIA_DIR) / GetParam().file;
  if (!fs::exists(file)) GTEST_SKIP() << file << " is absent";
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
  AnyDict const info = subpic(pipe, 0);
  EXPECT_EQ(info["subType"], Any(GetParam().subType));
  EXPECT_EQ(info["language"], Any(GetParam().language));
  EXPECT_EQ(plainLines(info["subtitles"].asString()), extracted(file, 0, GetParam().format));
}

INSTANTIATE_TEST_SUITE_P(Media, DmfPublicFile,
                         testing::Values(Public{"amx_sample_with_srt.mkv", "srt", "utf8", "eng"},
                                         Public{"amx_sample_with_ssa_subtitles.mkv", "ass", "ass", ""}),
                         [](auto const& test) { return std::string(test.param.format); });

fs::path languages() {
  fs::path const script = test::scratchText(
      "lines.srt", "1\n00:00:00,100 --> 00:00:00,400\none\n\n2\n00:00:00,500 --> 00:00:00,900\ntwo\n\n");
  return test::made("languages.mkv", test::pictureInput + test::soundInput + "-i " + test::quoted(script) +
                                         " -map 0 -map 1 -map 1 -map 1 -map 2 -c:v mpeg4 -c:a ac3 -c:s copy"
                                         " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fre"
                                         " -metadata:s:a:2 language=ger -metadata:s:s:0 language=spa");
}

TEST(DmfLanguages, ThreeAudioStreams_CarryTheirs) {
  test::LogLines const log;
  userWarnings();
  PipePtr const pipe = test::opened(languages());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindAudio), 3);
  EXPECT_EQ(language(pipe, 0), "eng");
  EXPECT_EQ(language(pipe, 1), "fre");
  EXPECT_EQ(language(pipe, 2), "ger");
  EXPECT_EQ(subpic(pipe, 0)["language"], Any("spa"));
  EXPECT_EQ(plainLines(subpic(pipe, 0)["subtitles"].asString()), extracted(languages(), 0, "srt"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 0 (0:1), language=eng"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 2 (0:3), language=ger"));
  EXPECT_EQ(userWarnings(), std::vector<std::string>());
}

TEST(DmfLanguages, IdentifiersAreTheDemultiplexersNumbers) {
  PipePtr const pipe = test::opened(languages());
  ASSERT_TRUE(pipe);
  for (int i = 0; i < 3; ++i) {
    AnyDict const info = test::info(*pipe, kKindAudio, i);
    EXPECT_EQ(info.descendant("codecParams.pid", nullptr), Any(i + 1));
    EXPECT_EQ(info.descendant("codecParams.program_number", nullptr), Any(0));
  }
}

TEST(DmfLanguages, SurviveSelectingAndReopening) {
  PipePtr const pipe = test::opened(languages());
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 1), 0);
  EXPECT_EQ(language(pipe, 1), "fre");
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(language(pipe, 1), "fre");
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 1);
}

TEST(DmfLanguages, AviWithoutAny_LeavesTheDescriptionsAsTheyWere) {
  test::LogLines const log;
  PipePtr const pipe = test::opened(test::xsubAvi("one.avi", 320, ""));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(containerType(*pipe), kDmf);
  EXPECT_FALSE(test::info(*pipe, kKindAudio, 0).contains("languageDescriptor"));
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 0 (0:1), language not set"));
}

TEST(DmfLanguages, DataStreamInFrontOfAll_IsNotNumbered) {
  userWarnings();
  test::LogLines const log;
  PipePtr const pipe = test::opened(test::xsubAvi("data.avi", 320, "--data"));
  ASSERT_TRUE(pipe);
  EXPECT_EQ(test::info(*pipe, kKindAudio, 0).descendant("codecParams.pid", nullptr), Any(1));
  EXPECT_TRUE(log.hasAt(kLogInfo, "Stream 0 (0:1), language not set"));
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 1);
  EXPECT_EQ(userWarnings(), std::vector<std::string>());
}

TEST(DmfLanguages, CoverArtAndAttachments_AreNotNumbered) {
  fs::path const cover = test::made("cover.png", "-f lavfi -i color=red:s=64x64 -frames:v 1");
  fs::path const file = test::made(
      "cover.mkv", test::pictureInput + test::soundInput + "-i " + test::quoted(assFile()) +
                       " -map 0 -map 1 -map 2:s -c:v mpeg4 -c:a ac3 -c:s copy"
                       " -metadata:s:a:0 language=jpn -attach " +
                       test::quoted(cover) +
                       " -metadata:s:t:0 mimetype=image/png -metadata:s:t:0 filename=cover.png"
                       " -attach " +
                       test::quoted(cover) +
                       " -metadata:s:t:1 mimetype=application/x-font -metadata:s:t:1 filename=a.ttf");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(containerType(*pipe), kDmf);
  EXPECT_EQ(pipe->countStreams(kKindVideo), 1);
  EXPECT_EQ(language(pipe, 0), "jpn");
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 1);
}

TEST(DmfContainer, IsDecidedByVideoAndSubtitles) {
  fs::path const script = test::scratchText("some.srt", "1\n00:00:00,100 --> 00:00:00,400\none\n\n");
  struct {
    fs::path file;
    int type;
  } const cases[] = {
      {languages(), kDmf},
      {test::made("nosubs.mkv", test::pictureInput + "-c:v mpeg4"), kMatroska},
      {test::made("mpeg2.mkv",
                  test::pictureInput + "-i " + test::quoted(script) + " -c:v mpeg2video -c:s copy"),
       kMatroska},
      {test::made("soundonly.mkv", test::soundInput + "-i " + test::quoted(script) + " -c:a ac3 -c:s copy"),
       kDmf},
      {test::plainAvi(320), kAvi},
      {test::made("tagged.avi", test::pictureInput + "-c:v mpeg4 -vtag DX50"), kDmf},
      {test::xsubAvi("decided.avi", 320, "--tag DXSA"), kDmf}};
  for (auto const& [file, type] : cases) {
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    EXPECT_EQ(containerType(*pipe), type) << file;
    if (type != kDmf) {
      EXPECT_EQ(pipe->countStreams(kKindSubpic), 0) << file;
    }
  }
}

// Names of a folder's files, sorted.
std::vector<std::string> names(fs::path const& folder) {
  std::vector<std::string> out;
  for (auto const& entry : fs::directory_iterator(folder)) out.push_back(entry.path().filename());
  std::sort(out.begin(), out.end());
  return out;
}

std::array<int32_t, 3> meta(fs::path const& folder) {
  std::string const bytes = test::readText(folder / "meta.fil");
  std::array<int32_t, 3> values{};
  EXPECT_EQ(bytes.size(), sizeof values);
  std::memcpy(values.data(), bytes.data(), std::min(bytes.size(), sizeof values));
  return values;
}

// The packets of an XSUB stream, one after another.
std::string packets(fs::path const& file, int stream) {
  return test::run("ffmpeg -v error -nostdin -i " + test::quoted(file) +
                   " -map 0:s:" + std::to_string(stream) + " -c:s copy -f data - 2>/dev/null");
}

TEST(DmfBitmaps, EachPictureIsAFileOfItsContent) {
  test::TempFolder const temp;
  for (char const* tag : {"DXSB", "DXSA"}) {
    std::string const subType = std::string(tag) == "DXSA" ? "dxsa" : "dxsb";
    fs::path const file =
        test::xsubAvi(subType + ".avi", 720, std::string("--tag ") + tag + " --title 'S\xC3\xBC\xC3\x9F'");
    PipePtr const pipe = test::opened(file);
    ASSERT_TRUE(pipe);
    ASSERT_EQ(pipe->countStreams(kKindSubpic), 1);
    AnyDict const info = subpic(pipe, 0);
    EXPECT_EQ(keys(info),
              (std::vector<std::string>{"countryCode", "format", "language", "mediaDesc", "subType",
                                        "subtitles", "titleNr", "type", "windowHeight", "windowWidth"}));
    EXPECT_EQ(info["type"], Any(0));
    EXPECT_EQ(info["format"], Any(0));
    EXPECT_EQ(info["subType"], Any(subType));
    EXPECT_EQ(info["language"], Any(""));
    EXPECT_EQ(info["countryCode"], Any(""));
    EXPECT_EQ(info["mediaDesc"], Any("S\xC3\xBC\xC3\x9F"));
    fs::path const folder = info["subtitles"].asString();
    EXPECT_EQ(folder.parent_path(), temp.path());
    EXPECT_TRUE(folder.filename().string().starts_with("0_2_" + subType + "_"));
    std::vector<std::string> const pictures = {"0_40000_80000." + subType, "1_200000_500000." + subType,
                                               "2_600000_720000." + subType};
    std::vector<std::string> all = pictures;
    all.push_back("meta.fil");
    EXPECT_EQ(names(folder), all);
    std::string content;
    for (std::string const& picture : pictures) {
      std::string const bytes = test::readText(folder / picture);
      EXPECT_TRUE(bytes.starts_with("[00:00:00.")) << picture;
      content += bytes;
    }
    EXPECT_TRUE(content == packets(file, 0));
    EXPECT_EQ(meta(folder), (std::array<int32_t, 3>{640, 480, subType == "dxsa" ? 1 : 0}));
    EXPECT_EQ(fs::status(folder).permissions(), fs::perms::owner_all);
  }
}

TEST(DmfBitmaps, WindowFollowsTheVideosWidth) {
  struct {
    int width, windowWidth, windowHeight;
  } const cases[] = {{320, 640, 480},  {720, 640, 480},    {728, 960, 720},
                     {1280, 960, 720}, {1288, 1440, 1080}, {1920, 1440, 1080}};
  for (auto const& [width, windowWidth, windowHeight] : cases) {
    PipePtr const pipe = test::opened(test::xsubAvi("wide.avi", width, ""));
    ASSERT_TRUE(pipe);
    AnyDict const info = subpic(pipe, 0);
    EXPECT_EQ(info["windowWidth"], Any(windowWidth)) << width;
    EXPECT_EQ(info["windowHeight"], Any(windowHeight)) << width;
    EXPECT_EQ(meta(info["subtitles"].asString()), (std::array<int32_t, 3>{windowWidth, windowHeight, 0}));
  }
}

TEST(DmfBitmaps, SeveralStreams_HaveAFolderEach) {
  test::TempFolder const temp;
  fs::path const file = test::xsubAvi("several.avi", 320, "--tag DXSB,DXSA,DXSB");
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->countStreams(kKindSubpic), 3);
  EXPECT_EQ(temp.files().size(), 3U);
  for (int i = 0; i < 3; ++i) {
    fs::path const folder = subpic(pipe, i)["subtitles"].asString();
    EXPECT_TRUE(folder.filename().string().starts_with("0_" + std::to_string(i + 2) + "_"));
    std::string content;
    for (std::string const& name : names(folder))
      if (name != "meta.fil") content += test::readText(folder / name);
    EXPECT_TRUE(content == packets(file, i)) << i;
  }
}

TEST(DmfBitmaps, WrongTimes_AreWrittenAsTheyAre) {
  PipePtr const pipe = test::opened(
      test::xsubAvi("wrong.avi", 320,
                    "00:00:05.000-00:00:01.000 99:99:99.999-00:00:00.000 nonsense ../../../../../../../x"));
  ASSERT_TRUE(pipe);
  fs::path const folder = subpic(pipe, 0)["subtitles"].asString();
  std::vector<std::string> const found = names(folder);
  ASSERT_EQ(found.size(), 5U);
  EXPECT_NE(std::find_if(found.begin(), found.end(),
                         [](auto const& name) { return name.ends_with("_5000000_1000000.dxsb"); }),
            found.end());
  EXPECT_NE(std::find_if(found.begin(), found.end(),
                         [](auto const& name) { return name.ends_with("_362439999000_0.dxsb"); }),
            found.end());
}

class DmfFolders : public testing::Test {
 protected:
  test::TempFolder temp;
  fs::path file = test::xsubAvi("folders.avi", 320, "--tag DXSA,DXSB");
};

TEST_F(DmfFolders, AreRemovedAtClose) {
  test::LogLines const log;
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  std::vector<std::string> folders;
  for (int i = 0; i < 2; ++i) folders.push_back(subpic(pipe, i)["subtitles"].asString());
  EXPECT_EQ(temp.files().size(), 2U);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_TRUE(temp.files().empty());
  for (std::string const& folder : folders)
    EXPECT_TRUE(log.hasAt(kLogInfo, "Deleting temporary subtitle folder " + folder));
}

TEST_F(DmfFolders, AreRemovedWithAPipeThatIsOpen) {
  PipePtr pipe = test::opened(file);
  EXPECT_EQ(temp.files().size(), 2U);
  pipe.reset();
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(DmfFolders, AreRemovedWhenTheFileDoesNotOpenAgain) {
  fs::path const copy = test::scratchDir() / "copy.avi";
  fs::copy_file(file, copy, fs::copy_options::overwrite_existing);
  PipePtr const pipe = test::opened(copy);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(temp.files().size(), 2U);
  fs::remove(copy);
  EXPECT_NE(pipe->open(), 0);
  EXPECT_TRUE(temp.files().empty());
}

TEST_F(DmfFolders, AreMadeAnewByReopening) {
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  std::string const before = subpic(pipe, 0)["subtitles"].asString();
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_NE(subpic(pipe, 0)["subtitles"].asString(), before);
  EXPECT_EQ(temp.files().size(), 2U);
  EXPECT_FALSE(fs::exists(before));
}

TEST_F(DmfFolders, ThatAHostRemovedAlready_AreLeftAtThat) {
  test::LogLines const log;
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  for (fs::path const& folder : temp.files()) fs::remove_all(folder);
  EXPECT_EQ(pipe->close(), 0);
  EXPECT_FALSE(log.contains("Deleting temporary subtitle folder"));
}

TEST_F(DmfFolders, WithoutATemporaryFolder_StreamsAreListedAllTheSame) {
  fs::remove_all(temp.path());
  PipePtr const pipe = test::opened(file);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 2);
  EXPECT_EQ(pipe->close(), 0);
}

TEST(DmfText, WithoutATemporaryFolder_NoStreamIsAdded) {
  test::TempFolder const temp;
  test::LogLines const log;
  fs::remove_all(temp.path());
  PipePtr const pipe = test::opened(assFile());
  ASSERT_TRUE(pipe);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_TRUE(log.contains("[DMFDemux] Failed to extract subtitles to=" + temp.path().string() + "/txt_"));
}

TEST(DmfText, FolderOfTextStreams_IsNoneToRemove) {
  // A script that is the name of a folder is a script.
  test::TempFolder const temp;
  fs::path const victim = temp.path() / "victim";
  fs::create_directory(victim);
  PipePtr const pipe = test::opened(test::matroskaWith(
      "path.mkv",
      test::scratchText("path.srt", "1\n00:00:00,100 --> 00:00:00,400\n" + victim.string() + "\n\n")));
  ASSERT_TRUE(pipe);
  pipe->close();
  EXPECT_TRUE(fs::exists(victim));
}

// External access by the C library's files.
void* openFile(void*, char const* name, int) { return std::fopen(name, "rb"); }
void* openWide(void*, wchar_t const*, int) { return nullptr; }
int64_t seekFile(void*, void* file, int64_t position, int whence) {
  std::fseek(static_cast<std::FILE*>(file), position, whence);
  return std::ftell(static_cast<std::FILE*>(file));
}
int readFile(void*, void* file, void* buffer, int bytes) {
  return static_cast<int>(std::fread(buffer, 1, static_cast<size_t>(bytes), static_cast<std::FILE*>(file)));
}
int closeFile(void*, void* file) { return std::fclose(static_cast<std::FILE*>(file)); }
int64_t sizeOf(void*, char const* name) { return static_cast<int64_t>(fs::file_size(name)); }
int64_t sizeOfWide(void*, wchar_t const*) { return -1; }

TEST(DmfExternal, FilesOfAHostsOwnAccess_AreWarnedAboutAndHaveNoSubtitles) {
  KyExternalDecoderIO io{&openFile, &openWide,   &seekFile, &readFile, &closeFile,
                         &sizeOf,   &sizeOfWide, nullptr,   1};
  ky_registry()->setExternalDecoderIO(&io);
  userWarnings();
  PipePtr const pipe = test::opened(languages());
  ky_registry()->setExternalDecoderIO(nullptr);
  ASSERT_TRUE(pipe);
  EXPECT_EQ(containerType(*pipe), kDmf);
  EXPECT_EQ(pipe->countStreams(kKindSubpic), 0);
  EXPECT_EQ(language(pipe, 0), "");
  std::vector<std::string> const warnings = userWarnings();
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_NE(warnings[0].find(languages().string()), std::string::npos) << warnings[0];
}

// Most bytes of memory that opening a file holds at once, beyond those held before.
int64_t mostBytesOfOpening(KyDecodePipe& pipe) {
  test::forgetMostBytes();
  int64_t const before = test::allocations().bytes;
  EXPECT_EQ(pipe.open(), 0) << pipe.errorDesc();
  return test::mostBytes() - before;
}

TEST(DmfHostile, TenThousandEventsOfTwentyMegabytes_TakeTheirOwnSizeAFewTimes) {
  std::ostringstream script;
  std::string const line(2000, 'x');
  for (int i = 0; i < 10000; ++i) {
    char times[64];
    std::snprintf(times, sizeof times, "%d\n00:00:00,%03d --> 00:00:0%d,%03d\n", i + 1, i % 1000, i % 10,
                  i % 997);
    script << times << i << " " << line << "\n\n";
  }
  fs::path const file = test::matroskaWith("large.mkv", test::scratchText("large.srt", script.str()));
  test::TempFolder const temp;
  PipePtr const pipe = test::pipeFor(file);
  int64_t const most = mostBytesOfOpening(*pipe);
  std::string const text = subpic(pipe, 0)["subtitles"].asString();
  EXPECT_GT(text.size(), 20000000U);
  EXPECT_NE(text.find("\n9999 xxx"), std::string::npos);
  if (test::kAllocationsAreCounted) {
    EXPECT_LT(most, 4 * static_cast<int64_t>(text.size()));
  }
  EXPECT_TRUE(temp.files().empty());
}

TEST(DmfHostile, PicturesOfSixteenMegabytes_AreInMemoryOneAtATime) {
  std::string times;
  for (int i = 0; i < 9; ++i) times += " 00:00:00." + std::to_string(i) + "00-00:00:00.950";
  fs::path const file = test::xsubAvi("huge.avi", 320, "--pad 16000000 --empty" + times);
  test::TempFolder const temp;
  PipePtr pipe = test::pipeFor(file);
  int64_t const most = mostBytesOfOpening(*pipe);
  // Of the nine pictures one is held, read and handed over in four copies.
  if (test::kAllocationsAreCounted) {
    EXPECT_LT(most, 5 * int64_t{16000000});
  }
  fs::path const folder = subpic(pipe, 0)["subtitles"].asString();
  EXPECT_EQ(names(folder).size(), 10U);
  EXPECT_GT(fs::file_size(folder / "8_800000_950000.dxsb"), 16000000U);
  pipe.reset();
  EXPECT_TRUE(temp.files().empty());
}

TEST(DmfHostile, DamagedFiles_LeaveNothingBehind) {
  std::string const good = test::readText(test::xsubAvi("good.avi", 320, "--tag DXSB,DXSA"));
  test::TempFolder const temp;
  uint32_t random = 1;
  for (int round = 0; round < 30; ++round) {
    std::string bad = good;
    for (int i = 0; i < 40; ++i) {
      random = random * 1664525U + 1013904223U;
      size_t const place = i % 2 ? random % 4096 : random % bad.size();
      bad[place] = static_cast<char>(random >> 24);
    }
    PipePtr const pipe = test::pipeFor(test::scratchText("bad.avi", bad));
    pipe->open();
  }
  EXPECT_TRUE(temp.files().empty());
}

}  // namespace
