#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSSet.h"

#include <gtest/gtest.h>

#include <limits>

namespace tesker {
namespace {

using namespace std::string_view_literals;

TEST(SetTest, AMemberIsTheSharedInstanceOfItsText) {
  const auto set = NSMutableSet::create();
  EXPECT_FALSE(set->member("a"));
  const auto first = NSString::create("a");
  set->addObject(first);
  const auto member = set->member("a");
  EXPECT_EQ(member.get(), &*first);
}

TEST(SetTest, AddingAnEqualStringKeepsTheFirst) {
  const auto set = NSMutableSet::create();
  const auto first = NSString::create("a\0b"sv);
  set->addObject(first);
  set->addObject(NSString::create("a\0b"sv));
  set->addObject(NSString::create("a"));
  EXPECT_EQ(set->count(), 2U);
  EXPECT_EQ(set->member("a\0b"sv).get(), &*first);
}

TEST(SetTest, ASetLiesInItsZone) {
  NSZone &zone = NSCreateZone(256, 256);
  {
    const auto set = NSMutableSet::create(zone);
    set->addObject(NSString::create("a"));
    EXPECT_GT(zone.bytesInUse(), 0U);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(DataTest, DataEqualsDataWithTheSameBytesOnly) {
  const auto data = NSData::create("a\0b"sv);
  EXPECT_EQ(data->bytes(), "a\0b"sv);
  EXPECT_TRUE(data->isEqual(&*NSData::create("a\0b"sv)));
  EXPECT_EQ(data->hash(), NSData::create("a\0b"sv)->hash());
  EXPECT_FALSE(data->isEqual(&*NSData::create("a\0c"sv)));
  EXPECT_FALSE(data->isEqual(&*NSString::create("a\0b"sv)));
  EXPECT_FALSE(NSString::create("a\0b"sv)->isEqual(&*data));
  EXPECT_FALSE(data->isEqual(nullptr));
}

TEST(DataTest, DataDescribesItselfInHexadecimal) {
  EXPECT_EQ(NSData::create("\x0F\xBD\x77"sv)->description()->bytes(), "<0fbd77>");
  EXPECT_EQ(NSData::create("")->description()->bytes(), "<>");
}

TEST(DateTest, ADateKeepsItsMoment) {
  const auto date = NSDate::dateWithTimeIntervalSince1970(1e9 + 0.25);
  EXPECT_DOUBLE_EQ(date->timeIntervalSince1970(), 1e9 + 0.25);
}

TEST(DateTest, DatesAreEqualWhenTheirMomentsAre) {
  const auto date = [](double seconds) { return NSDate::dateWithTimeIntervalSince1970(seconds); };
  EXPECT_TRUE(date(5)->isEqual(&*date(5)));
  EXPECT_EQ(date(5)->hash(), date(5)->hash());
  EXPECT_TRUE(date(0.0)->isEqual(&*date(-0.0)));
  EXPECT_EQ(date(0.0)->hash(), date(-0.0)->hash());
  EXPECT_FALSE(date(5)->isEqual(&*date(5.5)));
  EXPECT_FALSE(date(5)->isEqual(&*NSString::create("5")));
}

TEST(DateTest, NoMomentEqualsWhatIsNoNumber) {
  const auto none = NSDate::dateWithTimeIntervalSince1970(std::numeric_limits<double>::quiet_NaN());
  EXPECT_FALSE(none->isEqual(&*NSDate::dateWithTimeIntervalSince1970(5)));
  EXPECT_FALSE(NSDate::dateWithTimeIntervalSince1970(5)->isEqual(&*none));
}

} // namespace
} // namespace tesker
