#include "platform/foundation/NSUserDefaults.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/PropertyList.h"
#include "tests/foundation/ScopedEnvironment.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <string>

namespace tesker {
namespace {

using test::LogCapture;
using test::ScopedEnvironment;
using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

Ref<NSArray> listOf(std::initializer_list<std::string_view> names) {
  auto list = NSMutableArray::create();
  for (const auto name : names)
    list->addObject(NSString::create(name));
  return list;
}

class UserDefaultsTest : public testing::Test {
protected:
  // Writes a domain's file under one of the configuration directories.
  std::string writeDomain(const std::string &directory, const std::string &domain,
                          std::string_view text) const {
    return files.writeFile(directory + "/tesker/defaults/" + domain + ".plist", text);
  }
  // The text of the key; "nil" when no domain has it or it is no string.
  std::string get(std::string_view key) {
    const auto value = defaults->stringForKey(key);
    return value ? std::string(value->bytes()) : "nil";
  }
  void search(std::initializer_list<std::string_view> names) {
    defaults->setSearchList(*listOf(names));
  }
  void registerText(std::string_view text) {
    defaults->registerDefaults(*as<NSDictionary>(propertyList(text)));
  }

  TemporaryDirectory files;
  ScopedEnvironment home{"HOME", files.path("home")};
  ScopedEnvironment user{"XDG_CONFIG_HOME", files.path("user")};
  ScopedEnvironment system{"XDG_CONFIG_DIRS", files.path("site") + ":" + files.path("vendor")};
  LogCapture log;
  Ref<NSUserDefaults> defaults = NSUserDefaults::create();
};

TEST_F(UserDefaultsTest, TheStandardDefaultsAreTheSameEveryTime) {
  EXPECT_EQ(&NSUserDefaults::standardUserDefaults(), &NSUserDefaults::standardUserDefaults());
}

TEST_F(UserDefaultsTest, TheSearchListBeginsWithTheProgramsOwnDomain) {
  EXPECT_EQ(defaults->searchList()->description()->bytes(),
            "(foundation-tests, NSGlobalDomain, NSRegistrationDomain)");
}

TEST_F(UserDefaultsTest, ADomainPutFirstStandsAheadOfAllOthers) {
  registerText("{rm = registered; tar = registered; }");
  writeDomain("user", "foundation-tests", "{rm = own; }");
  writeDomain("user", "Tesker", "{rm = mine; }");
  const auto list = defaults->searchList()->mutableCopy();
  list->insertObject(NSString::create("Tesker"), 0);
  defaults->setSearchList(*list);
  EXPECT_EQ(defaults->searchList()->description()->bytes(),
            "(Tesker, foundation-tests, NSGlobalDomain, NSRegistrationDomain)");
  EXPECT_EQ(get("rm"), "mine");
  EXPECT_EQ(get("tar"), "registered");
}

TEST_F(UserDefaultsTest, TheListHandedInIsCopied) {
  const auto list = defaults->searchList()->mutableCopy();
  defaults->setSearchList(*list);
  list->removeLastObject();
  EXPECT_EQ(defaults->searchList()->count(), 3U);
}

TEST_F(UserDefaultsTest, TheFirstDomainThatHasTheKeyWins) {
  registerText("{a = registered; b = registered; c = registered; d = registered; }");
  writeDomain("user", "foundation-tests", "{a = own; b = own; }");
  writeDomain("user", "NSGlobalDomain", "{b = global; c = global; }");
  EXPECT_EQ(get("a"), "own");
  EXPECT_EQ(get("b"), "own");
  EXPECT_EQ(get("c"), "global");
  EXPECT_EQ(get("d"), "registered");
  EXPECT_EQ(get("e"), "nil");
  EXPECT_EQ(defaults->objectForKey("e").get(), nullptr);
}

TEST_F(UserDefaultsTest, ADomainThatIsNotInTheListIsNotAsked) {
  registerText("{a = registered; }");
  writeDomain("user", "NSGlobalDomain", "{b = global; }");
  search({"Tesker"});
  EXPECT_EQ(get("a"), "nil");
  EXPECT_EQ(get("b"), "nil");
}

TEST_F(UserDefaultsTest, AValueThatIsNoStringIsNoStringAndStillWins) {
  registerText("{a = registered; }");
  writeDomain("user", "NSGlobalDomain", "{a = (1, 2); }");
  EXPECT_EQ(get("a"), "nil");
  EXPECT_EQ(defaults->objectForKey("a")->description()->bytes(), "(1, 2)");
}

TEST_F(UserDefaultsTest, RegisteringAgainAddsAndReplaces) {
  registerText("{a = 1; b = 1; }");
  registerText("{b = 2; c = 2; }");
  EXPECT_EQ(get("a") + get("b") + get("c"), "122");
}

TEST_F(UserDefaultsTest, TheRegistrationDomainHasNoFile) {
  writeDomain("user", "NSRegistrationDomain", "{a = 1; }");
  EXPECT_EQ(get("a"), "nil");
}

TEST_F(UserDefaultsTest, ForEachKeyTheUsersFileComesFirstThenTheSystemsInOrder) {
  writeDomain("user", "Tesker", "{a = user; }");
  writeDomain("site", "Tesker", "{a = site; b = site; }");
  writeDomain("vendor", "Tesker", "{a = vendor; b = vendor; c = vendor; }");
  search({"Tesker"});
  EXPECT_EQ(get("a"), "user");
  EXPECT_EQ(get("b"), "site");
  EXPECT_EQ(get("c"), "vendor");
}

TEST_F(UserDefaultsTest, ADomainsFilesComeBeforeTheNextDomain) {
  writeDomain("vendor", "Tesker", "{a = vendor; }");
  writeDomain("user", "NSGlobalDomain", "{a = user; }");
  search({"Tesker", "NSGlobalDomain"});
  EXPECT_EQ(get("a"), "vendor");
}

TEST_F(UserDefaultsTest, WithoutAConfigurationHomeTheHomesOwnIsRead) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  search({"Tesker"});
  const ScopedEnvironment unset("XDG_CONFIG_HOME", nullptr);
  EXPECT_EQ(get("a"), "home");
}

TEST_F(UserDefaultsTest, AnEmptyConfigurationHomeCountsAsUnset) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  search({"Tesker"});
  const ScopedEnvironment empty("XDG_CONFIG_HOME", "");
  EXPECT_EQ(get("a"), "home");
}

TEST_F(UserDefaultsTest, ARelativeConfigurationHomeIsIgnored) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  search({"Tesker"});
  const ScopedEnvironment relative("XDG_CONFIG_HOME", "user");
  EXPECT_EQ(get("a"), "home");
}

// Knows one user, whose home is as given, and which files are opened; the reads are real.
class WithUser final : public OperatingSystem {
public:
  std::optional<UserEntry> userWithId(uid_t uid) override { return UserEntry{"u", uid, 0, home}; }
  int open(const char *path, int flags, mode_t mode) override {
    opened.emplace_back(path);
    return OperatingSystem::open(path, flags, mode);
  }
  std::optional<std::string> home;
  std::vector<std::string> opened;
};

TEST_F(UserDefaultsTest, WithoutAHomeInTheEnvironmentThePasswordDatabaseTellsIt) {
  writeDomain("home/.config", "Tesker", "{a = home; }");
  search({"Tesker"});
  const ScopedEnvironment noConfiguration("XDG_CONFIG_HOME", nullptr);
  const ScopedEnvironment noHome("HOME", "");
  WithUser withUser;
  withUser.home = files.path("home");
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "home");
}

TEST_F(UserDefaultsTest, WithoutAnyHomeTheSystemsFilesAreRead) {
  writeDomain("site", "Tesker", "{a = site; }");
  search({"Tesker"});
  const ScopedEnvironment noConfiguration("XDG_CONFIG_HOME", nullptr);
  const ScopedEnvironment noHome("HOME", nullptr);
  WithUser withUser;
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "site");
}

TEST_F(UserDefaultsTest, ARelativeHomeIsIgnored) {
  search({"Tesker"});
  const ScopedEnvironment noConfiguration("XDG_CONFIG_HOME", nullptr);
  const ScopedEnvironment relative("HOME", "home");
  WithUser withUser;
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "nil");
  EXPECT_THAT(withUser.opened, ElementsAre(files.path("vendor/tesker/defaults/Tesker.plist"),
                                           files.path("site/tesker/defaults/Tesker.plist")));
}

TEST_F(UserDefaultsTest, RelativeAndEmptySystemDirectoriesAreIgnored) {
  writeDomain("vendor", "Tesker", "{a = vendor; }");
  search({"Tesker"});
  const ScopedEnvironment directories("XDG_CONFIG_DIRS", "site::" + files.path("vendor") + ":../x");
  WithUser withUser;
  const ScopedOperatingSystem inForce(withUser);
  EXPECT_EQ(get("a"), "vendor");
  EXPECT_THAT(withUser.opened, ElementsAre(files.path("vendor/tesker/defaults/Tesker.plist"),
                                           files.path("user/tesker/defaults/Tesker.plist")));
}

TEST_F(UserDefaultsTest, WithoutSystemDirectoriesTheStandardOneIsRead) {
  search({"Tesker"});
  for (const char *value : {static_cast<const char *>(nullptr), ""}) {
    const ScopedEnvironment unset("XDG_CONFIG_DIRS", value);
    WithUser withUser;
    const ScopedOperatingSystem inForce(withUser);
    (void)NSUserDefaults::create()->objectForKey("a");
    EXPECT_THAT(withUser.opened,
                testing::Contains("/etc/xdg/tesker/defaults/NSGlobalDomain.plist"));
  }
}

TEST_F(UserDefaultsTest, ADomainIsReadWhenItIsFirstSearchedAndOnlyThen) {
  WithUser withUser;
  const ScopedOperatingSystem inForce(withUser);
  search({"Tesker", "Later"});
  EXPECT_THAT(withUser.opened, IsEmpty());
  writeDomain("user", "Tesker", "{a = 1; }");
  EXPECT_EQ(get("a"), "1");
  const std::size_t opened = withUser.opened.size();
  EXPECT_THAT(withUser.opened, testing::Each(testing::HasSubstr("Tesker.plist"))); // not "Later"
  writeDomain("user", "Tesker", "{a = 2; }");
  search({"Tesker"});
  EXPECT_EQ(get("a"), "1");
  EXPECT_EQ(withUser.opened.size(), opened);
}

TEST_F(UserDefaultsTest, AMissingFileIsAnEmptyDomainWithoutAMessage) {
  search({"None"});
  EXPECT_EQ(get("a"), "nil");
  EXPECT_THAT(log.syslogged, IsEmpty());
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST_F(UserDefaultsTest, AMalformedFileIsLoggedOnceAndIsEmpty) {
  const std::string file = writeDomain("user", "Tesker", "{a = 1;\nb = ; }");
  writeDomain("site", "Tesker", "{a = site; }");
  search({"Tesker"});
  EXPECT_EQ(get("a"), "site");
  EXPECT_EQ(get("b"), "nil");
  search({"Tesker", "NSGlobalDomain"});
  EXPECT_EQ(get("b"), "nil");
  EXPECT_THAT(log.syslogged, ElementsAre("Ignoring defaults file " + file +
                                         ": expected a value at line 2, column 5"));
}

TEST_F(UserDefaultsTest, AFileThatHoldsNoDictionaryIsLoggedAndEmpty) {
  const std::string file = writeDomain("user", "Tesker", "(a, b)");
  search({"Tesker"});
  EXPECT_EQ(get("a"), "nil");
  EXPECT_THAT(log.syslogged,
              ElementsAre("Ignoring defaults file " + file + ": it holds no dictionary"));
}

TEST_F(UserDefaultsTest, ElementsOfTheSearchListThatAreNoStringsArePassedOver) {
  registerText("{a = registered; }");
  defaults->setSearchList(*as<NSArray>(propertyList("((x), {y = z; }, NSRegistrationDomain)")));
  EXPECT_EQ(get("a"), "registered");
}

} // namespace
} // namespace tesker
