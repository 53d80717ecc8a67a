#include "host/registry.h"

#include <gtest/gtest.h>

#include <latch>
#include <string>

#include "tests/host/inthreads.h"

namespace {

TEST(Registry, TempDirIsWhatWasSet) {
  Any const before = ky_registry()->tempDir();
  EXPECT_FALSE(before.asString().empty());
  ky_registry()->setTempDir(L"/some/where");
  EXPECT_EQ(ky_registry()->tempDir(), Any("/some/where"));
  ky_registry()->setTempDir(before);
}

TEST(Registry, DebugOptionsAreInvalidUntilSet) {
  EXPECT_FALSE(ky_registry()->getDbgOption("test_option").valid());
  EXPECT_FALSE(ky_registry()->getDbgOption(nullptr).valid());
  ky_registry()->setDbgOption("test_option", 1);
  EXPECT_TRUE(static_cast<bool>(ky_registry()->getDbgOption("test_option")));
  ky_registry()->setDbgOption("test_option", "text");
  EXPECT_EQ(ky_registry()->getDbgOption("test_option"), Any("text"));
  ky_registry()->setDbgOption("test_option", Any());
  EXPECT_FALSE(ky_registry()->getDbgOption("test_option").valid());
}

TEST(Registry, ExternalIoIsCopiedAndRemoved) {
  EXPECT_EQ(ky_registry()->externalDecoderIO(), nullptr);
  int user = 0;
  {
    KyExternalDecoderIO io = {};
    io.externalClose = [](void*, void*) { return 7; };
    io.userData = &user;
    io.enabled = 1;
    ky_registry()->setExternalDecoderIO(&io);
  }
  auto const io = ky_registry()->externalDecoderIO();
  ASSERT_NE(io, nullptr);
  EXPECT_EQ(io->userData, &user);
  EXPECT_EQ(io->enabled, 1);
  EXPECT_EQ(io->externalOpen, nullptr);
  EXPECT_EQ(io->externalClose(nullptr, nullptr), 7);
  ky_registry()->setExternalDecoderIO(nullptr);
  EXPECT_EQ(ky_registry()->externalDecoderIO(), nullptr);
}

TEST(Registry, ExternalIoThatWasHandedOut_StaysWhatItWasWhileItIsHeld) {
  int first = 0, second = 0, third = 0;
  auto const install = [](int& user) {
    KyExternalDecoderIO io = {};
    io.userData = &user;
    ky_registry()->setExternalDecoderIO(&io);
  };
  install(first);
  auto const held = ky_registry()->externalDecoderIO();
  ASSERT_NE(held, nullptr);
  // The third record has the memory of the first one where that was given back.
  install(second);
  install(third);
  EXPECT_EQ(held->userData, &first);
  ky_registry()->setExternalDecoderIO(nullptr);
  EXPECT_EQ(held->userData, &first);
}

TEST(Registry, ThreadsMayReplaceTheExternalIoWhileOthersUseIt) {
  constexpr int kUsers = 2;
  int users[kUsers] = {};
  std::latch ready(4);
  inThreads(4, [&](int t) {
    ready.arrive_and_wait();
    for (int i = 0; i < 20000; ++i) {
      if (t < kUsers) {
        KyExternalDecoderIO io = {};
        io.userData = &users[t];
        io.enabled = t + 1;
        ky_registry()->setExternalDecoderIO(i % 8 == 7 ? nullptr : &io);
      } else if (auto const io = ky_registry()->externalDecoderIO()) {
        int const enabled = io->enabled;
        ASSERT_TRUE(enabled == 1 || enabled == 2);
        EXPECT_EQ(io->userData, &users[enabled - 1]);
      }
    }
  });
  ky_registry()->setExternalDecoderIO(nullptr);
}

TEST(Registry, ThreadsMaySetAndAskAtTheSameTime) {
  Any const before = ky_registry()->tempDir();
  inThreads(4, [&before](int t) {
    std::string const own = "option" + std::to_string(t);
    for (int i = 0; i < 300; ++i) {
      ky_registry()->setDbgOption(own.c_str(), i);
      ky_registry()->setDbgOption("shared", own);
      EXPECT_EQ(ky_registry()->getDbgOption(own.c_str()), Any(i));
      EXPECT_TRUE(ky_registry()->getDbgOption("shared").isText());
      ky_registry()->setTempDir(before);
      EXPECT_EQ(ky_registry()->tempDir(), before);
    }
    ky_registry()->setDbgOption(own.c_str(), Any());
  });
  ky_registry()->setDbgOption("shared", Any());
}

}  // namespace
