// AllocationCount.h - how often the heap was asked for memory.
//
// To be included by one file of a test program: it replaces the program's operator new.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

namespace tesker::test {

inline std::size_t allocationsSoFar = 0;

// Counts from where it was made.
class AllocationCount {
public:
  std::size_t count() const { return allocationsSoFar - before_; }

private:
  std::size_t before_ = allocationsSoFar;
};

} // namespace tesker::test

void *operator new(std::size_t size) {
  ++tesker::test::allocationsSoFar;
  if (void *block = std::malloc(size == 0 ? 1 : size))
    return block;
  throw std::bad_alloc();
}
void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, std::size_t) noexcept { std::free(block); }
