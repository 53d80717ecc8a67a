#include "kyhost/text/json_any.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace kyhost;

TEST(JsonOfValue, NumbersAndTextsKeepTheirKind) {
  EXPECT_EQ(toJson(Any(7)), 7);
  EXPECT_EQ(toJson(Any(5000000000L)), 5000000000);
  EXPECT_EQ(toJson(Any(0.5)), 0.5);
  EXPECT_EQ(toJson(Any("text")), "text");
  EXPECT_EQ(toJson(Any(L"gr\u00fcn")), "gr\xc3\xbcn");
}

TEST(JsonOfValue, WhatJsonCannotHold_IsNull) {
  EXPECT_TRUE(toJson(Any()).is_null());
  EXPECT_TRUE(toJson(Any(std::numeric_limits<double>::infinity())).is_null());
  EXPECT_TRUE(toJson(Any(std::numeric_limits<double>::quiet_NaN())).is_null());
  int const object = 1;
  EXPECT_TRUE(toJson(Any(&object, 0)).is_null());
}

TEST(JsonOfValue, Bytes_AreHex) {
  EXPECT_EQ(toJson(Any(static_cast<void const*>("\x00\xfe\x10"), 3)), "00fe10");
}

TEST(JsonOfValue, FrameRate_NamesItsFields) {
  Json const expected{{"rate", 30000.0 / 1001.0}, {"order", 1}, {"dropFrame", true}, {"pulldown", 2}};
  EXPECT_EQ(toJson(Any(KyFramerate(30000.0 / 1001.0, 1, true, 2))), expected);
}

TEST(JsonOfValue, ContainersAreConvertedDeeply_AndKeepTheOrderOfKeys) {
  AnyDict inner("z", Any(1), "a", Any(Pair{Any(2), Any("two")}));
  AnyDict outer;
  outer.set("list", AnyVector{Any(1), Any(inner)});
  EXPECT_EQ(toJson(outer).dump(), R"({"list":[1,{"z":1,"a":[2,"two"]}]})");
}

TEST(JsonText, BytesThatAreNoUtf8_AreReplaced) {
  std::string const text = dumpJson(toJson(Any("\xff")));
  EXPECT_EQ(Json::parse(text), "\xef\xbf\xbd");
}

}  // namespace
