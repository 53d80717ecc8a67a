// Take lists echoed into the developers' log.
#include <cwchar>

#include "tests/scripted/fixture.h"
#include "tests/scripted/members.h"

namespace {

using namespace scripted;
namespace fs = std::filesystem;

class TakeListLog : public ScriptedTest {
 protected:
  template <class Character>
  void echo(std::basic_string<Character> const& text) {
    fs::path const list = test::scratchDir() / "list.mzl";
    std::ofstream(list, std::ios::binary)
        .write(reinterpret_cast<char const*>(text.data()),
               static_cast<std::streamsize>(text.size() * sizeof(Character)));
    log.lines.clear();
    (decoder_.*memberOf(LogList{}))(Any(list.string()), sizeof(Character) > 1);
  }
  std::vector<std::string> said() const {
    std::vector<std::string> texts;
    for (auto const& line : log.lines) {
      EXPECT_EQ(line.level, kLogTrace) << line.text;
      texts.push_back(line.text);
    }
    return texts;
  }
  using Lines = std::vector<std::string>;
  XdcamDec decoder_{&module};
};

TEST_F(TakeListLog, OfAFileThatCannotBeOpenedIsAnError) {
  for (bool wide : {false, true}) {
    log.lines.clear();
    (decoder_.*memberOf(LogList{}))(Any("/nowhere/at/all.mzl"), wide);
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_TRUE(log.hasAt(kLogError, "Can not open mzl file '/nowhere/at/all.mzl'"));
  }
}

TEST_F(TakeListLog, OfAnEmptyFileSaysSo) {
  echo(std::string());
  EXPECT_EQ(said(), Lines{"empty [c]mzl file"});
  echo(std::wstring());
  EXPECT_EQ(said(), Lines{"empty [wc] mzl file"});
}

TEST_F(TakeListLog, HoldsEveryLine) {
  echo(std::string("one\ntwo\nthree"));
  EXPECT_EQ(said(), (Lines{"Order of clips in take:", "one", "two", "three"}));
  echo(std::wstring(L"one\ntw\u00f6\n"));
  EXPECT_EQ(said(), (Lines{"Order of clips in take:", "one", "tw\u00f6"}));
}

TEST_F(TakeListLog, LeavesOutLinesOf1023CharactersAndMore) {
  for (size_t length : {1022U, 1023U, 1024U, 3000U}) {
    echo("before\n" + std::string(length, 'x') + "\nafter\n");
    Lines expected{"Order of clips in take:", "before"};
    if (length < 1023) expected.emplace_back(length, 'x');
    expected.emplace_back("after");
    EXPECT_EQ(said(), expected) << length;
  }
}

TEST_F(TakeListLog, KeepsPercentSigns) {
  echo(std::string("100%s%n\n"));
  EXPECT_EQ(said(), (Lines{"Order of clips in take:", "100%s%n"}));
}

}  // namespace
