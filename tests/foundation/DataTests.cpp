#include "platform/foundation/NSData.h"

#include "tests/support/Texts.h"

#include <gtest/gtest.h>

namespace tesker {
namespace {

using namespace std::string_view_literals;

TEST(DataTest, DataEqualsDataWithTheSameBytesOnly) {
  const auto data = NSData::create("a\0b"sv);
  EXPECT_EQ(data->bytes(), "a\0b"sv);
  EXPECT_TRUE(data->isEqual(*NSData::create("a\0b"sv)));
  EXPECT_EQ(data->hash(), NSData::create("a\0b"sv)->hash());
  EXPECT_FALSE(data->isEqual(*NSData::create("a\0c"sv)));
  EXPECT_FALSE(data->isEqual(*"a\0b"_ns.object()));
  EXPECT_FALSE("a\0b"_ns.object()->isEqual(*data));
}

TEST(DataTest, DataDescribesItselfInHexadecimal) {
  EXPECT_EQ(NSData::create("\x0F\xBD\x77"sv)->description(), "<0fbd77>");
  EXPECT_EQ(NSData::create("")->description(), "<>");
}

TEST(DataTest, DataLiesInItsZoneWithItsBytes) {
  NSZone &zone = NSCreateZone(64, 64);
  {
    const auto data = NSData::create(std::string(1000, 'x'), zone);
    EXPECT_EQ(&data->zone(), &zone);
    EXPECT_GT(zone.bytesInUse(), 1000U);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

} // namespace
} // namespace tesker
