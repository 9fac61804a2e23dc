// Every allocation of every request fails in turn: of the heap, and of the filer zone, which has
// most blocks from the chunks that it took before. The program has allocation functions of its own
// for that.
#include "tests/caching/Requests.h"
#include "tests/support/AllocationCount.h"

#include <cstddef>
#include <memory_resource>
#include <new>
#include <utility>

namespace tesker {

struct NSZonePeer {
  static std::pmr::memory_resource *&memory(NSZone &zone) { return zone.memory_; }
};

} // namespace tesker

namespace tesker::test {

// A zone's own memory, each allocation of which is counted and can fail like those of the heap.
class CountedMemory final : public std::pmr::memory_resource {
public:
  explicit CountedMemory(NSZone &zone)
      : zone_(zone), below_(std::exchange(NSZonePeer::memory(zone), this)) {}
  ~CountedMemory() override { NSZonePeer::memory(zone_) = below_; }
  CountedMemory(const CountedMemory &) = delete;
  CountedMemory &operator=(const CountedMemory &) = delete;

private:
  void *do_allocate(std::size_t bytes, std::size_t alignment) override {
    countOrFail();
    return below_->allocate(bytes, alignment);
  }
  void do_deallocate(void *block, std::size_t bytes, std::size_t alignment) override {
    below_->deallocate(block, bytes, alignment);
  }
  bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override {
    return this == &other;
  }

  NSZone &zone_;
  std::pmr::memory_resource *below_;
};

enum class Outcome { raised, answered, didNotFail };

// What comes of the action when the allocation of that number, counted from 1, fails.
template <class Action> Outcome withFailing(std::size_t number, Action action) {
  const FailingAllocation failing(number);
  try {
    action();
  } catch (const std::bad_alloc &) {
    return Outcome::raised;
  }
  return failing.hasHappened() ? Outcome::answered : Outcome::didNotFail;
}

class AllocationFaultTest : public RequestsTest {
  CountedMemory memory_{filerZone()};
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
        const auto outcome = withFailing(n, [&] { static_cast<void>(request.ask()); });
        if (outcome == Outcome::didNotFail)
          break;
        checkNothingIsHalfMade();
        EXPECT_EQ(outcome, Outcome::raised) << "a lack of memory is not an answer";
        EXPECT_EQ(request.ask(), right) << "asked again";
        forgetAll();
        EXPECT_EQ(filerZone().bytesInUse(), level);
      }
    }
}

TEST_F(AllocationFaultTest, AFileThatThereIsNoRoomForLeavesNoRecord) {
  DirFileStatsCache cache(2, filerZone());
  const auto dir = "/dir"_ns;
  const auto file = "file"_ns;
  const auto records = recordsInUse();
  int raised = 0;
  for (std::size_t n = 1;; ++n) {
    cache.reset();
    cache.validate(0); // the memory of the last file
    const auto outcome = withFailing(n, [&] { static_cast<void>(cache.lstatDir(dir, file)); });
    if (outcome == Outcome::didNotFail)
      break;
    ASSERT_EQ(outcome, Outcome::raised) << "allocation " << n;
    EXPECT_EQ(recordsInUse(), records) << "allocation " << n;
    ++raised;
  }
  EXPECT_GE(raised, 4) << "two for the directory, and the slots and entries of its names";
  EXPECT_EQ(recordsInUse(), records + 1);
}

TEST_F(AllocationFaultTest, FlushesDoNotNeedMemoryToSucceed) {
  static_cast<void>(manager().flushVeryOld(0)); // the table of homes is made at first use
  for (const auto &request : allRequests())
    static_cast<void>(request.ask());
  const auto path = "/dir"_ns;
  for (std::size_t n = 1; n < 10; ++n) {
    const FailingAllocation failing(n);
    EXPECT_NO_THROW(manager().flushDir(path));
    EXPECT_NO_THROW(static_cast<void>(manager().flushVeryOld(0)));
  }
}

} // namespace tesker::test
