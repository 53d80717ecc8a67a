// The places of virtual functions in their tables: plug-ins and hosts that were built apart meet there.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "host/codec.h"
#include "host/plugin.h"

namespace {

// Itanium C++ ABI 2.3: a pointer to a virtual member function holds its offset in the table, plus 1 where
// function addresses are even. Slots 0 and 1 are the destructors, which have no address.
template <class Function>
int slotOf(Function function) {
  ptrdiff_t words[2];
  static_assert(sizeof function == sizeof words);
  std::memcpy(words, &function, sizeof words);
  return static_cast<int>(words[0] / static_cast<ptrdiff_t>(sizeof(void*)));
}

TEST(SlotOrder, OfModules) {
  EXPECT_EQ(slotOf(&KyModule::createInstance), 2);
  EXPECT_EQ(slotOf(&KyModule::desc), 3);
  EXPECT_EQ(slotOf(&KyModule::name), 4);
  EXPECT_EQ(slotOf(&KyModule::displayName), 5);
  EXPECT_EQ(slotOf(&KyModule::moduleType), 6);
  EXPECT_EQ(slotOf(&KyModule::getAttr), 7);
  EXPECT_EQ(slotOf(&KyModule::setAttr), 8);
  EXPECT_EQ(slotOf(&KyModule::getAttrs), 9);
  EXPECT_EQ(slotOf(&KyModule::setAttrs), 10);
  EXPECT_EQ(slotOf(&KyModule::call), 11);
  EXPECT_EQ(slotOf(&KyModule::cleanup), 12);
}

TEST(SlotOrder, OfCodecs) {
  EXPECT_EQ(slotOf(&KyCodec::init), 2);
  EXPECT_EQ(slotOf(&KyCodec::setParam), 3);
  EXPECT_EQ(slotOf(&KyCodec::getParam), 4);
  EXPECT_EQ(slotOf(&KyCodec::setParamDict), 5);
  EXPECT_EQ(slotOf(&KyCodec::open), 6);
  EXPECT_EQ(slotOf(&KyCodec::close), 7);
  EXPECT_EQ(slotOf(&KyCodec::process), 8);
  EXPECT_EQ(slotOf(&KyCodec::getInterface), 9);
  EXPECT_EQ(slotOf(&KyCodec::name), 10);
  EXPECT_EQ(slotOf(&KyCodec::store), 11);
  EXPECT_EQ(slotOf(&KyCodec::restore), 12);
  EXPECT_EQ(slotOf(&KyCodec::call), 13);
}

TEST(SlotOrder, OfDecodePipes) {
  EXPECT_EQ(slotOf(&KyDecodePipe::countStreams), 14);
  EXPECT_EQ(slotOf(&KyDecodePipe::elementaryStream), 15);
  EXPECT_EQ(slotOf(&KyDecodePipe::getStreamParam), 16);
  EXPECT_EQ(slotOf(&KyDecodePipe::streamInfo), 17);
  EXPECT_EQ(slotOf(&KyDecodePipe::setStreamParam), 18);
  EXPECT_EQ(slotOf(&KyDecodePipe::seekToSample), 19);
  EXPECT_EQ(slotOf(&KyDecodePipe::seekToFrame), 20);
  EXPECT_EQ(slotOf(&KyDecodePipe::readFrame), 21);
  EXPECT_EQ(slotOf(&KyDecodePipe::readSamples), 22);
  EXPECT_EQ(slotOf(&KyDecodePipe::frameCount), 23);
  EXPECT_EQ(slotOf(&KyDecodePipe::sampleCount), 24);
  EXPECT_EQ(slotOf(&KyDecodePipe::readCcData), 25);
  EXPECT_EQ(slotOf(&KyDecodePipe::seek), 26);
  EXPECT_EQ(slotOf(&KyDecodePipe::seekAll), 27);
  EXPECT_EQ(slotOf(&KyDecodePipe::duration), 28);
  EXPECT_EQ(slotOf(&KyDecodePipe::videoFrame), 29);
  EXPECT_EQ(slotOf(&KyDecodePipe::audioPcm), 30);
  EXPECT_EQ(slotOf(&KyDecodePipe::selectStream), 31);
  EXPECT_EQ(slotOf(&KyDecodePipe::deselectStream), 32);
  EXPECT_EQ(slotOf(&KyDecodePipe::selected), 33);
  EXPECT_EQ(slotOf(&KyDecodePipe::isSelected), 34);
  EXPECT_EQ(slotOf(&KyDecodePipe::overrideKeys), 35);
  EXPECT_EQ(slotOf(&KyDecodePipe::setOverride), 36);
  EXPECT_EQ(slotOf(&KyDecodePipe::override), 37);
  EXPECT_EQ(slotOf(&KyDecodePipe::overrides), 38);
  EXPECT_EQ(slotOf(&KyDecodePipe::encodedFrameSize), 39);
  EXPECT_EQ(slotOf(&KyDecodePipe::readEncodedFrame), 40);
  EXPECT_EQ(slotOf(&KyDecodePipe::setUserDataEnabled), 41);
  EXPECT_EQ(slotOf(&KyDecodePipe::readUserData), 42);
  EXPECT_EQ(slotOf(&KyDecodePipe::frameTimestamps), 43);
}

}  // namespace
