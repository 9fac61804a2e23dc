#include "parsing/TKLine.h"

#include "tests/support/LogCapture.h"
#include "tests/support/RecordTexts.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(TKLine, HoldsThePairsOfAPropertyListDictionary) {
  const auto record = TKLine::initWithString(NSDefaultMallocZone(), "{ type = app; name = Edit; }");
  ASSERT_TRUE(record);
  EXPECT_EQ(record->count(), 2U);
  EXPECT_EQ(stringFor(*record, "type"), "app"_ns);
  EXPECT_EQ(stringFor(*record, "name"), "Edit"_ns);
}

TEST(TKLine, KeepsStructuredValuesOfTheText) {
  const auto record = TKLine::initWithString(NSDefaultMallocZone(), "{ list = (a, b); }");
  ASSERT_TRUE(record);
  EXPECT_NE(record->objectForKey("list")->asArray(), nullptr);
}

TEST(TKLine, MalformedTextIsLoggedAndGivesNil) {
  LogCapture log;
  EXPECT_FALSE(TKLine::initWithString(NSDefaultMallocZone(), "{ type = "));
  EXPECT_THAT(log.logged, ElementsAre("*** Could not parse icon header: { type = "));
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(TKLine, TextThatIsNoDictionaryGivesNilWithoutAMessage) {
  LogCapture log;
  EXPECT_FALSE(TKLine::initWithString(NSDefaultMallocZone(), "(a, b)"));
  EXPECT_FALSE(TKLine::initWithString(NSDefaultMallocZone(), "word"));
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST(TKLine, ChangingARecordLeavesOtherRecordsOfTheSameTextAlone) {
  auto first = TKLine::initWithString(NSDefaultMallocZone(), "{ a = b; }");
  const auto second = TKLine::initWithString(NSDefaultMallocZone(), "{ a = b; }");
  EXPECT_EQ(first, second);
  first->set("a"_ns, "c"_ns);
  EXPECT_EQ(stringFor(*second, "a"), "b"_ns);
  EXPECT_NE(first, second);
}

TEST(TKLine, ACopyIsChangedByItself) {
  const TKLine first = recordOf({{"a", "b"}});
  TKLine second = first;
  second.set("a"_ns, "c"_ns);
  EXPECT_EQ(stringFor(first, "a"), "b"_ns);
}

TEST(TKLine, SettingANilObjectLeavesTheRecordUnchanged) {
  TKLine record = TKLine::create();
  record.setObjectForKey(RefPtr<NSObject>(), "icon"_ns);
  record.set("icon"_ns, NSString());
  record.set("icon"_ns, nullptr);
  EXPECT_EQ(record.count(), 0U);
  record.set("icon"_ns, "old"_ns);
  record.set("icon"_ns, nullptr);
  EXPECT_EQ(stringFor(record, "icon"), "old"_ns);
}

TEST(TKLine, AKeyIsRemovedAndOthersStay) {
  TKLine record = recordOf({{"a", "1"}, {"b", "2"}});
  record.removeObjectForKey("a");
  record.removeObjectForKey("missing");
  EXPECT_EQ(record.count(), 1U);
  EXPECT_EQ(record.objectForKey("a"), nullptr);
  EXPECT_EQ(stringFor(record, "b"), "2"_ns);
}

TEST(TKLine, EnumeratesItsKeysInTheOrderOfSetting) {
  const TKLine record = recordOf({{"type", "app"}, {"name", "Edit"}, {"type", "tool"}});
  std::vector<NSString> keys;
  for (const auto &[key, value] : record)
    keys.push_back(key);
  EXPECT_THAT(keys, ElementsAre("type", "name"));
}

TEST(TKLine, LivesInTheGivenZoneWithItsPairs) {
  NSZone &zone = NSCreateZone(4096, 4096);
  {
    TKLine record = TKLine::create(2, zone);
    const std::size_t room = zone.bytesInUse();
    EXPECT_GT(room, 0U);
    record.set("type"_ns, "app"_ns);
    record.set("name"_ns, "Edit"_ns);
    EXPECT_EQ(zone.bytesInUse(), room);
    for (const char *key : {"c", "d", "e", "f", "g", "h", "i", "j"})
      record.set(NSString::create(key), "value"_ns);
    EXPECT_GT(zone.bytesInUse(), room);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(TKLine, WordsOfTheParsersOwnAreOneStringEach) {
  EXPECT_TRUE(recordWords().type.isSameObjectAs(recordWords().type));
  EXPECT_EQ(recordWords().type, "type"_ns);
  EXPECT_EQ(recordWords().inspectorCommand, "InspectorCommand"_ns);
  EXPECT_EQ(recordWords().applicationIcon, "NSApplicationIcon"_ns);
}

} // namespace
} // namespace tesker::test
