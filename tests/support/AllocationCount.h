// AllocationCount.h - how often the heap is asked for memory, and what happens when it has none.
//
// To be included by one file of a test program: it replaces the program's operator new.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <malloc.h>
#include <new>

namespace tesker::test {

inline std::size_t allocationsSoFar = 0;
// Allocated and not freed yet: blocks, their bytes, and the most bytes there were.
inline std::size_t blocksInUse = 0;
inline std::size_t bytesTaken = 0;
inline std::size_t mostBytesTaken = 0;
// The number of the allocation that fails, and whether all after it fail too.
inline std::size_t failingAllocation = 0;
inline bool allAfterItFail = false;

// Counts from where it was made.
class AllocationCount {
public:
  AllocationCount() { mostBytesTaken = bytesTaken; }
  std::size_t count() const { return allocationsSoFar - before_; }
  // The most bytes that were taken at once beyond those at the beginning.
  std::size_t mostBytes() const { return mostBytesTaken - bytesBefore_; }

private:
  std::size_t before_ = allocationsSoFar;
  std::size_t bytesBefore_ = bytesTaken;
};

// While it lives, the allocation of that number, counted from here and from 1, fails.
class FailingAllocation {
public:
  enum class Which { one, allFromThen };
  explicit FailingAllocation(std::size_t number, Which which = Which::one) {
    failingAllocation = allocationsSoFar + number;
    allAfterItFail = which == Which::allFromThen;
  }
  ~FailingAllocation() { failingAllocation = 0; }
  FailingAllocation(const FailingAllocation &) = delete;
  FailingAllocation &operator=(const FailingAllocation &) = delete;

  // Whether it has failed yet.
  bool hasHappened() const { return allocationsSoFar >= failingAllocation; }
};

// Counts an allocation, and fails it if its number is the one.
inline void countOrFail() {
  ++allocationsSoFar;
  if (failingAllocation != 0 && (allAfterItFail ? allocationsSoFar >= failingAllocation
                                                : allocationsSoFar == failingAllocation))
    throw std::bad_alloc();
}

inline void *allocateOrFail(std::size_t size, std::size_t alignment) {
  countOrFail();
  const std::size_t enough = size == 0 ? 1 : size;
  void *block = nullptr;
  if (alignment <= alignof(std::max_align_t))
    block = std::malloc(enough);
  else if (::posix_memalign(&block, alignment, enough) != 0)
    block = nullptr;
  if (block == nullptr)
    throw std::bad_alloc();
  ++blocksInUse;
  bytesTaken += ::malloc_usable_size(block);
  mostBytesTaken = bytesTaken > mostBytesTaken ? bytesTaken : mostBytesTaken;
  return block;
}

inline void countAndFree(void *block) {
  if (block != nullptr)
    --blocksInUse;
  bytesTaken -= ::malloc_usable_size(block);
  std::free(block);
}

} // namespace tesker::test

void *operator new(std::size_t size) {
  return tesker::test::allocateOrFail(size, alignof(std::max_align_t));
}
void *operator new(std::size_t size, std::align_val_t alignment) {
  return tesker::test::allocateOrFail(size, static_cast<std::size_t>(alignment));
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc &) {
    return nullptr;
  }
}
void operator delete(void *block) noexcept { tesker::test::countAndFree(block); }
void operator delete(void *block, std::size_t) noexcept { tesker::test::countAndFree(block); }
void operator delete(void *block, std::align_val_t) noexcept { tesker::test::countAndFree(block); }
void operator delete(void *block, std::size_t, std::align_val_t) noexcept {
  tesker::test::countAndFree(block);
}
