#include "platform/foundation/NSUserDefaults.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/PropertyList.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

#include <string>

namespace tesker {
namespace {

using test::LogCapture;
using test::ScopedEnvironment;
using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

class UserDefaultsTest : public testing::Test {
protected:
  // Writes a domain's file under one of the configuration directories.
  std::string writeDomain(const std::string &directory, const std::string &domain,
                          std::string_view text) const {
    return files.writeFile(directory + "/tesker/defaults/" + domain + ".plist", text);
  }
  NSString get(std::string_view key) { return defaults.stringForKey(key); }
  void registerText(std::string_view text) {
    defaults.registerDefaults(*propertyList(text)->asDictionary());
  }

  TemporaryDirectory files;
  ScopedEnvironment home{"HOME", files.path("home")};
  ScopedEnvironment user{"XDG_CONFIG_HOME", files.path("user")};
  ScopedEnvironment system{"XDG_CONFIG_DIRS", files.path("site") + ":" + files.path("vendor")};
  LogCapture log;
  NSUserDefaults defaults;
};

TEST_F(UserDefaultsTest, TheStandardDefaultsAreTheSameEveryTime) {
  EXPECT_EQ(&NSUserDefaults::standardUserDefaults(), &NSUserDefaults::standardUserDefaults());
}

TEST_F(UserDefaultsTest, TheSearchListBeginsWithTheProgramsOwnDomain) {
  EXPECT_THAT(defaults.searchList(),
              ElementsAre("foundation-tests", "NSGlobalDomain", "NSRegistrationDomain"));
}

TEST_F(UserDefaultsTest, ADomainPutFirstStandsAheadOfAllOthers) {
  registerText("{rm = registered; tar = registered; }");
  writeDomain("user", "foundation-tests", "{rm = own; }");
  writeDomain("user", "Tesker", "{rm = mine; }");
  auto list = defaults.searchList();
  list.insert(list.begin(), "Tesker"_ns);
  defaults.setSearchList(list);
  EXPECT_THAT(defaults.searchList(),
              ElementsAre("Tesker", "foundation-tests", "NSGlobalDomain", "NSRegistrationDomain"));
  EXPECT_EQ(get("rm"), "mine");
  EXPECT_EQ(get("tar"), "registered");
}

TEST_F(UserDefaultsTest, TheListHandedInIsCopied) {
  auto list = defaults.searchList();
  defaults.setSearchList(list);
  list.pop_back();
  EXPECT_EQ(defaults.searchList().size(), 3U);
}

TEST_F(UserDefaultsTest, TheFirstDomainThatHasTheKeyWins) {
  registerText("{a = registered; b = registered; c = registered; d = registered; }");
  writeDomain("user", "foundation-tests", "{a = own; b = own; }");
  writeDomain("user", "NSGlobalDomain", "{b = global; c = global; }");
  EXPECT_EQ(get("a"), "own");
  EXPECT_EQ(get("b"), "own");
  EXPECT_EQ(get("c"), "global");
  EXPECT_EQ(get("d"), "registered");
  EXPECT_FALSE(get("e"));
  EXPECT_EQ(defaults.objectForKey("e"), nullptr);
}

TEST_F(UserDefaultsTest, ADomainThatIsNotInTheListIsNotAsked) {
  registerText("{a = registered; }");
  writeDomain("user", "NSGlobalDomain", "{b = global; }");
  defaults.setSearchList({"Tesker"_ns});
  EXPECT_FALSE(get("a"));
  EXPECT_FALSE(get("b"));
}

TEST_F(UserDefaultsTest, AValueThatIsNoStringIsNoStringAndStillWins) {
  registerText("{a = registered; }");
  writeDomain("user", "NSGlobalDomain", "{a = (1, 2); }");
  EXPECT_FALSE(get("a"));
  EXPECT_EQ(defaults.objectForKey("a")->description(), "(1, 2)");
}

TEST_F(UserDefaultsTest, RegisteringAgainAddsAndReplaces) {
  registerText("{a = 1; b = 1; }");
  registerText("{b = 2; c = 2; }");
  EXPECT_EQ(get("a"), "1");
  EXPECT_EQ(get("b"), "2");
  EXPECT_EQ(get("c"), "2");
}

TEST_F(UserDefaultsTest, TheRegistrationDomainHasNoFile) {
  writeDomain("user", "NSRegistrationDomain", "{a = 1; }");
  EXPECT_FALSE(get("a"));
}

TEST_F(UserDefaultsTest, ForEachKeyTheUsersFileComesFirstThenTheSystemsInOrder) {
  writeDomain("user", "Tesker", "{a = user; }");
  writeDomain("site", "Tesker", "{a = site; b = site; }");
  writeDomain("vendor", "Tesker", "{a = vendor; b = vendor; c = vendor; }");
  defaults.setSearchList({"Tesker"_ns});
  EXPECT_EQ(get("a"), "user");
  EXPECT_EQ(get("b"), "site");
  EXPECT_EQ(get("c"), "vendor");
}

TEST_F(UserDefaultsTest, ADomainsFilesComeBeforeTheNextDomain) {
  writeDomain("vendor", "Tesker", "{a = vendor; }");
  writeDomain("user", "NSGlobalDomain", "{a = user; }");
  defaults.setSearchList({"Tesker"_ns, "NSGlobalDomain"_ns});
  EXPECT_EQ(get("a"), "vendor");
}

TEST_F(UserDefaultsTest, WithoutAConfigurationHomeTheHomesOwnIsRead) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment unset("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(get("a"), "home");
}

TEST_F(UserDefaultsTest, AnEmptyConfigurationHomeCountsAsUnset) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment empty("XDG_CONFIG_HOME", "");
  EXPECT_EQ(get("a"), "home");
}

TEST_F(UserDefaultsTest, ARelativeConfigurationHomeIsIgnored) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment relative("XDG_CONFIG_HOME", "user");
  EXPECT_EQ(get("a"), "home");
}

// Knows one user, whose home is as given, and which files are opened; the reads are real.
class WithHome final : public OperatingSystem {
public:
  std::optional<UserEntry> userWithId(uid_t uid) override { return UserEntry{"u", uid, 0, home}; }
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    opened.emplace_back(path);
    return OperatingSystem::openAt(directory, path, flags, mode);
  }
  std::optional<std::string> home;
  std::vector<std::string> opened;
};

TEST_F(UserDefaultsTest, WithoutAHomeInTheEnvironmentThePasswordDatabaseTellsIt) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment noConfiguration("XDG_CONFIG_HOME", nullptr);
  const ScopedEnvironment noHome("HOME", "");
  WithHome withUser;
  withUser.home = files.path("home");
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "home");
}

TEST_F(UserDefaultsTest, WithoutAnyHomeTheSystemsFilesAreRead) {
  writeDomain("site", "Tesker", "{a = site; }");
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment noConfiguration("XDG_CONFIG_HOME", nullptr);
  const ScopedEnvironment noHome("HOME", nullptr);
  WithHome withUser;
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "site");
}

TEST_F(UserDefaultsTest, ARelativeHomeIsIgnored) {
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment noConfiguration("XDG_CONFIG_HOME", nullptr);
  const ScopedEnvironment relative("HOME", "home");
  WithHome withUser;
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_FALSE(get("a"));
  EXPECT_THAT(withUser.opened, ElementsAre(files.path("vendor/tesker/defaults/Tesker.plist"),
                                           files.path("site/tesker/defaults/Tesker.plist")));
}

TEST_F(UserDefaultsTest, RelativeAndEmptySystemDirectoriesAreIgnored) {
  writeDomain("vendor", "Tesker", "{a = vendor; }");
  defaults.setSearchList({"Tesker"_ns});
  const ScopedEnvironment directories("XDG_CONFIG_DIRS", "site::" + files.path("vendor") + ":../x");
  WithHome withUser;
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "vendor");
  EXPECT_THAT(withUser.opened, ElementsAre(files.path("vendor/tesker/defaults/Tesker.plist"),
                                           files.path("user/tesker/defaults/Tesker.plist")));
}

TEST_F(UserDefaultsTest, WithoutSystemDirectoriesTheStandardOneIsRead) {
  defaults.setSearchList({"Tesker"_ns});
  for (const char *value : {static_cast<const char *>(nullptr), ""}) {
    const ScopedEnvironment unset("XDG_CONFIG_DIRS", value);
    WithHome withUser;
    const ScopedOperatingSystem inForce(withUser);
    (void)NSUserDefaults().objectForKey("a");
    EXPECT_THAT(withUser.opened,
                testing::Contains("/etc/xdg/tesker/defaults/NSGlobalDomain.plist"));
  }
}

TEST_F(UserDefaultsTest, ADomainIsReadWhenItIsFirstSearchedAndOnlyThen) {
  WithHome withUser;
  const ScopedOperatingSystem inForce(withUser);
  defaults.setSearchList({"Tesker"_ns, "Later"_ns});
  EXPECT_THAT(withUser.opened, IsEmpty());
  writeDomain("user", "Tesker", "{a = 1; }");
  EXPECT_EQ(get("a"), "1");
  const std::size_t opened = withUser.opened.size();
  EXPECT_THAT(withUser.opened, testing::Each(testing::HasSubstr("Tesker.plist"))); // not "Later"
  writeDomain("user", "Tesker", "{a = 2; }");
  defaults.setSearchList({"Tesker"_ns});
  EXPECT_EQ(get("a"), "1");
  EXPECT_EQ(withUser.opened.size(), opened);
}

TEST_F(UserDefaultsTest, AMissingFileIsAnEmptyDomainWithoutAMessage) {
  defaults.setSearchList({"None"_ns});
  EXPECT_FALSE(get("a"));
  EXPECT_THAT(log.syslogged, IsEmpty());
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST_F(UserDefaultsTest, AMalformedFileIsLoggedOnceAndIsEmpty) {
  const std::string file = writeDomain("user", "Tesker", "{a = 1;\nb = ; }");
  writeDomain("site", "Tesker", "{a = site; }");
  defaults.setSearchList({"Tesker"_ns});
  EXPECT_EQ(get("a"), "site");
  EXPECT_FALSE(get("b"));
  defaults.setSearchList({"Tesker"_ns, "NSGlobalDomain"_ns});
  EXPECT_FALSE(get("b"));
  EXPECT_THAT(log.syslogged, ElementsAre("Ignoring defaults file " + file +
                                         ": expected a value at line 2, column 5"));
}

TEST_F(UserDefaultsTest, AFileThatHoldsNoDictionaryIsLoggedAndEmpty) {
  const std::string file = writeDomain("user", "Tesker", "(a, b)");
  defaults.setSearchList({"Tesker"_ns});
  EXPECT_FALSE(get("a"));
  EXPECT_THAT(log.syslogged,
              ElementsAre("Ignoring defaults file " + file + ": it holds no dictionary"));
}

TEST_F(UserDefaultsTest, AVolatileDomainHasJustItsPairsInPlaceOfThoseOfItsFiles) {
  writeDomain("user", "Tesker", "{a = file; b = file; }");
  defaults.setSearchList({"Tesker"_ns});
  EXPECT_EQ(get("a"), "file");
  const auto pairs = propertyListFromStringsFileFormat("a = given;");
  defaults.setVolatileDomain(*pairs, "Tesker");
  pairs->setObjectForKey("later"_ns, "a"_ns);
  EXPECT_EQ(get("a"), "given");
  EXPECT_FALSE(get("b"));
}

TEST_F(UserDefaultsTest, EachSetOfDefaultsIsItsOwn) {
  registerText("{a = 1; }");
  NSUserDefaults others;
  EXPECT_FALSE(others.stringForKey("a"));
  EXPECT_EQ(get("a"), "1");
}

TEST_F(UserDefaultsTest, TellAllPairsOfADomainThatIsNotSearched) {
  writeDomain("user", "Own", "{a = mine; }");
  writeDomain("site", "Own", "{a = site; b = site; }");
  const NSDictionary &pairs = defaults.pairsOfDomain("Own");
  EXPECT_EQ(pairs.count(), 2U);
  EXPECT_EQ(pairs.stringForKey("a"), "mine"_ns);
  EXPECT_FALSE(get("a"));
  EXPECT_EQ(defaults.pairsOfDomain("Missing").count(), 0U);
}

TEST_F(UserDefaultsTest, TellWhereAllFilesOfADomainAre) {
  const ScopedEnvironment site("XDG_CONFIG_DIRS", "/one:relative:/two/");
  std::vector<std::string> paths;
  for (const NSString &file : userDefaultsFiles("Own"))
    paths.emplace_back(file.bytes());
  EXPECT_THAT(paths, testing::ElementsAre(files.path("user") + "/tesker/defaults/Own.plist",
                                          "/one/tesker/defaults/Own.plist",
                                          "/two/tesker/defaults/Own.plist"));
}

TEST_F(UserDefaultsTest, TellWhereTheUsersOwnFileIs) {
  EXPECT_EQ(userDefaultsFile("Own").bytes(), files.path("user") + "/tesker/defaults/Own.plist");
  const ScopedEnvironment unset("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(userDefaultsFile("Own").bytes(),
            files.path("home") + "/.config/tesker/defaults/Own.plist");
  const ScopedEnvironment relative("HOME", "home");
  EXPECT_FALSE(userDefaultsFile("Own"));
}

} // namespace
} // namespace tesker
