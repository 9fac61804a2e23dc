#include "platform/foundation/NearWords.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

namespace tesker::test {
namespace {

TEST(DistanceOfWords, CountsSlips) {
  EXPECT_EQ(distanceOfWords("", ""), 0U);
  EXPECT_EQ(distanceOfWords("list", "list"), 0U);
  EXPECT_EQ(distanceOfWords("list", "LIST"), 0U);
  EXPECT_EQ(distanceOfWords("lst", "list"), 1U);
  EXPECT_EQ(distanceOfWords("liist", "list"), 1U);
  EXPECT_EQ(distanceOfWords("lisp", "list"), 1U);
  EXPECT_EQ(distanceOfWords("lits", "list"), 1U);
  EXPECT_EQ(distanceOfWords("", "list"), 4U);
  EXPECT_EQ(distanceOfWords("abc", "xyz"), 3U);
}

TEST(DistanceOfWords, OfLongWordsIsTheirLength) {
  EXPECT_EQ(distanceOfWords(std::string(64, 'a'), std::string(64, 'b')), 64U);
  EXPECT_EQ(distanceOfWords(std::string(65, 'a'), std::string(65, 'a')), 65U);
}

TEST(NearestWord, IsOneSlipAwayOrTwoInALongWord) {
  constexpr std::array<std::string_view, 3> kKnown = {"app", "profile", "NSExecutable"};
  EXPECT_EQ(nearestWord("apps", kKnown), "app");
  EXPECT_EQ(nearestWord("APP", kKnown), "app");
  EXPECT_EQ(nearestWord("apple", kKnown), "");
  EXPECT_EQ(nearestWord("profi", kKnown), "profile");
  EXPECT_EQ(nearestWord("prof", kKnown), "");
  EXPECT_EQ(nearestWord("NSExecutble", kKnown), "NSExecutable");
}

TEST(NearestWord, IsEmptyForAKnownWordAndForNone) {
  constexpr std::array<std::string_view, 2> kKnown = {"list", "lost"};
  EXPECT_EQ(nearestWord("list", kKnown), "");
  EXPECT_EQ(nearestWord("", kKnown), "");
  EXPECT_EQ(nearestWord("lest", kKnown), "list") << "the first of two that are as near";
}

} // namespace
} // namespace tesker::test
