#include "command/SearchPath.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <cstdlib>
#include <gmock/gmock.h>
#include <set>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Knows which paths exist.
class KnownPaths final : public OperatingSystem {
public:
  explicit KnownPaths(std::set<std::string> paths) : paths_(std::move(paths)) {}
  int statAt(int, const char *name, bool, struct stat &) override {
    if (paths_.contains(name))
      return 0;
    errno = ENOENT;
    return -1;
  }

private:
  std::set<std::string> paths_;
};

class DefaultSearchPaths : public testing::Test {
protected:
  DefaultSearchPaths() {
    ::setenv("HOME", "/home/me/", 1);
    ::setenv("XDG_CONFIG_HOME", configuration.path().c_str(), 1);
    ::setenv("XDG_CONFIG_DIRS", "/missing", 1);
    ::unsetenv("XDG_DATA_HOME");
  }
  void set(const std::string &text) {
    configuration.writeFile("tesker/defaults/Tesker.plist", text);
  }
  static std::vector<std::string> paths() {
    NSUserDefaults defaults;
    return defaultSearchPaths(defaults);
  }
  const TemporaryDirectory configuration;
};

TEST_F(DefaultSearchPaths, AreThoseOfTheUsualPlacesThatExist) {
  KnownPaths some({"/home/me/Applications", "/Applications"});
  const ScopedOperatingSystem scope(some);
  EXPECT_THAT(paths(), ElementsAre("/home/me/Applications", "/Applications"));
}

TEST_F(DefaultSearchPaths, EndWithWhatTheDesktopHas) {
  KnownPaths some(
      {"/Applications", "/home/me/.local/share/tesker/Applications", "/data/tesker/Applications"});
  const ScopedOperatingSystem scope(some);
  EXPECT_THAT(paths(), ElementsAre("/Applications", "/home/me/.local/share/tesker/Applications"));
  ::setenv("XDG_DATA_HOME", "/data//", 1);
  EXPECT_THAT(paths(), ElementsAre("/Applications", "/data/tesker/Applications"));
}

TEST_F(DefaultSearchPaths, AreNoneWhereNothingExists) {
  KnownPaths none({});
  const ScopedOperatingSystem scope(none);
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(DefaultSearchPaths, NameNoPlaceTwice) {
  ::setenv("HOME", "/", 1);
  KnownPaths some({"/Applications"});
  const ScopedOperatingSystem scope(some);
  EXPECT_THAT(paths(), ElementsAre("/Applications"));
}

TEST_F(DefaultSearchPaths, AreTheSettingWhetherOrNotTheyExist) {
  set("{ ApplicationPaths = (\"/one\", \"~/two\", \"~\", \"~me\", (\"no\"), \"\\377\"); }");
  EXPECT_THAT(paths(), ElementsAre("/one", "/home/me/two", "/home/me", "~me", "\xC3\xBF"));
}

TEST_F(DefaultSearchPaths, MayBeASettingOfOneString) {
  set("{ ApplicationPaths = \"/only\"; }");
  EXPECT_THAT(paths(), ElementsAre("/only"));
}

TEST_F(DefaultSearchPaths, AreNoneWhenTheSettingHoldsNone) {
  set("{ ApplicationPaths = (); }");
  EXPECT_THAT(paths(), IsEmpty());
}

TEST_F(DefaultSearchPaths, SayWhichElementsAreNotPaths) {
  set("{ ApplicationPaths = (\"/one\", (\"no\"),\n  <00>); }");
  const std::string file = configuration.path("tesker/defaults/Tesker.plist");
  const std::string what = ": this element of ApplicationPaths is not a string; it is ignored";
  EXPECT_THAT(problemsOfDefaultSearchPaths(),
              ElementsAre(file + ":1:31" + what, file + ":2:3" + what));
}

TEST_F(DefaultSearchPaths, HaveNoProblemsWhereTheSettingIsRightOrMissing) {
  EXPECT_THAT(problemsOfDefaultSearchPaths(), IsEmpty());
  for (const char *text : {"{ Other = (1, ()); }", "{ ApplicationPaths = \"/only\"; }",
                           "{ ApplicationPaths = (\"/one\"); }", "{ ApplicationPaths = (); }"}) {
    set(text);
    EXPECT_THAT(problemsOfDefaultSearchPaths(), IsEmpty()) << text;
  }
}

TEST_F(DefaultSearchPaths, DoNotLookBeyondTheFileThatHasTheSetting) {
  const TemporaryDirectory site;
  ::setenv("XDG_CONFIG_DIRS", site.path().c_str(), 1);
  const std::string broken = site.writeFile("tesker/defaults/Tesker.plist", "{ broken");
  set("{ ApplicationPaths = \"/only\"; }");
  EXPECT_THAT(problemsOfDefaultSearchPaths(), IsEmpty());
  set("{ }");
  EXPECT_THAT(problemsOfDefaultSearchPaths(), ElementsAre(testing::StartsWith(broken + ":1:9: ")));
}

TEST_F(DefaultSearchPaths, LeaveTheSearchListAsItWas) {
  NSUserDefaults defaults;
  const std::vector<NSString> before = defaults.searchList();
  (void)defaultSearchPaths(defaults);
  EXPECT_EQ(defaults.searchList(), before);
}

} // namespace
} // namespace tesker::test
