// PoolResource.h - memory for many small blocks that come and go one by one.
//
// Blocks up to a page are carved from chunks of the memory below, one behind the other; a block
// that is given back goes to the free list of its size. What was given back last is handed out
// first: blocks given back in the reverse of the order in which they were taken come again in the
// order of memory. Larger blocks, and those aligned more strictly than every block of the heap is,
// are passed on to the memory below.
//
// There is a resource of this kind in the standard library, which may not be asked again once the
// memory below has failed it. This one stays whole: an allocation that raises changes nothing, and
// giving back neither allocates nor fails.
#pragma once

#include <array>
#include <cstddef>
#include <memory_resource>

namespace tesker {

class PoolResource final : public std::pmr::memory_resource {
public:
  // The size of the largest block that comes from a chunk, and of a chunk, in bytes.
  static constexpr std::size_t kLargestBlock = 4096;
  static constexpr std::size_t kChunkSize = 16 * kLargestBlock;

  // The memory below has to outlive the resource.
  explicit PoolResource(std::pmr::memory_resource &below) : below_(below) {}
  // Gives the chunks back, with all blocks in them; what was passed on is its owner's to give back.
  ~PoolResource() override;
  PoolResource(const PoolResource &) = delete;
  PoolResource &operator=(const PoolResource &) = delete;

private:
  static constexpr std::size_t kUnit = alignof(std::max_align_t);
  // What stands in a block while it is free, and at the head of a chunk.
  struct FreeBlock {
    FreeBlock *next;
  };
  struct alignas(kUnit) Chunk {
    Chunk *before;
  };
  static_assert(sizeof(FreeBlock) <= kUnit, "the smallest block has room for it");
  static_assert(kChunkSize - sizeof(Chunk) >= kLargestBlock && sizeof(Chunk) % kUnit == 0);

  void *do_allocate(std::size_t bytes, std::size_t alignment) override;
  void do_deallocate(void *block, std::size_t bytes, std::size_t alignment) override;
  bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override {
    return this == &other;
  }

  static bool isPooled(std::size_t bytes, std::size_t alignment) {
    return bytes <= kLargestBlock && alignment <= kUnit;
  }
  // Blocks are multiples of the unit; a block of no bytes takes one too.
  static std::size_t unitsOf(std::size_t bytes) {
    return bytes == 0 ? 1 : (bytes + kUnit - 1) / kUnit;
  }
  void *carve(std::size_t size);
  void takeChunk();
  void putOnFreeList(void *block, std::size_t units) noexcept;

  std::pmr::memory_resource &below_;
  std::array<FreeBlock *, kLargestBlock / kUnit + 1> free_{}; // by size in units
  Chunk *chunks_ = nullptr;                                   // the newest
  std::byte *rest_ = nullptr;                                 // of the newest chunk
  std::size_t restSize_ = 0;
};

} // namespace tesker
