#include "platform/foundation/PoolResource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <new>
#include <vector>

namespace tesker {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

constexpr std::size_t kUnit = alignof(std::max_align_t);

// The heap, with a list of the sizes that were taken from it and not given back.
class Below final : public std::pmr::memory_resource {
public:
  const std::vector<std::size_t> &sizes() const { return sizes_; }
  bool isEmpty = false; // then it raises

private:
  void *do_allocate(std::size_t bytes, std::size_t alignment) override {
    if (isEmpty)
      throw std::bad_alloc();
    sizes_.push_back(bytes);
    return std::pmr::new_delete_resource()->allocate(bytes, alignment);
  }
  void do_deallocate(void *block, std::size_t bytes, std::size_t alignment) override {
    std::pmr::new_delete_resource()->deallocate(block, bytes, alignment);
    const auto taken = std::find(sizes_.begin(), sizes_.end(), bytes);
    ASSERT_NE(taken, sizes_.end()) << bytes << " bytes were not taken";
    sizes_.erase(taken);
  }
  bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override {
    return this == &other;
  }

  std::vector<std::size_t> sizes_;
};

class PoolResourceTest : public ::testing::Test {
protected:
  std::vector<void *> take(std::size_t count, std::size_t size) {
    std::vector<void *> blocks;
    for (std::size_t i = 0; i < count; ++i)
      blocks.push_back(pool.allocate(size));
    return blocks;
  }
  static std::vector<void *> inReverse(const std::vector<void *> &blocks) {
    return {blocks.rbegin(), blocks.rend()};
  }

  Below below;
  PoolResource pool{below};
};

TEST_F(PoolResourceTest, AFreshChunkIsHandedOutInTheOrderOfMemory) {
  const auto *first = static_cast<std::byte *>(pool.allocate(24));
  EXPECT_EQ(pool.allocate(100), first + 32);
  EXPECT_EQ(pool.allocate(1), first + 32 + 112);
  EXPECT_EQ(pool.allocate(0), first + 32 + 112 + 16) << "no bytes have an address too";
  EXPECT_EQ(pool.allocate(1), first + 32 + 112 + 32);
  EXPECT_THAT(below.sizes(), ElementsAre(PoolResource::kChunkSize));
}

TEST_F(PoolResourceTest, WhatWasGivenBackLastIsHandedOutFirst) {
  const auto blocks = take(10, 48);
  for (void *block : blocks)
    pool.deallocate(block, 48);
  EXPECT_THAT(take(10, 48), ElementsAreArray(inReverse(blocks)));
}

TEST_F(PoolResourceTest, BlocksGivenBackInReverseComeInTheOrderOfMemoryAgain) {
  const auto blocks = take(10, 48);
  for (void *block : inReverse(blocks))
    pool.deallocate(block, 48);
  EXPECT_THAT(take(10, 48), ElementsAreArray(blocks));
}

TEST_F(PoolResourceTest, ABlockServesAllSizesThatFillTheSameUnits) {
  void *block = pool.allocate(33);
  pool.deallocate(block, 33);
  EXPECT_NE(pool.allocate(32), block);
  EXPECT_NE(pool.allocate(49), block);
  EXPECT_EQ(pool.allocate(48), block);
}

TEST_F(PoolResourceTest, EachSizeKeepsItsAlignment) {
  for (std::size_t size = 0; size <= PoolResource::kLargestBlock + kUnit; ++size)
    for (std::size_t alignment = 1; alignment <= 4 * kUnit; alignment *= 2) {
      void *blocks[] = {pool.allocate(size, alignment), pool.allocate(size, alignment)};
      for (void *block : blocks)
        ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0U)
            << size << " bytes aligned to " << alignment;
      for (void *block : blocks)
        pool.deallocate(block, size, alignment);
    }
}

TEST_F(PoolResourceTest, LargeAndStrictlyAlignedBlocksComeFromBelowAndGoBackAtOnce) {
  constexpr std::size_t kLarge = PoolResource::kLargestBlock + 1;
  void *large = pool.allocate(kLarge);
  void *strict = pool.allocate(8, 2 * kUnit);
  EXPECT_THAT(below.sizes(), ElementsAre(kLarge, 8U));
  pool.deallocate(strict, 8, 2 * kUnit);
  pool.deallocate(large, kLarge);
  EXPECT_THAT(below.sizes(), IsEmpty());
}

TEST_F(PoolResourceTest, TheRestOfAChunkIsUsedWhenTheNextHasBegun) {
  void *const first = pool.allocate(1);
  while (below.sizes().size() < 2)
    (void)pool.allocate(PoolResource::kLargestBlock);
  // A unit stands at the head of the chunk, and one was taken.
  constexpr std::size_t kRest =
      (PoolResource::kChunkSize - 2 * kUnit) % PoolResource::kLargestBlock;
  EXPECT_EQ(pool.allocate(kRest),
            static_cast<std::byte *>(first) + PoolResource::kChunkSize - kUnit - kRest);
}

TEST_F(PoolResourceTest, ManyBlocksThatComeAndGoTakeNoFurtherChunks) {
  for (int i = 0; i < 100; ++i)
    for (void *block : take(PoolResource::kChunkSize / 200, 100))
      pool.deallocate(block, 100);
  EXPECT_THAT(below.sizes(), ElementsAre(PoolResource::kChunkSize));
}

TEST_F(PoolResourceTest, WithoutMemoryBelowItServesWhatItHasAndGoesOnAfterwards) {
  void *const freed = pool.allocate(64);
  auto *const last = static_cast<std::byte *>(pool.allocate(64));
  pool.deallocate(freed, 64);
  below.isEmpty = true;
  EXPECT_THROW((void)pool.allocate(PoolResource::kLargestBlock + 1), std::bad_alloc);
  EXPECT_EQ(pool.allocate(64), freed);
  EXPECT_EQ(pool.allocate(64), last + 64);
  for (const std::size_t size : {PoolResource::kLargestBlock, std::size_t{64}})
    EXPECT_THROW(take(PoolResource::kChunkSize / size, size), std::bad_alloc);
  below.isEmpty = false;
  EXPECT_NE(pool.allocate(64), nullptr);
  EXPECT_THAT(below.sizes(), ElementsAre(PoolResource::kChunkSize, PoolResource::kChunkSize));
}

TEST(PoolResourceLifeTest, ItsChunksGoBackWithIt) {
  Below below;
  {
    PoolResource pool(below);
    for (int i = 0; i < 100; ++i)
      (void)pool.allocate(PoolResource::kLargestBlock);
    EXPECT_GT(below.sizes().size(), 5U);
  }
  EXPECT_THAT(below.sizes(), IsEmpty());
}

} // namespace
} // namespace tesker
