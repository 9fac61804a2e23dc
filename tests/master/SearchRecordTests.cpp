#include "master/SearchOutcome.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;
using testing::Pair;

// The example of docs/protocol.md, and its records.
std::string exampleText() {
  std::string text =
      "type|app|path|/Apps/Edit.app|name|Edit|/Apps/Mail|(2,3,0,1,2,3,4,5,2,0,1,2,6)";
  for (char &byte : text)
    if (byte == '|')
      byte = '\0';
  return text;
}
const std::vector<SearchRecord> kExampleRecords{
    {{{"type", "app"}, {"path", "/Apps/Edit.app"}, {"name", "Edit"}}},
    {{{"type", "app"}, {"path", "/Apps/Mail"}}}};

TEST(SearchRecord, IsDecodedPairByPairInTheOrderOfTheText) {
  EXPECT_THAT(decodeRecords(exampleText()), Optional(kExampleRecords));
}

TEST(SearchRecord, IsEncodedWithoutItsOrderMattering) {
  EXPECT_EQ(encodeRecords(kExampleRecords), exampleText());
  std::vector<SearchRecord> others = kExampleRecords;
  std::swap(others[0].pairs[0], others[0].pairs[2]);
  EXPECT_THAT(decodeRecords(encodeRecords(others)), Optional(kExampleRecords));
}

TEST(SearchRecord, NoRecordsAreATextOfTheirOwn) {
  EXPECT_EQ(encodeRecords({}), "(0)");
  EXPECT_THAT(decodeRecords("(0)"), Optional(IsEmpty()));
  EXPECT_THAT(decodeRecords(""), Optional(IsEmpty()));
}

TEST(SearchRecord, OfAMalformedTextThereIsNothing) {
  EXPECT_FALSE(decodeRecords("no list"));
  EXPECT_FALSE(decodeRecords("(1)"));
}

TEST(SearchRecord, OfPairsWithOneKeyTheLastCounts) {
  const auto records = decodeRecords(encodeRecords({{{{"a", "1"}, {"a", "2"}}}}));
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 1U);
  EXPECT_THAT(records->at(0).pairs, ElementsAre(Pair("a", "2")));
}

TEST(SearchRecord, GivesTheValueForAKeyOrNil) {
  const SearchRecord &record = kExampleRecords[0];
  ASSERT_NE(record.find("name"), nullptr);
  EXPECT_EQ(*record.find("name"), "Edit");
  EXPECT_EQ(record.find("icon"), nullptr);
}

TEST(SearchRecord, AnyBytesComeThroughButNul) {
  std::string all;
  for (int byte = 1; byte < 256; ++byte)
    all += static_cast<char>(byte);
  const std::vector<SearchRecord> records{{{{all, all + "2"}, {"", ""}}}};
  const auto decoded = decodeRecords(encodeRecords(records));
  ASSERT_TRUE(decoded);
  EXPECT_THAT(decoded->at(0).pairs,
              testing::UnorderedElementsAre(Pair(all, all + "2"), Pair("", "")));
}

} // namespace
} // namespace tesker
