// The allocator of the import library: what it counts, and that every block goes back.
#include <gtest/gtest.h>

#include <cstring>

#include "mpegdecode/callbacks.h"
#include "tests/support/allocations.h"

namespace {

class CountedBlocks : public testing::TestWithParam<bool> {
 protected:
  CountedBlocks() { registry.enable(GetParam()); }
  MemoryRegistry registry;
};

TEST_P(CountedBlocks, AreTakenFromTheSystemAndGoBackToIt) {
  if (!test::kAllocationsAreCounted) GTEST_SKIP() << "a sanitizer looks for leaks itself";
  auto const before = test::allocations();
  void* const block = registry.allocate(5000);
  ASSERT_NE(block, nullptr);
  EXPECT_GE(test::allocations().bytes, before.bytes + 5000);
  registry.release(block);
  EXPECT_EQ(test::allocations().blocks, before.blocks);
  EXPECT_EQ(test::allocations().bytes, before.bytes);
}

TEST_P(CountedBlocks, CanBeWrittenToTheirEnd) {
  void* const block = registry.allocate(5000);
  ASSERT_NE(block, nullptr);
  std::memset(block, 0xAA, 5000);
  registry.release(block);
}

TEST_P(CountedBlocks, AreNoneForTheNullAddress) {
  registry.release(nullptr);
  EXPECT_EQ(registry.estimateKB(), 0);
}

INSTANTIATE_TEST_SUITE_P(Registry, CountedBlocks, testing::Bool(),
                         [](auto const& on) { return on.param ? "Enabled" : "Disabled"; });

TEST(MemoryRegistry, CountsNothingUntilItIsEnabled) {
  MemoryRegistry registry;
  void* const block = registry.allocate(9000);
  EXPECT_EQ(registry.estimateKB(), 0);
  registry.release(block);
}

TEST(MemoryRegistry, CountsWholeKilobytesOfTheSum) {
  MemoryRegistry registry;
  registry.enable(true);
  void* const first = registry.allocate(1000);
  EXPECT_EQ(registry.estimateKB(), 0);
  void* const little = registry.allocate(23);
  EXPECT_EQ(registry.estimateKB(), 0);
  void* const second = registry.allocate(1);
  EXPECT_EQ(registry.estimateKB(), 1);
  void* const third = registry.allocate(3071);
  EXPECT_EQ(registry.estimateKB(), 3);
  void* const fourth = registry.allocate(1);
  EXPECT_EQ(registry.estimateKB(), 4);
  for (void* block : {first, little, second, third, fourth}) registry.release(block);
  EXPECT_EQ(registry.estimateKB(), 0);
}

TEST(MemoryRegistry, KeepsItsCountWhileItIsDisabled) {
  MemoryRegistry registry;
  registry.enable(true);
  void* const block = registry.allocate(4096);
  registry.disable();
  void* const later = registry.allocate(4096);
  EXPECT_EQ(registry.estimateKB(), 4);
  registry.release(later);
  registry.release(block);
  EXPECT_EQ(registry.estimateKB(), 4) << "what goes back meanwhile is not seen";
}

TEST(MemoryRegistry, ForgetsAllBlocksWhenItIsSetAnew) {
  MemoryRegistry registry;
  for (bool on : {true, false}) {
    registry.enable(true);
    void* const block = registry.allocate(4096);
    EXPECT_EQ(registry.estimateKB(), 4);
    registry.enable(on);
    EXPECT_EQ(registry.estimateKB(), 0);
    registry.release(block);
    EXPECT_EQ(registry.estimateKB(), 0);
  }
}

}  // namespace
