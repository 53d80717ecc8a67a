// The commands on scripts: what they print and where.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/kyhost/program.h"
#include "tests/kyhost/scripted_values.h"
#include "tests/support/media.h"

namespace {

using namespace program;
using nlohmann::json;

constexpr char const* kScript = "layout=I420\nwidth=6\nheight=4\nframes=3\nbytes=2\n";

std::vector<std::string> lines(std::string const& text) {
  std::vector<std::string> out;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) out.push_back(line);
  return out;
}

std::vector<uint8_t> i420(int frame, int width, int height) {
  std::vector<uint8_t> bytes;
  for (int plane = 0; plane < 3; ++plane) {
    for (int row = 0; row < (plane ? (height + 1) / 2 : height); ++row) {
      for (int i = 0; i < (plane ? (width + 1) / 2 : width); ++i)
        bytes.push_back(script_values::pictureByte(frame, plane, row, i));
    }
  }
  return bytes;
}

TEST(Info, AsJson_HoldsEveryKeyOfTheDescriptions) {
  Folder const folder;
  auto const file = folder.write("a.txt", std::string(kScript) + "rate=25\norder=1\n");
  Outcome const run = scripted("info --json " + file.string());
  ASSERT_EQ(run.code, 0) << run.errors;
  json const info = json::parse(run.output);
  EXPECT_EQ(info["file"], file.string());
  EXPECT_EQ(info["plugin"]["name"], "scripted");
  ASSERT_EQ(info["video"].size(), 1U);
  EXPECT_EQ(info["video"][0]["frames"], 3);
  EXPECT_EQ(info["video"][0]["raw"], "01ab");
  json const rate{{"rate", 25.0}, {"order", 1}, {"dropFrame", false}, {"pulldown", 0}};
  EXPECT_EQ(info["video"][0]["framerate"], rate);
  ASSERT_EQ(info["audio"].size(), 1U);
  EXPECT_EQ(info["audio"][0]["samples"], 2500);
  EXPECT_EQ(info["subtitles"].size(), 0U);
}

TEST(Info, AsTable_NamesEveryKeyOfTheDescriptions) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  Outcome const run = scripted("info " + file.string());
  ASSERT_EQ(run.code, 0) << run.errors;
  json const info = json::parse(scripted("info --json " + file.string()).output);
  for (char const* group : {"video", "audio"}) {
    for (auto const& [key, value] : info[group][0].items())
      EXPECT_NE(run.output.find("\n  " + key), std::string::npos) << key;
  }
  EXPECT_NE(run.output.find("video 0: scripted 6x4, 25 frames/s, progressive, 3 frames"), std::string::npos)
      << run.output;
}

TEST(StandardOutput, StaysCleanOfWhatTheDecoderPrints) {
  Folder const folder;
  auto const file = folder.write("a.txt", std::string(kScript) + "prints=1\n");
  Outcome const info = scripted("info --json " + file.string());
  EXPECT_TRUE(json::accept(info.output)) << info.output;
  EXPECT_EQ(info.errors, "");
  Outcome const pictures = scripted("frames -q -o - " + file.string());
  EXPECT_EQ(pictures.output.rfind("YUV4MPEG2 ", 0), 0U);
  EXPECT_EQ(pictures.errors, "");
}

TEST(StandardOutput, PrintsOfTheDecoderGoToStandardErrorWithDebug) {
  Folder const folder;
  auto const file = folder.write("a.txt", std::string(kScript) + "prints=1\n");
  Outcome const info = scripted("info --json --debug error " + file.string());
  EXPECT_TRUE(json::accept(info.output)) << info.output;
  EXPECT_NE(info.errors.find("printed while opening\nand not yet flushed"), std::string::npos) << info.errors;
}

TEST(StandardOutput, WhenClosed_TheProgramFailsAsAWriteError) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  EXPECT_EQ(shell(scriptedCommand("info " + file.string()) + " >&-").code, 5);
}

TEST(SetOption, ReachesTheDecoderTyped_AndTheModule) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  Outcome const run =
      scripted("info --json --threads 3 --set nested.a.b=1.5 --set nested.c=true --set module.colour=red " +
               file.string());
  ASSERT_EQ(run.code, 0) << run.errors;
  json const video = json::parse(run.output)["video"][0];
  EXPECT_EQ(video["threads"], 3);
  EXPECT_EQ(video["nested"], (json{{"a", {{"b", 1.5}}}, {"c", 1}}));
  EXPECT_EQ(video["attribute"], "red");
}

TEST(Hash, HasALineForEveryFrameAndEverySecondOfSound) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  Outcome const run = scripted("hash " + file.string());
  ASSERT_EQ(run.code, 0) << run.errors;
  auto const all = lines(run.output);
  ASSERT_EQ(all.size(), 3U + 1 + 3 + 1) << run.output;
  std::string digests;
  for (int frame = 0; frame < 3; ++frame) {
    std::string const digest = test::md5(i420(frame, 6, 4));
    EXPECT_EQ(all[static_cast<size_t>(frame)], "v0 " + std::to_string(frame) + " " + digest);
    digests += digest + "\n";
  }
  EXPECT_EQ(all[3],
            "v0 total 3 " + test::md5({reinterpret_cast<uint8_t const*>(digests.data()), digests.size()}));

  std::vector<uint8_t> second;
  for (int64_t i = 4000; i < 5000; ++i) {
    int const value = script_values::sample(i);
    second.push_back(static_cast<uint8_t>(value));
    second.push_back(static_cast<uint8_t>(value >> 8));
  }
  EXPECT_EQ(all[6], "a0 2 " + test::md5(second));
  EXPECT_EQ(all[7].rfind("a0 total 2500 ", 0), 0U) << all[7];
}

TEST(Hash, AsJson_HoldsTheSameHashes) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  json const document = json::parse(scripted("hash --json " + file.string()).output);
  auto const all = lines(scripted("hash " + file.string()).output);
  ASSERT_EQ(document["video"][0]["hashes"].size(), 3U);
  EXPECT_EQ("v0 1 " + document["video"][0]["hashes"][1].get<std::string>(), all[1]);
  EXPECT_EQ("a0 total 2500 " + document["audio"][0]["total"].get<std::string>(), all[7]);
}

TEST(Hash, FrameThatCannotBeDecoded_IsMarkedAndTheRestIsHashed) {
  Folder const folder;
  auto const file = folder.write("a.txt", std::string(kScript) + "bad=1\n");
  Outcome const run = scripted("hash " + file.string());
  EXPECT_EQ(run.code, 4);
  auto const all = lines(run.output);
  ASSERT_EQ(all.size(), 8U);
  EXPECT_EQ(all[1], "v0 1 error");
  EXPECT_EQ(all[2], "v0 2 " + test::md5(i420(2, 6, 4)));
  EXPECT_NE(run.errors.find("video stream 0: frame 1 cannot be decoded: Error in readFrame"),
            std::string::npos)
      << run.errors;
}

TEST(Contact, ShortStream_ShowsEveryFrameOnce) {
  Folder const folder;
  auto const file = folder.write("a.txt", "layout=I420\nwidth=64\nheight=48\nframes=3\n");
  Outcome const run = scripted("contact " + file.string() + " --width 320 -o " + (folder / "c.png").string());
  ASSERT_EQ(run.code, 0) << run.errors;
  // Three pictures of 96x72 in one row, 8 pixels between, a line of 7 below.
  std::string const size = test::run("ffprobe -v error -show_entries stream=width,height -of csv=p=0 " +
                                     test::quoted(folder / "c.png"));
  EXPECT_EQ(size, "320,99\n");
}

TEST(Bench, AsJson_TellsRates) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  json const result = json::parse(scripted("bench --json --seeks 7 " + file.string()).output);
  EXPECT_EQ(result["frames"], 3);
  EXPECT_EQ(result["seeks"], 7);
  EXPECT_GT(result["framesPerSecond"].get<double>(), 0.0);
}

TEST(Stats, GoToStandardError) {
  Folder const folder;
  auto const file = folder.write("a.txt", kScript);
  Outcome const run = scripted("frames -q --stats -o /dev/null --format y4m " + file.string());
  EXPECT_EQ(run.output, "");
  EXPECT_NE(run.errors.find("opened in "), std::string::npos);
  EXPECT_NE(run.errors.find("3 frames in "), std::string::npos) << run.errors;
}

}  // namespace
