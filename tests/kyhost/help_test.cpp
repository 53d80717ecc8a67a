// What the program says about itself: help and versions.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "tests/kyhost/program.h"

namespace {

using namespace program;
using Lines = std::vector<std::string>;

Lines const kCommands{"info",    "frames", "audio",      "subs", "hash",
                      "contact", "get",    "timestamps", "cc",   "bench"};

Lines linesOf(std::string const& text) {
  Lines lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The first words of the indented lines from the one that is `heading` to the next that is empty.
Lines wordsBelow(std::string const& help, std::string const& heading) {
  Lines words;
  Lines const lines = linesOf(help);
  for (auto line = std::find(lines.begin(), lines.end(), heading); line != lines.end() && !line->empty();
       ++line)
    if (line->starts_with("  ") && !line->starts_with("   "))
      words.push_back(line->substr(2, line->find(' ', 2) - 2));
  return words;
}

constexpr char const* kFooter =
    "\nPositions (--from, --to) are frame or sample numbers from 0 (250), seconds (10.5s) or times "
    "(1:02:03.5);\n"
    "--to names the first one that is left out. -o - writes to standard output.\n"
    "\n"
    "Exit codes: 0 done, 1 wrong arguments, 2 the plug-in cannot be loaded, 3 the file cannot be opened,\n"
    "4 not everything could be read, 5 the output cannot be written.\n";

TEST(Help, ListsTheCommandsInTheirOrder) {
  EXPECT_EQ(wordsBelow(kyhost("--help").output, "Subcommands:"), kCommands);
}

TEST(Help, ListsTheOptionsOfEveryCommand) {
  EXPECT_EQ(wordsBelow(kyhost("--help").output, "Options:"),
            (Lines{"-h,--help", "--plugin", "--set", "--threads", "--debug", "--io", "--stats", "-q,--quiet",
                   "--version"}));
}

TEST(Help, OfACommand_TellsKindsLimitsAndDefaults) {
  EXPECT_EQ(kyhost("contact --help").output,
            "Contact sheet as PNG\n"
            "Usage: kyhost contact [OPTIONS] PATH\n"
            "\n"
            "Positionals:\n"
            "  PATH TEXT REQUIRED          Clip description of a card (.SMI, .XML), take list (.mzl) or "
            "media file\n"
            "\n"
            "Options:\n"
            "  -h,--help                   Print this help message and exit\n"
            "  --stream N                  Video stream\n"
            "  -o,--output FILE REQUIRED   FILE.png or -\n"
            "  --overlay N:NONNEGATIVE     Draw this bitmap subtitle stream, counted from 0\n"
            "  --columns INT:INT in [1 - 100]=4\n"
            "                              Pictures side by side\n"
            "  --rows INT:INT in [1 - 100]=3\n"
            "                              Rows of pictures\n"
            "  --width INT:INT in [32 - 16384]=1280\n"
            "                              Width of the sheet in pixels\n" +
                std::string(kFooter));
}

TEST(Help, OfACommand_TellsChoicesAndPlaces) {
  std::string const frames = kyhost("frames --help").output;
  EXPECT_NE(frames.find("  --format TEXT:{y4m,raw,png} In place of what the name says\n"), std::string::npos);
  std::string const get = kyhost("get --help").output;
  EXPECT_NE(get.find("Usage: kyhost get [OPTIONS] PATH KEY [ARGUMENT]\n"), std::string::npos);
}

struct Wrong {
  char const* arguments;
  char const* text;
};

TEST(WrongArguments, AreNamed) {
  for (auto const& [arguments, text] :
       {Wrong{"", "A subcommand is required\nRun with --help for more information.\n"},
        Wrong{"play x", "A subcommand is required\nRun with --help for more information.\n"},
        Wrong{"info", "PATH is required\nRun with --help for more information.\n"},
        Wrong{"info x --threads 65",
              "--threads: Value 65 not in range 0 to 64\nRun with --help for more information.\n"},
        Wrong{"info x --io tape", "--io: tape not in {file,memory}\nRun with --help for more information.\n"},
        Wrong{"frames x", "--output is required\nRun with --help for more information.\n"},
        Wrong{"bench x --seed a",
              "Could not convert: --seed = a\nRun with --help for more information.\n"}}) {
    Outcome const run = kyhost(arguments);
    EXPECT_EQ(run.code, 1) << arguments;
    EXPECT_EQ(run.output, "") << arguments;
    EXPECT_EQ(run.errors, text) << arguments;
  }
}

// "libavutil 57.28.100" as the ffprobe program tells it of the library that it runs on.
std::string versionOf(std::string const& library, std::string const& ffprobe) {
  std::smatch found;
  std::regex const line(library + R"( +\d+\. *\d+\. *\d+ / *(\d+)\. *(\d+)\. *(\d+))");
  if (!std::regex_search(ffprobe, found, line)) return {};
  return library + " " + found.str(1) + "." + found.str(2) + "." + found.str(3);
}

Lines libraryVersions() {
  std::string const ffprobe = shell("ffprobe -version").output;
  Lines lines{"kyhost " KY_VERSION};
  for (char const* library : {"libavformat", "libavcodec", "libavutil", "libswscale"})
    lines.push_back(versionOf(library, ffprobe));
  return lines;
}

TEST(Version, TellsTheProgramTheLibrariesAndThePlugin) {
  Outcome const run = scripted("--version");
  EXPECT_EQ(run.code, 0);
  Lines expected = libraryVersions();
  expected.push_back("scripted");
  EXPECT_EQ(linesOf(run.output), expected);
}

TEST(Version, WithoutAPlugin_IsThatOfTheRest) {
  Outcome const run = kyhost("--version --plugin /none.so");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(linesOf(run.output), libraryVersions());
}

}  // namespace
