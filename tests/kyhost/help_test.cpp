// What the program says about itself: help, versions and the manual page.
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

// "-o" and "--output" of "-o,--output".
Lines namesOf(std::string const& word) {
  Lines names;
  std::istringstream in(word);
  for (std::string name; std::getline(in, name, ',');) names.push_back(name);
  return names;
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

TEST(Version, OfAPluginThatRefuses_IsThatOfTheRest) {
  Outcome const run = shell("SCRIPTED_REFUSES=1 " + scriptedCommand("--version"));
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(linesOf(run.output), libraryVersions());
}

std::string manPage() { return kyhost("--help-man").output; }

// From the line that is `heading` to the next heading of its level or above.
std::string manSection(std::string const& page, std::string const& heading) {
  size_t const begin = page.find(heading + "\n");
  if (begin == std::string::npos) return {};
  size_t const end = std::min(page.find("\n.SS ", begin), page.find("\n.SH ", begin));
  return page.substr(begin, end - begin);
}

void expectOptions(std::string const& help, std::string const& section) {
  Lines words = wordsBelow(help, "Options:");
  EXPECT_GE(words.size(), 2U) << help;
  for (std::string const& word : words) {
    for (std::string const& name : namesOf(word)) {
      // Each command has it, and the page tells it once.
      if (name == "-h" || name == "--help") continue;
      std::string const bold = "\\fB" + std::regex_replace(name, std::regex("-"), "\\-") + "\\fR";
      EXPECT_NE(section.find(bold), std::string::npos) << name << " in\n" << section;
    }
  }
}

TEST(ManPage, HasEveryOptionThatHelpShows) {
  std::string const page = manPage();
  expectOptions(kyhost("--help").output, manSection(page, ".SH OPTIONS"));
  EXPECT_NE(page.find("\\fB\\-h\\fR, \\fB\\-\\-help\\fR"), std::string::npos);
  for (std::string const& command : kCommands)
    expectOptions(kyhost(command + " --help").output, manSection(page, ".SS " + command));
}

TEST(ManPage, HasTheSectionsThatReadersLookFor) {
  std::string const page = manPage();
  EXPECT_TRUE(page.starts_with(".TH KYHOST 1 \"\" \"kyhost " KY_VERSION "\" ")) << page.substr(0, 80);
  size_t at = 0;
  for (char const* name : {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "COMMANDS", "EXIT STATUS",
                           "EXAMPLES", "FILES", "ENVIRONMENT"}) {
    size_t const next = page.find(std::string("\n.SH ") + name + "\n", at);
    ASSERT_NE(next, std::string::npos) << name;
    at = next;
  }
}

TEST(ManPage, TellsEveryExitCodeThatHelpTells) {
  std::string const section = manSection(manPage(), ".SH EXIT STATUS");
  std::string const help = kyhost("--help").output;
  std::string codes = help.substr(help.find("Exit codes:"));
  std::regex const code(R"((\d) (?:the )?([a-z -]+)[,.])");
  int found = 0;
  for (std::sregex_iterator it(codes.begin(), codes.end(), code), end; it != end; ++it, ++found) {
    std::string const text = std::regex_replace((*it).str(2).substr(1), std::regex("-"), "\\-");
    EXPECT_NE(section.find("\\fB" + (*it).str(1) + "\\fR\n"), std::string::npos) << (*it).str();
    EXPECT_NE(section.find(text + "."), std::string::npos) << text;
  }
  EXPECT_EQ(found, 6);
}

TEST(ManPage, IsSetWithoutAWarning) {
  if (shell("command -v groff").code != 0) GTEST_SKIP() << "groff is not installed";
  Outcome const run = shell(kyhostCommand("--help-man") + " | groff -man -ww -Tascii -P-cbou");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_NE(run.output.find("ENVIRONMENT"), std::string::npos);
}

// No example or environment variable that the program does not know.
TEST(ManPage, ExamplesAreCallsThatTheProgramUnderstands) {
  Folder const folder;
  std::string const section = manSection(manPage(), ".SH EXAMPLES");
  std::regex const example(R"(\\fB(kyhost [^|\n]*?)(?: \||\\fR))");
  int found = 0;
  for (std::sregex_iterator it(section.begin(), section.end(), example), end; it != end; ++it, ++found) {
    std::string const call = std::regex_replace((*it).str(1), std::regex(R"(\\-)"), "-").substr(7);
    Outcome const run = shell("cd " + folder.path().string() + " && " + scriptedCommand(call));
    // Their file is not there; arguments that are wrong end with 1.
    EXPECT_EQ(run.code, 3) << call << "\n" << run.errors;
  }
  EXPECT_GE(found, 5);
}

TEST(ManPage, OfTheBuild_IsWhatTheProgramWrites) { EXPECT_EQ(fileText(KY_MAN_PAGE), manPage()); }

}  // namespace
