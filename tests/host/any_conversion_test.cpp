#include <gtest/gtest.h>

#include <cmath>
#include <cwchar>
#include <limits>
#include <ostream>
#include <string>

#include "host/any.h"

namespace {

constexpr int32_t kMin32 = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax32 = std::numeric_limits<int32_t>::max();
constexpr int64_t kMin64 = std::numeric_limits<int64_t>::min();
constexpr int64_t kMax64 = std::numeric_limits<int64_t>::max();

struct Row {
  char const* label;
  Any value;
  int32_t int32;
  int64_t int64;
  double number;
  bool truth;
  std::string text;     // asString
  std::string printed;  // toString
};

std::ostream& operator<<(std::ostream& out, Row const& row) { return out << row.label; }

class Conversion : public testing::TestWithParam<Row> {};

TEST_P(Conversion, GivesWhatTheTableSays) {
  Row const& row = GetParam();
  EXPECT_EQ(row.value.asInt32(), row.int32);
  EXPECT_EQ(row.value.asInt64(), row.int64);
  EXPECT_EQ(static_cast<int>(row.value), row.int32);
  EXPECT_EQ(static_cast<long>(row.value), row.int64);
  if (std::isnan(row.number)) {
    EXPECT_TRUE(std::isnan(row.value.asDouble()));
  } else {
    EXPECT_EQ(row.value.asDouble(), row.number);
  }
  EXPECT_EQ(static_cast<bool>(row.value), row.truth);
  EXPECT_EQ(row.value.asString(), row.text);
  EXPECT_EQ(row.value.toString().kind(), Any::kString);
  EXPECT_EQ(row.value.toString().asString(), row.printed);
  EXPECT_EQ(row.value.toWString().kind(), Any::kWString);
  EXPECT_EQ(row.value.toWString().asString(), row.printed);
}

double const kNan = std::nan("");
double const kInf = std::numeric_limits<double>::infinity();

INSTANTIATE_TEST_SUITE_P(
    Kinds, Conversion,
    testing::Values(
        Row{"invalid", Any(), 0, 0, 0.0, false, "", ""}, Row{"int32", Any(-5), -5, -5, -5.0, true, "", "-5"},
        Row{"zero", Any(0), 0, 0, 0.0, false, "", "0"}, Row{"true", Any(true), 1, 1, 1.0, true, "", "1"},
        Row{"int64", Any(1L << 40), kMax32, 1L << 40, 1099511627776.0, true, "", "1099511627776"},
        Row{"int64 low", Any(kMin64), kMin32, kMin64, -9223372036854775808.0, true, "",
            "-9223372036854775808"},
        Row{"double", Any(2.75), 2, 2, 2.75, true, "", "2.75"},
        Row{"double negative", Any(-2.75), -2, -2, -2.75, true, "", "-2.75"},
        Row{"double whole", Any(25.0), 25, 25, 25.0, true, "", "25"},
        Row{"double huge", Any(1e300), kMax32, kMax64, 1e300, true, "", "1e+300"},
        Row{"double 2^63", Any(9223372036854775808.0), kMax32, kMax64, 9223372036854775808.0, true, "",
            "9223372036854775808"},
        Row{"double minus infinity", Any(-kInf), kMin32, kMin64, -kInf, true, "", "-inf"},
        Row{"double NaN", Any(kNan), 0, 0, kNan, true, "", "nan"},
        Row{"float", Any(0.5F), 0, 0, 0.5, true, "", "0.5"},
        Row{"float huge", Any(-1e30F), kMin32, kMin64, static_cast<double>(-1e30F), true, "", "-1e+30"},
        Row{"framerate", Any(KyFramerate(29.5, 1, false, 0)), 29, 29, 29.5, false, "", "29.5"},
        Row{"pair", Any(Pair{1, "a"}), 0, 0, 0.0, false, "", "(1, a)"},
        Row{"vector", Any(AnyVector{1, "a", AnyVector{}}), 0, 0, 0.0, false, "", "[1, a, []]"},
        Row{"dict", Any(AnyDict("a", 1, "b", AnyDict("c", 2.5))), 0, 0, 0.0, false, "",
            "{a: 1, b: {c: 2.5}}"},
        Row{"bytes", Any(static_cast<void const*>("abc"), 3), 0, 0, 0.0, false, "", "3 bytes"}));

INSTANTIATE_TEST_SUITE_P(
    Text, Conversion,
    testing::Values(Row{"integer", Any("42"), 42, 42, 42.0, true, "42", "42"},
                    Row{"wide integer", Any(L"-42"), -42, -42, -42.0, true, "-42", "-42"},
                    Row{"plus", Any("+7"), 7, 7, 7.0, true, "+7", "+7"},
                    Row{"plus minus", Any("+-7"), 0, 0, 0.0, false, "+-7", "+-7"},
                    Row{"fraction", Any("1.5"), 1, 1, 1.5, true, "1.5", "1.5"},
                    Row{"wide fraction", Any(L"1.5"), 1, 1, 1.5, true, "1.5", "1.5"},
                    Row{"exponent", Any("1e3"), 1000, 1000, 1000.0, true, "1e3", "1e3"},
                    Row{"rest behind", Any("42x"), 0, 0, 0.0, false, "42x", "42x"},
                    Row{"blank before", Any(" 42"), 0, 0, 0.0, false, " 42", " 42"},
                    Row{"hexadecimal", Any("0x10"), 0, 0, 0.0, false, "0x10", "0x10"},
                    Row{"beyond int32", Any("5000000000"), kMax32, 5000000000L, 5e9, true, "5000000000",
                        "5000000000"},
                    Row{"beyond int64", Any("-99999999999999999999"), kMin32, kMin64, -1e20, true,
                        "-99999999999999999999", "-99999999999999999999"},
                    Row{"exact int64", Any("9007199254740993"), kMax32, 9007199254740993L, 9007199254740992.0,
                        true, "9007199254740993", "9007199254740993"},
                    Row{"infinity", Any("inf"), 0, 0, 0.0, false, "inf", "inf"},
                    Row{"nan", Any("nan"), 0, 0, 0.0, false, "nan", "nan"},
                    Row{"empty", Any(""), 0, 0, 0.0, false, "", ""},
                    Row{"zero", Any("0"), 0, 0, 0.0, false, "0", "0"},
                    Row{"true", Any("true"), 0, 0, 0.0, true, "true", "true"},
                    Row{"Yes", Any(L"Yes"), 0, 0, 0.0, true, "Yes", "Yes"},
                    Row{"ON", Any("ON"), 0, 0, 0.0, true, "ON", "ON"},
                    Row{"false", Any("false"), 0, 0, 0.0, false, "false", "false"},
                    Row{"off", Any("off"), 0, 0, 0.0, false, "off", "off"},
                    Row{"other", Any("truely"), 0, 0, 0.0, false, "truely", "truely"}));

TEST(AnyConversion, UnfitKindsGiveEmptyContainers) {
  for (Any const& value : {Any(), Any(1), Any("a"), Any(L"a"), Any(1.0), Any(KyFramerate()), Any(Pair{})}) {
    EXPECT_TRUE(value.asVector().empty());
    EXPECT_TRUE(value.asDict().empty());
    EXPECT_EQ(value.asGeneric(), nullptr);
    EXPECT_EQ(value.genericSize(), 0);
    EXPECT_EQ(value.asPair(), Pair{});
  }
}

TEST(AnyConversion, NumbersReadAsProgressiveFrameRates) {
  EXPECT_EQ(Any(25).asFramerate(), KyFramerate(25.0, 0, false, 0));
  EXPECT_EQ(Any(23.976).asFramerate().rate(), 23.976);
  EXPECT_EQ(Any(KyFramerate(50, 2, true, 4)).asFramerate(), KyFramerate(50, 2, true, 4));
  EXPECT_EQ(Any("25").asFramerate(), KyFramerate());
  EXPECT_EQ(Any(AnyDict()).asFramerate(), KyFramerate());
}

TEST(AnyConversion, TextConvertsBetweenNarrowAndWide) {
  EXPECT_EQ(Any(L"\u20AC\U0001F600").asString(), "\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(Any("\xE2\x82\xAC").asWString(), L"\u20AC");
  EXPECT_EQ(Any(5).asWString(), L"");
}

TEST(AnyConversion, CharacterPointersGiveTheirOwnKindOnly) {
  EXPECT_STREQ(static_cast<char*>(Any("abc")), "abc");
  EXPECT_STREQ(static_cast<char*>(Any(L"abc")), "");
  EXPECT_STREQ(static_cast<char*>(Any(5)), "");
  EXPECT_EQ(std::wcscmp(static_cast<wchar_t*>(Any(L"abc")), L"abc"), 0);
  EXPECT_EQ(std::wcscmp(static_cast<wchar_t*>(Any("abc")), L""), 0);
}

TEST(AnyConversion, PointersPrintTheirAddress) {
  EXPECT_EQ(Any(reinterpret_cast<void const*>(0x1234), 0).toString(), Any("0x1234"));
}

}  // namespace
