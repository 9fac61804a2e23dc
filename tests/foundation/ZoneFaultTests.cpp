// What zones do when the heap has no memory. The program has allocation functions of its own, which
// fail.
#include "platform/foundation/NSZone.h"
#include "tests/support/AllocationCount.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

namespace tesker::test {
namespace {

using Which = FailingAllocation::Which;

// Blocks of a zone, each filled with a byte of its own.
class Blocks {
public:
  explicit Blocks(NSZone &zone) : zone_(zone) { blocks_.reserve(kMost); }

  void take(std::size_t size, std::size_t alignment) {
    auto *bytes = static_cast<unsigned char *>(zone_.allocate(size, alignment));
    std::fill_n(bytes, size, ++fill_);
    blocks_.push_back({bytes, size, alignment, fill_});
    inUse_ += size;
  }
  void giveBack(std::size_t which) {
    const Block block = std::exchange(blocks_[which % count()], blocks_.back());
    blocks_.pop_back();
    EXPECT_TRUE(holdsItsBytes(block));
    zone_.deallocate(block.bytes, block.size, block.alignment);
    inUse_ -= block.size;
  }
  void giveAllBack() {
    while (count() != 0)
      giveBack(count() - 1);
  }
  std::size_t count() const { return blocks_.size(); }
  void check() const {
    EXPECT_EQ(zone_.bytesInUse(), inUse_);
    EXPECT_TRUE(std::all_of(blocks_.begin(), blocks_.end(), holdsItsBytes));
  }

  static constexpr std::size_t kMost = 400;

private:
  struct Block {
    unsigned char *bytes;
    std::size_t size;
    std::size_t alignment;
    unsigned char fill;
  };
  static bool holdsItsBytes(const Block &block) {
    return std::all_of(block.bytes, block.bytes + block.size,
                       [&](unsigned char byte) { return byte == block.fill; });
  }

  NSZone &zone_;
  std::vector<Block> blocks_;
  std::size_t inUse_ = 0;
  unsigned char fill_ = 0;
};

// Takes and gives back blocks of many sizes in no order, more than a page too; the same each time.
// Goes on after a failure. How many failed.
std::size_t useMixedBlocks(Blocks &blocks) {
  std::mt19937 random(1);
  std::size_t failures = 0;
  for (std::size_t i = 0; i < Blocks::kMost; ++i) {
    const std::size_t size = random() % (std::size_t{1} << random() % 14);
    const std::size_t alignment = random() % 8 == 0 ? 64 : 8;
    const std::size_t victim = random();
    try {
      blocks.take(size, alignment);
    } catch (const std::bad_alloc &) {
      ++failures;
    }
    if (i % 3 == 0 && blocks.count() != 0)
      blocks.giveBack(victim);
  }
  return failures;
}

// Lets each allocation of the zone fail in turn. How many there are.
std::size_t failEachInTurn(Which which) {
  for (std::size_t n = 1;; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    NSZone &zone = NSCreateZone(4096, 4096);
    Blocks blocks(zone);
    std::size_t failures = 0;
    {
      const FailingAllocation failing(n, which);
      failures = useMixedBlocks(blocks);
      if (!failing.hasHappened()) {
        blocks.giveAllBack();
        return n - 1;
      }
    }
    if (which == Which::one)
      EXPECT_EQ(failures, 1U);
    else
      EXPECT_GE(failures, 1U);
    blocks.check();
    blocks.giveAllBack();
    EXPECT_EQ(zone.bytesInUse(), 0U);
    EXPECT_EQ(useMixedBlocks(blocks), 0U) << "with memory again";
    blocks.check();
    blocks.giveAllBack();
  }
}

TEST(ZoneFaultTest, AnyAllocationThatFailsLeavesAZoneAsItWas) {
  EXPECT_GT(failEachInTurn(Which::one), 20U);
}

TEST(ZoneFaultTest, AZoneIsWholeWhenThereIsNoMoreMemoryFromAnyAllocationOn) {
  EXPECT_GT(failEachInTurn(Which::allFromThen), 20U);
}

TEST(ZoneFaultTest, GivingBackNeedsNoMemory) {
  NSZone &zone = NSCreateZone(4096, 4096);
  Blocks blocks(zone);
  useMixedBlocks(blocks);
  const FailingAllocation failing(1, Which::allFromThen);
  EXPECT_NO_THROW(blocks.giveAllBack());
  EXPECT_FALSE(failing.hasHappened());
}

TEST(ZoneFaultTest, AZoneThatThereIsNoMemoryForLeavesNothingBehind) {
  (void)NSCreateZone(64, 64); // the list of zones is made at first use
  const std::size_t before = blocksInUse;
  std::size_t raised = 0;
  for (bool made = false; !made;) {
    const FailingAllocation failing(raised + 1);
    try {
      (void)NSCreateZone(64, 64);
      made = true;
    } catch (const std::bad_alloc &) {
      ++raised;
      ASSERT_EQ(blocksInUse, before) << "allocation " << raised;
    }
  }
  EXPECT_GE(raised, 1U);
}

} // namespace
} // namespace tesker::test
