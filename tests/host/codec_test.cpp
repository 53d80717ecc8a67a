#include "host/codec.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/plugin.h"
#include "tests/host/logcapture.h"

namespace {

class Module : public KyModule {
 public:
  Module() : KyModule(2, "decoder", "", "", nullptr) { attrs_.set("AVSyncFix", 1); }
  KyDecodePipe* createInstance() override { return nullptr; }
};

// Takes "a" and "b", refuses the rest.
class Codec : public KyCodec {
 public:
  using KyCodec::KyCodec;
  int setParam(char const* key, Any const& value) override {
    std::string const name = key;
    tried += name;
    return name == "a" || name == "b" ? 0
           : name == "x"              ? setError(-7, "no x")
                                      : KyCodec::setParam(key, value);
  }
  std::string tried;
};

TEST(Codec, StartsCreatedAndIsInitialisedByInit) {
  KyCodec codec(nullptr);
  EXPECT_EQ(codec.state(), kStateCreated);
  EXPECT_EQ(codec.init(), 0);
  EXPECT_EQ(codec.state(), kStateInitialised);
  EXPECT_EQ(codec.open(), 0);
  EXPECT_EQ(codec.process(), 0);
  EXPECT_EQ(codec.close(), 0);
  EXPECT_EQ(codec.getInterface(1), nullptr);
}

TEST(Codec, ErrorsKeepCodeAndText) {
  KyCodec const codec(nullptr);
  EXPECT_EQ(codec.errorCode(), 0);
  EXPECT_STREQ(codec.errorDesc(), "");
  EXPECT_EQ(codec.setError(-18, "stream %d of %s", 3, "file"), -18);
  EXPECT_EQ(codec.errorCode(), -18);
  EXPECT_STREQ(codec.errorDesc(), "stream 3 of file");
  EXPECT_EQ(codec._setErr(-1, "again: %s", codec.errorDesc()), -1);
  EXPECT_STREQ(codec.errorDesc(), "again: stream 3 of file");
  std::string const lengthy(20000, 'z');
  codec.setError(-1, "%s", lengthy.c_str());
  EXPECT_EQ(codec.errorDesc(), lengthy);
}

TEST(Codec, UnknownParametersRaiseTheInvalidParameterError) {
  KyCodec codec(nullptr);
  Any value(5);
  EXPECT_EQ(codec.setParam("foo", 1), kResultInvalidParam);
  EXPECT_STREQ(codec.errorDesc(), "Invalid parameter 'foo'");
  EXPECT_EQ(codec.getParam("bar", value), kResultInvalidParam);
  EXPECT_FALSE(value.valid());
  EXPECT_STREQ(codec.errorDesc(), "Invalid parameter 'bar'");
  EXPECT_EQ(codec._raiseInvalidParam(nullptr), kResultInvalidParam);
}

TEST(Codec, SetParamDictTriesAllAndReportsTheFirstFailure) {
  Codec codec(nullptr);
  EXPECT_EQ(codec.setParamDict(AnyDict("a", 1, "x", 1, "foo", 1, "b", 1)), -7);
  EXPECT_EQ(codec.tried, "axfoob");
  EXPECT_EQ(codec.errorCode(), -7);
  EXPECT_STREQ(codec.errorDesc(), "no x");
  EXPECT_EQ(codec.setParamDict(AnyDict("a", 1, "b", 1)), 0);
}

TEST(Codec, StoreAndRestoreLeaveTheNameOut) {
  Module const module;
  Codec codec(&module);
  AnyDict out;
  EXPECT_EQ(codec.store(out), 0);
  EXPECT_EQ(out["name"], Any("decoder"));
  out.set("a", 1);
  EXPECT_EQ(codec.restore(out), 0);
  EXPECT_EQ(codec.tried, "a");
}

TEST(Codec, NameAndAttributesAreTheModules) {
  Module const module;
  KyCodec const codec(&module);
  EXPECT_STREQ(codec.name(), "decoder");
  EXPECT_EQ(codec.module(), &module);
  EXPECT_EQ(codec.getAttr("AVSyncFix"), Any(1));
  EXPECT_FALSE(codec.getAttr("absent").valid());
  KyCodec const alone(nullptr);
  EXPECT_STREQ(alone.name(), "codec");
  EXPECT_FALSE(alone.getAttr("AVSyncFix").valid());
}

TEST(Codec, KnowsNoFunctions) {
  KyCodec codec(nullptr);
  Any result(1);
  EXPECT_EQ(codec.call("anything", Any(), result), -1);
  EXPECT_FALSE(result.valid());
}

TEST(CodecCallbacks, AllocateAndPrintAtTheirLevels) {
  auto const allocate = reinterpret_cast<void* (*)(size_t)>(KyCodec::get_rc("malloc"));
  auto const release = reinterpret_cast<void (*)(void*)>(KyCodec::get_rc_ex(nullptr, "free"));
  ASSERT_NE(allocate, nullptr);
  ASSERT_NE(release, nullptr);
  release(allocate(10));

  using Print = void (*)(char const*, ...);
  using Progress = void (*)(int, char const*, ...);
  LogCapture log(~0);
  reinterpret_cast<Print>(KyCodec::get_rc("err_printf"))("e%d", 1);
  reinterpret_cast<Print>(KyCodec::get_rc("wrn_printf"))("w%d", 2);
  reinterpret_cast<Print>(KyCodec::get_rc("inf_printf"))("i%d", 3);
  reinterpret_cast<Progress>(KyCodec::get_rc("prg_printf"))(50, "p%d", 4);
  EXPECT_EQ(log.lines,
            (std::vector<std::pair<int, std::string>>{{2, "e1"}, {4, "w2"}, {8, "i3"}, {64, "p4"}}));
}

TEST(CodecCallbacks, NamesMustMatchExactly) {
  for (char const* const name : {"mallocx", "Malloc", "mallo", "", "printf"})
    EXPECT_EQ(KyCodec::get_rc(name), nullptr);
  EXPECT_EQ(KyCodec::get_rc(nullptr), nullptr);
}

}  // namespace
