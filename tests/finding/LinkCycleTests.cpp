// Links that lead back to a directory above them, where a search is told to skip them.
#include "tests/finding/JudgementTest.h"
#include "tests/support/CountingOperatingSystem.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class LinkCycles : public JudgementTest {
protected:
  void searchAndSkip(std::string_view name = "tree") {
    ApplicationWalk walk([] {}, {}, {.skipsLinkCycles = true});
    walk.doForPath(directory_.string(name));
    records_ = walk.lines().size();
  }
  std::string skipped(std::string_view name, std::string_view above) const {
    return "*** Applications Finder: skipped, for it leads back to " + directory_.path(above) +
           ": " + directory_.path(name);
  }
  void addProgram(std::string_view name) { directory_.writeFile(name, kDescribing, 0755); }
};

TEST_F(LinkCycles, OfADirectoryToItselfAreSkippedEachOnce) {
  addProgram("tree/one");
  directory_.makeLink("tree/again", ".");
  directory_.makeLink("tree/once-more", "../tree");
  searchAndSkip();
  EXPECT_EQ(records_, 1U);
  EXPECT_THAT(log_.syslogged, UnorderedElementsAre(skipped("tree/again", "tree"),
                                                   skipped("tree/once-more", "tree")));
  EXPECT_EQ(said("tree/again"), "skipped-link");
  EXPECT_EQ(remarkOn("tree/again", JudgementCode::skippedLink).detail, directory_.path("tree"));
}

TEST_F(LinkCycles, ToAParentAreSkipped) {
  addProgram("tree/a/b/one");
  directory_.makeLink("tree/a/b/up", "..");
  directory_.makeLink("tree/a/b/top", "../..");
  searchAndSkip();
  EXPECT_EQ(records_, 1U);
  EXPECT_THAT(log_.syslogged, UnorderedElementsAre(skipped("tree/a/b/up", "tree/a"),
                                                   skipped("tree/a/b/top", "tree")));
}

TEST_F(LinkCycles, OfTwoDirectoriesToEachOtherAreFollowedOnce) {
  addProgram("tree/a/one");
  addProgram("tree/b/two");
  directory_.makeLink("tree/a/x", "../b");
  directory_.makeLink("tree/b/y", "../a");
  searchAndSkip();
  EXPECT_EQ(records_, 4U); // each by its own name and through the other's link
  EXPECT_THAT(log_.syslogged, UnorderedElementsAre(skipped("tree/a/x/y", "tree/a"),
                                                   skipped("tree/b/y/x", "tree/b")));
}

TEST_F(LinkCycles, ThroughADirectoryAboveTheSearchPathEndAtThePath) {
  addProgram("above/tree/one");
  addProgram("above/two");
  directory_.makeLink("above/tree/out", "..");
  searchAndSkip("above/tree");
  EXPECT_EQ(records_, 2U);
  EXPECT_THAT(log_.syslogged, ElementsAre(skipped("above/tree/out/tree", "above/tree")));
}

TEST_F(LinkCycles, AreNotWhatLeadsToASiblingOrTwiceToTheSame) {
  addProgram("tree/a/one");
  directory_.makeLink("tree/b", "a");
  directory_.makeLink("tree/c", "a");
  searchAndSkip();
  EXPECT_EQ(records_, 3U);
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(LinkCycles, EndATreeThatWouldBeSearchedForEver) {
  addProgram("tree/a/b/one");
  for (const char *name : {"tree/x", "tree/a/x", "tree/a/b/x"})
    directory_.makeLink(name, directory_.path("tree"));
  for (const char *name : {"tree/y", "tree/a/y", "tree/a/b/y"})
    directory_.makeLink(name, directory_.path("tree/a"));
  searchAndSkip();
  EXPECT_EQ(records_, 2U); // through tree/y, which leads to what is not above it, as well
}

// As some network file systems number their files.
TEST_F(LinkCycles, AreNotDirectoriesOfOneNumberWithoutALinkBetweenThem) {
  struct : OperatingSystem {
    int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
      const int result = OperatingSystem::statAt(directory, name, followLinks, status);
      status.st_ino = 1;
      return result;
    }
  } system;
  const ScopedOperatingSystem scope(system);
  addProgram("tree/a/b/one");
  searchAndSkip();
  EXPECT_EQ(records_, 1U);
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(LinkCycles, OfBundlesWithinAWrapperAreSkipped) {
  directory_.writeFile("tree/Foo.app/registry.table", "{}");
  directory_.writeFile("tree/Foo.app/b.bundle/registry.table", "{}");
  for (const char *name : {"x.bundle", "y.bundle", "b.bundle/z.tool"})
    directory_.makeLink("tree/Foo.app/" + std::string(name), directory_.path("tree/Foo.app"));
  searchAndSkip();
  EXPECT_EQ(records_, 2U);
  EXPECT_THAT(log_.syslogged,
              UnorderedElementsAre(skipped("tree/Foo.app/x.bundle", "tree/Foo.app"),
                                   skipped("tree/Foo.app/y.bundle", "tree/Foo.app"),
                                   skipped("tree/Foo.app/b.bundle/z.tool", "tree/Foo.app")));
  EXPECT_EQ(said("tree/Foo.app/x.bundle"), "skipped-link");
}

TEST_F(LinkCycles, AreNotWrappersThatLeadToTheDirectoryTheyLieIn) {
  directory_.writeFile("tree/registry.table", "{}");
  directory_.makeLink("tree/Foo.app", ".");
  searchAndSkip();
  EXPECT_EQ(records_, 1U); // the wrapper, which is not searched any further
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(LinkCycles, AreFollowedUntilTheSystemRefusesUnlessToldOtherwise) {
  addProgram("tree/one");
  directory_.makeLink("tree/again", ".");
  search();
  EXPECT_EQ(records_, 41U); // Linux follows 40 links in a path
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(LinkCycles, CostNoSystemCallToSkip) {
  addProgram("tree/a/one");
  directory_.writeFile("tree/Foo.app/registry.table", "{}");
  directory_.makeLink("tree/b", "a");
  const auto callsOf = [&](bool skips) {
    CountingOperatingSystem system;
    const ScopedOperatingSystem scope(system);
    ApplicationWalk([] {}, {}, {.skipsLinkCycles = skips}).doForPath(directory_.string("tree"));
    return system.log;
  };
  EXPECT_EQ(callsOf(true), callsOf(false));
}

TEST_F(LinkCycles, ThatAreSkippedCostTwoStatuses) {
  directory_.makeLink("tree/again", ".");
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  ApplicationWalk([] {}, {}, {.skipsLinkCycles = true}).doForPath(directory_.string("tree"));
  const std::string tree = directory_.path("tree");
  EXPECT_EQ(system.countLine("statAt " + tree + "/again nofollow"), 1U);
  EXPECT_EQ(system.countLine("statAt " + tree + "/again follow"), 1U);
  EXPECT_EQ(system.count("statAt"), 3U);
  EXPECT_EQ(system.countLine("openDirectory " + tree + "/again"), 0U);
}

} // namespace
} // namespace tesker::test
