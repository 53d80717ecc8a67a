#include "host/failure.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/host/inthreads.h"
#include "tests/host/logcapture.h"

namespace {

struct Seen {
  KyFailureKind kind = KyFailureKind::Assertion;
  std::string where;
  bool hadText = false;
  int calls = 0;
};

class Failure : public testing::Test {
 protected:
  void TearDown() override { kySetFailureHandler(nullptr, nullptr); }
  LogCapture log{kLogError};
  Seen seen;
  static void record(void* user, KyFailureKind kind, char const* where, char const* text) {
    auto* const seen = static_cast<Seen*>(user);
    seen->kind = kind;
    seen->where = where;
    seen->hadText = text != nullptr;
    ++seen->calls;
  }
};

TEST_F(Failure, WithoutAHandlerLogsCountsAndReturns) {
  long const before = kyFailureCount();
  kyAssertFail("./mpegdecode/mpegindec(1196)", "broken");
  kyExceptionFail("./a(2)", nullptr);
  EXPECT_EQ(kyFailureCount(), before + 2);
  ASSERT_EQ(log.lines.size(), 2U);
  EXPECT_EQ(log.lines[0].first, kLogError);
  EXPECT_NE(log.lines[0].second.find("./mpegdecode/mpegindec(1196)"), std::string::npos);
  EXPECT_NE(log.lines[0].second.find("broken"), std::string::npos);
  EXPECT_NE(log.lines[1].second.find("./a(2)"), std::string::npos);
}

TEST_F(Failure, HandlerSeesKindPlaceAndText) {
  kySetFailureHandler(record, &seen);
  kyAssertFail("./a(1)", "text");
  EXPECT_EQ(seen.kind, KyFailureKind::Assertion);
  EXPECT_EQ(seen.where, "./a(1)");
  EXPECT_TRUE(seen.hadText);
  kyExceptionFail("./b(2)", nullptr);
  EXPECT_EQ(seen.kind, KyFailureKind::Exception);
  EXPECT_FALSE(seen.hadText);
  EXPECT_EQ(seen.calls, 2);
}

TEST_F(Failure, WhatTheHandlerThrowsReachesTheCaller) {
  kySetFailureHandler(
      [](void*, KyFailureKind, char const* where, char const*) { throw std::runtime_error(where); }, nullptr);
  long const before = kyFailureCount();
  EXPECT_THROW(kyExceptionFail("./c(3)", "x"), std::runtime_error);
  EXPECT_THROW(kyAssertFail("./c(3)", "x"), std::runtime_error);
  EXPECT_EQ(kyFailureCount(), before + 2);
}

TEST_F(Failure, HandlerMayReplaceItself) {
  kySetFailureHandler(
      [](void* user, KyFailureKind kind, char const* where, char const* text) {
        record(user, kind, where, text);
        kySetFailureHandler(nullptr, nullptr);
      },
      &seen);
  kyAssertFail("./d(4)", nullptr);
  kyAssertFail("./d(5)", nullptr);
  EXPECT_EQ(seen.calls, 1);
}

TEST_F(Failure, CountsOfManyThreadsAddUp) {
  long const before = kyFailureCount();
  inThreads(4, [](int) {
    for (int i = 0; i < 100; ++i) kyAssertFail("./e(6)", nullptr);
  });
  EXPECT_EQ(kyFailureCount(), before + 400);
}

}  // namespace
