// Subtitles and languages as the program shows them.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/kyhost/program.h"
#include "tests/support/dmf_files.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using nlohmann::json;
using test::quoted;
namespace fs = std::filesystem;

constexpr char kSrt[] = "1\n00:00:00,100 --> 00:00:00,400\none\n\n2\n00:00:00,500 --> 00:00:00,900\ntwo\n\n";
constexpr char kAss[] =
    "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name\nStyle: Default\n\n[Events]\n"
    "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n"
    "Dialogue: 0,0:00:00.10,0:00:00.40,Default,,0,0,0,,one\n";

// Two text streams, of SubRip and ASS, and two languages of sound.
fs::path texts() {
  return test::made("texts.mkv", test::pictureInput + test::soundInput + "-i " +
                                     quoted(test::scratchText("a.srt", kSrt)) + " -i " +
                                     quoted(test::scratchText("a.ass", kAss)) +
                                     " -map 0 -map 1 -map 1 -map 2 -map 3 -c:v mpeg4 -c:a pcm_s16le -c:s copy"
                                     " -metadata:s:a:0 language=eng -metadata:s:a:1 language=fre"
                                     " -metadata:s:s:0 language=ger");
}

TEST(Subs, Text_IsWrittenAsTheFileHoldsIt) {
  Folder const folder;
  Outcome run = kyhost("subs " + quoted(texts()) + " -o " + quoted(folder / "a.srt"));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(run.output + run.errors, "");
  EXPECT_EQ(fileText(folder / "a.srt"), kSrt);
  run = kyhost("subs " + quoted(texts()) + " --stream 1 -o " + quoted(folder / "b.ass"));
  ASSERT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(fileText(folder / "b.ass"), kAss);
  EXPECT_EQ(kyhost("subs " + quoted(texts()) + " -o -").output, kSrt);
}

TEST(Subs, NameThatDoesNotFit_IsToldWhichDoes) {
  Folder const folder;
  Outcome run = kyhost("subs " + quoted(texts()) + " -o " + quoted(folder / "a.ass"));
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("end the name in .srt"), std::string::npos) << run.errors;
  run = kyhost("subs --stream 1 " + quoted(texts()) + " -o " + quoted(folder / "a.srt"));
  EXPECT_NE(run.errors.find("end the name in .ass"), std::string::npos) << run.errors;
  run = kyhost("subs " + quoted(test::xsubAvi("p.avi", 320, "")) + " -o " + quoted(folder / "a.srt"));
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("ends in .png"), std::string::npos) << run.errors;
  EXPECT_EQ(folder.entries(), std::vector<std::string>());
}

TEST(Subs, StreamThatIsNotThere_IsAWrongArgument) {
  Outcome run = kyhost("subs --stream 2 " + quoted(texts()) + " -o -");
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("streams 0 to 1"), std::string::npos) << run.errors;
  run = kyhost("subs " + quoted(test::plainAvi(320)) + " -o -");
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("has no subtitle streams"), std::string::npos) << run.errors;
}

// Pixels of a PNG as RGBA.
std::vector<uint8_t> pixels(fs::path const& png) { return test::rawPictures(png, "rgba"); }

void expectColour(std::vector<uint8_t> const& image, int x, int y, std::vector<uint8_t> const& rgba) {
  size_t const at = (static_cast<size_t>(y) * 200 + static_cast<size_t>(x)) * 4;
  ASSERT_LE(at + 4, image.size());
  EXPECT_EQ((std::vector<uint8_t>{image.begin() + static_cast<std::ptrdiff_t>(at),
                                  image.begin() + static_cast<std::ptrdiff_t>(at) + 4}),
            rgba)
      << x << "," << y;
}

TEST(Subs, Pictures_BecomePngWithTheirColoursAndTransparency) {
  Folder const folder;
  Outcome const run = kyhost("subs " + quoted(test::xsubAvi("colours.avi", 720, "--tag DXSA")) + " -o " +
                             quoted(folder / "out/"));
  ASSERT_EQ(run.code, 0) << run.errors;
  std::string const first = (folder / "out/subtitle_000000.png").string();
  EXPECT_TRUE(run.output.starts_with(first + "\t0:00:00.040\t0:00:00.080\t100\t400\t200\t40\n"))
      << run.output;
  ASSERT_TRUE(fs::exists(folder / "out/subtitle_000002.png"));
  auto const image = pixels(folder / "out/subtitle_000002.png");
  ASSERT_EQ(image.size(), 200U * 40 * 4);
  expectColour(image, 0, 0, {0, 0, 0, 0});           // colour 0: see-through
  expectColour(image, 5, 0, {255, 255, 255, 255});   // first bar, upper field
  expectColour(image, 9, 29, {255, 255, 255, 255});  // lower field
  expectColour(image, 10, 29, {0, 0, 0, 0});
  expectColour(image, 15, 7, {255, 255, 255, 255});  // second bar
  expectColour(image, 25, 7, {0, 0, 0, 0});          // no third
  expectColour(image, 199, 30, {255, 0, 0, 128});    // the row below, half see-through
}

TEST(Subs, Pictures_GoToNumberedNames) {
  Folder const folder;
  fs::path const file = test::xsubAvi("numbered.avi", 720, "--tag DXSB");
  ASSERT_EQ(kyhost("subs " + quoted(file) + " -o " + quoted(folder / "p%02d.png")).code, 0);
  EXPECT_EQ(folder.entries(), (std::vector<std::string>{"p00.png", "p01.png", "p02.png"}));
  Outcome const run = kyhost("subs " + quoted(file) + " -o " + quoted(folder / "one.png"));
  EXPECT_EQ(run.code, 1);
  EXPECT_NE(run.errors.find("one name for 3 pictures"), std::string::npos) << run.errors;
}

TEST(Subs, PictureThatCannotBeDecoded_IsNamedAndLeftOut) {
  Folder const folder;
  fs::path const good = test::xsubAvi("good.avi", 720, "");
  // The second picture's begin of text.
  fs::path const bad = test::patched(good, "bad.avi", "[00:00:00.200-", "(00:00:00.200-");
  Outcome const run = kyhost("subs " + quoted(bad) + " -o " + quoted(folder / "out/"));
  EXPECT_EQ(run.code, 4);
  EXPECT_NE(run.errors.find("picture 1"), std::string::npos) << run.errors;
  EXPECT_NE(run.errors.find("1 of 3 pictures"), std::string::npos) << run.errors;
  EXPECT_TRUE(fs::exists(folder / "out/subtitle_000002.png"));
  EXPECT_FALSE(fs::exists(folder / "out/subtitle_000001.png"));
}

TEST(Subs, NothingIsLeftInTheTemporaryFolder) {
  Folder const folder, temp;
  std::string const file = quoted(test::xsubAvi("left.avi", 720, "--tag DXSA,DXSB"));
  Outcome const run = shell("KY_TEMP_DIR=" + quoted(temp.path()) + " " +
                            kyhostCommand("subs --stream 1 " + file + " -o " + quoted(folder / "out/")));
  EXPECT_EQ(run.code, 0) << run.errors;
  EXPECT_EQ(temp.entries(), std::vector<std::string>());
}

TEST(Info, Languages_AreListedAsTextAndJson) {
  Outcome const text = kyhost("info " + quoted(texts()));
  ASSERT_EQ(text.code, 0) << text.errors;
  EXPECT_NE(text.output.find(", language eng\n"), std::string::npos) << text.output;
  EXPECT_NE(text.output.find(", language fre\n"), std::string::npos);
  EXPECT_NE(text.output.find("\nsubtitle 0: utf8, language ger\n"), std::string::npos);
  EXPECT_NE(text.output.find(std::to_string(sizeof kSrt - 1) + " bytes of text\n"), std::string::npos);
  json const info = json::parse(kyhost("info --json " + quoted(texts())).output);
  EXPECT_EQ(info["audio"][1]["languageDescriptor"]["ISO_639_language_code"], "fre");
  EXPECT_EQ(info["subtitles"][0]["language"], "ger");
  EXPECT_EQ(info["subtitles"][0]["subtitles"], kSrt);
}

}  // namespace
