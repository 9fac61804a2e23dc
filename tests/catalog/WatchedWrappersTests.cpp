// What is told of changes that a wrapper's description depends on.
#include "tests/catalog/WatchTest.h"

#include <filesystem>
#include <sys/stat.h>

namespace tesker::test {
namespace {

namespace fs = std::filesystem;

class WatchedWrappers : public WatchTest {
protected:
  WatchedWrappers() {
    directory_.writeFile("tree/Draw.app/Draw", "#!", 0755);
    directory_.writeFile("tree/Draw.app/Resources/Info-quorvale.plist", "{}");
    directory_.writeFile("tree/Draw.app/Resources/English/picture", "");
    directory_.writeFile("tree/Draw.app/Help/page", "");
    directory_.writeFile("far/description", "{}");
    directory_.writeFile("far/program", "#!", 0755);
  }
};

TEST_F(WatchedWrappers, TellOfADescriptionThatIsEditedReplacedRemovedOrNew) {
  EXPECT_EQ(watch(), 0);
  append("tree/Draw.app/Resources/Info-quorvale.plist");
  EXPECT_TRUE(isTold());
  fs::rename(path("far/description"), path("tree/Draw.app/Resources/Info-quorvale.plist"));
  EXPECT_TRUE(isTold());
  fs::remove(path("tree/Draw.app/Resources/Info-quorvale.plist"));
  EXPECT_TRUE(isTold());
  directory_.writeFile("tree/Draw.app/Resources/registry.table", "{}");
  EXPECT_TRUE(isTold());
  append("tree/Draw.app/Resources/registry.table");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, TellOfAnyChangeOfTheirOwnEntries) {
  EXPECT_EQ(watch(), 0);
  append("tree/Draw.app/Draw");
  EXPECT_TRUE(isTold());
  directory_.writeFile("tree/Draw.app/registry.table", "{}");
  EXPECT_TRUE(isTold());
  append("tree/Draw.app/registry.table");
  EXPECT_TRUE(isTold());
  directory_.writeFile("tree/Draw.app/.hidden.tool", "#!", 0755);
  EXPECT_TRUE(isTold());
  fs::rename(path("tree/Draw.app/Resources"), path("tree/Draw.app/Resources-not"));
  EXPECT_TRUE(isTold());
  EXPECT_EQ(watch(), 0);
  append("tree/Draw.app/Resources-not/Info-quorvale.plist");
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedWrappers, SayNothingOfOtherFilesInTheirFolders) {
  EXPECT_EQ(watch(), 0);
  directory_.writeFile("tree/Draw.app/Resources/picture", "#!", 0755);
  append("tree/Draw.app/Resources/English/picture");
  append("tree/Draw.app/Help/page");
  EXPECT_FALSE(isTold());
}

TEST_F(WatchedWrappers, TellOfADescriptionBelowAnEntryOfItsName) {
  directory_.writeFile("tree/Draw.app/Info-quorvale.plist/Info-quorvale.plist", "{}");
  EXPECT_EQ(watch(), 0);
  append("tree/Draw.app/Info-quorvale.plist/Info-quorvale.plist");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, TellOfTheDescriptionOfABundleInPlaceOfTheirExecutable) {
  directory_.writeFile("tree/Odd.app/Odd/Resources/Info-quorvale.plist", "{}");
  directory_.writeFile("tree/Odd.app/Odd/Resources/other", "{}");
  EXPECT_EQ(watch(), 0);
  append("tree/Odd.app/Odd/Resources/other");
  EXPECT_FALSE(isTold());
  append("tree/Odd.app/Odd/Resources/Info-quorvale.plist");
  EXPECT_TRUE(isTold());
  fs::rename(path("tree/Odd.app/Odd/Resources"), path("tree/Odd.app/Odd/other"));
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, TellOfToolsAndBundlesInThem) {
  directory_.writeFile("tree/Draw.app/Help.bundle/Resources/Info-quorvale.plist", "{}");
  directory_.writeFile("tree/Draw.app/Help.bundle/Deep.tool/Deep", "#!", 0755);
  EXPECT_EQ(watch(), 0);
  append("tree/Draw.app/Help.bundle/Resources/Info-quorvale.plist");
  EXPECT_TRUE(isTold());
  append("tree/Draw.app/Help.bundle/Deep.tool/Deep");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, TellOfWhatTheirLinksLeadTo) {
  directory_.writeFile("far/resources/Info-quorvale.plist", "{}");
  directory_.writeFile("far/table", "{}");
  directory_.makeLink("tree/Linked.app/Linked", "../../far/program");
  directory_.makeLink("tree/Linked.app/Resources", "../../far/resources");
  directory_.makeLink("tree/Linked.app/registry.table", "../../far/table");
  directory_.makeLink("tree/Linked.app/Some.tool", "../../far/away");
  directory_.makeLink("tree/Draw.app/Resources/registry.table", "../../../far/description");
  EXPECT_EQ(watch(), 0);
  for (const char *name :
       {"far/program", "far/resources/Info-quorvale.plist", "far/table", "far/description"}) {
    append(name);
    EXPECT_TRUE(isTold()) << name;
  }
  directory_.writeFile("far/away", "#!", 0755);
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, ThatLinkToThemselvesAreWatchedOnce) {
  directory_.makeLink("tree/Draw.app/Again.tool", ".");
  directory_.makeLink("tree/Draw.app/More.tool", "../Draw.app");
  directory_.makeLink("tree/Draw.app/Resources/Resources", "..");
  EXPECT_EQ(watch(), 0);
  append("tree/Draw.app/Draw");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, OfTheBrowserItselfHaveOneInTheirResources) {
  for (const char *wrapper : {"tree/MyTesker.app", "tree/Plain.app"})
    directory_.writeFile(std::string(wrapper) + "/Resources/Some.tool/Some", "#!", 0755);
  EXPECT_EQ(watch(), 0);
  append("tree/Plain.app/Resources/Some.tool/Some");
  EXPECT_FALSE(isTold());
  append("tree/MyTesker.app/Resources/Some.tool/Some");
  EXPECT_TRUE(isTold());
}

TEST_F(WatchedWrappers, MayBeTheSearchPath) {
  EXPECT_EQ(watch("tree/Draw.app"), 0);
  append("tree/Draw.app/Resources/Info-quorvale.plist");
  EXPECT_TRUE(isTold());
  directory_.writeFile("tree/program", "#!", 0755);
  EXPECT_FALSE(isTold());
}

} // namespace
} // namespace tesker::test
