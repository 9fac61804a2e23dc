#include "desktop/EntryIcon.h"

#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

class EntryIcon : public testing::Test {
protected:
  std::string place(const std::string &file) {
    directory.writeFile(file, "x");
    return directory.path(file);
  }
  std::optional<std::string> find(const std::string &icon) const {
    return iconFileFor(icon, directories);
  }
  const TemporaryDirectory directory;
  const DesktopDirectories directories{.own = directory.path("own"),
                                       .data = {directory.path("own"), directory.path("system")},
                                       .configuration = {},
                                       .desktops = {}};
};

TEST_F(EntryIcon, IsThatOfTheBestSize) {
  (void)place("system/icons/hicolor/32x32/apps/edit.png");
  (void)place("system/icons/hicolor/scalable/apps/edit.svg");
  const std::string larger = place("system/icons/hicolor/64x64/apps/edit.png");
  EXPECT_EQ(find("edit"), larger);
  const std::string best = place("system/icons/hicolor/48x48/apps/edit.png");
  EXPECT_EQ(find("edit"), best);
}

TEST_F(EntryIcon, IsThatOfTheFirstDirectoryThatHasOne) {
  (void)place("system/icons/hicolor/48x48/apps/edit.png");
  const std::string own = place("own/pixmaps/edit.xpm");
  EXPECT_EQ(find("edit"), own);
}

TEST_F(EntryIcon, MayBeGivenByItsPathOrWithItsSuffix) {
  const std::string path = place("elsewhere/a.svg");
  const std::string named = place("system/pixmaps/edit.png");
  EXPECT_EQ(find(path), path);
  EXPECT_EQ(find("edit.png"), named);
}

TEST_F(EntryIcon, IsNotLookedForOutsideOfTheTheme) {
  (void)place("system/pixmaps/edit.png");
  (void)place("edit.png");
  (void)place("notes.txt");
  directory.makeDirectory("system/pixmaps/folder.png");
  for (const std::string &icon :
       {std::string("none"), std::string(), std::string("../pixmaps/edit"),
        directory.path("notes.txt"), directory.path("system/pixmaps/folder.png"),
        std::string("folder")})
    EXPECT_EQ(find(icon), std::nullopt) << icon;
}

} // namespace
} // namespace tesker::test
