#include "filesystem/TeskerObjectTable.h"
#include "platform/foundation/NSDictionary.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

int one, two;

// A new string object.
Ref<NSObject> text(std::string_view bytes) { return NSString::create(bytes).object().toRef(); }

TEST(ObjectTable, StartsEmpty) {
  EXPECT_EQ(TeskerObjectTable::create()->count(), 0u);
  EXPECT_EQ(TeskerObjectTable::create(1000)->count(), 0u);
}

TEST(ObjectTable, FindsAValueByAnEqualKey) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, text("key"));
  EXPECT_EQ(table->valueForObject(*text("key")), &one);
  EXPECT_TRUE(table->hasValueForObject(*text("key")));
  EXPECT_EQ(table->valueForObject(*text("other")), nullptr);
  EXPECT_FALSE(table->hasValueForObject(*text("other")));
}

TEST(ObjectTable, TakesKeysOfAnyKind) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, arrayOf({"a", "b"}));
  table->setValueForObject(&two, text("(a, b)"));
  EXPECT_EQ(table->valueForObject(*arrayOf({"a", "b"})), &one);
  EXPECT_EQ(table->valueForObject(*text("(a, b)")), &two);
}

TEST(ObjectTable, ATakenKeyHoldsExactlyOneReference) {
  std::vector<unsigned> transcript;
  const auto key = text("key");
  const auto note = [&] { transcript.push_back(key->retainCount()); };
  note();
  {
    const auto table = TeskerObjectTable::create();
    table->setValueForObject(&one, key);
    note(); // taken
    table->setValueForObject(&one, key);
    note(); // the same value again
    table->setValueForObject(&two, key);
    note(); // another value
    EXPECT_EQ(table->valueForObject(*key), &two);
    EXPECT_TRUE(table->hasValueForObject(*key));
    note(); // asked for
    table->removeValueForObject(*key);
    note(); // removed
    table->setValueForObject(nullptr, key);
    note(); // taken again
    table->removeAllObjects();
    note(); // removed with all others
    table->setValueForObject(nullptr, key);
    note(); // and once more
  }
  note(); // the table has gone
  EXPECT_THAT(transcript, ElementsAre(1, 2, 2, 2, 2, 1, 2, 1, 2, 1));
}

TEST(ObjectTable, AnEqualKeyChangesTheValueAndTheFirstKeyObjectStays) {
  const auto table = TeskerObjectTable::create();
  const auto first = text("key");
  const auto second = text("key");
  table->setValueForObject(&one, first);
  table->setValueForObject(&two, second);
  EXPECT_EQ(table->count(), 1u);
  EXPECT_EQ(table->valueForObject(*first), &two);
  EXPECT_EQ(first->retainCount(), 2u);
  EXPECT_EQ(second->retainCount(), 1u);
  EXPECT_EQ(&*table->allObjects().at(0), &*first);
}

TEST(ObjectTable, RemovingByAnEqualKeyReleasesTheStoredOne) {
  const auto table = TeskerObjectTable::create();
  const auto stored = text("key");
  const auto equal = text("key");
  table->setValueForObject(&one, stored);
  table->removeValueForObject(*equal);
  EXPECT_EQ(stored->retainCount(), 1u);
  EXPECT_EQ(equal->retainCount(), 1u);
  EXPECT_EQ(table->count(), 0u);
}

TEST(ObjectTable, SettingTheSameValueTwiceLeavesTheTableUnchanged) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, text("key"));
  table->setValueForObject(&one, text("key"));
  EXPECT_EQ(table->count(), 1u);
  EXPECT_EQ(table->valueForObject(*text("key")), &one);
}

TEST(ObjectTable, ANullValueIsPresent) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(nullptr, text("key"));
  EXPECT_TRUE(table->hasValueForObject(*text("key")));
  EXPECT_EQ(table->valueForObject(*text("key")), nullptr);
  EXPECT_EQ(table->valueForObject(*text("absent")), nullptr);
}

TEST(ObjectTable, ALookUpThatSetsLeavesTheValueOfAKeyAlreadyPresent) {
  const auto table = TeskerObjectTable::create();
  EXPECT_EQ(table->valueForObjectOrSet(&one, text("key")), &one);
  EXPECT_EQ(table->valueForObjectOrSet(&two, text("key")), &one);
  EXPECT_EQ(table->valueForObject(*text("key")), &one);
  EXPECT_EQ(table->count(), 1u);
  table->setValueForObject(nullptr, text("null"));
  EXPECT_EQ(table->valueForObjectOrSet(&two, text("null")), nullptr);
}

TEST(ObjectTable, IgnoresTheRemovalOfAnAbsentKey) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, text("key"));
  table->removeValueForObject(*text("absent"));
  EXPECT_EQ(table->count(), 1u);
}

TEST(ObjectTable, RemoveAllObjectsReleasesEveryKeyOnce) {
  const auto table = TeskerObjectTable::create();
  std::vector<Ref<NSObject>> keys;
  for (int i = 0; i < 100; ++i) {
    keys.push_back(text(std::to_string(i)));
    table->setValueForObject(&one, keys.back());
  }
  table->removeAllObjects();
  EXPECT_EQ(table->count(), 0u);
  for (const auto &key : keys)
    EXPECT_EQ(key->retainCount(), 1u);
}

TEST(ObjectTable, AllObjectsAreTheKeys) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, text("a"));
  table->setValueForObject(&two, text("b"));
  std::vector<NSString> keys;
  for (const auto &key : table->allObjects())
    keys.push_back(key->asString());
  EXPECT_THAT(keys, UnorderedElementsAre("a", "b"));
  EXPECT_THAT(TeskerObjectTable::create()->allObjects(), IsEmpty());
}

TEST(ObjectTable, EqualsATableWithEqualKeysAndTheSamePointers) {
  const auto a = TeskerObjectTable::create();
  const auto b = TeskerObjectTable::create(50);
  EXPECT_TRUE(a->isEqual(*b));
  a->setValueForObject(&one, text("x"));
  EXPECT_FALSE(a->isEqual(*b));
  b->setValueForObject(&one, text("x"));
  EXPECT_TRUE(a->isEqual(*b));
  EXPECT_TRUE(b->isEqual(*a));
  EXPECT_EQ(a->hash(), b->hash());
  EXPECT_TRUE(a->isEqual(*a));
}

TEST(ObjectTable, DiffersByAKeyOrAPointer) {
  const auto a = TeskerObjectTable::create();
  const auto otherKey = TeskerObjectTable::create();
  const auto otherValue = TeskerObjectTable::create();
  const auto nullValue = TeskerObjectTable::create();
  a->setValueForObject(&one, text("x"));
  otherKey->setValueForObject(&one, text("y"));
  otherValue->setValueForObject(&two, text("x"));
  nullValue->setValueForObject(nullptr, text("x"));
  EXPECT_FALSE(a->isEqual(*otherKey));
  EXPECT_FALSE(a->isEqual(*otherValue));
  EXPECT_FALSE(a->isEqual(*nullValue));
}

TEST(ObjectTable, ANullValueDiffersFromAnAbsentKey) {
  const auto x = TeskerObjectTable::create();
  const auto y = TeskerObjectTable::create();
  x->setValueForObject(nullptr, text("x"));
  y->setValueForObject(nullptr, text("y"));
  EXPECT_FALSE(x->isEqual(*y));
}

TEST(ObjectTable, DiffersFromADictionary) {
  const auto table = TeskerObjectTable::create();
  EXPECT_FALSE(table->isEqual(*NSDictionary::create()));
}

TEST(ObjectTable, AllocatesInItsOwnZone) {
  NSZone &zone = NSCreateZone(4096, 4096);
  {
    const auto table = TeskerObjectTable::create(0, zone);
    EXPECT_EQ(&table->zone(), &zone);
    const std::size_t before = zone.bytesInUse();
    table->setValueForObject(&one, text("key"));
    EXPECT_GT(zone.bytesInUse(), before);
  }
  EXPECT_EQ(zone.bytesInUse(), 0u);
}

} // namespace
} // namespace tesker::test
