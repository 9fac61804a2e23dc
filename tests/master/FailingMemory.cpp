#include "tests/master/FailingMemory.h"

#include <cerrno>
#include <cstdlib>

// The C library's own, which a program that replaces them can call.
extern "C" {
void *__libc_malloc(std::size_t size);
void *__libc_calloc(std::size_t count, std::size_t size);
void *__libc_realloc(void *block, std::size_t size);
}

namespace {

std::size_t requests = 0;
std::size_t firstRefused = 0; // none when 0
bool allFromThen = false;

bool isRefused() {
  if (firstRefused == 0)
    return false;
  ++requests;
  if (requests != firstRefused && (!allFromThen || requests < firstRefused))
    return false;
  errno = ENOMEM;
  return true;
}

} // namespace

extern "C" {
void *malloc(std::size_t size) { return isRefused() ? nullptr : __libc_malloc(size); }
void *calloc(std::size_t count, std::size_t size) {
  return isRefused() ? nullptr : __libc_calloc(count, size);
}
void *realloc(void *block, std::size_t size) {
  return isRefused() ? nullptr : __libc_realloc(block, size);
}
}

namespace tesker::test {

FailingMemory::FailingMemory(std::size_t number, Which which) {
  requests = 0;
  allFromThen = which == Which::allFromThen;
  firstRefused = number;
}

FailingMemory::~FailingMemory() { firstRefused = 0; }

bool FailingMemory::hasHappened() const { return requests >= firstRefused; }

} // namespace tesker::test
