#include "host/userdata.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string text(KyUserData const& data, int type, int i) {
  int size = -1;
  int format = -1;
  void const* const bytes = data.packet(type, i, size, format);
  return bytes ? std::string(static_cast<char const*>(bytes), static_cast<size_t>(size)) : "none";
}

TEST(UserData, PacketsAreCountedAndFoundByType) {
  KyUserData data;
  data.addDataPacket(3, "abc", 0, kUserDataPicture);
  data.addDataPacket(2, "xy", 2, 7);
  data.addDataPacket(1, "d", 1, kUserDataPicture);
  EXPECT_EQ(data.countPackets(1), 2);
  EXPECT_EQ(data.countPackets(7), 1);
  EXPECT_EQ(data.countPackets(3), 0);
  EXPECT_EQ(text(data, 1, 0), "abc");
  EXPECT_EQ(text(data, 1, 1), "d");
  EXPECT_EQ(text(data, 7, 0), "xy");
  int size = 0;
  int format = 0;
  data.packet(1, 1, size, format);
  EXPECT_EQ(size, 1);
  EXPECT_EQ(format, 1);
}

TEST(UserData, PacketsOutsideTheRangeAreNull) {
  KyUserData data;
  data.addDataPacket(3, "abc", 2, 1);
  int size = 5;
  int format = 5;
  EXPECT_EQ(data.packet(1, 1, size, format), nullptr);
  EXPECT_EQ(size, 0);
  EXPECT_EQ(data.packet(1, -1, size, format), nullptr);
  EXPECT_EQ(data.packet(2, 0, size, format), nullptr);
}

TEST(UserData, NothingIsAddedWithoutBytes) {
  KyUserData data;
  data.addDataPacket(0, "abc", 0, 1);
  data.addDataPacket(-1, "abc", 0, 1);
  data.addDataPacket(3, nullptr, 0, 1);
  EXPECT_EQ(data.countPackets(1), 0);
  EXPECT_TRUE(data.empty());
}

TEST(UserData, RemovingATypeKeepsTheOthers) {
  KyUserData data;
  data.addDataPacket(1, "a", 0, 1);
  data.addDataPacket(1, "b", 0, 2);
  data.addDataPacket(1, "c", 0, 1);
  data.removePackets(1);
  EXPECT_EQ(data.countPackets(1), 0);
  EXPECT_EQ(text(data, 2, 0), "b");
  KyUserData empty;
  empty.removePackets(1);
  EXPECT_TRUE(empty.empty());
}

TEST(UserData, IsADictionaryAndAValue) {
  KyUserData data;
  char buffer[] = "abc";
  data.addDataPacket(3, buffer, 1, 1);
  buffer[0] = 'x';
  KyUserData copy = data;
  data.removePackets(1);
  EXPECT_EQ(text(copy, 1, 0), "abc");
  AnyDict const& entry = copy["packets"].asVector()[0].asDict();
  EXPECT_EQ(entry["type"], Any(1));
  EXPECT_EQ(entry["format"], Any(1));
  EXPECT_EQ(entry["data"].genericSize(), 3);
}

TEST(UserData, ForeignEntriesUnderPacketsAreHarmless) {
  KyUserData data;
  data.set("packets", AnyVector{5, "text", AnyDict("type", 1)});
  EXPECT_EQ(data.countPackets(1), 1);
  EXPECT_EQ(text(data, 1, 0), "none");
  data.addDataPacket(1, "a", 0, 1);
  EXPECT_EQ(text(data, 1, 1), "a");
}

}  // namespace
