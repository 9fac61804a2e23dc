#include "filesystem/TeskerObjectTable.h"
#include "platform/foundation/NSDictionary.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

int one, two;

TEST(ObjectTable, StartsEmpty) {
  EXPECT_EQ(TeskerObjectTable::create()->count(), 0u);
  EXPECT_EQ(TeskerObjectTable::create(1000)->count(), 0u);
}

TEST(ObjectTable, FindsAValueByAnEqualKey) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, "key"_ns);
  EXPECT_EQ(table->valueForObject(*"key"_ns), &one);
  EXPECT_TRUE(table->hasValueForObject(*"key"_ns));
  EXPECT_EQ(table->valueForObject(*"other"_ns), nullptr);
  EXPECT_FALSE(table->hasValueForObject(*"other"_ns));
}

TEST(ObjectTable, TakesKeysOfAnyKind) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, arrayOf({"a", "b"}));
  table->setValueForObject(&two, "(a, b)"_ns);
  EXPECT_EQ(table->valueForObject(*arrayOf({"a", "b"})), &one);
  EXPECT_EQ(table->valueForObject(*"(a, b)"_ns), &two);
}

TEST(ObjectTable, ATakenKeyHoldsExactlyOneReference) {
  std::vector<unsigned> transcript;
  const auto key = "key"_ns;
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
  const auto first = "key"_ns;
  const auto second = "key"_ns;
  table->setValueForObject(&one, first);
  table->setValueForObject(&two, second);
  EXPECT_EQ(table->count(), 1u);
  EXPECT_EQ(table->valueForObject(*first), &two);
  EXPECT_EQ(first->retainCount(), 2u);
  EXPECT_EQ(second->retainCount(), 1u);
  EXPECT_EQ(&*table->allObjects()->objectAtIndex(0), &*first);
}

TEST(ObjectTable, RemovingByAnEqualKeyReleasesTheStoredOne) {
  const auto table = TeskerObjectTable::create();
  const auto stored = "key"_ns;
  const auto equal = "key"_ns;
  table->setValueForObject(&one, stored);
  table->removeValueForObject(*equal);
  EXPECT_EQ(stored->retainCount(), 1u);
  EXPECT_EQ(equal->retainCount(), 1u);
  EXPECT_EQ(table->count(), 0u);
}

TEST(ObjectTable, SettingTheSameValueTwiceLeavesTheTableUnchanged) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, "key"_ns);
  table->setValueForObject(&one, "key"_ns);
  EXPECT_EQ(table->count(), 1u);
  EXPECT_EQ(table->valueForObject(*"key"_ns), &one);
}

TEST(ObjectTable, ANullValueIsPresent) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(nullptr, "key"_ns);
  EXPECT_TRUE(table->hasValueForObject(*"key"_ns));
  EXPECT_EQ(table->valueForObject(*"key"_ns), nullptr);
  EXPECT_EQ(table->valueForObject(*"absent"_ns), nullptr);
}

TEST(ObjectTable, IgnoresTheRemovalOfAnAbsentKey) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, "key"_ns);
  table->removeValueForObject(*"absent"_ns);
  EXPECT_EQ(table->count(), 1u);
}

TEST(ObjectTable, RemoveAllObjectsReleasesEveryKeyOnce) {
  const auto table = TeskerObjectTable::create();
  std::vector<Ref<NSString>> keys;
  for (int i = 0; i < 100; ++i) {
    keys.push_back(NSString::create(std::to_string(i)));
    table->setValueForObject(&one, keys.back());
  }
  table->removeAllObjects();
  EXPECT_EQ(table->count(), 0u);
  for (const auto &key : keys)
    EXPECT_EQ(key->retainCount(), 1u);
}

TEST(ObjectTable, AllObjectsAreTheKeys) {
  const auto table = TeskerObjectTable::create();
  table->setValueForObject(&one, "a"_ns);
  table->setValueForObject(&two, "b"_ns);
  EXPECT_THAT(textsOf(table->allObjects()), UnorderedElementsAre("a", "b"));
  EXPECT_EQ(TeskerObjectTable::create()->allObjects()->count(), 0u);
}

TEST(ObjectTable, EqualsATableWithEqualKeysAndTheSamePointers) {
  const auto a = TeskerObjectTable::create();
  const auto b = TeskerObjectTable::create(50);
  EXPECT_TRUE(a->isEqual(&*b));
  a->setValueForObject(&one, "x"_ns);
  EXPECT_FALSE(a->isEqual(&*b));
  b->setValueForObject(&one, "x"_ns);
  EXPECT_TRUE(a->isEqual(&*b));
  EXPECT_TRUE(b->isEqual(&*a));
  EXPECT_EQ(a->hash(), b->hash());
  EXPECT_TRUE(a->isEqual(&*a));
}

TEST(ObjectTable, DiffersByAKeyOrAPointer) {
  const auto a = TeskerObjectTable::create();
  const auto otherKey = TeskerObjectTable::create();
  const auto otherValue = TeskerObjectTable::create();
  const auto nullValue = TeskerObjectTable::create();
  a->setValueForObject(&one, "x"_ns);
  otherKey->setValueForObject(&one, "y"_ns);
  otherValue->setValueForObject(&two, "x"_ns);
  nullValue->setValueForObject(nullptr, "x"_ns);
  EXPECT_FALSE(a->isEqual(&*otherKey));
  EXPECT_FALSE(a->isEqual(&*otherValue));
  EXPECT_FALSE(a->isEqual(&*nullValue));
}

TEST(ObjectTable, ANullValueDiffersFromAnAbsentKey) {
  const auto x = TeskerObjectTable::create();
  const auto y = TeskerObjectTable::create();
  x->setValueForObject(nullptr, "x"_ns);
  y->setValueForObject(nullptr, "y"_ns);
  EXPECT_FALSE(x->isEqual(&*y));
}

TEST(ObjectTable, DiffersFromADictionaryAndFromNil) {
  const auto table = TeskerObjectTable::create();
  EXPECT_FALSE(table->isEqual(&*NSMutableDictionary::create()));
  EXPECT_FALSE(table->isEqual(nullptr));
}

TEST(ObjectTable, AllocatesInItsOwnZone) {
  NSZone &zone = NSCreateZone(4096, 4096);
  {
    const auto table = TeskerObjectTable::create(0, zone);
    EXPECT_EQ(&table->zone(), &zone);
    const std::size_t before = zone.bytesInUse();
    table->setValueForObject(&one, "key"_ns);
    EXPECT_GT(zone.bytesInUse(), before);
  }
  EXPECT_EQ(zone.bytesInUse(), 0u);
}

} // namespace
} // namespace tesker::test
