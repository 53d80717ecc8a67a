// Where the scanner's markers begin and end.
#include "tests/parser/cardfixture.h"

namespace {

using Strings = std::vector<std::string>;

std::string const kClip = "<Material umid=\"P1\"><Component uri=\"./CLPR/1.MP4\"/></Material>";
std::string const kComponent = "<Component uri=\"./CLPR/1.SMI\" umid=\"P1\"/>";

class Markers : public testing::Test {
 protected:
  Markers() { parser_.take_umid = "TAKE"; }
  OpenParser parser_;
};

TEST_F(Markers, TheFirstCharacterOfATextIsNotSearched) {
  std::string const take =
      "<Material umid=\"TAKE\"><Component uri=\"./CLPR/1.MP4\" umid=\"TAKE\"/></Material>";
  EXPECT_FALSE(parser_.ParseXml(take));
  EXPECT_EQ(parser_.error_text, "take umid not found!");
  EXPECT_TRUE(parser_.ParseXml("<" + take));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

TEST_F(Markers, TheElementOfATakeBeginsWithItsWholeName) {
  EXPECT_TRUE(parser_.ParseXml("<a>" + kClip + "<Material a=\"\">" + kComponent +
                               "<MaterialNote umid=\"TAKE\"/></Material>"));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

TEST_F(Markers, TheElementOfAClipBeginsWithItsWholeName) {
  EXPECT_TRUE(parser_.ParseXml(
      "<a><Material><Material uri=\"./1\"><Component uri=\"./CLPR/1.MP4\"/><MaterialNote umid=\"P1\"/>"
      "</Material><Material umid=\"TAKE\">" +
      kComponent + "</Material>"));
  EXPECT_EQ(parser_.clip_list, Strings{"CLPR/1.MP4"});
}

class KindOfDescription : public CardTest {
 protected:
  void SetUp() override {
    CardTest::SetUp();
    write("card/BPAV/MEDIAPRO.XML", "<a>" + kClip + "<Material umid=\"TAKE\">" + kComponent + "</Material>");
    write("card/BPAV/CLPR/1.MP4", "12345");
  }
  OpenParser parser_;
};

TEST_F(KindOfDescription, SmiLeavesTheFlagAsItIs) {
  parser_.is_smi = 0;
  std::string const smi = write("card/BPAV/CLPR/1.SMI", "<a umid=\"WRONG\" umidRef=\"TAKE\"/>");
  EXPECT_TRUE(parser_.ProcessData(smi, at("t.mzl"), 0)) << parser_.error_text;
  EXPECT_EQ(parser_.is_smi, 0);
  EXPECT_EQ(parser_.take_umid, "TAKE");
  parser_.take_umid.clear();
  parser_.clip_list.clear();
  parser_.is_smi = 7;
  std::string const umid = write("card/BPAV/CLPR/2.SMI", "<a umid=\"TAKE\"/>");
  EXPECT_TRUE(parser_.ProcessData(umid, at("t.mzl"), 0)) << parser_.error_text;
  EXPECT_EQ(parser_.is_smi, 7);
}

TEST_F(KindOfDescription, XmlClearsTheFlag) {
  parser_.is_smi = 7;
  std::string const xml = write("card/BPAV/CLPR/1.XML", "<a umid=\"WRONG\" umidRef=\"TAKE\"/>");
  EXPECT_TRUE(parser_.ProcessData(xml, at("t.mzl"), 0)) << parser_.error_text;
  EXPECT_EQ(parser_.is_smi, 0);
}

}  // namespace
