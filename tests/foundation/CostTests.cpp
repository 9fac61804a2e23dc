// What values cost. The program has allocation functions of its own, which count.
#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/PropertyList.h"
#include "tests/support/AllocationCount.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace tesker {
namespace {

// How many allocations the action makes, the zone of everything being there already.
template <class Action> std::size_t allocationsOf(Action action) {
  (void)NSDefaultMallocZone();
  const test::AllocationCount allocations;
  action();
  return allocations.count();
}

const std::string kLongText(1000, 'x');

TEST(CostTest, HandlesAreOnePointerWide) {
  EXPECT_EQ(sizeof(NSString), sizeof(void *));
  EXPECT_EQ(sizeof(Ref<NSObject>), sizeof(void *));
  EXPECT_EQ(sizeof(RefPtr<NSObject>), sizeof(void *));
  EXPECT_EQ(sizeof(Pair), 2 * sizeof(void *));
}

TEST(CostTest, AStringIsOneAllocationWithItsBytes) {
  EXPECT_EQ(allocationsOf([] { (void)NSString::create(kLongText); }), 1U);
  EXPECT_EQ(allocationsOf([] { (void)NSString::joining({kLongText, "/", kLongText}); }), 1U);
  EXPECT_EQ(allocationsOf([] { (void)"/a"_ns.stringByAppendingPathComponent(kLongText); }), 2U);
}

TEST(CostTest, NilTakesNoMemory) {
  EXPECT_EQ(allocationsOf([] { EXPECT_EQ(NSString(), NSString().copy()); }), 0U);
}

TEST(CostTest, ACopyOfAStringAllocatesNothing) {
  const NSString string = NSString::create(kLongText);
  NSString assigned = "former"_ns;
  EXPECT_EQ(allocationsOf([&] {
              NSString copied = string;
              assigned = copied;
              const NSString moved = std::move(copied);
              EXPECT_TRUE(moved.copy().isSameObjectAs(assigned));
            }),
            0U);
}

TEST(CostTest, AskingAStringAllocatesNothing) {
  const NSString string = NSString::create(kLongText);
  const NSString same = NSString::create(kLongText);
  EXPECT_EQ(allocationsOf([&] {
              EXPECT_TRUE(string == same);
              EXPECT_TRUE(string == kLongText);
              EXPECT_EQ(string.hash(), same.hash());
              EXPECT_EQ(string.compare(same), std::strong_ordering::equal);
              EXPECT_STREQ(string.fileSystemRepresentation(), kLongText.c_str());
            }),
            0U);
}

TEST(CostTest, AStringBecomesAnObjectAndComesBackWithoutAnAllocation) {
  const NSString string = NSString::create(kLongText);
  EXPECT_EQ(allocationsOf([&] { EXPECT_EQ(string.object()->asString(), string); }), 0U);
}

TEST(CostTest, ATextIsTakenOverForItsObjectsOnly) {
  std::string text = kLongText;
  EXPECT_EQ(allocationsOf([&] { (void)NSString::takingOver(std::move(text)); }), 2U);
}

TEST(CostTest, ATableOfAFewPairsTakesOneAllocationForAllOfThem) {
  const NSString key = "key"_ns;
  const RefPtr<NSObject> value = "value"_ns.object();
  EXPECT_EQ(allocationsOf([&] {
              PairTable table(4, NSDefaultMallocZone());
              table.set(key, value.toRef());
              EXPECT_NE(table.find("key"), nullptr);
              const PairTable moved = std::move(table);
              EXPECT_EQ(moved.count(), 1U);
            }),
            1U);
}

PairTable tableOf(std::size_t count) {
  PairTable table(count, NSDefaultMallocZone());
  for (std::size_t i = 0; i < count; ++i)
    table.set(NSString::create(std::to_string(i)), "value"_ns.object().toRef());
  return table;
}

TEST(CostTest, ACopyOfATableTakesAnIndexOnlyWhereTheTableHasOne) {
  const PairTable few = tableOf(16);
  const PairTable many = tableOf(17);
  EXPECT_EQ(allocationsOf([&] { const PairTable copied(few); }), 1U);
  EXPECT_EQ(allocationsOf([&] { const PairTable copied(many); }), 1U + 1U + 17U);
}

TEST(CostTest, WalkingOverADictionaryAllocatesNothing) {
  const auto list = propertyList("{a = (1, 2); b = {c = 3; }; }");
  EXPECT_EQ(allocationsOf([&] {
              std::size_t length = 0;
              for (const auto &[key, value] : *list->asDictionary())
                length += key.length();
              EXPECT_EQ(length, 2U);
              EXPECT_EQ(list->asDictionary()->arrayForKey("a")->count(), 2U);
              EXPECT_EQ(list->asDictionary()->dictionaryForKey("b")->stringForKey("c"), "3");
            }),
            0U);
}

TEST(CostTest, APairThatMemoryIsLackingForIsNotThere) {
  for (std::size_t number = 1;; ++number) {
    PairTable table(0, NSDefaultMallocZone());
    const test::FailingAllocation failure(number);
    std::size_t set = 0;
    try {
      for (; set < 20; ++set)
        table.set(NSString::create("key" + std::to_string(set)), "value"_ns.object().toRef());
    } catch (const std::bad_alloc &) {
    }
    EXPECT_EQ(table.count(), set) << "allocation " << number;
    for (std::size_t i = 0; i < 20; ++i)
      EXPECT_EQ(table.find("key" + std::to_string(i)) != nullptr, i < set)
          << "allocation " << number;
    if (set == 20)
      return;
  }
}

} // namespace
} // namespace tesker
