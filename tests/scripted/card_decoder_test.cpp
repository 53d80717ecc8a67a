// A card's decoder beside its list: descriptors, texts and their order, the random numbers.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"
#include "tests/support/tempfolder.h"

namespace scripted {

KY_PRIVATE_MEMBER(ReserveList, XdcamDec::reserveTakeList, Any (XdcamDec::*)() const);

}  // namespace scripted

namespace {

using namespace scripted;
namespace fs = std::filesystem;

fs::path written(fs::path const& file, std::string const& content) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
  return file;
}

// Standard input closed while it lives, as services have it.
class WithoutInput {
 public:
  WithoutInput() : kept_(::dup(STDIN_FILENO)) { ::close(STDIN_FILENO); }
  ~WithoutInput() {
    if (kept_ < 0) return;
    ::dup2(kept_, STDIN_FILENO);
    ::close(kept_);
  }
  WithoutInput(WithoutInput const&) = delete;
  WithoutInput& operator=(WithoutInput const&) = delete;

 private:
  int kept_;
};

class CardDecoderTest : public ScriptedTest {
 protected:
  CardDecoderTest() {
    fs::path const root = test::scratchDir() / "carddecoder" / "BPAV";
    written(root / "MEDIAPRO.XML",
            "<?xml?><Material umid=\"TAKE\"><Component uri=\"./CLPR/A/A.MP4\" umid=\"TAKE\"/></Material>");
    essence_ = written(root / "CLPR/A/A.MP4", "clip");
    description_ = written(root / "CLPR/A/A.SMI", "<smil umid=\"TAKE\"/>");
    library.addVideo();
    decoder_ = std::make_unique<XdcamDec>(&module);
    EXPECT_EQ(decoder_->init(), 0);
  }
  int open(fs::path const& file) {
    EXPECT_EQ(decoder_->setParam("filename", Any(file.string())), 0);
    return decoder_->open();
  }
  void echo(std::string const& bytes, bool wide) {
    fs::path const list = written(test::scratchDir() / "echo.mzl", bytes);
    log.lines.clear();
    ((*decoder_).*memberOf(LogList{}))(Any(list.string()), wide);
  }
  std::vector<std::string> said() const {
    std::vector<std::string> texts;
    for (auto const& line : log.lines) texts.push_back(line.text);
    return texts;
  }
  using Lines = std::vector<std::string>;

  test::TempFolder temp_;
  fs::path essence_, description_;
  std::unique_ptr<XdcamDec> decoder_;
};

TEST_F(CardDecoderTest, OpeningAndClosingLeavesNoDescriptorOpen) {
  ASSERT_EQ(open(description_), 0) << decoder_->errorDesc();
  EXPECT_EQ(decoder_->close(), 0);
  long const before = test::openDescriptors();
  ASSERT_EQ(decoder_->open(), 0);
  EXPECT_EQ(decoder_->close(), 0);
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST_F(CardDecoderTest, AListMayGetDescriptorZero) {
  bool closed = false;
  {
    WithoutInput const without;
    errno = EEXIST;
    ((*decoder_).*memberOf(ReserveList{}))();
    closed = ::fcntl(STDIN_FILENO, F_GETFD) < 0;
  }
  EXPECT_TRUE(closed) << "the descriptor is left open";
  EXPECT_EQ(temp_.files().size(), 1U);
}

TEST_F(CardDecoderTest, LinesMayEndWithCarriageReturnsAlone) {
  echo("one\rtwo\r", false);
  EXPECT_EQ(said(), (Lines{"Order of clips in take:", "one", "two"}));
}

TEST_F(CardDecoderTest, AListOfOneByteIsNotEmpty) {
  echo("x", false);
  EXPECT_EQ(said(), (Lines{"Order of clips in take:", "x"}));
}

TEST_F(CardDecoderTest, AWideListMayEndWithoutALineEnd) {
  std::wstring const text = L"one\ntwo";
  echo({reinterpret_cast<char const*>(text.data()), text.size() * sizeof(wchar_t)}, true);
  EXPECT_EQ(said(), (Lines{"Order of clips in take:", "one", "two"}));
}

TEST_F(CardDecoderTest, ARejectedListThatHoldsSomethingStaysUntilTheNextOpen) {
  fs::remove(essence_);
  EXPECT_EQ(open(description_), -1);
  ASSERT_EQ(temp_.files().size(), 1U);
  EXPECT_EQ(decoder_->open(), -1);
  EXPECT_EQ(temp_.files().size(), 1U) << "that of the second open";
}

TEST_F(CardDecoderTest, ARefusedDescriptionIsTheDecodersErrorToo) {
  fs::path const lonely = written(test::scratchDir() / "lonely100%s" / "c.xml", "<a/>");
  EXPECT_EQ(open(lonely), -1);
  EXPECT_EQ(decoder_->errorCode(), -1);
  EXPECT_EQ(decoder_->errorDesc(),
            "Invalid XDCAM xml file " + lonely.string() + ": Invalid input file !! Must be SMI or XML");
}

TEST_F(CardDecoderTest, TheListIsAnnouncedBeforeItsLines) {
  log.lines.clear();
  ASSERT_EQ(open(description_), 0);
  Lines const lines = said();
  auto const place = [&](std::string const& begin) {
    return std::find_if(lines.begin(), lines.end(),
                        [&](auto const& line) { return line.starts_with(begin); }) -
           lines.begin();
  };
  EXPECT_LT(place("[xdcamparser] creating temporary .mzl file: "),
            place("[xdcamparser] Created multiple take"));
  EXPECT_LT(place("[xdcamparser] Created multiple take"), place("Order of clips in take:"));
  EXPECT_LT(place("Order of clips in take:"), static_cast<long>(lines.size()));
}

TEST_F(CardDecoderTest, TheSearchPrintsItsFilesAndNoUmid) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(open(description_), 0);
  std::string const printed = testing::internal::GetCapturedStdout();
  EXPECT_NE(printed.find("Opened successfuly : " + description_.string()), std::string::npos) << printed;
  EXPECT_EQ(printed.find("Found UMID"), std::string::npos) << printed;
}

TEST_F(CardDecoderTest, EveryDecoderSeedsTheGeneratorWithTheSecond) {
  std::time_t const before = std::time(nullptr);
  XdcamDec const another(&module);
  int const drawn = std::rand();
  std::time_t const after = std::time(nullptr);
  bool known = false;
  for (std::time_t now = before; now <= after; ++now) {
    std::srand(static_cast<unsigned>(now));
    known = known || std::rand() == drawn;
  }
  EXPECT_TRUE(known);
}

TEST_F(CardDecoderTest, SettingAndReadingTheNameAndClosingSucceed) {
  EXPECT_EQ(decoder_->setParam("filename", Any("a.mov")), 0);
  Any name;
  EXPECT_EQ(decoder_->getParam("filename", name), 0);
  EXPECT_EQ(name, Any("a.mov"));
  EXPECT_EQ(decoder_->close(), 0) << "also when nothing is open";
  EXPECT_EQ(decoder_->state(), kStateInitialised);
  XdcamDec created(&module);
  EXPECT_EQ(created.close(), 0);
  EXPECT_EQ(created.state(), kStateInitialised);
}

}  // namespace
