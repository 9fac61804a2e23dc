#include "desktop/Import.h"

#include "desktop/ImportedWrapper.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/PropertyList.h"
#include "tests/desktop/KeptReports.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

DesktopApplication application(const std::string &id, const std::string &name,
                               std::set<std::string> extensions = {}) {
  return {{.id = id, .file = "/" + id, .name = name, .exec = "sh %F"}, std::move(extensions)};
}

class Import : public testing::Test {
protected:
  Import() {
    directory.makeDirectory("Applications");
    desktop.applications = {application("edit.desktop", "Edit", {"md", "txt"}),
                            application("draw.desktop", "Draw")};
    desktop.defaults = {{"txt", "edit.desktop"}};
  }
  // What has changed, a line each.
  std::vector<std::string> import(const Wishes &wishes = {}) {
    outcome = importDesktop(desktop, places, wishes, reports);
    std::vector<std::string> lines;
    for (const ImportChange &change : outcome.changes)
      lines.push_back(std::string(1, "+*-"[static_cast<int>(change.kind)]) + change.wrapper);
    if (outcome.changesPreferences)
      lines.emplace_back("defaults");
    return lines;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto &entry : std::filesystem::directory_iterator(places.applications))
      found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }
  std::string contents(const std::string &path) const {
    const Result<std::string> bytes = contentsOfFile(NSString::create(path));
    return bytes ? *bytes : "(none)";
  }

  const TemporaryDirectory directory;
  const ImportPlaces places{directory.path("Applications"), directory.path("defaults/Pref.plist")};
  KeptReports reports;
  Desktop desktop;
  ImportOutcome outcome;
};

TEST_F(Import, MakesAWrapperForEachApplication) {
  EXPECT_THAT(import(), ElementsAre("+Draw.app", "+Edit.app", "defaults"));
  const std::string edit = places.applications + "/Edit.app";
  EXPECT_THAT(contents(edit + "/Edit"), HasSubstr("exec 'sh' \"$@\""));
  EXPECT_EQ(contents(edit + "/Resources/desktop-entry"), "edit.desktop\n");
  const auto list = propertyList(contents(edit + "/Resources/Info-quorvale.plist"));
  EXPECT_EQ(list->description(),
            "{NSExecutable = Edit; NSTypes = ({NSExtensions = (md, txt); }); }"_ns);
  const auto defaults = propertyList(contents(places.preferences));
  EXPECT_EQ(defaults->asDictionary()->stringForKey("txt"), NSString::create(edit + "/Edit"));
  EXPECT_THAT(reports.failures, IsEmpty());
}

TEST_F(Import, ChangesNothingTheSecondTime) {
  (void)import();
  const auto before = std::filesystem::last_write_time(places.applications);
  EXPECT_THAT(import(), IsEmpty());
  EXPECT_EQ(outcome.unchanged, 2U);
  EXPECT_EQ(std::filesystem::last_write_time(places.applications), before);
}

TEST_F(Import, ChangesOnlyWhatHasChanged) {
  (void)import();
  desktop.applications[0].extensions.insert("text");
  EXPECT_THAT(import(), ElementsAre("*Edit.app"));
  desktop.applications[0].entry.exec = "sh --new %F";
  EXPECT_THAT(import(), ElementsAre("*Edit.app"));
  desktop.defaults.emplace("md", "edit.desktop");
  EXPECT_THAT(import(), ElementsAre("defaults"));
  std::filesystem::permissions(places.applications + "/Draw.app/Draw",
                               std::filesystem::perms(0644));
  EXPECT_THAT(import(), ElementsAre("*Draw.app"));
  EXPECT_THAT(import(), IsEmpty());
}

TEST_F(Import, BringsTheIcon) {
  directory.writeFile("edit.png", "a picture");
  desktop.applications[0].iconFile = directory.path("edit.png");
  (void)import();
  const std::string resources = places.applications + "/Edit.app/Resources";
  EXPECT_EQ(contents(resources + "/icon.png"), "a picture");
  EXPECT_THAT(contents(resources + "/Info-quorvale.plist"), HasSubstr("NSIcon = icon.png;"));
  EXPECT_THAT(import(), IsEmpty());
  directory.writeFile("edit.png", "another");
  EXPECT_THAT(import(), ElementsAre("*Edit.app"));
  EXPECT_EQ(contents(resources + "/icon.png"), "another");
  std::filesystem::remove(directory.path("edit.png"));
  EXPECT_THAT(import(), ElementsAre("*Edit.app"));
  EXPECT_EQ(contents(resources + "/icon.png"), "(none)");
  desktop = {};
  EXPECT_THAT(import(), ElementsAre("-Draw.app", "-Edit.app", "defaults"));
}

TEST_F(Import, LeavesOutAnIconThatIsFarTooLarge) {
  directory.writeFile("edit.png", std::string((1U << 20) + 1, 'x'));
  desktop.applications[0].iconFile = directory.path("edit.png");
  EXPECT_THAT(import(), ElementsAre("+Draw.app", "+Edit.app", "defaults"));
  EXPECT_THAT(reports.notes, ElementsAre(HasSubstr("edit.png: far too large")));
  EXPECT_THAT(reports.failures, IsEmpty());
}

TEST_F(Import, RemovesWhatIsGone) {
  (void)import();
  desktop.applications.pop_back();
  EXPECT_THAT(import(), ElementsAre("-Draw.app"));
  EXPECT_THAT(names(), ElementsAre("Edit.app"));
}

TEST_F(Import, RemovesNothingWhereItMayNot) {
  (void)import();
  desktop = {};
  EXPECT_THAT(import({.remove = false}), IsEmpty());
  EXPECT_THAT(names(), ElementsAre("Draw.app", "Edit.app"));
}

TEST_F(Import, RemovesAllThatItHasMadeForAnEmptyDesktop) {
  (void)import();
  desktop = {};
  EXPECT_THAT(import(), ElementsAre("-Draw.app", "-Edit.app", "defaults"));
  EXPECT_THAT(names(), IsEmpty());
  EXPECT_EQ(contents(places.preferences), "(none)");
  EXPECT_THAT(import(), IsEmpty());
}

TEST_F(Import, OnlySaysWhatItWouldDo) {
  EXPECT_THAT(import({.change = false}), ElementsAre("+Draw.app", "+Edit.app", "defaults"));
  EXPECT_THAT(names(), IsEmpty());
  (void)import();
  desktop = {};
  EXPECT_THAT(import({.change = false}), ElementsAre("-Draw.app", "-Edit.app", "defaults"));
  EXPECT_THAT(names(), ElementsAre("Draw.app", "Edit.app"));
  EXPECT_NE(contents(places.preferences), "(none)");
}

TEST_F(Import, LeavesAloneWhatItHasNotMade) {
  directory.writeFile("Applications/Edit.app/Edit", "mine");
  directory.writeFile("Applications/Draw.app", "mine, too");
  directory.writeFile("Applications/notes", "");
  EXPECT_THAT(import(), ElementsAre("+Draw (draw).app", "+Edit (edit).app", "defaults"));
  EXPECT_THAT(import(), IsEmpty());
  desktop = {};
  EXPECT_THAT(import(), ElementsAre("-Draw (draw).app", "-Edit (edit).app", "defaults"));
  EXPECT_THAT(names(), ElementsAre("Draw.app", "Edit.app", "notes"));
  EXPECT_EQ(contents(places.applications + "/Edit.app/Edit"), "mine");
}

TEST_F(Import, LeavesAloneAWrapperThatSomebodyHasAddedTo) {
  (void)import();
  directory.writeFile("Applications/Draw.app/Resources/notes", "mine");
  desktop.applications.pop_back();
  EXPECT_THAT(import(), IsEmpty());
  EXPECT_EQ(contents(places.applications + "/Draw.app/Resources/notes"), "mine");
}

TEST_F(Import, FollowsNoLinksInPlaceOfWrappers) {
  directory.makeDirectory("elsewhere");
  (void)import();
  std::filesystem::rename(places.applications + "/Draw.app", directory.path("elsewhere/Draw.app"));
  directory.makeLink("Applications/Draw.app", directory.path("elsewhere/Draw.app"));
  desktop = {};
  EXPECT_THAT(import(), ElementsAre("-Edit.app", "defaults"));
  EXPECT_TRUE(std::filesystem::exists(directory.path("elsewhere/Draw.app/Draw")));
}

TEST_F(Import, PassesOverWhatExportHasMadeButForAChosenDefault) {
  (void)import();
  DesktopApplication exported = application("tesker-Paint.desktop", "Paint", {"paint"});
  exported.entry.exportedProgram = "/Apps/Paint.app/Paint";
  desktop.applications.push_back(exported);
  EXPECT_THAT(import(), IsEmpty());
  desktop.defaults.emplace("paint", exported.entry.id);
  EXPECT_THAT(import(), ElementsAre("defaults"));
  EXPECT_THAT(contents(places.preferences), HasSubstr("/Apps/Paint.app/Paint"));
}

TEST_F(Import, SaysWhatItCannotDo) {
  desktop.applications[0].entry.name = "Edit";
  std::filesystem::remove(places.applications);
  directory.writeFile("Applications", "a file");
  EXPECT_THAT(import(), IsEmpty());
  EXPECT_THAT(reports.failures, ElementsAre(HasSubstr("Applications")));
}

} // namespace
} // namespace tesker::test
