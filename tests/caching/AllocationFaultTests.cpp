// Every allocation of every request fails in turn. The program has allocation functions of its own
// for that.
#include "tests/caching/Requests.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t kNever = ~std::size_t{0};
std::size_t failIn = kNever;

void *allocateOrFail(std::size_t size, std::size_t alignment) {
  if (failIn != kNever && failIn != 0 && --failIn == 0)
    throw std::bad_alloc();
  void *block = nullptr;
  if (posix_memalign(&block, std::max(alignment, sizeof(void *)), size != 0 ? size : 1) != 0)
    throw std::bad_alloc();
  return block;
}

} // namespace

void *operator new(std::size_t size) { return allocateOrFail(size, alignof(std::max_align_t)); }
void *operator new(std::size_t size, std::align_val_t alignment) {
  return allocateOrFail(size, static_cast<std::size_t>(alignment));
}
void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, std::size_t) noexcept { std::free(block); }
void operator delete(void *block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void *block, std::size_t, std::align_val_t) noexcept { std::free(block); }

namespace tesker::test {

class AllocationFaultTest : public RequestsTest {
protected:
  ~AllocationFaultTest() override { failIn = kNever; }
};

TEST_F(AllocationFaultTest, AnyAllocationThatFailsLeavesTheCachesWhole) {
  // Once for what is made at first use and stays.
  for (const auto &request : allRequests())
    prepare(State::stale, request);
  for (const auto &request : allRequests())
    for (const auto state : {State::cold, State::stale}) {
      prepare(state, request);
      const std::string right = request.ask();
      forgetAll();
      const auto level = filerZone().bytesInUse();
      for (std::size_t n = 1;; ++n) {
        SCOPED_TRACE(request.name + (state == State::cold ? ", cold" : ", stale") +
                     ", allocation " + std::to_string(n));
        prepare(state, request);
        bool raised = false;
        failIn = n;
        try {
          static_cast<void>(request.ask());
        } catch (const std::bad_alloc &) {
          raised = true;
        }
        const bool failed = failIn == 0;
        failIn = kNever;
        if (!failed)
          break;
        checkNothingIsHalfMade();
        EXPECT_TRUE(raised) << "a lack of memory is not an answer";
        EXPECT_EQ(request.ask(), right) << "asked again";
        forgetAll();
        EXPECT_EQ(filerZone().bytesInUse(), level);
      }
    }
}

// In the heap itself: the filer zone asks it for many blocks at a time, so that few of them can
// fail.
TEST_F(AllocationFaultTest, AFileThatThereIsNoRoomForLeavesNoRecord) {
  DirFileStatsCache cache(2);
  const auto dir = "/dir"_ns;
  const auto file = "file"_ns;
  const auto records = recordsInUse();
  int raised = 0;
  for (std::size_t n = 1;; ++n) {
    cache.reset();
    cache.validate(0); // the memory of the last file
    failIn = n;
    try {
      static_cast<void>(cache.lstatDir(dir, file));
    } catch (const std::bad_alloc &) {
      ++raised;
      EXPECT_EQ(recordsInUse(), records) << "allocation " << n;
    }
    if (failIn != 0)
      break;
  }
  failIn = kNever;
  EXPECT_GE(raised, 4) << "two for the directory, and the slots and entries of its names";
  EXPECT_EQ(recordsInUse(), records + 1);
}

TEST_F(AllocationFaultTest, FlushesDoNotNeedMemoryToSucceed) {
  static_cast<void>(manager().flushVeryOld(0)); // the table of homes is made at first use
  for (const auto &request : allRequests())
    static_cast<void>(request.ask());
  const auto path = "/dir"_ns;
  for (std::size_t n = 1; n < 10; ++n) {
    failIn = n;
    EXPECT_NO_THROW(manager().flushDir(path));
    EXPECT_NO_THROW(static_cast<void>(manager().flushVeryOld(0)));
    failIn = kNever;
  }
}

} // namespace tesker::test
