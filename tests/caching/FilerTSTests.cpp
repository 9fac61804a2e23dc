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

} // namespace tesker::test
