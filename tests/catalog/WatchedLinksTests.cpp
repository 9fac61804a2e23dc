// What is told of changes on the way to what is searched: links, directories above, what is not
// there yet.
#include "tests/catalog/WatchTest.h"

#include <filesystem>
#include <sys/stat.h>

namespace tesker::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

class WatchedLinks : public WatchTest {
protected:
  WatchedLinks() {
    directory_.writeFile("far/away/program", "#!", 0755);
    directory_.writeFile("far/away/.hidden", "#!", 0755);
    directory_.writeFile("far/away/notes", "text", 0644);
    directory_.writeFile("far/away/folder/program", "#!", 0755);
    directory_.makeDirectory("tree");
  }
};

TEST_F(WatchedLinks, TellOfTheFileThatTheyLeadTo) {
  directory_.makeLink("tree/program", path("far/away/program"));
  EXPECT_EQ(watch(), 0);
  append("far/away/program");
  EXPECT_TRUE(isTold());
  ::chmod(path("far/away/program").c_str(), 0644);
  EXPECT_TRUE(isTold());
  fs::remove(path("far/away/program"));
  EXPECT_TRUE(isTold());
  directory_.writeFile("far/away/program", "#!", 0755);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, SayNothingOfOthersWhereTheyLeadTo) {
  directory_.makeLink("tree/program", path("far/away/program"));
  EXPECT_EQ(watch(), 0);
  directory_.writeFile("far/away/other", "#!", 0755);
  append("far/away/other");
  append("far/away/folder/program");
  fs::remove(path("far/away/notes"));
  EXPECT_TRUE(isReadable());
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedLinks, SayNothingOfAWrittenFileThatIsNotExecutable) {
  directory_.makeLink("tree/notes", path("far/away/notes"));
  EXPECT_EQ(watch(), 0);
  append("far/away/notes");
  EXPECT_FALSE(isTold());
  ::chmod(path("far/away/notes").c_str(), 0755);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, TellOfAHiddenFileThatTheyLeadTo) {
  directory_.writeFile("tree/.hidden", "#!", 0755);
  directory_.makeLink("tree/far", path("far/away/.hidden"));
  directory_.makeLink("tree/near", ".hidden");
  EXPECT_EQ(watch(), 0);
  append("far/away/.hidden");
  EXPECT_TRUE(isTold());
  append("tree/.hidden");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, TellOfWhatIsInTheDirectoryThatTheyLeadTo) {
  directory_.makeLink("tree/folder", "../far/away/folder");
  EXPECT_EQ(watch(), 0);
  append("far/away/folder/program");
  EXPECT_TRUE(isTold());
  directory_.writeFile("far/away/folder/new", "#!", 0755);
  EXPECT_TRUE(isTold());
  append("far/away/program");
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedLinks, TellOfADirectoryThatIsPutInPlaceOfOneOnTheWay) {
  directory_.makeLink("tree/program", path("far/away/program"));
  EXPECT_EQ(watch(), 0);
  fs::rename(path("far"), path("farther"));
  EXPECT_TRUE(isTold());
  EXPECT_EQ(watch(), 0);
  fs::rename(path("farther"), path("far"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, TellOfALinkBetween) {
  directory_.makeLink("between/second", "../far/away/program");
  directory_.makeLink("between/other", "../far/away/notes");
  directory_.makeLink("tree/first", "../between/second");
  EXPECT_EQ(watch(), 0);
  append("far/away/program");
  EXPECT_TRUE(isTold());
  fs::rename(path("between/other"), path("between/second"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, ThatLeadNowhereTellOfWhatComesThere) {
  directory_.makeLink("tree/program", "../missing/folder/program");
  EXPECT_EQ(watch(), 0);
  directory_.writeFile("missing-not", "#!", 0755);
  EXPECT_FALSE(isTold());
  fs::create_directory(path("missing"));
  EXPECT_TRUE(isTold());
  EXPECT_EQ(watch(), 0);
  directory_.writeFile("missing/folder/program", "#!", 0755);
  EXPECT_TRUE(isTold());
  EXPECT_EQ(watch(), 0);
  append("missing/folder/program");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, InCirclesAreWatchedOnce) {
  directory_.writeFile("tree/a/program", "#!", 0755);
  directory_.makeLink("tree/self", ".");
  directory_.makeLink("tree/a/up", "..");
  directory_.makeLink("tree/a/side", "../a");
  directory_.makeLink("tree/endless", "endless");
  directory_.makeLink("tree/one", "other");
  directory_.makeLink("tree/other", "one");
  EXPECT_EQ(watch(), 0);
  append("tree/a/program");
  EXPECT_TRUE(isTold());
  fs::remove(path("tree/endless"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedLinks, OfManyNamesToOneDirectoryCostOneWatch) {
  directory_.makeLink("tree/one", path("far/away/folder"));
  EXPECT_EQ(watch(), 0);
  const std::size_t before = watches_->watchCount();
  for (const char *name : {"tree/two", "tree/three", "tree/four"})
    directory_.makeLink(name, path("far/away/folder"));
  EXPECT_EQ(watch(), 0);
  EXPECT_EQ(watches_->watchCount(), before);
}

// Each by another name of its program.
TEST_F(WatchedLinks, ToAWrapperCountByTheirOwnNames) {
  directory_.writeFile("far/First.app/First", "#!", 0755);
  directory_.writeFile("far/First.app/Second/Resources/Info-quorvale.plist", "{}");
  directory_.makeLink("tree/First.app", path("far/First.app"));
  directory_.makeLink("tree/Second.app", path("far/First.app"));
  EXPECT_EQ(watch(), 0);
  append("far/First.app/Second/Resources/Info-quorvale.plist");
  EXPECT_TRUE(isTold());
}

class WatchedWays : public WatchTest {};

TEST_F(WatchedWays, OfAMissingPathLeadOverWhatComesOneAfterTheOther) {
  EXPECT_EQ(watch("one/two/tree"), 0);
  directory_.makeDirectory("other");
  EXPECT_FALSE(isTold());
  for (const char *name : {"one", "one/two", "one/two/tree"}) {
    fs::create_directory(path(name));
    EXPECT_TRUE(isTold()) << name;
    EXPECT_EQ(watch("one/two/tree"), 0);
  }
  directory_.writeFile("one/two/tree/program", "#!", 0755);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWays, TellOfAParentThatIsRenamedAwayAndBack) {
  directory_.writeFile("one/two/tree/program", "#!", 0755);
  EXPECT_EQ(watch("one/two/tree"), 0);
  fs::rename(path("one"), path("other"));
  EXPECT_TRUE(isTold());
  EXPECT_EQ(watch("one/two/tree"), 0);
  append("other/two/tree/program");
  EXPECT_FALSE(isTold());
  fs::rename(path("other"), path("one"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWays, SayNothingOfWhatStandsBesideThem) {
  directory_.writeFile("one/two/tree/program", "#!", 0755);
  EXPECT_EQ(watch("one/two/tree"), 0);
  directory_.writeFile("one/other/program", "#!", 0755);
  directory_.writeFile("one/program", "#!", 0755);
  append("one/program");
  EXPECT_TRUE(isReadable());
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedWays, ThroughALinkTellWhenItLeadsElsewhere) {
  directory_.writeFile("first/tree/program", "#!", 0755);
  directory_.writeFile("second/tree/program", "#!", 0755);
  directory_.makeLink("now", "first");
  EXPECT_EQ(watch("now/tree"), 0);
  append("first/tree/program");
  EXPECT_TRUE(isTold());
  fs::remove(path("now"));
  directory_.makeLink("now", "second");
  EXPECT_TRUE(isTold());
  EXPECT_EQ(watch("now/tree"), 0);
  append("first/tree/program");
  EXPECT_FALSE(isTold());
  append("second/tree/program");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWays, ToASingleProgramTellOfItAlone) {
  directory_.writeFile("folder/program", "#!", 0755);
  directory_.writeFile("folder/other", "#!", 0755);
  EXPECT_EQ(watch("folder/program"), 0);
  append("folder/other");
  EXPECT_FALSE(isTold());
  append("folder/program");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWays, MayBeWrittenWithDotsAndSlashes) {
  directory_.writeFile("tree/program", "#!", 0755);
  watches_->begin(directory_.path() + "//./tree/./");
  while (*watches_->advance(directory_.path() + "//./tree/./") != SearchPathWatches::Progress::done)
    continue;
  append("tree/program");
  EXPECT_THAT(watches_->takeChanged(), ElementsAre(directory_.path() + "//./tree/./"));
}

TEST_F(WatchedWays, ThatCannotBeSearchedDependOnNothing) {
  using namespace std::string_literals;
  for (const std::string &none : {"tree"s, ""s, "/"s, "//"s, "/."s, "/tmp/../tmp"s, "/tmp\0/x"s}) {
    watches_->begin(none);
    const auto progress = watches_->advance(none);
    ASSERT_TRUE(progress);
    EXPECT_EQ(*progress, SearchPathWatches::Progress::done);
    EXPECT_EQ(watches_->watchCount(), 0U) << none;
  }
}

} // namespace
} // namespace tesker::test
