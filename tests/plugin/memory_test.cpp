// The memory estimate against an account of its own: every block that the import library asks its caller for.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <string_view>

#include "host/codec.h"
#include "mfimport/mfimport.h"
#include "tests/support/media.h"
#include "tests/support/plugin_host.h"

namespace {

// Held over an allocation and its entry, so that account and estimate are of one moment while decoder threads
// run on.
std::mutex lock;
std::map<void*, size_t> blocks;
MpegResourceGetter callers = nullptr;

void* countedAllocate(size_t bytes) {
  std::lock_guard const guard(lock);
  void* const block = reinterpret_cast<void* (*)(size_t)>(callers("malloc"))(bytes);
  if (block) blocks[block] = bytes;
  return block;
}

void countedRelease(void* block) {
  std::lock_guard const guard(lock);
  blocks.erase(block);
  reinterpret_cast<void (*)(void*)>(callers("free"))(block);
}

void* countedGetter(char const* name) {
  if (std::string_view(name) == "malloc") return reinterpret_cast<void*>(&countedAllocate);
  if (std::string_view(name) == "free") return reinterpret_cast<void*>(&countedRelease);
  return callers(name);
}

size_t sumOfBlocks() {
  size_t sum = 0;
  for (auto const& [block, bytes] : blocks) sum += bytes;
  return sum;
}

size_t accounted() {
  std::lock_guard const guard(lock);
  return sumOfBlocks();
}

}  // namespace

// Asked before the library's own.
MpegIn* mpegInNew(MpegResourceGetter getter, int reserved) {
  callers = getter;
  auto const original = reinterpret_cast<decltype(&mpegInNew)>(::dlsym(RTLD_NEXT, "mpegInNew"));
  return original(&countedGetter, reserved);
}

namespace {

using test::PipePtr;

int estimateKB(KyDecodePipe const& pipe) {
  Any value;
  EXPECT_EQ(pipe.getParam("memoryEstimateKB", value), 0);
  return value.asInt32();
}

void expectEstimateOfAccount(KyDecodePipe const& pipe, char const* when) {
  std::lock_guard const guard(lock);
  EXPECT_EQ(estimateKB(pipe), static_cast<int>(sumOfBlocks() / 1024)) << when;
}

std::filesystem::path clip() {
  return test::made("estimate.mp4",
                    "-f lavfi -i testsrc2=s=1280x720:r=25:d=2 -f lavfi -i sine=d=2:r=48000 -c:v libx264 "
                    "-preset ultrafast -bf 2 -g 25 -pix_fmt yuv420p -c:a aac");
}

constexpr size_t kPictureBytes = size_t{1280} * 720 * 3 / 2;

class Estimate : public testing::TestWithParam<int> {};

TEST_P(Estimate, EqualsTheBlocksThatTheLibraryHolds) {
  PipePtr const pipe = test::opened(clip(), AnyDict("estimateMemory", true, "numThreads", GetParam()));
  ASSERT_TRUE(pipe);
  expectEstimateOfAccount(*pipe, "after opening");
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  ASSERT_EQ(pipe->selectStream(kKindAudio, 0), 0);
  for (int i = 0; i < 30; ++i) ASSERT_EQ(pipe->readFrame(0), 0);
  ASSERT_EQ(pipe->readSamples(4800, 0), 4800);
  expectEstimateOfAccount(*pipe, "after reading");
  EXPECT_GT(accounted(), 3 * kPictureBytes) << "pictures of the decoder are part of it";
  size_t const before = accounted();
  for (int64_t frame = 49; frame > 40; --frame) ASSERT_EQ(pipe->seekToFrame(frame, 0), 0);
  expectEstimateOfAccount(*pipe, "after stepping back");
  EXPECT_GT(accounted(), before + 4 * kPictureBytes) << "pictures kept for stepping back are part of it";
  ASSERT_EQ(pipe->close(), 0);
  EXPECT_EQ(accounted(), 0U) << "nothing is held after closing";
  EXPECT_EQ(estimateKB(*pipe), 0);
}

INSTANTIATE_TEST_SUITE_P(Threads, Estimate, testing::Values(1, 4));

TEST(EstimateOff, NothingIsRecordedThoughTheLibraryAllocates) {
  PipePtr const pipe = test::opened(clip());
  ASSERT_TRUE(pipe);
  EXPECT_GT(accounted(), 0U);
  EXPECT_EQ(estimateKB(*pipe), 0);
}

TEST(EstimateAgain, OpeningAnewForgetsWhatWasRecordedBefore) {
  PipePtr const pipe = test::opened(clip(), AnyDict("estimateMemory", true));
  ASSERT_TRUE(pipe);
  ASSERT_EQ(pipe->selectStream(kKindVideo, 0), 0);
  EXPECT_GT(estimateKB(*pipe), 0);
  ASSERT_EQ(pipe->open(), 0);
  expectEstimateOfAccount(*pipe, "after opening anew");
  ASSERT_EQ(pipe->close(), 0);
  ASSERT_EQ(pipe->setParam("estimateMemory", false), 0);
  ASSERT_EQ(pipe->open(), 0);
  EXPECT_EQ(estimateKB(*pipe), 0);
}

}  // namespace
