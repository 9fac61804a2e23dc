#include "command/RecordTable.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

SearchRecord recordOf(const char *path, const char *type, const char *name) {
  return {{{"path", path}, {"type", type}, {"name", name}}};
}

TEST(FoundPrograms, AreOneForEachPath) {
  const auto programs =
      programsOf(recordsIn({recordOf("/a", "app", "A"), recordOf("/b", "app", "B"),
                            recordOf("/a", "extension", "txt")}));
  ASSERT_THAT(programs, SizeIs(2));
  EXPECT_EQ(programs[0].path, "/a");
  EXPECT_THAT(programs[0].names.list(), ElementsAre("A"));
  EXPECT_THAT(programs[0].extensions.list(), ElementsAre("txt"));
  EXPECT_THAT(programs[1].extensions.list(), IsEmpty());
  EXPECT_THAT(programsOf(recordsIn({})), IsEmpty());
}

TEST(FoundPrograms, AreNamedByTheApplicationRatherThanByWhatItOffers) {
  const auto programs =
      programsOf(recordsIn({recordOf("/a", "services", "Define"), recordOf("/a", "bundle", "Book"),
                            recordOf("/a", "app", "Dictionary")}));
  EXPECT_THAT(programs.at(0).names.list(), ElementsAre("Book", "Dictionary"));
}

TEST(FoundPrograms, AreNamedByWhatTheyOfferWhereNoApplicationIs) {
  const auto programs = programsOf(
      recordsIn({recordOf("/a", "services", "Define"), recordOf("/a", "extension", "txt")}));
  EXPECT_THAT(programs.at(0).names.list(), ElementsAre("Define"));
}

TEST(FoundPrograms, HaveEachWordOnceInTheOrderOfTheRecords) {
  const auto programs =
      programsOf(recordsIn({recordOf("/a", "extension", "txt"), recordOf("/a", "extension", "rtf"),
                            recordOf("/a", "extension", ""), recordOf("/a", "extension", "txt")}));
  EXPECT_THAT(programs.at(0).extensions.list(), ElementsAre("txt", "rtf"));
  EXPECT_THAT(programs[0].types.list(), ElementsAre("extension"));
}

TEST(FoundPrograms, AreApplicationsFirst) {
  const auto programs =
      programsOf(recordsIn({recordOf("/a", "services", "x"), recordOf("/a", "bundle", "y"),
                            recordOf("/a", "app", "z"), recordOf("/a", "extension", "e")}));
  EXPECT_THAT(programs.at(0).types.list(), ElementsAre("app", "services", "bundle"));
}

TEST(FoundPrograms, AreInTheOrderOfTheAnswer) {
  const auto programs =
      programsOf(recordsIn({recordOf("/b", "app", "Edit"), recordOf("/c", "app", "Draw"),
                            recordOf("/a", "app", "Edit")}));
  ASSERT_THAT(programs, SizeIs(3));
  EXPECT_EQ(programs[0].path, "/b");
  EXPECT_EQ(programs[1].path, "/c");
  EXPECT_EQ(programs[2].path, "/a");
}

TEST(FoundPrograms, AreNotSuitableWhenOneRecordSaysSo) {
  SearchRecord unsuitable = recordOf("/a", "app", "A");
  unsuitable.pairs.emplace_back("suitable", "no");
  const auto programs = programsOf(recordsIn({unsuitable, recordOf("/a", "extension", "txt")}));
  EXPECT_FALSE(programs.at(0).suitable);
  EXPECT_TRUE(programsOf(recordsIn({recordOf("/a", "app", "A")})).at(0).suitable);
}

} // namespace
} // namespace tesker::test
