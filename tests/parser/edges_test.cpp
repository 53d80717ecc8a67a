// What the process around the parser, short files and texts at the very beginning do to it.
#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "parser_xdcam_ex/source/xmltext.h"
#include "tests/parser/cardfixture.h"

namespace {

class Edges : public CardTest {
 protected:
  std::string catalogue(std::string_view text) const { return write("card/BPAV/MEDIAPRO.XML", text); }
  OpenParser parser_;
};

// Standard input closed, as services have it: the next file gets descriptor 0.
TEST_F(Edges, AFileMayHaveDescriptorZero) {
  std::string const file = write("take.XML", "<umid=\"TAKE\"/>");
  int const before = ::dup(STDIN_FILENO);
  ::close(STDIN_FILENO);
  bool const read = parser_.ReadXmlFile(file);
  if (before >= 0) {
    ::dup2(before, STDIN_FILENO);
    ::close(before);
  }
  EXPECT_TRUE(read) << parser_.error_text;
}

// Files of the kernel claim a page and hold less.
TEST_F(Edges, AFileShorterThanItClaimsCannotBeRead) {
  std::string const claims = "/sys/devices/system/cpu/online";
  if (::access(claims.c_str(), R_OK) != 0) GTEST_SKIP() << "no " << claims;
  std::filesystem::create_symlink(claims, at("short.XML"));
  EXPECT_FALSE(parser_.ReadXmlFile(at("short.XML")));
  EXPECT_EQ(parser_.error_text, "Unable to read file  " + at("short.XML"));
}

TEST_F(Edges, ACatalogueThatBeginsWithTheTakesUmidFails) {
  parser_.take_umid = "TAKE";
  EXPECT_FALSE(parser_.ParseXml("<TAKE><Material umid=\"TAKE\"></Material>"));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
}

TEST_F(Edges, ACatalogueThatBeginsWithAClipsUmidFails) {
  parser_.take_umid = "TAKE";
  EXPECT_FALSE(
      parser_.ParseXml("<P1><Material umid=\"TAKE\"><Component uri=\"./CLPR/1.SMI\" umid=\"P1\"/></Material>"
                       "<Material umid=\"P1\"><Component uri=\"./CLPR/1.MP4\"/></Material>"));
  EXPECT_EQ(parser_.error_text, "clip Material tag not found!");
}

TEST_F(Edges, OnlyTheFiveEntitiesAreReplaced) {
  EXPECT_TRUE(parser_.ParseXml("<umid=\"~quot;~amp;~lt;~gt;\"/>"));
  EXPECT_EQ(parser_.take_umid, "~quot;~amp;~lt;~gt;");
}

TEST_F(Edges, NothingReplacesAnEmptyMarker) {
  std::string text = "abc";
  replaceAll(text, "", "x");
  EXPECT_EQ(text, "abc");
}

// What was printed before comes out, and before the message.
TEST_F(Edges, AnAssertionFailsBehindWhatWasPrinted) {
  testing::GTEST_FLAG(death_test_style) = "fast";
  std::string const out = at("out");
  EXPECT_EXIT(
      {
        int const file = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(file, STDOUT_FILENO);
        ::dup2(file, STDERR_FILENO);
        std::printf("printed before\n");
        parser_.ProcessData("", "x.mzl", 0);
      },
      testing::KilledBySignal(SIGABRT), "");
  EXPECT_NE(read(out).find("printed before\n./parser_xdcam_ex/"), std::string::npos) << read(out);
}

}  // namespace
