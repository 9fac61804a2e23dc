#include "desktop/DesktopEntry.h"

#include "tests/support/ScopedEnvironment.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

EntryReading read(const std::string &lines, const std::vector<std::string> &desktops = {}) {
  return readDesktopEntry("[Desktop Entry]\nType=Application\nName=Edit\n" + lines, desktops);
}

TEST(DesktopEntry, IsAnApplication) {
  const ScopedEnvironment language("LANGUAGE", "de");
  const EntryReading reading =
      read("Name[de]=Bearbeiten\nExec=sh -c \"a\\\\sb\" %f\nIcon=edit\nPath=/tmp\nTerminal=true\n"
           "DBusActivatable=true\nMimeType=text/plain;text/x-c;\nX-Tesker-Program=/Apps/Edit\n");
  ASSERT_TRUE(reading.entry);
  EXPECT_EQ(reading.entry->name, "Edit");
  EXPECT_EQ(reading.entry->localName, "Bearbeiten");
  EXPECT_EQ(reading.entry->exec, "sh -c \"a\\sb\" %f");
  EXPECT_EQ(reading.entry->icon, "edit");
  EXPECT_EQ(reading.entry->directory, "/tmp");
  EXPECT_THAT(reading.entry->mimeTypes, ElementsAre("text/plain", "text/x-c"));
  EXPECT_TRUE(reading.entry->needsTerminal);
  EXPECT_TRUE(reading.entry->isActivatable);
  EXPECT_TRUE(reading.entry->isShown);
  EXPECT_EQ(reading.entry->exportedProgram, "/Apps/Edit");
}

TEST(DesktopEntry, IsNoneWithoutAWordWhereItIsOrdinary) {
  for (const char *lines : {"Exec=sh\nHidden=true\n", "Exec=sh\nType=Link\n",
                            "Exec=sh\nTryExec=/missing/program\n", "Exec=/missing/program\n"}) {
    const EntryReading reading = read(lines);
    EXPECT_FALSE(reading.entry) << lines;
    EXPECT_EQ(reading.fault, "") << lines;
  }
}

TEST(DesktopEntry, SaysWhatIsWrongWithIt) {
  EXPECT_THAT(read("Exec=sh \"a\n").fault, HasSubstr("not closed"));
  EXPECT_THAT(read("").fault, HasSubstr("neither Exec nor DBusActivatable"));
  EXPECT_THAT(read("Exec=sh\nname without a value\n").fault, HasSubstr("name without a value"));
  EXPECT_THAT(read(std::string("Exec=sh\n\0", 9)).fault, HasSubstr("NUL"));
  EXPECT_THAT(read("Name=\xff\nExec=sh\n").fault, HasSubstr("no Name"));
  EXPECT_THAT(readDesktopEntry("", {}).fault, HasSubstr("no group"));
  EXPECT_THAT(readDesktopEntry("[Desktop Entry]\nType=Application\nExec=sh\n", {}).fault,
              HasSubstr("no Name"));
}

TEST(DesktopEntry, NeedsNoLineToBeActivated) { EXPECT_TRUE(read("DBusActivatable=true\n").entry); }

TEST(DesktopEntry, IsShownAsItSays) {
  const auto isShown = [](const char *lines, const std::vector<std::string> &desktops) {
    return read(std::string("Exec=sh\n") + lines, desktops).entry->isShown;
  };
  EXPECT_FALSE(isShown("NoDisplay=true\n", {}));
  EXPECT_FALSE(isShown("OnlyShowIn=GNOME;KDE;\n", {}));
  EXPECT_FALSE(isShown("OnlyShowIn=GNOME;KDE;\n", {"XFCE"}));
  EXPECT_TRUE(isShown("OnlyShowIn=GNOME;KDE;\n", {"XFCE", "KDE"}));
  EXPECT_TRUE(isShown("NotShowIn=GNOME;\n", {}));
  EXPECT_FALSE(isShown("NotShowIn=GNOME;\n", {"ubuntu", "GNOME"}));
  EXPECT_TRUE(isShown("OnlyShowIn=ubuntu;\nNotShowIn=GNOME;\n", {"ubuntu", "GNOME"}));
}

} // namespace
} // namespace tesker::test
