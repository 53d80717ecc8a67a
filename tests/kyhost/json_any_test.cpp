#include "kyhost/text/json_any.h"

#include <gtest/gtest.h>

#include <limits>
#include <nlohmann/json.hpp>

namespace {

using namespace kyhost;
using Json = nlohmann::ordered_json;

Json parsed(Any const& value) { return Json::parse(jsonText(value)); }

TEST(JsonOfValue, NumbersAndTextsKeepTheirKind) {
  EXPECT_EQ(parsed(Any(7)), 7);
  EXPECT_EQ(parsed(Any(5000000000L)), 5000000000);
  EXPECT_EQ(parsed(Any(0.5)), 0.5);
  EXPECT_EQ(parsed(Any("text")), "text");
  EXPECT_EQ(parsed(Any(L"gr\u00fcn")), "gr\xc3\xbcn");
}

TEST(JsonOfValue, WhatJsonCannotHold_IsNull) {
  EXPECT_TRUE(parsed(Any()).is_null());
  EXPECT_TRUE(parsed(Any(std::numeric_limits<double>::infinity())).is_null());
  EXPECT_TRUE(parsed(Any(std::numeric_limits<double>::quiet_NaN())).is_null());
  int const object = 1;
  EXPECT_TRUE(parsed(Any(&object, 0)).is_null());
}

TEST(JsonOfValue, Bytes_AreHex) {
  EXPECT_EQ(parsed(Any(static_cast<void const*>("\x00\xfe\x10"), 3)), "00fe10");
}

TEST(JsonOfValue, FrameRate_NamesItsFields) {
  Json const expected{{"rate", 30000.0 / 1001.0}, {"order", 1}, {"dropFrame", true}, {"pulldown", 2}};
  EXPECT_EQ(parsed(Any(KyFramerate(30000.0 / 1001.0, 1, true, 2))), expected);
}

TEST(JsonOfValue, ContainersAreConvertedDeeply_AndKeepTheOrderOfKeys) {
  AnyDict inner("z", Any(1), "a", Any(Pair{Any(2), Any("two")}));
  AnyDict outer;
  outer.set("list", AnyVector{Any(1), Any(inner)});
  EXPECT_EQ(toLine(outer), R"({"list":[1,{"z":1,"a":[2,"two"]}]})");
}

TEST(JsonOfValue, EmptyContainers_StayWhatTheyAre) {
  EXPECT_EQ(jsonText(AnyDict()), "{}");
  EXPECT_EQ(jsonText(AnyVector()), "[]");
}

TEST(JsonText, IsIndentedByTwoBlanks) {
  EXPECT_EQ(jsonText(AnyDict("list", AnyVector{Any(1)})), "{\n  \"list\": [\n    1\n  ]\n}");
}

TEST(JsonText, BytesThatAreNoUtf8_AreReplaced) { EXPECT_EQ(parsed(Any("\xff")), "\xef\xbf\xbd"); }

}  // namespace
