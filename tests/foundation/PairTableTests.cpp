#include "platform/foundation/PairTable.h"

#include "tests/support/Texts.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tesker {
namespace {

using testing::ElementsAre;

NSString key(std::size_t number) { return NSString::create("k" + std::to_string(number)); }

void set(PairTable &table, const NSString &name, const NSString &value) {
  table.set(name, value.object().toRef());
}

// The text under the key; nil when there is none.
NSString get(const PairTable &table, std::string_view name) {
  const NSObject *value = table.find(name);
  return value != nullptr ? value->asString() : nullptr;
}

PairTable numbered(std::size_t count, NSZone &zone = NSDefaultMallocZone()) {
  PairTable table(0, zone);
  for (std::size_t i = 0; i < count; ++i)
    set(table, key(i), NSString::create(std::to_string(i), zone));
  return table;
}

void expectNumbered(const PairTable &table, std::size_t count) {
  EXPECT_EQ(table.count(), count);
  for (std::size_t i = 0; i < count; ++i)
    EXPECT_EQ(get(table, key(i).bytes()), std::to_string(i));
  EXPECT_FALSE(get(table, key(count).bytes()));
}

std::vector<NSString> keysOf(const PairTable &table) {
  std::vector<NSString> keys;
  for (const auto &[name, value] : table)
    keys.push_back(name);
  return keys;
}

TEST(PairTableTest, TheVeryStringsAndObjectsAreKept) {
  const NSString name = "a"_ns;
  const NSString value = "1"_ns;
  PairTable table(0, NSDefaultMallocZone());
  set(table, name, value);
  EXPECT_TRUE(table.begin()->key.isSameObjectAs(name));
  EXPECT_EQ(table.find("a"), value.object().pointer());
  EXPECT_EQ(value.object()->retainCount(), 3U); // here, in the table, and as the one asked
}

TEST(PairTableTest, AReplacedValueIsReleasedAndItsKeyKeepsItsPlace) {
  const NSString former = "former"_ns;
  PairTable table(0, NSDefaultMallocZone());
  set(table, "a"_ns, former);
  set(table, "b"_ns, "2"_ns);
  set(table, "a"_ns, "3"_ns);
  EXPECT_EQ(former.object()->retainCount(), 2U);
  EXPECT_THAT(keysOf(table), ElementsAre("a", "b"));
  EXPECT_EQ(get(table, "a"), "3");
}

// Sixteen pairs are the most without an index; the two sides of that are the same to the caller.
class PairTableSizeTest : public testing::TestWithParam<std::size_t> {
protected:
  const std::size_t count = GetParam();
  PairTable table = numbered(count);
};

TEST_P(PairTableSizeTest, KeysThatAreRemovedAndSetAgainAreFoundAtTheEnd) {
  for (std::size_t round = 0; round < 3; ++round)
    for (std::size_t i = 0; i < count; ++i) {
      table.remove(key(i).bytes());
      EXPECT_FALSE(get(table, key(i).bytes()));
      EXPECT_EQ(get(table, key((i + 1) % count).bytes()), std::to_string((i + 1) % count));
      set(table, key(i), NSString::create(std::to_string(i)));
      EXPECT_EQ(keysOf(table).back(), key(i));
    }
  expectNumbered(table, count);
  EXPECT_EQ(keysOf(table).front(), key(0));
}

TEST_P(PairTableSizeTest, AKeyCanBeRemovedByTheBytesThatTheTableHolds) {
  table.remove(table.begin()->key.bytes());
  EXPECT_FALSE(get(table, "k0"));
  EXPECT_EQ(table.count(), count - 1);
}

TEST_P(PairTableSizeTest, ACopyIsEqualAndDoesNotChangeWithTheOther) {
  PairTable copied = table;
  EXPECT_EQ(copied, table);
  EXPECT_EQ(copied.hash(), table.hash());
  copied.remove("k0");
  set(copied, "k1"_ns, "new"_ns);
  set(copied, "more"_ns, "m"_ns);
  expectNumbered(table, count);
  EXPECT_FALSE(get(copied, "k0"));
  EXPECT_EQ(get(copied, "k1"), "new");
  EXPECT_EQ(get(copied, "more"), "m");
  EXPECT_FALSE(copied == table);
}

TEST_P(PairTableSizeTest, ACopyOutlivesTheOther) {
  std::optional<PairTable> other = numbered(count);
  const PairTable copied = *other;
  other.reset();
  expectNumbered(copied, count);
}

TEST_P(PairTableSizeTest, MovingTakesThePairsAlong) {
  const PairTable moved = std::move(table);
  expectNumbered(moved, count);
}

TEST_P(PairTableSizeTest, AssigningReplacesAllPairs) {
  PairTable other = numbered(20);
  set(other, "own"_ns, "o"_ns);
  other = table;
  expectNumbered(other, count);
  EXPECT_FALSE(get(other, "own"));
  expectNumbered(table, count);
  other = std::move(table);
  expectNumbered(other, count);
}

TEST_P(PairTableSizeTest, AssigningToItselfKeepsThePairs) {
  const PairTable &same = table;
  table = same;
  expectNumbered(table, count);
}

TEST_P(PairTableSizeTest, ATableThatWasMovedFromCanBeAssignedTo) {
  const PairTable moved = std::move(table);
  table = moved;
  expectNumbered(table, count);
}

TEST_P(PairTableSizeTest, AssigningFromAnotherZoneLeavesEachTableInItsOwn) {
  NSZone &mine = NSCreateZone(256, 256);
  NSZone &theirs = NSCreateZone(256, 256);
  {
    PairTable assigned = numbered(20, mine);
    {
      PairTable other = numbered(count, theirs);
      assigned = other;
      expectNumbered(other, count);
      assigned = std::move(other);
    }
    expectNumbered(assigned, count);
    set(assigned, "more"_ns, "m"_ns);
    EXPECT_EQ(get(assigned, "more"), "m");
    EXPECT_GE(mine.bytesInUse(), count * sizeof(Pair));
  }
  EXPECT_EQ(mine.bytesInUse(), 0U);
  EXPECT_EQ(theirs.bytesInUse(), 0U);
}

INSTANTIATE_TEST_SUITE_P(AroundTheIndexThreshold, PairTableSizeTest,
                         testing::Values(2, 16, 17, 18, 200));

TEST(PairTableTest, ARecordOfAVectorOfTablesCanBeErased) {
  std::vector<PairTable> tables{numbered(3), numbered(17), numbered(18)};
  tables.erase(tables.begin());
  expectNumbered(tables[0], 17);
  expectNumbered(tables[1], 18);
}

TEST(PairTableTest, TheRoomAskedForIsTakenAtOnceAndFromTheZone) {
  NSZone &zone = NSCreateZone(256, 256);
  PairTable table(8, zone);
  const std::size_t taken = zone.bytesInUse();
  EXPECT_EQ(taken, 8 * sizeof(Pair));
  for (std::size_t i = 0; i < 8; ++i)
    set(table, key(i), ""_ns);
  EXPECT_EQ(zone.bytesInUse(), taken);
}

TEST(PairTableTest, TablesAreEqualInWhateverOrderAndSoAreTheirHashes) {
  PairTable a(0, NSDefaultMallocZone());
  PairTable b(0, NSCreateZone(256, 256));
  set(a, "x"_ns, "1"_ns);
  set(a, "y"_ns, "2"_ns);
  set(b, "y"_ns, "2"_ns);
  set(b, "x"_ns, "1"_ns);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a.hash(), b.hash());
  set(b, "x"_ns, "2"_ns);
  EXPECT_FALSE(a == b);
  EXPECT_NE(a.hash(), b.hash());
}

} // namespace
} // namespace tesker
