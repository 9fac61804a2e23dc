// How far a walk tells that it has come, by a clock that stands still until a test moves it.
#include "finding/ApplicationFinder.h"
#include "finding/ApplicationWalk.h"
#include "finding/ProgressMeter.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/OrderedListings.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

// Lists in ascending order; each look at the clock moves it.
class Clock final : public OrderedListings {
public:
  Clock() : OrderedListings(Order::ascending) {}
  std::chrono::steady_clock::time_point steadyTime() override {
    ++looks;
    return now += step;
  }

  milliseconds step{0};
  std::size_t looks = 0;

private:
  std::chrono::steady_clock::time_point now{std::chrono::hours(1)};
};

class Progress : public ::testing::Test {
protected:
  // "directories entries records path directory", in which the temporary directory is "@".
  void tell(const ProgressMeter &meter) {
    told_.push_back(std::to_string(meter.directories()) + " " + std::to_string(meter.entries()) +
                    " " + std::to_string(meter.records()) + " " + shortened(meter.path()) + " " +
                    shortened(meter.directory()));
  }
  void walk(std::string_view name, RecordEncoder *encoder = nullptr) {
    ProgressMeter meter([this](const ProgressMeter &now) { tell(now); });
    const ScopedOperatingSystem scope(clock_);
    ApplicationWalk walk([] {}, {}, {.progress = &meter, .encoder = encoder});
    walk.doForPath(directory_.string(name));
  }
  std::string shortened(const NSString &path) const {
    return "@" + std::string(path.bytes()).substr(directory_.path().size());
  }

  const TemporaryDirectory directory_;
  Clock clock_;
  std::vector<std::string> told_;
};

TEST_F(Progress, IsToldOnceWhileNoTimePasses) {
  directory_.makeDirectory("tree/a/b");
  walk("tree");
  EXPECT_THAT(told_, ElementsAre("0 0 0 @/tree @/tree"));
}

TEST_F(Progress, IsToldOfEveryDirectoryWhenEachTakesLong) {
  directory_.makeDirectory("tree/a");
  directory_.writeFile("tree/b/one", "");
  directory_.writeFile("tree/b/two", "", 0755);
  clock_.step = ProgressMeter::kTimeBetween;
  walk("tree");
  EXPECT_THAT(told_, ElementsAre("0 0 0 @/tree @/tree", "1 0 0 @/tree @/tree",
                                 "2 2 0 @/tree @/tree/a", "3 2 0 @/tree @/tree/b"));
}

TEST_F(Progress, IsToldTenTimesASecondAtMost) {
  for (int i = 0; i < 25; ++i)
    directory_.makeDirectory("tree/" + std::to_string(i));
  clock_.step = ProgressMeter::kTimeBetween / 4;
  walk("tree");
  EXPECT_EQ(clock_.looks, 1 + 1 + 25U); // for the path and each directory
  EXPECT_EQ(told_.size(), 1 + (clock_.looks - 1) / 4);
}

TEST_F(Progress, IsToldWhileManyApplicationsAreExamined) {
  for (int i = 1; i <= 17; ++i)
    directory_.writeFile("tree/" + std::to_string(10 + i) + ".app/registry.table", "{}");
  directory_.makeDirectory("tree/z");
  clock_.step = ProgressMeter::kTimeBetween;
  RecordEncoder encoder;
  for (RecordEncoder *taker : {static_cast<RecordEncoder *>(nullptr), &encoder}) {
    told_.clear();
    walk("tree", taker);
    EXPECT_THAT(told_,
                ElementsAre("0 0 0 @/tree @/tree", "1 0 0 @/tree @/tree", "1 18 7 @/tree @/tree",
                            "1 18 15 @/tree @/tree", "2 18 17 @/tree @/tree/z"));
  }
}

TEST_F(Progress, OfALargeDirectoryIsToldWhileItIsExamined) {
  const std::size_t pieces = 3;
  for (std::size_t i = 0; i <= pieces * ProgressMeter::kEntriesBetween; ++i)
    directory_.makeLink("tree/" + std::to_string(i), "nowhere");
  clock_.step = ProgressMeter::kTimeBetween;
  walk("tree");
  EXPECT_THAT(told_,
              ElementsAre("0 0 0 @/tree @/tree", "1 0 0 @/tree @/tree", "1 1024 0 @/tree @/tree",
                          "1 2048 0 @/tree @/tree", "1 3072 0 @/tree @/tree"));
}

TEST_F(Progress, SaysWhichOfSeveralPathsIsSearched) {
  directory_.makeDirectory("one");
  directory_.makeDirectory("two");
  clock_.step = ProgressMeter::kTimeBetween;
  ProgressMeter meter([this](const ProgressMeter &now) { tell(now); });
  const ScopedOperatingSystem scope(clock_);
  const ApplicationFinder finder([] {}, {}, {.progress = &meter});
  (void)finder.findAppsForDockPaths({directory_.string("one"), directory_.string("two")}, nullptr);
  EXPECT_THAT(told_, ElementsAre("0 0 0 @/one @/one", "1 0 0 @/one @/one", "1 0 0 @/two @/two",
                                 "2 0 0 @/two @/two"));
}

TEST_F(Progress, ThatNobodyAsksForCostsNoLookAtTheClock) {
  directory_.writeFile("tree/a/one", "", 0755);
  const ScopedOperatingSystem scope(clock_);
  ApplicationWalk([] {}).doForPath(directory_.string("tree"));
  EXPECT_EQ(clock_.looks, 0U);
}

TEST_F(Progress, CostsNoSystemCallButTheClocks) {
  directory_.writeFile("tree/a/one", "", 0755);
  directory_.writeFile("tree/B.app/registry.table", "{}");
  const auto callsOf = [&](WalkOptions options) {
    CountingOperatingSystem system;
    const ScopedOperatingSystem scope(system);
    ApplicationWalk([] {}, {}, options).doForPath(directory_.string("tree"));
    return system.log;
  };
  ProgressMeter meter([](const ProgressMeter &) {});
  EXPECT_EQ(callsOf({.progress = &meter}), callsOf({}));
}

} // namespace
} // namespace tesker::test
