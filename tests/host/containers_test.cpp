#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/any.h"

namespace {

TEST(AnyVector, ElementsOutsideTheRangeAreInvalid) {
  AnyVector const vector{1, 2};
  EXPECT_EQ(vector.at(1).asInt32(), 2);
  EXPECT_FALSE(vector.at(2).valid());
  EXPECT_FALSE(vector[-1].valid());
  EXPECT_EQ(&vector.at(2), &vector.at(-5));
  EXPECT_FALSE(AnyVector::null().at(0).valid());
}

TEST(AnyVector, FourValuesAndAppendKeepTheirOrder) {
  AnyVector vector(1, "b", 3.5, 4L);
  vector.append(AnyDict("k", 1));
  vector.append(AnyVector{5});
  vector.append(6);
  ASSERT_EQ(vector.size(), 7);
  EXPECT_EQ(vector[1].asString(), "b");
  EXPECT_EQ(vector[4].kind(), Any::kDict);
  EXPECT_EQ(vector[5].kind(), Any::kVector);
}

TEST(AnyVector, StoresItselfAndItsElements) {
  AnyVector vector{1, 2};
  vector.append(vector);
  vector.append(vector[0]);
  ASSERT_EQ(vector.size(), 4);
  EXPECT_EQ(vector[2].asVector(), (AnyVector{1, 2}));
  EXPECT_EQ(vector[3].asInt32(), 1);
  AnyVector& alias = vector;
  vector = alias;
  EXPECT_EQ(vector.size(), 4);
}

TEST(AnyVector, RemoveIgnoresIndicesOutside) {
  AnyVector vector{1, 2, 3};
  vector.remove(1);
  vector.remove(2);
  vector.remove(-1);
  EXPECT_EQ(vector, (AnyVector{1, 3}));
  vector.clear();
  EXPECT_TRUE(vector.empty());
}

TEST(AnyVector, JoinPutsTheSeparatorBetweenElementsOfEveryKind) {
  EXPECT_EQ((AnyVector{"a", L"b", 3, 2.5, Any()}).join(", "), Any("a, b, 3, 2.5, "));
  EXPECT_EQ((AnyVector{"a"}).join("-"), Any("a"));
  EXPECT_EQ(AnyVector().join("-"), Any(""));
  EXPECT_EQ((AnyVector{1, 2}).join(L"|"), Any("1|2"));
  EXPECT_EQ((AnyVector{1, 2}).join("|").kind(), Any::kString);
}

TEST(AnyVector, SortPutsNumbersBeforeTextBeforeOthers) {
  AnyVector vector{"b", AnyDict("k", 1), 3L, L"a", Any(), 2.5, 1};
  vector.sort();
  EXPECT_EQ(vector, (AnyVector{1, 2.5, 3L, L"a", "b", AnyDict("k", 1), Any()}));
  vector.sort(false);
  EXPECT_EQ(vector, (AnyVector{3L, 2.5, 1, "b", L"a", AnyDict("k", 1), Any()}));
}

TEST(AnyVector, SortIsStable) {
  for (bool const ascending : {true, false}) {
    AnyVector vector{1, 1.0, 1L, "a", L"a"};
    vector.sort(ascending);
    EXPECT_EQ(vector[0].kind(), Any::kInt32);
    EXPECT_EQ(vector[1].kind(), Any::kDouble);
    EXPECT_EQ(vector[2].kind(), Any::kInt64);
    EXPECT_EQ(vector[3].kind(), Any::kString);
    EXPECT_EQ(vector[4].kind(), Any::kWString);
  }
}

TEST(AnyVector, SortKeepsAnOrderAroundNotANumbers) {
  AnyVector vector;
  for (int i = 0; i < 100; ++i) vector.append(i % 3 == 0 ? Any(std::nan("")) : Any(100 - i));
  vector.sort();
  for (int i = 1; i < 66; ++i) EXPECT_LE(vector[i - 1].asInt32(), vector[i].asInt32());
  for (int i = 66; i < 100; ++i) EXPECT_TRUE(std::isnan(vector[i].asDouble()));
}

TEST(AnyVector, SortTellsLargeNeighboursApart) {
  long const large = (1L << 53) + 1;
  AnyVector vector{large, 9007199254740992.0};
  vector.sort();
  EXPECT_EQ(vector[0].kind(), Any::kDouble);
}

TEST(AnyVector, IndexOfSearchesFromTheGivenElement) {
  AnyVector const vector{1, "a", 1.0, "a"};
  EXPECT_EQ(vector.indexOf(1L), 0);
  EXPECT_EQ(vector.indexOf(1, 1), 2);
  EXPECT_EQ(vector.indexOf(L"a", 2), 3);
  EXPECT_EQ(vector.indexOf("a", 4), -1);
  EXPECT_EQ(vector.indexOf("a", -3), 1);
  EXPECT_EQ(vector.indexOf("b"), -1);
}

TEST(AnyDict, KeepsTheOrderOfFirstInsertion) {
  AnyDict dict("b", 1, "a", 2, "c", 3, "d", 4);
  dict.set("a", 5);
  dict.set("e", AnyVector{1});
  dict.set("f", AnyDict());
  std::string keys;
  for (int i = 0; i < dict.size(); ++i) keys += dict.getEntry(i).key;
  EXPECT_EQ(keys, "bacdef");
  EXPECT_EQ(dict.getEntry(1).value.asInt32(), 5);
  dict.remove("b");
  dict.remove("absent");
  EXPECT_EQ(dict.getEntry(0).key, "a");
  EXPECT_EQ(dict.size(), 5);
}

TEST(AnyDict, AbsentKeysAndEntriesAreInvalid) {
  AnyDict const dict("a", 1);
  EXPECT_FALSE(dict.get("b").valid());
  EXPECT_FALSE(dict["A"].valid());
  EXPECT_FALSE(dict.contains("b"));
  EXPECT_FALSE(dict.get(nullptr).valid());
  EXPECT_EQ(dict.getEntry(1).key, "");
  EXPECT_FALSE(dict.getEntry(-1).value.valid());
}

TEST(AnyDict, StoresItselfAndItsOwnValues) {
  AnyDict dict("a", "first");
  dict.set("self", dict);
  EXPECT_EQ(dict["self"].asDict(), AnyDict("a", "first"));
  dict.set("a", dict["self"]);
  dict.set("b", dict["a"]);
  EXPECT_EQ(dict["b"].asDict()["a"].asString(), "first");
  dict.set("self", dict["self"].asDict());
  EXPECT_EQ(dict["self"].asDict().size(), 1);
  AnyDict& alias = dict;
  dict = alias;
  EXPECT_EQ(dict.size(), 3);
}

TEST(AnyDict, ChildChangesNestedContainersInPlace) {
  AnyDict dict("plain", 5);
  dict.child("params").set("pid", 1);
  dict.child("params").set("id", 2);
  dict.child("plain").set("now", 3);
  dict.childVector("list").append(1);
  dict.childVector("list").append(2);
  EXPECT_EQ(dict["params"].asDict().size(), 2);
  EXPECT_EQ(dict["plain"].asDict()["now"].asInt32(), 3);
  EXPECT_EQ(dict["list"].asVector(), (AnyVector{1, 2}));
}

TEST(AnyDict, DescendantFollowsKeysAndDots) {
  AnyDict dict("codecParams", AnyDict("pid", 7, "deep", AnyDict("er", 8)));
  EXPECT_EQ(dict.descendant("codecParams", "pid", nullptr).asInt32(), 7);
  EXPECT_EQ(dict.descendant("codecParams.pid", nullptr).asInt32(), 7);
  EXPECT_EQ(dict.descendant("codecParams", "deep.er", nullptr).asInt32(), 8);
  EXPECT_EQ(dict.descendant("codecParams.deep.er", nullptr).asInt32(), 8);
  EXPECT_EQ(dict.descendant("codecParams", nullptr).kind(), Any::kDict);
  EXPECT_FALSE(dict.descendant("codecParams.absent", nullptr).valid());
  EXPECT_FALSE(dict.descendant("codecParams", "pid", "under", nullptr).valid());
  EXPECT_FALSE(dict.descendant("absent", "pid", nullptr).valid());
  EXPECT_FALSE(dict.descendant("codecParams.", nullptr).valid());
  EXPECT_FALSE(dict.descendant(".", nullptr).valid());
}

TEST(AnyDict, DescendantFindsAWholeKeyWithDotsFirst) {
  AnyDict dict("a.b", 1, "a", AnyDict("b", 2, "b.c", 3));
  EXPECT_EQ(dict.descendant("a.b", nullptr).asInt32(), 1);
  EXPECT_EQ(dict.descendant("a", "b", nullptr).asInt32(), 2);
  EXPECT_EQ(dict.descendant("a.b.c", nullptr).asInt32(), 3);
}

TEST(AnyDict, EqualityHeedsOrderAndValues) {
  EXPECT_EQ(AnyDict("a", 1, "b", 2), AnyDict("a", 1L, "b", 2.0));
  EXPECT_FALSE(AnyDict("a", 1, "b", 2) == AnyDict("b", 2, "a", 1));
}

}  // namespace
