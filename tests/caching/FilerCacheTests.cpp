#include "tests/caching/CachingTest.h"

#include <limits>

namespace tesker::test {

class FilerTSTest : public CachingTest {};

TEST_F(FilerTSTest, StampsAreOrderedByTimeAndThenByGeneration) {
  constexpr std::uint32_t kLargest = std::numeric_limits<std::uint32_t>::max();
  EXPECT_TRUE((FilerTS{2, 0} >= FilerTS{1, kLargest}));
  EXPECT_TRUE((FilerTS{1, 5} >= FilerTS{1, 5}));
  EXPECT_TRUE((FilerTS{1, 4} < FilerTS{1, 5}));
  EXPECT_TRUE((FilerTS{1, 5} < FilerTS{1, kLargest})) << "generations are unsigned";
  EXPECT_TRUE((FilerTS{-1, kLargest} < FilerTS{0, 0})) << "times are signed";
}

TEST_F(FilerTSTest, NowIsTheClocksSecondAndTheGeneration) {
  disk.tick(234);
  FilerTS now;
  setFilerTS(now);
  EXPECT_EQ(now, (FilerTS{1234, generation}));
  EXPECT_EQ(TSCurrentTime(), 1234);
}

TEST_F(FilerTSTest, TheClockIsCutToSigned32Bits) {
  disk.tick((std::int64_t{1} << 32) - 1000 - 5);
  EXPECT_EQ(TSCurrentTime(), -5);
}

TEST_F(FilerTSTest, TheGlobalStampIsTheLastValidation) {
  disk.tick(7);
  manager().bumpGeneration();
  manager().validate(0);
  const FilerTS validated{1007, generation};
  disk.tick(3);
  FilerTS stamp;
  setGlobalTS(stamp);
  EXPECT_EQ(stamp, validated);
}

// The change test.

namespace {

NSFileAttributes changedAt(std::int32_t contents, std::int32_t status) {
  struct stat record {};
  record.st_mtime = contents;
  record.st_ctime = status;
  return NSFileAttributes(record);
}

TEST(ChangeTimeTest, TheLaterOfTheTwoDatesDecides) {
  EXPECT_EQ(changeTimeOf(changedAt(1000, 2000)), 2000);
  EXPECT_EQ(changeTimeOf(changedAt(2000, 1000)), 2000);
  EXPECT_EQ(changeTimeOf(changedAt(-5, -7)), -5) << "before 1970";
  EXPECT_EQ(changeTimeOf(std::nullopt), std::nullopt);
}

TEST(ChangeTimeTest, AChangeOfTheLaterDateIsOneAndOfTheEarlierNot) {
  const FilerTS stamp{3000, 0};
  EXPECT_FALSE(hasChanged(changedAt(2000, 1000), 2000, stamp));
  EXPECT_FALSE(hasChanged(changedAt(2000, 1500), 2000, stamp));
  EXPECT_TRUE(hasChanged(changedAt(2001, 1000), 2000, stamp));
  EXPECT_TRUE(hasChanged(changedAt(1999, 1000), 2000, stamp)) << "set back";
}

TEST(ChangeTimeTest, TheSecondOfTheStampAlwaysCountsAsChanged) {
  EXPECT_TRUE(hasChanged(changedAt(2000, 1000), 2000, FilerTS{2000, 0}));
  EXPECT_TRUE(hasChanged(changedAt(2000, 1000), 2000, FilerTS{2000, 7}));
  EXPECT_FALSE(hasChanged(changedAt(2000, 1000), 2000, FilerTS{2001, 0}));
}

TEST(ChangeTimeTest, WhatIsNotThereHasChangedAlsoWhenItWasNotThereBefore) {
  EXPECT_TRUE(hasChanged(std::nullopt, 2000, FilerTS{3000, 0}));
  EXPECT_TRUE(hasChanged(std::nullopt, std::nullopt, FilerTS{3000, 0}));
  EXPECT_TRUE(hasChanged(changedAt(2000, 1000), std::nullopt, FilerTS{3000, 0}));
}

} // namespace

} // namespace tesker::test
