#include "desktop/Associations.h"

#include "tests/desktop/KeptReports.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A user's and a system's directory for data, own/ and sys/, and one for configuration, conf/.
class AssociationsTest : public testing::Test {
protected:
  AssociationsTest() {
    directories.own = directory.path("own");
    directories.data = {directory.path("own"), directory.path("sys")};
    directories.configuration = {directory.path("conf")};
    directory.writeFile("sys/mime/subclasses", "text/x-c text/plain\n");
    directory.writeFile("sys/mime/aliases", "text/c text/x-c\n");
    types.add(directory.path("sys"), reports);
  }
  void write(const std::string &name, const std::string &text) { directory.writeFile(name, text); }
  Associations read() { return {directories, claims, types, reports}; }
  std::vector<std::string> handlers(const std::string &type) { return read().handlersOf(type); }
  std::string defaultOf(const std::string &type) {
    return read()
        .defaultOf(type, [](const std::string &id, bool) { return id != "gone.desktop"; })
        .value_or("(none)");
  }

  const TemporaryDirectory directory;
  KeptReports reports;
  DesktopDirectories directories;
  MimeTypes types;
  std::vector<std::vector<EntryClaims>> claims{{}, {}};
};

TEST_F(AssociationsTest, AreWhatEntriesClaimForTheTypeAndWhatItIsAKindOf) {
  claims[1] = {{"edit.desktop", {"text/plain"}}, {"ide.desktop", {"text/c", "text/plain"}}};
  EXPECT_THAT(handlers("text/plain"), ElementsAre("edit.desktop", "ide.desktop"));
  EXPECT_THAT(handlers("text/x-c"), ElementsAre("ide.desktop", "edit.desktop"));
  EXPECT_THAT(handlers("image/png"), IsEmpty());
}

TEST_F(AssociationsTest, AreWhatACacheSaysWhereThereIsOne) {
  claims[1] = {{"edit.desktop", {"text/plain"}}, {"new.desktop", {"text/plain"}}};
  write("sys/applications/mimeinfo.cache",
        "[MIME Cache]\ntext/plain=other.desktop;edit.desktop;\n");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("other.desktop", "edit.desktop"));
}

TEST_F(AssociationsTest, AreAddedToAndTakenFrom) {
  claims[1] = {{"edit.desktop", {"text/plain"}}, {"ide.desktop", {"text/plain"}}};
  write("conf/mimeapps.list", "[Added Associations]\ntext/plain=draw.desktop;\n"
                              "[Removed Associations]\ntext/plain=edit.desktop;\n");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("draw.desktop", "ide.desktop"));
  EXPECT_EQ(defaultOf("text/plain"), "draw.desktop");
  EXPECT_EQ(defaultOf("text/x-c"), "draw.desktop");
}

TEST_F(AssociationsTest, AreTakenFromByMoreImportantListsOnly) {
  claims[0] = {{"edit.desktop", {"text/plain"}}};
  write("sys/applications/mimeapps.list", "[Removed Associations]\ntext/plain=edit.desktop;\n");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("edit.desktop"));
}

TEST_F(AssociationsTest, AreTakenFromByTheListOfTheSameDirectory) {
  claims[1] = {{"edit.desktop", {"text/plain"}}, {"ide.desktop", {"text/plain"}}};
  write("sys/applications/mimeapps.list", "[Removed Associations]\ntext/plain=edit.desktop;\n");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("ide.desktop"));
  write("sys/applications/mimeinfo.cache", "[MIME Cache]\ntext/plain=edit.desktop;ide.desktop;\n");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("ide.desktop"));
}

TEST_F(AssociationsTest, CountOnlyForTheEntryThatCounts) {
  claims[0] = {{"edit.desktop", {}}};
  claims[1] = {{"edit.desktop", {"text/plain"}}};
  EXPECT_THAT(handlers("text/plain"), IsEmpty());
}

TEST_F(AssociationsTest, HaveDefaultsByTheMostImportantList) {
  claims[1] = {{"edit.desktop", {"text/plain"}}, {"ide.desktop", {"text/plain"}}};
  EXPECT_EQ(defaultOf("text/plain"), "edit.desktop");
  write("sys/applications/defaults.list", "[Default Applications]\ntext/plain=ide.desktop\n");
  EXPECT_EQ(defaultOf("text/plain"), "ide.desktop");
  write("own/applications/mimeapps.list",
        "[Default Applications]\ntext/plain=gone.desktop;edit.desktop;\n");
  EXPECT_EQ(defaultOf("text/plain"), "edit.desktop");
  directories.desktops = {"Example"};
  write("conf/example-mimeapps.list", "[Default Applications]\ntext/plain=draw.desktop\n"
                                      "[Removed Associations]\ntext/plain=edit.desktop\n");
  EXPECT_EQ(defaultOf("text/plain"), "draw.desktop");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("edit.desktop", "ide.desktop"));
  EXPECT_EQ(defaultOf("image/png"), "(none)");
}

TEST_F(AssociationsTest, PassOverAListThatIsMalformed) {
  claims[1] = {{"edit.desktop", {"text/plain"}}};
  write("conf/mimeapps.list", "text/plain=draw.desktop\n");
  EXPECT_THAT(handlers("text/plain"), ElementsAre("edit.desktop"));
  EXPECT_THAT(reports.notes, testing::SizeIs(1)); // it is read once
}

TEST_F(AssociationsTest, TakeManyOfAType) {
  std::string ids;
  for (int i = 0; i < 10'000; ++i)
    ids += std::to_string(i) + ".desktop;";
  write("conf/mimeapps.list", "[Added Associations]\ntext/plain=" + ids + "\n");
  EXPECT_EQ(handlers("text/plain").size(), 10'000U);
}

} // namespace
} // namespace tesker::test
