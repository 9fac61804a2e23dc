#include "caching/NameTable.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <unordered_map>

namespace tesker::test {
namespace {

class NameTableTest : public ::testing::Test {
protected:
  static constexpr int kMany = 10'000;

  // A string of its own, whose bytes are shared with no other.
  static NSString name(int number) { return NSString::create("name " + std::to_string(number)); }
  void fill() {
    for (int i = 0; i < kMany; ++i)
      table.insert(name(i), i);
  }

  NameTable<int> table{NSDefaultMallocZone()};
};

TEST_F(NameTableTest, AnEmptyTableHasNothing) { EXPECT_FALSE(table.find("a"_ns)); }

TEST_F(NameTableTest, NamesAreFoundInTheOrderInWhichTheyCameAgainAndAgain) {
  fill();
  for (int times = 0; times < 3; ++times)
    for (int i = 0; i < kMany; ++i)
      ASSERT_EQ(table.find(name(i)), i);
}

TEST_F(NameTableTest, NamesAreFoundInAnyOrder) {
  fill();
  std::vector<int> order(kMany);
  for (int i = 0; i < kMany; ++i)
    order[static_cast<std::size_t>(i)] = i;
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  for (const int i : order)
    ASSERT_EQ(table.find(name(i)), i);
}

TEST_F(NameTableTest, WhatIsNotThereIsNotFoundWhereverTheWalkIs) {
  fill();
  for (int i = 0; i < kMany; ++i) {
    ASSERT_FALSE(table.find(name(kMany + i)));
    ASSERT_EQ(table.find(name(i)), i);
  }
}

TEST_F(NameTableTest, NamesAreKnownByAllTheirBytes) {
  table.insert("a"_ns, 1);
  table.insert("a\0b"_ns, 2);
  table.insert(""_ns, 3);
  EXPECT_EQ(table.find("a\0b"_ns), 2);
  EXPECT_EQ(table.find("a"_ns), 1);
  EXPECT_EQ(table.find(""_ns), 3);
  EXPECT_FALSE(table.find("a\0c"_ns));
}

// The hashes depend on a key of the process, so the two names have to be sought: among so many the
// tables' 32 bits of two of them are the same.
TEST_F(NameTableTest, NamesWhoseHashesMeetAreToldApart) {
  std::unordered_map<std::uint32_t, int> seen;
  int number = 0;
  while (seen.try_emplace(static_cast<std::uint32_t>(name(number).hash()), number).second)
    ++number;
  const int other = seen[static_cast<std::uint32_t>(name(number).hash())];
  table.insert("first"_ns, -1); // stands where a walk would begin
  table.insert(name(other), other);
  ASSERT_EQ(table.find("first"_ns), -1);
  EXPECT_EQ(table.find(name(other)), other);
  EXPECT_FALSE(table.find(name(number)));
  table.insert(name(number), number);
  EXPECT_EQ(table.find(name(other)), other);
  EXPECT_EQ(table.find(name(number)), number);
}

// So small a table is full enough that names go on from its last slot to its first.
TEST_F(NameTableTest, TheSlotsAreARing) {
  constexpr int kNames = 12;
  for (int first = 0; first < 100 * kNames; first += kNames) {
    NameTable<int> small(NSDefaultMallocZone());
    for (int i = 0; i < kNames; ++i)
      small.insert(name(first + i), i);
    for (int i = kNames - 1; i >= 0; --i)
      ASSERT_EQ(small.find(name(first + i)), i);
  }
}

TEST_F(NameTableTest, ATableThatWasMovedHasAllNames) {
  fill();
  NameTable<int> moved(std::move(table));
  EXPECT_EQ(moved.find(name(17)), 17);
  EXPECT_EQ(moved.find(name(18)), 18);
  EXPECT_FALSE(moved.find("a"_ns));
}

} // namespace
} // namespace tesker::test
