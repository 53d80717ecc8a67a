#include "host/log.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/host/inthreads.h"
#include "tests/host/logcapture.h"

namespace {

using Lines = std::vector<std::pair<int, std::string>>;

TEST(DbgLog, EveryCallCarriesItsLevel) {
  LogCapture capture(~0);
  ky_dbg()->write("w%d", 1);
  ky_dbg()->info("i%s", "2");
  ky_dbg()->warning("n");
  ky_dbg()->error("e%%");
  ky_dbg()->log(kLogTrace, "t%c", 'x');
  ky_dbg()->logs(kLogProgress, "100%s");
  EXPECT_EQ(capture.lines, (Lines{{0, "w1"}, {8, "i2"}, {4, "n"}, {2, "e%"}, {32, "tx"}, {64, "100%s"}}));
}

TEST(DbgLog, MaskLetsItsLevelsThroughAndWriteAlways) {
  LogCapture capture(kLogWarning | kLogTrace);
  ky_dbg()->error("no");
  ky_dbg()->warning("yes");
  ky_dbg()->info("no");
  ky_dbg()->log(kLogTrace, "yes");
  ky_dbg()->log(0, "unconditional");
  ky_dbg()->write("always");
  EXPECT_EQ(capture.lines, (Lines{{4, "yes"}, {32, "yes"}, {0, "unconditional"}, {0, "always"}}));
  EXPECT_EQ(ky_dbg()->mask(), kLogWarning | kLogTrace);
}

TEST(DbgLog, LinesMayHaveAnyLength) {
  LogCapture capture(kLogInfo);
  for (size_t const length : {511U, 512U, 513U, 100000U}) {
    std::string const text(length, 'y');
    capture.lines.clear();
    ky_dbg()->info("%s", text.c_str());
    ASSERT_EQ(capture.lines.size(), 1U);
    EXPECT_EQ(capture.lines[0].second, text);
  }
}

TEST(DbgLog, NullTextIsAnEmptyLine) {
  LogCapture capture(kLogInfo);
  ky_dbg()->logs(kLogInfo, nullptr);
  EXPECT_EQ(capture.lines, (Lines{{8, ""}}));
}

TEST(DbgLog, ASinkThatThrowsDoesNotReachTheCaller) {
  LogCapture capture(kLogInfo);
  ky_dbg()->setSink([](int, std::string_view) { throw std::runtime_error("sink"); });
  EXPECT_NO_THROW(ky_dbg()->info("x"));
}

TEST(DbgLog, WithoutASinkLinesGoToStandardError) {
  int const before = ky_dbg()->mask();
  ky_dbg()->setMask(kLogWarning);
  testing::internal::CaptureStderr();
  ky_dbg()->warning("careful");
  ky_dbg()->write("plain");
  std::string const text = testing::internal::GetCapturedStderr();
  ky_dbg()->setMask(before);
  EXPECT_EQ(text, "warn: careful\nplain\n");
}

TEST(DbgLog, LinesOfManyThreadsStayWhole) {
  LogCapture capture(kLogInfo);
  constexpr int kThreads = 4;
  constexpr int kLines = 500;
  inThreads(kThreads, [](int t) {
    std::string const body(300, static_cast<char>('a' + t));
    for (int i = 0; i < kLines; ++i) {
      ky_dbg()->setMask(kLogInfo | (i % 2 ? kLogTrace : 0));
      ky_dbg()->info("%d %d %s", t, i, body.c_str());
    }
  });
  ASSERT_EQ(capture.lines.size(), static_cast<size_t>(kThreads * kLines));
  std::vector<int> next(kThreads, 0);
  for (auto const& [level, text] : capture.lines) {
    int const t = text[0] - '0';
    ASSERT_GE(t, 0);
    ASSERT_LT(t, kThreads);
    std::string const expected = std::to_string(t) + " " + std::to_string(next[static_cast<size_t>(t)]++) +
                                 " " + std::string(300, static_cast<char>('a' + t));
    ASSERT_EQ(text, expected);
  }
}

TEST(UserLog, KeepsMessagesInOrderUntilTaken) {
  ky_log()->take();
  ky_log()->error("cannot open %s", "a.mxf");
  ky_log()->warning("odd");
  ky_log()->log(kLogInfo, "%d", 3);
  std::vector<KyLogBuffer::Message> const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 3U);
  EXPECT_EQ(messages[0].level, kLogError);
  EXPECT_EQ(messages[0].text, "cannot open a.mxf");
  EXPECT_EQ(messages[1].level, kLogWarning);
  EXPECT_EQ(messages[2].text, "3");
  EXPECT_TRUE(ky_log()->take().empty());
}

TEST(UserLog, KeepsTheNewestThousand) {
  ky_log()->take();
  for (int i = 0; i < 1500; ++i) ky_log()->error("%d", i);
  std::vector<KyLogBuffer::Message> const messages = ky_log()->take();
  ASSERT_EQ(messages.size(), 1000U);
  EXPECT_EQ(messages.front().text, "500");
  EXPECT_EQ(messages.back().text, "1499");
}

TEST(UserLog, TakesMessagesOfManyThreads) {
  ky_log()->take();
  inThreads(4, [](int) {
    for (int i = 0; i < 200; ++i) ky_log()->warning("message");
  });
  EXPECT_EQ(ky_log()->take().size(), 800U);
}

}  // namespace
