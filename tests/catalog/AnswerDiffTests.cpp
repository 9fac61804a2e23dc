#include "catalog/AnswerDiff.h"

#include <gmock/gmock.h>
#include <random>
#include <set>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Answer = std::vector<SearchRecord>;

SearchRecord record(const std::string &name, const std::string &icon = "icon") {
  return {{{"path", "/a"}, {"type", "extension"}, {"name", name}, {"icon", icon}}};
}

// "+name", "-name" and "name: old>new" (icons).
std::vector<std::string> changes(const Answer &before, const Answer &after) {
  std::vector<std::string> texts;
  for (const RecordChange &change : differences(before, after))
    if (change.before == nullptr)
      texts.push_back("+" + *change.after->find("name"));
    else if (change.after == nullptr)
      texts.push_back("-" + *change.before->find("name"));
    else
      texts.push_back(*change.before->find("name") + ": " + *change.before->find("icon") + ">" +
                      *change.after->find("icon"));
  return texts;
}

TEST(AnswerDiff, OfEqualAnswersIsEmpty) {
  EXPECT_THAT(changes({}, {}), IsEmpty());
  EXPECT_THAT(changes({record("a"), record("b")}, {record("a"), record("b")}), IsEmpty());
}

TEST(AnswerDiff, DoesNotMindTheOrderOfRecordsAndPairs) {
  SearchRecord turned = record("a");
  std::reverse(turned.pairs.begin(), turned.pairs.end());
  EXPECT_THAT(changes({record("a"), record("b")}, {record("b"), turned}), IsEmpty());
}

TEST(AnswerDiff, TellsWhatIsAddedRemovedAndChanged) {
  EXPECT_THAT(changes({record("a"), record("b"), record("c", "old"), record("d")},
                      {record("e"), record("c", "new"), record("b"), record("f")}),
              ElementsAre("-a", "c: old>new", "-d", "+e", "+f"));
}

TEST(AnswerDiff, TakesAnotherPathTypeOrNameForAnotherThing) {
  const SearchRecord before{{{"path", "/a"}, {"type", "app"}, {"name", "A"}}};
  for (const char *key : {"path", "type", "name"}) {
    SearchRecord after = before;
    for (auto &[itsKey, value] : after.pairs)
      if (itsKey == key)
        value = "other";
    const Answer old{before}, now{after};
    EXPECT_EQ(differences(old, now).size(), 2U) << key;
  }
}

TEST(AnswerDiff, CountsEqualRecords) {
  const SearchRecord a = record("a");
  EXPECT_THAT(changes({a}, {a, a, a}), ElementsAre("+a", "+a"));
  EXPECT_THAT(changes({a, a}, {a}), ElementsAre("-a"));
}

TEST(AnswerDiff, PairsRecordsOfOneThingInTheirOrder) {
  EXPECT_THAT(changes({record("a", "1"), record("a", "2"), record("a", "3")},
                      {record("a", "2"), record("a", "4"), record("a", "5"), record("a", "6")}),
              ElementsAre("a: 1>4", "a: 3>5", "+a"));
}

TEST(AnswerDiff, LeadsFromAnyAnswerToAnyOther) {
  std::mt19937 random(7);
  const auto answer = [&] {
    Answer records(random() % 12);
    for (SearchRecord &made : records)
      made = record(std::string(1, "abc"[random() % 3]), std::string(1, "xy"[random() % 2]));
    return records;
  };
  for (int round = 0; round < 500; ++round) {
    const Answer before = answer(), after = answer();
    std::multiset<std::string> records;
    for (const SearchRecord &old : before)
      records.insert(encodeRecords({old}));
    for (const RecordChange &change : differences(before, after)) {
      if (change.before != nullptr)
        records.erase(records.find(encodeRecords({*change.before})));
      if (change.after != nullptr)
        records.insert(encodeRecords({*change.after}));
      if (change.before != nullptr && change.after != nullptr) {
        EXPECT_THAT(pairChanges(change), testing::SizeIs(1));
      }
    }
    std::multiset<std::string> wanted;
    for (const SearchRecord &now : after)
      wanted.insert(encodeRecords({now}));
    EXPECT_EQ(records, wanted) << "round " << round;
  }
}

TEST(AnswerDiff, TellsEachPairThatIsNotTheSame) {
  const SearchRecord before{{{"z", "1"}, {"same", "x"}, {"gone", "y"}}};
  const SearchRecord after{{{"z", "2"}, {"same", "x"}, {"new", ""}}};
  const std::vector<PairChange> pairs = pairChanges({&before, &after});
  ASSERT_EQ(pairs.size(), 3U);
  EXPECT_EQ(pairs[0].key, "gone");
  EXPECT_EQ(*pairs[0].before, "y");
  EXPECT_EQ(pairs[0].after, nullptr);
  EXPECT_EQ(pairs[1].key, "new");
  EXPECT_EQ(pairs[1].before, nullptr);
  EXPECT_EQ(*pairs[1].after, "");
  EXPECT_EQ(pairs[2].key, "z");
}

} // namespace
} // namespace tesker::test
