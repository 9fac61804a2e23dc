// What values cost. The program has allocation functions of its own, which count.
#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/PropertyList.h"
#include "tests/support/Texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <utility>

namespace {

std::size_t allocations = 0;

void *countedAllocation(std::size_t size, std::size_t alignment) {
  ++allocations;
  void *block = nullptr;
  if (::posix_memalign(&block, std::max(alignment, sizeof(void *)), size != 0 ? size : 1) != 0)
    throw std::bad_alloc();
  return block;
}

} // namespace

void *operator new(std::size_t size) { return countedAllocation(size, alignof(std::max_align_t)); }
void *operator new(std::size_t size, std::align_val_t alignment) {
  return countedAllocation(size, static_cast<std::size_t>(alignment));
}
void operator delete(void *block) noexcept { std::free(block); }
void operator delete(void *block, std::size_t) noexcept { std::free(block); }
void operator delete(void *block, std::align_val_t) noexcept { std::free(block); }
void operator delete(void *block, std::size_t, std::align_val_t) noexcept { std::free(block); }

namespace tesker {
namespace {

// How many allocations the action makes, the zone of everything being there already.
template <class Action> std::size_t allocationsOf(Action action) {
  (void)NSDefaultMallocZone();
  const std::size_t before = allocations;
  action();
  return allocations - before;
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

} // namespace
} // namespace tesker
