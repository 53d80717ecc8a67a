// The temporary take list of a card's clip: its name, its echo, and what is taken away with it.
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"
#include "tests/support/tempfolder.h"

namespace {

using namespace scripted;
namespace fs = std::filesystem;

void write(fs::path const& file, std::string const& content) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}

// A card of one clip.
class TakeFile : public ScriptedTest {
 protected:
  TakeFile() {
    fs::path const root = test::scratchDir() / "takefile" / "BPAV";
    write(root / "MEDIAPRO.XML",
          "<?xml?><Material umid=\"TAKE\"><Component uri=\"./CLPR/A/A.MP4\" umid=\"TAKE\"/></Material>");
    write(root / "CLPR/A/A.MP4", "clip");
    write(root / "CLPR/A/A.SMI", "<smil umid=\"TAKE\"/>");
    description_ = root / "CLPR/A/A.SMI";
    library.addVideo();
    decoder_ = std::make_unique<XdcamDec>(&module);
    EXPECT_EQ(decoder_->init(), 0);
  }
  void open(fs::path const& file) {
    ASSERT_EQ(decoder_->setParam("filename", Any(file.string())), 0);
    ASSERT_EQ(decoder_->open(), 0) << decoder_->errorDesc();
  }

  test::TempFolder temp_;
  fs::path description_;
  std::unique_ptr<XdcamDec> decoder_;
};

TEST_F(TakeFile, AClipOpenedAfterADescription_IsTheHostsAndStays) {
  fs::path const own = clip("own.mp4");
  open(description_);
  EXPECT_EQ(temp_.files().size(), 1U);
  EXPECT_EQ(decoder_->close(), 0);
  EXPECT_TRUE(temp_.files().empty());
  open(own);
  EXPECT_EQ(decoder_->close(), 0);
  EXPECT_TRUE(fs::exists(own)) << "deleted at close";
  open(own);
  decoder_.reset();
  EXPECT_TRUE(fs::exists(own)) << "deleted with the decoder";
}

TEST_F(TakeFile, IsNamedByTheSecondOfTwoRandomNumbersAndThenByTheTime) {
  constexpr unsigned kSeed = 20;
  std::srand(kSeed);
  std::rand();
  int const second = std::abs(std::rand());
  std::srand(kSeed);
  std::time_t const before = std::time(nullptr);
  std::string const name = ((*decoder_).*memberOf(ListName{}))(Any("/a/b/C0001.SMI")).asString();
  std::time_t const after = std::time(nullptr);
  std::vector<std::string> possible;
  for (std::time_t now = before; now <= after; ++now)
    possible.push_back((temp_.path() / "C0001.SMI_").string() + std::to_string(second) + "_" +
                       std::to_string(now) + ".mzl");
  EXPECT_NE(std::find(possible.begin(), possible.end(), name), possible.end())
      << name << " is not " << possible.front();
}

// Lines whose length does not divide the limit, so that the cut shows.
template <class Character>
void expectEchoEndsAfter59999Characters(XdcamDec const& decoder, test::LogLines& log, bool wide) {
  constexpr size_t kLine = 96, kEchoed = 59999;
  std::basic_string<Character> text;
  while (text.size() < 61000) {
    text.append(kLine, static_cast<Character>('x'));
    text.push_back(static_cast<Character>('\n'));
  }
  fs::path const list = test::scratchDir() / "long.mzl";
  std::ofstream(list, std::ios::binary)
      .write(reinterpret_cast<char const*>(text.data()),
             static_cast<std::streamsize>(text.size() * sizeof(Character)));
  log.lines.clear();
  (decoder.*memberOf(LogList{}))(Any(list.string()), wide);
  ASSERT_EQ(log.lines.size(), 1 + kEchoed / (kLine + 1) + 1) << "with the heading and the cut line";
  EXPECT_EQ(log.lines[1].text, std::string(kLine, 'x'));
  EXPECT_EQ(log.lines.back().text, std::string(kEchoed % (kLine + 1), 'x'));
}

TEST_F(TakeFile, TheNarrowEchoEndsAfter59999Bytes) {
  expectEchoEndsAfter59999Characters<char>(*decoder_, log, false);
}

TEST_F(TakeFile, TheWideEchoEndsAfter239996Bytes) {
  static_assert(sizeof(wchar_t) == 4);
  expectEchoEndsAfter59999Characters<wchar_t>(*decoder_, log, true);
}

}  // namespace
