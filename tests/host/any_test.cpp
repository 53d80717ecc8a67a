#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include "host/any.h"

namespace {

TEST(Any, EveryConstructorMakesItsKind) {
  int object = 0;
  EXPECT_EQ(Any().kind(), Any::kInvalid);
  EXPECT_EQ(Any(1).kind(), Any::kInt32);
  EXPECT_EQ(Any(true).kind(), Any::kInt32);
  EXPECT_EQ(Any(1L).kind(), Any::kInt64);
  EXPECT_EQ(Any(1LL).kind(), Any::kInt64);
  EXPECT_EQ(Any(1.0).kind(), Any::kDouble);
  EXPECT_EQ(Any(1.0F).kind(), Any::kFloat);
  EXPECT_EQ(Any("a").kind(), Any::kString);
  EXPECT_EQ(Any(std::string("a")).kind(), Any::kString);
  EXPECT_EQ(Any(L"a").kind(), Any::kWString);
  EXPECT_EQ(Any(std::wstring(L"a")).kind(), Any::kWString);
  EXPECT_EQ(Any(&object, 0).kind(), Any::kGeneric);
  EXPECT_EQ(Any(&object, 4).kind(), Any::kGeneric);
  EXPECT_EQ(Any(AnyVector()).kind(), Any::kVector);
  EXPECT_EQ(Any(AnyDict()).kind(), Any::kDict);
  EXPECT_EQ(Any(KyFramerate(25, 0, false, 0)).kind(), Any::kFramerate);
  EXPECT_EQ(Any(Pair{1, 2}).kind(), Any::kPair);
}

TEST(Any, TagsOfTheContractKeepTheirNumbers) {
  EXPECT_EQ(static_cast<int>(Any("a").kind()), 2);
  EXPECT_EQ(static_cast<int>(Any(AnyVector()).kind()), 5);
  EXPECT_EQ(static_cast<int>(Any(1).kind()), 0);
}

TEST(Any, APointerWithoutALengthIsRefusedInsteadOfBecomingABool) {
  EXPECT_FALSE((std::is_constructible_v<Any, int*>));
  EXPECT_FALSE((std::is_constructible_v<Any, void const*>));
  EXPECT_TRUE((std::is_constructible_v<Any, char*>));
  EXPECT_TRUE((std::is_constructible_v<Any, wchar_t const*>));
}

TEST(Any, TextTakesAllOrTheGivenLength) {
  EXPECT_EQ(Any("abcdef").asString(), "abcdef");
  EXPECT_EQ(Any("abcdef", 3).asString(), "abc");
  EXPECT_EQ(Any("a\0b", 3).asString(), std::string("a\0b", 3));
  EXPECT_EQ(Any(L"abcdef", 2).asWString(), L"ab");
  EXPECT_EQ(Any(static_cast<char const*>(nullptr)), Any(""));
  EXPECT_EQ(Any(static_cast<wchar_t const*>(nullptr)).asWString(), L"");
}

TEST(Any, GenericHoldsAPointerOrOwnsACopy) {
  unsigned char bytes[4] = {1, 2, 3, 4};
  Any const pointer(bytes, 0);
  EXPECT_EQ(pointer.asGeneric(), bytes);
  EXPECT_EQ(pointer.genericSize(), 0);

  Any const owned(bytes, 4);
  bytes[0] = 9;
  ASSERT_EQ(owned.genericSize(), 4);
  EXPECT_NE(owned.asGeneric(), bytes);
  EXPECT_EQ(static_cast<unsigned char const*>(owned.asGeneric())[0], 1);
  EXPECT_EQ(Any(static_cast<void const*>(nullptr), 4).genericSize(), 0);
}

TEST(Any, CopiesAreDeep) {
  Any original(AnyDict("a", AnyVector{1, 2}));
  Any copy = original;
  static_cast<AnyDict&>(copy).set("a", 5);
  EXPECT_EQ(original.asDict()["a"].asVector().size(), 2);
  EXPECT_EQ(copy.asDict()["a"].asInt32(), 5);
}

TEST(Any, MovedFromValueIsInvalidAndUsable) {
  Any source(AnyVector{1, 2, 3});
  Any const target = std::move(source);
  EXPECT_EQ(target.asVector().size(), 3);
  EXPECT_FALSE(source.valid());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
  EXPECT_TRUE(source.asVector().empty());
  source = 4;
  EXPECT_EQ(source.asInt32(), 4);

  Any assigned;
  assigned = std::move(source);
  EXPECT_EQ(assigned.asInt32(), 4);
  EXPECT_FALSE(source.valid());  // NOLINT(bugprone-use-after-move,clang-analyzer-cplusplus.Move)
}

TEST(Any, SelfAssignmentKeepsTheValue) {
  Any dict(AnyDict("a", 1));
  Any& alias = dict;
  dict = alias;
  EXPECT_EQ(dict.asDict()["a"].asInt32(), 1);
  dict = std::move(alias);
  EXPECT_EQ(dict.asDict()["a"].asInt32(), 1);
  Any text("hello");
  text = static_cast<char*>(text);
  EXPECT_EQ(text.asString(), "hello");
  text.sprintf("<%s>", static_cast<char*>(text));
  EXPECT_EQ(text.asString(), "<hello>");
}

TEST(Any, AssigningAPartOfItselfKeepsThePart) {
  Any vector(AnyVector{Any(AnyVector{7})});
  vector = vector.asVector()[0];
  EXPECT_EQ(vector.asVector()[0].asInt32(), 7);
  vector = vector.asVector();
  EXPECT_EQ(vector.asVector()[0].asInt32(), 7);

  Any dict(AnyDict("inner", AnyDict("x", 3)));
  dict = dict.asDict()["inner"].asDict();
  EXPECT_EQ(dict.asDict()["x"].asInt32(), 3);
}

TEST(Any, AssignmentsAndSettersChangeTheKind) {
  Any value;
  value = 5;
  EXPECT_EQ(value.kind(), Any::kInt32);
  value = "text";
  EXPECT_EQ(value.kind(), Any::kString);
  value = AnyDict();
  EXPECT_EQ(value.kind(), Any::kDict);
  value = AnyVector();
  EXPECT_EQ(value.kind(), Any::kVector);
  value.set(7L);
  EXPECT_EQ(value.kind(), Any::kInt64);
  value.set(8);
  EXPECT_EQ(value.kind(), Any::kInt32);
  value.set("x");
  EXPECT_EQ(value.asString(), "x");
  value.set(&value, 0);
  EXPECT_EQ(value.asGeneric(), &value);
  value.set(Any(1.5));
  EXPECT_EQ(value.kind(), Any::kDouble);
  value.set(AnyDict("k", 1));
  EXPECT_EQ(value.asDict().size(), 1);
  value.set(AnyVector{1});
  EXPECT_EQ(value.asVector().size(), 1);
  value.invalidate();
  EXPECT_FALSE(value.valid());
}

TEST(Any, SprintfTakesTextOfAnyLength) {
  std::string const lengthy(100000, 'x');
  Any value(3);
  value.sprintf("%s-%d", lengthy.c_str(), 7);
  EXPECT_EQ(value.asString(), lengthy + "-7");
  value.sprintf("%s", "");
  EXPECT_EQ(value.kind(), Any::kString);
  EXPECT_EQ(value.asString(), "");
}

TEST(Any, EqualityComparesNumbersAcrossKinds) {
  EXPECT_EQ(Any(1), Any(1L));
  EXPECT_EQ(Any(1), Any(1.0));
  EXPECT_EQ(Any(1L), Any(1.0F));
  EXPECT_EQ(Any(0.5), Any(0.5F));
  EXPECT_FALSE(Any(0.1) == Any(0.1F));
  EXPECT_FALSE(Any(1) == Any(2L));
  EXPECT_FALSE(Any(std::nan("")) == Any(std::nan("")));
  // 2^53 + 1 has no double.
  EXPECT_FALSE(Any((1L << 53) + 1) == Any(9007199254740992.0));
  EXPECT_EQ(Any(1L << 53), Any(9007199254740992.0));
  EXPECT_FALSE(Any(std::numeric_limits<long>::max()) == Any(9223372036854775808.0));
}

TEST(Any, EqualityComparesNarrowAndWideText) {
  EXPECT_EQ(Any("xml"), Any(L"xml"));
  EXPECT_EQ(Any("\xC3\xA9"), Any(L"\u00E9"));
  EXPECT_FALSE(Any("xml") == Any("XML"));
  EXPECT_FALSE(Any("1") == Any(1));
}

TEST(Any, EqualityOfOtherKindsNeedsTheSameKindAndValue) {
  int a = 1;
  EXPECT_EQ(Any(), Any());
  EXPECT_FALSE(Any() == Any(0));
  EXPECT_EQ(Any(&a, 0), Any(&a, 0));
  EXPECT_EQ(Any("ab", 2), Any("ab"));
  EXPECT_EQ(Any(static_cast<void const*>("ab"), 2), Any(static_cast<void const*>("ab"), 2));
  EXPECT_FALSE(Any(static_cast<void const*>("ab"), 2) == Any(static_cast<void const*>("ac"), 2));
  EXPECT_EQ(Any(KyFramerate(25, 1, false, 0)), Any(KyFramerate(25, 1, false, 0)));
  EXPECT_FALSE(Any(KyFramerate(25, 1, false, 0)) == Any(KyFramerate(25, 2, false, 0)));
  EXPECT_EQ(Any(Pair{1, "a"}), Any(Pair{1L, L"a"}));
  EXPECT_FALSE(Any(Pair{1, "a"}) == Any(Pair{2, "a"}));
  EXPECT_EQ(Any(AnyVector{1, "a"}), Any(AnyVector{1.0, L"a"}));
  EXPECT_FALSE(Any(AnyVector{1}) == Any(AnyVector{1, 1}));
  EXPECT_EQ(Any(AnyDict("k", 1)), Any(AnyDict("k", 1)));
  EXPECT_FALSE(Any(AnyDict("k", 1)) == Any(AnyDict("l", 1)));
  EXPECT_FALSE(Any(AnyDict()) == Any(AnyVector()));
}

TEST(Any, ContainerReferencesReplaceOtherKinds) {
  Any value("text");
  static_cast<AnyDict&>(value).set("a", 1);
  EXPECT_EQ(value.asDict()["a"].asInt32(), 1);
  static_cast<AnyVector&>(value).append(2);
  EXPECT_EQ(value.asVector()[0].asInt32(), 2);
  static_cast<AnyVector&>(value).append(3);
  EXPECT_EQ(value.asVector().size(), 2);
}

TEST(Any, NestingOfManyLevelsSurvivesCopyAndComparison) {
  Any value(0);
  for (int i = 0; i < 200; ++i) value = i % 2 ? Any(AnyVector{value}) : Any(AnyDict("k", value));
  Any const copy = value;
  EXPECT_EQ(copy, value);
  EXPECT_EQ(copy.toString().asString(), value.toString().asString());
}

}  // namespace
