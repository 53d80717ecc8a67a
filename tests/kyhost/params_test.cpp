#include "kyhost/commands/params.h"

#include <gtest/gtest.h>

#include <limits>

#include "host/log.h"
#include "kyhost/session/failure.h"

namespace {

using namespace kyhost;

TEST(ParameterValue, WholeNumberText_IsAnInt32) {
  EXPECT_EQ(valueFromText("7").kind(), Any::kInt32);
  EXPECT_EQ(valueFromText("-1").asInt32(), -1);
  EXPECT_EQ(valueFromText("+5").asInt32(), 5);
  EXPECT_EQ(valueFromText("2147483647").kind(), Any::kInt32);
}

TEST(ParameterValue, NumberBeyond32Bits_IsAnInt64) {
  Any const value = valueFromText("2147483648");
  EXPECT_EQ(value.kind(), Any::kInt64);
  EXPECT_EQ(value.asInt64(), 2147483648);
}

TEST(ParameterValue, TrueAndFalse_AreFlags) {
  EXPECT_TRUE(valueFromText("true") == Any(true));
  EXPECT_TRUE(valueFromText("false") == Any(false));
  EXPECT_EQ(valueFromText("true").kind(), Any::kInt32);
}

TEST(ParameterValue, DecimalText_IsADouble) {
  EXPECT_EQ(valueFromText("1.5").kind(), Any::kDouble);
  EXPECT_DOUBLE_EQ(valueFromText("-2.5e3").asDouble(), -2500.0);
}

TEST(ParameterValue, AnythingElse_IsText) {
  for (char const* text : {"I420", "", "nan", "inf", "12x", "1.2.3", "0x10", "e", "True"})
    EXPECT_EQ(valueFromText(text).kind(), Any::kString) << text;
}

TEST(Parameters, DotsLeadIntoDictionariesThatAreMerged) {
  Parameters const out =
      parseParameters({"openParameters.disableCC=1", "openParameters.x.y=2", "numThreads=3"});
  EXPECT_EQ(out.pipe["openParameters"].asDict()["disableCC"].asInt32(), 1);
  EXPECT_EQ(out.pipe["openParameters"].asDict()["x"].asDict()["y"].asInt32(), 2);
  EXPECT_EQ(out.pipe["numThreads"].asInt32(), 3);
  EXPECT_TRUE(out.module.empty());
}

TEST(Parameters, ModulePrefix_SetsAnAttributeOfTheModule) {
  Parameters const out = parseParameters({"module.preferredSampleFormat=7"});
  EXPECT_EQ(out.module["preferredSampleFormat"].asInt32(), 7);
  EXPECT_TRUE(out.pipe.empty());
}

TEST(Parameters, TheLastOfEqualKeysWins_AndValuesMayHoldEqualSigns) {
  Parameters const out = parseParameters({"a=1", "a=x=y"});
  EXPECT_EQ(out.pipe["a"].asString(), "x=y");
}

TEST(Parameters, TextWithoutKey_IsAUsageError) {
  for (char const* text : {"", "key", "=1", ".a=1", "a.=1", "a..b=1", "module.=1"}) {
    try {
      parseParameters({text});
      ADD_FAILURE() << text;
    } catch (Failure const& failure) {
      EXPECT_EQ(failure.code(), ExitCode::Usage) << text;
    }
  }
}

TEST(DebugMask, NamesAreAdded_AndNumbersTaken) {
  EXPECT_EQ(parseDebugMask("error,info"), kLogError | kLogInfo);
  EXPECT_EQ(parseDebugMask("40"), 40);
  EXPECT_EQ(parseDebugMask("all"), kLogError | kLogWarning | kLogInfo | kLogTrace | kLogProgress);
  EXPECT_THROW(parseDebugMask("error,loud"), Failure);
  EXPECT_THROW(parseDebugMask(""), Failure);
}

TEST(Position, NumbersSecondsAndTimesAreUnderstood) {
  EXPECT_EQ(parsePosition("250", "--from").resolve(25.0), 250);
  EXPECT_EQ(parsePosition("10s", "--from").resolve(25.0), 250);
  EXPECT_EQ(parsePosition("0.5s", "--from").resolve(48000.0), 24000);
  EXPECT_EQ(parsePosition("02:03", "--from").resolve(1.0), 123);
  EXPECT_EQ(parsePosition("1:00:01.5", "--from").resolve(2.0), 7203);
}

TEST(Position, TimeInsideAFrame_MeansThatFrame) {
  EXPECT_EQ(parsePosition("0.119s", "--from").resolve(25.0), 2);
  EXPECT_EQ(parsePosition("0.12s", "--from").resolve(25.0), 3);
  // 3 frames of 30000/1001 begin at 0.1001 s, which is not exact in binary.
  EXPECT_EQ(parsePosition("0.1001s", "--from").resolve(30000.0 / 1001.0), 3);
}

TEST(Position, TextThatIsNone_IsAUsageError) {
  for (char const* text : {"", "-1", "x", "1:2:3:4", "1:60", "1:-2", ":", "5m", "s", "-1s", "1.5"})
    EXPECT_THROW(parsePosition(text, "--from"), Failure) << text;
}

TEST(Range, EmptyTexts_MeanTheWholeStream) {
  Range const range = parseRange("", "", 100, 25.0, "frames");
  EXPECT_EQ(range.from, 0);
  EXPECT_EQ(range.to, 100);
}

TEST(Range, ToIsLeftOut_AndEndsAtTheEndOfTheStream) {
  EXPECT_EQ(parseRange("10", "12", 100, 25.0, "frames").size(), 2);
  EXPECT_EQ(parseRange("90", "1:00", 100, 25.0, "frames").to, 100);
  EXPECT_EQ(parseRange("0", "9223372036854775807s", 100, 48000.0, "samples").to, 100);
}

TEST(Range, WithoutAFrame_IsAUsageError) {
  EXPECT_THROW(parseRange("100", "", 100, 25.0, "frames"), Failure);
  EXPECT_THROW(parseRange("5", "5", 100, 25.0, "frames"), Failure);
  EXPECT_THROW(parseRange("", "", 0, 25.0, "frames"), Failure);
}

}  // namespace
