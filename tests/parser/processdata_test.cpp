#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#include "tests/parser/cardfixture.h"

namespace {

std::string const kCatalogue =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<MediaProfile>\n"
    "<Material uri=\"./CLPR/1/1.SMI\" umid=\"PART1\">\n\t<Component uri=\"./CLPR/1/1.MP4\"/>\n</Material>\n"
    "<Material uri=\"./CLPR/2/2.SMI\" umid=\"PART2\">\n\t<Component uri=\"./CLPR/2/2.MP4\"/>\n</Material>\n"
    "<Material uri=\"./TAKR/0/0.SMI\" umid=\"TAKE\">\n\t<Component uri=\"./CLPR/1/1.SMI\" umid=\"PART1\"/>\n"
    "\t<Component uri=\"./CLPR/2/2.SMI\" umid=\"PART2\"/>\n</Material>\n</MediaProfile>\n";

class ProcessData : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    smi_ = write("card/BPAV/CLPR/1/1.SMI", "<?xml?><smil umid=\"TAKE\"></smil>");
    write("card/BPAV/MEDIAPRO.XML", kCatalogue);
    write("card/BPAV/CLPR/1/1.MP4", "12345");
    write("card/BPAV/CLPR/2/2.MP4", "123");
  }
  bool process(std::string const& name, int verbose = 0) {
    return parser_.ProcessData(name, at("t.mzl"), verbose);
  }
  std::string expectedList() const {
    return "XMP4\r\n" + card() + "CLPR/1/1.MP4;  5\r\n" + card() + "CLPR/2/2.MP4;  3\r\n";
  }
  OpenParser parser_;
  std::string smi_;
};

TEST_F(ProcessData, WritesTheTakeOfAnSmiFile) {
  EXPECT_TRUE(process(smi_)) << parser_.error_text;
  EXPECT_EQ(parser_.root_dir, card());
  EXPECT_EQ(parser_.is_smi, 1);
  EXPECT_EQ(read(at("t.mzl")), expectedList());
}

TEST_F(ProcessData, WritesTheTakeOfAnXmlFile) {
  std::string const xml =
      write("card/BPAV/CLPR/1/1M01.XML", "<NonRealTimeMeta><TargetMaterial umidRef=\"TAKE\"/>");
  EXPECT_TRUE(process(xml)) << parser_.error_text;
  EXPECT_EQ(parser_.is_smi, 0);
  EXPECT_EQ(read(at("t.mzl")), expectedList());
}

TEST_F(ProcessData, APathWithBothNamesCountsAsSmi) {
  std::string const xml = write("card/BPAV/CLPR/SMI/1M01.XML", "<a umid=\"TAKE\"/>");
  EXPECT_TRUE(process(xml)) << parser_.error_text;
  EXPECT_EQ(parser_.is_smi, 1);
}

TEST_F(ProcessData, TheKindMayStandAnywhereInThePath) {
  std::string const odd = write("card/BPAV/CLPR/XML/clip.xml", "<a umidRef=\"TAKE\"/>");
  EXPECT_TRUE(process(odd)) << parser_.error_text;
  EXPECT_EQ(parser_.is_smi, 0);
}

TEST_F(ProcessData, ALowerCaseKindIsRefused) {
  EXPECT_FALSE(process("/x/BPAV/CLPR/clip.xml"));
  EXPECT_EQ(parser_.error_text, "Invalid input file !! Must be SMI or XML");
}

TEST_F(ProcessData, AnotherKindIsRefused) {
  EXPECT_FALSE(process("/card/BPAV/a.txt"));
  EXPECT_EQ(parser_.error_text, "Invalid input file !! Must be SMI or XML");
}

TEST_F(ProcessData, APathWithoutTheCardFolderIsRefused) {
  EXPECT_FALSE(process("/card/bpav/CLPR/a.SMI"));
  EXPECT_EQ(parser_.error_text, "Invalid root !! Should be ..\\BPAV\\");
}

TEST_F(ProcessData, TakesTheLastCardFolderOfThePath) {
  EXPECT_FALSE(process("/BPAV/x/BPAV/CLPR/a.SMI"));
  EXPECT_EQ(parser_.root_dir, "/BPAV/x/BPAV/");
  EXPECT_EQ(parser_.error_text, "Unable to open /BPAV/x/BPAV/CLPR/a.SMI");
}

TEST_F(ProcessData, RootsAtTheCardFolderOfAClipPath) {
  EXPECT_FALSE(process("/card/BPAV/CLPR/C0001/C0001.SMI"));
  EXPECT_EQ(parser_.root_dir, "/card/BPAV/");
}

TEST_F(ProcessData, WhatFollowsTheCardFolderIsNotChecked) {
  EXPECT_FALSE(process("/card/BPAVSMI"));
  EXPECT_EQ(parser_.root_dir, "/card/BPAV/");
  EXPECT_EQ(parser_.error_text, "Unable to open /card/BPAVSMI");
}

TEST_F(ProcessData, AMissingCatalogueIsNamed) {
  std::filesystem::remove(card() + "MEDIAPRO.XML");
  EXPECT_FALSE(process(smi_));
  EXPECT_EQ(parser_.error_text, "Unable to open " + card() + "MEDIAPRO.XML");
}

TEST_F(ProcessData, AFolderCannotBeRead) {
  std::filesystem::create_directory(card() + "CLPR/folder.SMI");
  EXPECT_FALSE(process(card() + "CLPR/folder.SMI"));
  EXPECT_EQ(parser_.error_text, "Unable to read file  " + card() + "CLPR/folder.SMI");
}

TEST_F(ProcessData, APipeCannotBeReadAndIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo((card() + "CLPR/pipe.SMI").c_str(), 0600), 0);
  EXPECT_FALSE(process(card() + "CLPR/pipe.SMI"));
  EXPECT_EQ(parser_.error_text, "Unable to read file  " + card() + "CLPR/pipe.SMI");
}

TEST_F(ProcessData, AFileOf4GiBHasA32BitLengthOfZero) {
  ASSERT_EQ(::truncate(smi_.c_str(), off_t{1} << 32), 0);
  EXPECT_FALSE(process(smi_));
  EXPECT_EQ(parser_.error_text, "");
}

TEST_F(ProcessData, ALongFileIsReadWhole) {
  write("card/BPAV/MEDIAPRO.XML", "<!--" + std::string(3'000'000, ' ') + "-->" + kCatalogue);
  EXPECT_TRUE(process(smi_)) << parser_.error_text;
  EXPECT_EQ(read(at("t.mzl")), expectedList());
}

TEST_F(ProcessData, WhatFollowsANulByteIsLost) {
  write("card/BPAV/CLPR/1/1.SMI", std::string("<smil \0umid=\"TAKE\"/>", 20));
  EXPECT_FALSE(process(smi_));
  EXPECT_EQ(parser_.error_text, "No UMID available !");
}

TEST_F(ProcessData, AFileThatDoesNotBeginWithATagFailsWithoutText) {
  for (char const* text : {"", "\xef\xbb\xbf<smil umid=\"TAKE\"/>", "\n<smil umid=\"TAKE\"/>"}) {
    write("card/BPAV/CLPR/1/1.SMI", text);
    EXPECT_FALSE(process(smi_));
    EXPECT_EQ(parser_.error_text, "");
  }
}

TEST_F(ProcessData, ATakeWithoutClipsFailsInTheTakeList) {
  write("card/BPAV/MEDIAPRO.XML", "<MediaProfile><Material umid=\"TAKE\"></Material>");
  EXPECT_FALSE(process(smi_));
  EXPECT_EQ(parser_.error_text, "No mp4 file found");
  EXPECT_EQ(read(at("t.mzl")), "XMP4\r\n");
}

TEST_F(ProcessData, AFailedSearchWritesNoTakeList) {
  write("card/BPAV/MEDIAPRO.XML", "<MediaProfile/>");
  EXPECT_FALSE(process(smi_));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
  EXPECT_FALSE(std::filesystem::exists(at("t.mzl")));
}

TEST_F(ProcessData, ReadsACatalogueWithCarriageReturns) {
  std::string crlf;
  for (char const c : kCatalogue) crlf += c == '\n' ? "\r\n" : std::string(1, c);
  write("card/BPAV/MEDIAPRO.XML", crlf);
  EXPECT_TRUE(process(smi_)) << parser_.error_text;
  EXPECT_EQ(read(at("t.mzl")), expectedList());
}

TEST_F(ProcessData, ASecondCallKeepsWhatTheFirstLeft) {
  EXPECT_TRUE(process(smi_));
  EXPECT_EQ(parser_.take_umid, "TAK");
  EXPECT_EQ(parser_.clip_list.size(), 2u);
  // The description is now searched as a catalogue, since the UMID is known.
  EXPECT_FALSE(process(smi_));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
  EXPECT_EQ(parser_.clip_list.size(), 2u);
}

TEST_F(ProcessData, PrintsByVerbosity) {
  std::string const dashes = std::string(73, '-') + "\n";
  auto const expected = [&](std::string const& umid) {
    return dashes + "Opened successfuly : " + smi_ + "\n" + umid + "Opened successfuly : " + card() +
           "MEDIAPRO.XML\n" + dashes + "process : " + card() + "CLPR/1/1.MP4\tsize : : 5\n" +
           "process : " + card() + "CLPR/2/2.MP4\tsize : : 3\n" + dashes;
  };
  std::string const outputs[] = {"", expected(""), expected("\nFound UMID TAK\n\n"), expected("")};
  for (int verbose = 0; verbose < 4; ++verbose) {
    OpenParser parser;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(parser.ProcessData(smi_, at("t.mzl"), verbose));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), outputs[verbose]) << verbose;
    EXPECT_EQ(parser.verbose, verbose);
  }
}

TEST_F(ProcessData, AFailurePrintsNoClosingLine) {
  testing::internal::CaptureStdout();
  EXPECT_FALSE(process("/nowhere/BPAV/a.SMI", 1));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), std::string(73, '-') + "\n");
}

TEST(Parser, BeginsEmpty) {
  OpenParser const parser;
  EXPECT_EQ(parser.verbose, 0);
  EXPECT_EQ(parser.is_smi, 1);
  EXPECT_EQ(parser.path_separator, "/");
  EXPECT_EQ(parser.take_umid, "");
  EXPECT_EQ(parser.root_dir, "");
  EXPECT_EQ(parser.error_text, "");
  EXPECT_TRUE(parser.clip_list.empty());
}

TEST(ParserDeathTest, AnEmptyInputNameEndsTheProcess) {
  testing::GTEST_FLAG(death_test_style) = "threadsafe";
  EXPECT_EXIT(
      {
        XDCamExParser parser;
        parser.ProcessData("", "x.mzl", 0);
      },
      testing::KilledBySignal(SIGABRT),
      "\\./parser_xdcam_ex/source/XDCamExParser: bool XDCamExParser::ProcessData\\(std::string, std::string, "
      "int\\): "
      "Assertion `!in_file_name\\.empty \\(\\)' failed\\.");
}

}  // namespace
