#include "platform/foundation/NSZone.h"

#include "platform/foundation/NSDictionary.h"

#include <gtest/gtest.h>

#include <vector>

namespace tesker {
namespace {

TEST(ZoneTest, ANewZoneRemembersItsSizesAndHasNoName) {
  const NSZone &zone = NSCreateZone(4096, 512);
  EXPECT_EQ(zone.startSize(), 4096U);
  EXPECT_EQ(zone.granule(), 512U);
  EXPECT_EQ(zone.name(), "");
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(ZoneTest, NamingAZoneReplacesItsName) {
  NSZone &zone = NSCreateZone(64, 64);
  NSSetZoneName(zone, "first");
  NSSetZoneName(zone, "second");
  EXPECT_EQ(zone.name(), "second");
}

TEST(ZoneTest, EachZoneIsItsOwn) {
  const NSZone &first = NSCreateZone(64, 64);
  const NSZone &second = NSCreateZone(64, 64);
  EXPECT_NE(&first, &second);
  EXPECT_FALSE(first.is_equal(second));
  EXPECT_TRUE(first.is_equal(first));
}

TEST(ZoneTest, TheDefaultZoneIsTheSameEveryTimeAndHasNoSizes) {
  EXPECT_EQ(&NSDefaultMallocZone(), &NSDefaultMallocZone());
  EXPECT_EQ(NSDefaultMallocZone().startSize(), 0U);
  EXPECT_EQ(NSDefaultMallocZone().granule(), 0U);
}

TEST(ZoneTest, BytesInUseFollowWhatIsTakenAndGivenBackOneByOne) {
  NSZone &zone = NSCreateZone(256, 256);
  void *small = zone.allocate(10, 8);
  void *large = zone.allocate(std::size_t{1} << 20, 8);
  EXPECT_EQ(zone.bytesInUse(), 10U + (std::size_t{1} << 20));
  zone.deallocate(small, 10, 8);
  EXPECT_EQ(zone.bytesInUse(), std::size_t{1} << 20);
  zone.deallocate(large, std::size_t{1} << 20, 8);
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(ZoneTest, AnObjectIsTakenFromItsZoneWithAllItHolds) {
  NSZone &zone = NSCreateZone(256, 256);
  const std::size_t elsewhere = NSDefaultMallocZone().bytesInUse();
  {
    const auto string = NSString::create(std::string(1000, 'x'), zone);
    EXPECT_EQ(&string.zone(), &zone);
    EXPECT_GT(zone.bytesInUse(), 1000U);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
  EXPECT_EQ(NSDefaultMallocZone().bytesInUse(), elsewhere);
}

TEST(ZoneTest, TheLastReleaseGivesAContainersMemoryBackToItsZone) {
  NSZone &zone = NSCreateZone(256, 256);
  {
    const auto dictionary = NSDictionary::create(zone);
    for (int i = 0; i < 100; ++i)
      dictionary->setObjectForKey(NSString::create("value", zone),
                                  NSString::create("key" + std::to_string(i)));
    EXPECT_EQ(&dictionary->zone(), &zone);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(ZoneTest, StandardContainersCanLieInAZone) {
  NSZone &zone = NSCreateZone(256, 256);
  {
    std::pmr::vector<int> numbers(100, 7, &zone);
    EXPECT_EQ(zone.bytesInUse(), 100 * sizeof(int));
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

} // namespace
} // namespace tesker
