// FailingMalloc.h - the C library's allocator, of which a chosen call fails.
//
// To be included by one file of a program that is built without sanitizers: it takes the place of
// malloc and its like, so that the allocations of every library count, those of the bus too.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <malloc.h>

extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
void *__libc_memalign(std::size_t alignment, std::size_t size);
}

namespace tesker::test {

struct MallocFault {
  std::size_t number = 0; // from 1; 0: none
  bool andAllAfter = false;
};
inline constinit MallocFault mallocFault;
inline constinit std::size_t mallocsSoFar = 0;

inline bool mallocFails() {
  ++mallocsSoFar;
  const bool fails =
      mallocFault.number != 0 && (mallocFault.andAllAfter ? mallocsSoFar >= mallocFault.number
                                                          : mallocsSoFar == mallocFault.number);
  if (fails)
    errno = ENOMEM;
  return fails;
}

} // namespace tesker::test

extern "C" {

void *malloc(std::size_t size) noexcept {
  return tesker::test::mallocFails() ? nullptr : __libc_malloc(size);
}
void *calloc(std::size_t count, std::size_t size) noexcept {
  return tesker::test::mallocFails() ? nullptr : __libc_calloc(count, size);
}
void *realloc(void *block, std::size_t size) noexcept {
  return tesker::test::mallocFails() ? nullptr : __libc_realloc(block, size);
}
void *memalign(std::size_t alignment, std::size_t size) noexcept {
  return tesker::test::mallocFails() ? nullptr : __libc_memalign(alignment, size);
}
void *aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return memalign(alignment, size);
}
int posix_memalign(void **block, std::size_t alignment, std::size_t size) noexcept {
  *block = memalign(alignment, size);
  return *block == nullptr ? ENOMEM : 0;
}
}
