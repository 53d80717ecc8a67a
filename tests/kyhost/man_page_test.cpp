// The manual page of a made program.
#include "kyhost/commands/man_page.h"

#include <gtest/gtest.h>

namespace {

using namespace kyhost;

struct Options {
  std::string path;
  std::string kind;
  int count = 3;
  unsigned seed = 7;
  bool loud = false;
};

void describe(Arguments& arguments, Options& options) {
  arguments.add("PATH", &options.path, ".hidden files\\folders are read").mandatory();
  arguments.add("-k,--kind", &options.kind, "which").oneOf({"a", "b"}).mandatory();
  arguments.add("--count", &options.count, "How many").between(1, 9).withDefault();
  arguments.add("--seed", &options.seed, "Of what is random").called("SEED");
  arguments.add("--loud", &options.loud, "'Loud.");
}

std::string page() {
  Program program{"prog", "1.2", "Does things.", {".first", "second"}, {{ExitCode::Ok, "done"}}, {}, {}};
  auto const run = [](Settings const&, Options const&) {};
  program.commands.push_back(makeCommand<Options>("work", "Works", "Hard.", describe, run));
  return manPage(program);
}

void expectIn(std::string const& page, std::string const& text) {
  EXPECT_NE(page.find(text), std::string::npos) << text << "\nin\n" << page;
}

TEST(ManPageText, ThatLooksLikeARequestOrAnEscape_IsText) {
  expectIn(page(), "\n\\&.first\nsecond\n");
  expectIn(page(), "\n\\&.hidden files\\efolders are read.\n");
  expectIn(page(), "\n\\&'Loud.\n");
}

TEST(ManPageText, OfAnArgument_TellsWhatItTakes) {
  expectIn(page(), ".TP\n\\fIPATH\\fR\n");
  expectIn(page(), ".TP\n\\fB\\-k\\fR, \\fB\\-\\-kind\\fR \\fIa|b\\fR\nWhich.\nMust be given.\n");
  expectIn(page(), ".TP\n\\fB\\-\\-count\\fR \\fIN\\fR\nHow many.\n1 to 9.\nDefault: 3.\n");
  expectIn(page(), ".TP\n\\fB\\-\\-seed\\fR \\fISEED\\fR\nOf what is random.\n");
  expectIn(page(), ".TP\n\\fB\\-\\-loud\\fR\n");
}

TEST(ManPageText, OfACommand_BeginsWithHowItIsCalled) {
  expectIn(page(), ".SS work\n\\fBprog work\\fR [\\fIOPTIONS\\fR] \\fIPATH\\fR\n.PP\nWorks.\nHard.\n");
}

}  // namespace
