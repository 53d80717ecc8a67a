// The inner decoder on a scripted import library. Every test ends with the decoder gone and nothing of the
// library left.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

#include "host/plugin.h"
#include "host/registry.h"
#include "mpegdecode/mpegdecwrapper.h"
#include "mpegdecode/mpegindec.h"
#include "tests/scripted/scriptedlib.h"
#include "tests/support/media.h"
#include "tests/support/recording.h"

namespace scripted {

class Module : public KyModule {
 public:
  Module() : KyModule(2, "scripted", "scripted", "scripted", nullptr) {}
  KyDecodePipe* createInstance() override { return new MpegInDec(this); }
};

// A file that can be opened for reading; what it holds is up to the script.
inline std::filesystem::path clip(std::string const& name = "clip.bin") {
  std::filesystem::path const file = test::scratchDir() / name;
  if (!std::filesystem::exists(file)) std::ofstream(file) << "x";
  return file;
}

class Fixture {
 protected:
  virtual ~Fixture() {
    pipe.reset();
    EXPECT_EQ(library.alive(), 0);
    EXPECT_EQ(library.misused, 0);
  }

  // A decoder with the file name set, in place of `pipe`.
  MpegInDec& ready(std::filesystem::path const& file = clip()) {
    pipe.reset();
    pipe = std::make_unique<MpegInDec>(&module);
    EXPECT_EQ(pipe->init(), 0);
    EXPECT_EQ(pipe->setParam("filename", Any(file.string())), 0);
    return *pipe;
  }
  // One that is open.
  MpegInDec& opened(std::filesystem::path const& file = clip()) {
    ready(file);
    EXPECT_EQ(pipe->open(), 0) << pipe->errorDesc();
    EXPECT_EQ(pipe->state(), kStateOpened);
    return *pipe;
  }
  AnyDict info(int kind, int index) const {
    AnyDict description;
    pipe->streamInfo(kind, index, description);
    return description;
  }
  Any get(char const* key, Any value = {}) const {
    pipe->getParam(key, value);
    return value;
  }
  void expectError(int code, std::string const& text) const {
    EXPECT_EQ(pipe->errorCode(), code);
    EXPECT_EQ(pipe->errorDesc(), text);
  }
  // Opening fails so, keeps nothing of the library and leaves a decoder that opens when the script is mended.
  void expectOpenFails(int result, std::string const& text) {
    EXPECT_EQ(pipe->open(), result);
    expectError(result, text);
    expectClosed();
  }
  void expectClosed() {
    EXPECT_EQ(pipe->state(), kStateInitialised);
    EXPECT_EQ(pipe->countStreams(7), 0);
    EXPECT_EQ(library.alive(), 0);
    EXPECT_EQ(library.misused, 0);
  }
  Instance& instance(int i) { return *library.instances.at(static_cast<size_t>(i)); }
  Instance& lastInstance() { return *library.instances.back(); }

  Module module;
  Library library;
  test::LogLines log;
  std::unique_ptr<MpegInDec> pipe;
};

class ScriptedTest : public Fixture, public testing::Test {};

// Under a failure handler that returns and under one that throws.
class BothHandlers : public Fixture, public testing::TestWithParam<test::Failures::Reaction> {
 protected:
  bool throwing() const { return GetParam() == test::Failures::kThrow; }

  // The result of a call that fails the check; nothing when the handler threw.
  template <class Call>
  auto failing(Call call) -> std::optional<decltype(call())> {
    size_t const before = failures.seen.size();
    std::optional<decltype(call())> result;
    if (throwing())
      EXPECT_THROW(call(), test::Failures::Thrown);
    else
      result = call();
    EXPECT_GT(failures.seen.size(), before) << "no check failed";
    return result;
  }
  void expectFailure(KyFailureKind kind, std::string const& where, std::string const& text) const {
    ASSERT_FALSE(failures.seen.empty());
    EXPECT_EQ(failures.seen.back().kind, kind);
    EXPECT_EQ(failures.seen.back().where, where);
    EXPECT_EQ(failures.seen.back().text, text);
  }
  void expectAssertion(std::string const& where, std::string const& text = "") const {
    expectFailure(KyFailureKind::Assertion, where, text);
  }
  void expectException(std::string const& where, std::string const& text = "") const {
    expectFailure(KyFailureKind::Exception, where, text);
  }
  void expectNoFailure() const { EXPECT_TRUE(failures.seen.empty()); }

  test::Failures failures{GetParam()};
};

inline std::string handlerName(testing::TestParamInfo<test::Failures::Reaction> const& info) {
  return info.param == test::Failures::kThrow ? "ThrowingHandler" : "ReturningHandler";
}

}  // namespace scripted

// NOLINTNEXTLINE(cppcoreguidelines-macro-usage): GoogleTest has no other way
#define UNDER_BOTH_HANDLERS(suite)                                                                        \
  INSTANTIATE_TEST_SUITE_P(Host, suite, testing::Values(test::Failures::kReturn, test::Failures::kThrow), \
                           scripted::handlerName)
