// The default zone of a program that pools it.
#include "platform/foundation/NSString.h"
#include "platform/foundation/NSZone.h"
#include "platform/foundation/PoolResource.h"
#include "tests/support/AllocationCount.h"

#include <gtest/gtest.h>

#include <vector>

namespace tesker::test {
namespace {

[[maybe_unused]] const bool pooled = [] {
  NSPoolDefaultMallocZone();
  return true;
}();

constexpr std::size_t kBlock = 64, kBlocks = 3 * PoolResource::kChunkSize / kBlock;

std::vector<void *> takenBlocks() {
  std::vector<void *> blocks;
  blocks.reserve(kBlocks);
  for (std::size_t i = 0; i < kBlocks; ++i)
    blocks.push_back(NSDefaultMallocZone().allocate(kBlock));
  return blocks;
}

TEST(PooledDefaultZone, AsksTheHeapForAChunkAtATime) {
  (void)NSDefaultMallocZone();
  const AllocationCount allocations;
  const std::vector<void *> blocks = takenBlocks();
#ifdef __SANITIZE_ADDRESS__
  EXPECT_EQ(allocations.count(), 1 + kBlocks);
#else
  EXPECT_EQ(allocations.count(), 1 + 4U); // the vector, and chunks that have a head
#endif
  for (void *block : blocks)
    NSDefaultMallocZone().deallocate(block, kBlock);
}

TEST(PooledDefaultZone, HandsOutAgainWhatWasGivenBack) {
  for (void *block : takenBlocks())
    NSDefaultMallocZone().deallocate(block, kBlock);
#ifndef __SANITIZE_ADDRESS__
  const AllocationCount allocations;
  for (int i = 0; i < 1000; ++i)
    (void)NSString::create("a string");
  EXPECT_EQ(allocations.count(), 0U);
#endif
}

TEST(PooledDefaultZone, ThatIsInUseStaysWhatItIs) {
  const NSZone &zone = NSDefaultMallocZone();
  NSPoolDefaultMallocZone();
  EXPECT_EQ(&NSDefaultMallocZone(), &zone);
  EXPECT_EQ(zone.name(), "");
}

} // namespace
} // namespace tesker::test
