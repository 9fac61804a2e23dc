#include "parsing/TKLine.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string textOf(const TKLine &record, std::string_view key) {
  const auto value = as<NSString>(record.objectForKey(key));
  return value ? std::string(value->bytes()) : "(nil)";
}

TEST(TKLine, HoldsThePairsOfAPropertyListDictionary) {
  const auto record = TKLine::initWithString(NSDefaultMallocZone(), "{ type = app; name = Edit; }");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->count(), 2U);
  EXPECT_EQ(textOf(*record, "type"), "app");
  EXPECT_EQ(textOf(*record, "name"), "Edit");
}

TEST(TKLine, KeepsStructuredValuesOfTheText) {
  const auto record = TKLine::initWithString(NSDefaultMallocZone(), "{ list = (a, b); }");
  ASSERT_TRUE(record);
  EXPECT_TRUE(as<NSArray>(record->objectForKey("list")));
}

TEST(TKLine, MalformedTextIsLoggedAndGivesNil) {
  test::LogCapture log;
  EXPECT_FALSE(TKLine::initWithString(NSDefaultMallocZone(), "{ type = "));
  EXPECT_THAT(log.logged, ElementsAre("*** Could not parse icon header: { type = "));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TKLine, TextThatIsNoDictionaryGivesNilWithoutAMessage) {
  test::LogCapture log;
  EXPECT_FALSE(TKLine::initWithString(NSDefaultMallocZone(), "(a, b)"));
  EXPECT_FALSE(TKLine::initWithString(NSDefaultMallocZone(), "word"));
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST(TKLine, ChangingARecordLeavesOtherRecordsOfTheSameTextAlone) {
  const auto first = TKLine::initWithString(NSDefaultMallocZone(), "{ a = b; }");
  const auto second = TKLine::initWithString(NSDefaultMallocZone(), "{ a = b; }");
  EXPECT_TRUE(first->isEqual(second.get()));
  first->set("a", "c");
  EXPECT_EQ(textOf(*second, "a"), "b");
  EXPECT_FALSE(first->isEqual(second.get()));
}

TEST(TKLine, SettingANilObjectLeavesTheRecordUnchanged) {
  auto record = TKLine::create();
  const auto key = NSString::create("icon");
  record->setObjectForKey(nullptr, *key);
  record->set("icon", RefPtr<NSObject>());
  EXPECT_EQ(record->count(), 0U);
  record->set("icon", "old");
  record->setObjectForKey(nullptr, *key);
  EXPECT_EQ(textOf(*record, "icon"), "old");
}

TEST(TKLine, AKeyIsRemovedAndOthersStay) {
  auto record = TKLine::create(2);
  record->set("a", "1");
  record->set("b", "2");
  record->removeObjectForKey("a");
  record->removeObjectForKey("missing");
  EXPECT_EQ(record->count(), 1U);
  EXPECT_FALSE(record->objectForKey("a"));
  EXPECT_EQ(textOf(*record, "b"), "2");
}

TEST(TKLine, EnumeratesItsKeysInTheOrderOfSetting) {
  auto record = TKLine::create();
  record->set("type", "app");
  record->set("name", "Edit");
  record->set("type", "tool");
  auto keys = record->keyEnumerator();
  EXPECT_EQ(keys.nextObject()->bytes(), "type");
  EXPECT_EQ(keys.nextObject()->bytes(), "name");
  EXPECT_FALSE(keys.nextObject());
}

TEST(TKLine, LivesInTheGivenZoneWithItsPairs) {
  NSZone &zone = NSCreateZone(4096, 4096);
  {
    auto record = TKLine::create(2, zone);
    EXPECT_EQ(&record->zone(), &zone);
    record->set("type", "app");
    EXPECT_EQ(&record->objectForKey("type")->zone(), &zone);
    EXPECT_GT(zone.bytesInUse(), 0U);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

} // namespace
} // namespace tesker
