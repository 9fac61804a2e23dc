#include "command/DesktopPlaces.h"

#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

class DesktopPlaces : public testing::Test {
protected:
  PreferredApplications imported(const std::string &text) {
    directory.writeFile("tesker/defaults/TeskerPreferredApplications.plist", text);
    return importedPreferences(problems);
  }
  const TemporaryDirectory directory;
  const ScopedEnvironment home{"HOME", "/home/me/"};
  const ScopedEnvironment data{"XDG_DATA_HOME", directory.path()};
  std::vector<std::string> problems;
};

TEST_F(DesktopPlaces, AreInTheHomeDirectoryUnlessTheEnvironmentSaysMore) {
  EXPECT_EQ(importedApplicationsDirectory(), directory.path("tesker/Applications"));
  const ScopedEnvironment relative("XDG_DATA_HOME", "relative");
  EXPECT_EQ(importedApplicationsDirectory(), "/home/me/.local/share/tesker/Applications");
}

TEST_F(DesktopPlaces, HoldTheDesktopsDefaults) {
  EXPECT_THAT(importedPreferences(problems), IsEmpty());
  EXPECT_THAT(problems, IsEmpty());
  EXPECT_THAT(imported("{ txt = \"/Apps/Edit\"; }"), ElementsAre(Pair("txt", "/Apps/Edit")));
  EXPECT_THAT(problems, IsEmpty());
}

TEST_F(DesktopPlaces, SayWhatIsWrongWithTheDefaults) {
  EXPECT_THAT(imported("{ txt = Edit; rtf = (Edit); }"), ElementsAre(Pair("txt", "Edit")));
  EXPECT_THAT(imported("{"), IsEmpty());
  EXPECT_THAT(problems, ElementsAre(HasSubstr("default for rtf files is not a name"),
                                    HasSubstr("the settings in this file are ignored")));
}

TEST_F(DesktopPlaces, CountWhereThePersonPrefersNothing) {
  PreferredApplications preferred{{"TXT", "Mine"}, {"rtf", "Mine"}};
  addWhatIsNotPreferred(preferred, {{"txt", "Desktop"}, {"rtf", "Desktop"}, {"png", "Desktop"}});
  EXPECT_THAT(preferred,
              ElementsAre(Pair("TXT", "Mine"), Pair("png", "Desktop"), Pair("rtf", "Mine")));
}

} // namespace
} // namespace tesker::test
