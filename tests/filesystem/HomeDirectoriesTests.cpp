// Tests run in child processes: a home is looked up once in the life of a process.
#include "filesystem/UsersAndGroups.h"
#include "platform/foundation/NSException.h"
#include "tests/filesystem/FakeUsers.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

NSString homeOf(std::optional<std::string> home) {
  FakeUsers system;
  system.users = {{"joe", 1000, 100, std::move(home)}};
  return homeDirectoryOfUser("joe"_ns);
}

DirFileUID identityOf(const std::string &path) {
  struct stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return {status.st_dev, status.st_ino};
}

TEST(HomeDirectoryOfUser, IsTheCleanPathOfTheDatabase) {
  LogCapture log;
  EXPECT_EQ(homeOf("/home//joe/"), "/home/joe"_ns);
  EXPECT_EQ(homeOf("/./home/joe"), "/home/joe"_ns);
  EXPECT_EQ(homeOf("/"), "/"_ns);
  EXPECT_THAT(log.logged, IsEmpty());
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(HomeDirectoryOfUser, IsNilWithoutAMessageForNoUserAndNoAbsoluteHome) {
  LogCapture log;
  EXPECT_FALSE(homeOf(std::nullopt));
  EXPECT_FALSE(homeOf(""));
  EXPECT_FALSE(homeOf("home/joe"));
  FakeUsers system;
  EXPECT_FALSE(homeDirectoryOfUser("nobody-of-that-name"_ns));
  EXPECT_THAT(log.logged, IsEmpty());
  EXPECT_THAT(log.syslogged, IsEmpty());
}

TEST(HomeDirectoryOfUser, LogsAHomeWithDotDot) {
  LogCapture log;
  EXPECT_FALSE(homeOf("/home/../joe"));
  EXPECT_THAT(log.logged, ElementsAre("Incorrect home for joe: /home/../joe"));
  EXPECT_THAT(log.syslogged, ElementsAre("*** Incorrect path: '/home/../joe'"));
}

TEST(HomeDirectoryOfUser, IsNilForANameWithANulWhateverStandsBeforeIt) {
  FakeUsers system;
  system.users = {{"joe", 1000, 100, "/home/joe"}};
  EXPECT_FALSE(homeDirectoryOfUser("joe\0x"_ns));
}

TEST(HomeDirectoryOfUser, TakesANameOfAnyLength) {
  EXPECT_FALSE(homeDirectoryOfUser(NSString::create(std::string(100000, 'j'))));
}

// User 1000, the current one, at home in a directory of its own, and user 2000 in another.
class IsHomeDirectory : public ::testing::Test {
protected:
  IsHomeDirectory() {
    system_.users = {{"joe", 1000, 100, directory_.makeDirectory("joe")},
                     {"ann", 2000, 100, directory_.makeDirectory("ann")}};
    system_.forget();
  }
  bool isHome(std::int32_t uid, const DirFileUID &identity, bool currentOnly = false) const {
    return isHomeDirectory(uid, identity, currentOnly, NSFileManager::classObject());
  }

  TemporaryDirectory directory_;
  FakeUsers system_;
};

TEST_F(IsHomeDirectory, ComparesTheIdentityWithThatOfTheHome) {
  inChild([this] {
    const auto joe = identityOf(directory_.path("joe"));
    EXPECT_TRUE(isHome(1000, joe));
    EXPECT_FALSE(isHome(2000, joe));
    EXPECT_FALSE(isHome(1000, {joe.device, joe.inode + 1}));
    EXPECT_FALSE(isHome(1000, {joe.device + 1, joe.inode}));
  });
}

TEST_F(IsHomeDirectory, FollowsALinkToTheHome) {
  inChild([this] {
    system_.users[0].home = directory_.makeLink("link", "ann");
    EXPECT_TRUE(isHome(1000, identityOf(directory_.path("ann"))));
  });
}

TEST_F(IsHomeDirectory, AnswersNoForAnotherUserWithCurrentOnlyWithoutLookingAnythingUp) {
  inChild([this] {
    EXPECT_FALSE(isHome(2000, identityOf(directory_.path("ann")), true));
    EXPECT_THAT(system_.log, ElementsAre("userId"));
    EXPECT_TRUE(isHome(1000, identityOf(directory_.path("joe")), true));
  });
}

TEST_F(IsHomeDirectory, LooksAHomeUpOnce) {
  inChild([this] {
    const auto joe = identityOf(directory_.path("joe"));
    EXPECT_TRUE(isHome(1000, joe));
    system_.forget();
    system_.users[0].home = directory_.path("ann");
    EXPECT_TRUE(isHome(1000, joe));
    EXPECT_THAT(system_.log, IsEmpty());
  });
}

TEST_F(IsHomeDirectory, LooksAHomeUpAgainOnceHomesAreForgotten) {
  inChild([this] {
    const auto ann = identityOf(directory_.path("ann"));
    EXPECT_FALSE(isHome(1000, ann));
    system_.users[0].home = directory_.path("ann");
    EXPECT_FALSE(isHome(1000, ann));
    forgetHomeDirectories();
    EXPECT_TRUE(isHome(1000, ann));
  });
}

TEST_F(IsHomeDirectory, RemembersAHomeThatIsNotKnownAsZeroes) {
  inChild([this] {
    system_.users[0].home = directory_.path("missing");
    EXPECT_FALSE(isHome(1000, identityOf(directory_.path())));
    EXPECT_TRUE(isHome(1000, {0, 0}));
    EXPECT_TRUE(isHome(4711, {0, 0})); // no such user
    directory_.makeDirectory("missing");
    EXPECT_FALSE(isHome(1000, identityOf(directory_.path("missing"))));
  });
}

// Answers every followed status with that of one path, or raises.
class OneAnswer final : public NSFileManager {
public:
  std::string answer;
  std::vector<std::string> asked;
  std::optional<NSFileAttributes> _privateStatDir(const NSString &dir,
                                                  const NSString &file) override {
    asked.emplace_back(dir.bytes());
    EXPECT_FALSE(file);
    if (answer.empty())
      throw NSException(NSGenericException, "no answer");
    return NSFileManager::_privateStatDir(NSString::create(answer), nullptr);
  }
};

TEST_F(IsHomeDirectory, AsksTheClassObjectThatItIsGiven) {
  inChild([this] {
    OneAnswer manager;
    manager.answer = directory_.path("ann");
    EXPECT_TRUE(isHomeDirectory(1000, identityOf(directory_.path("ann")), false, manager));
    EXPECT_THAT(manager.asked, ElementsAre(directory_.path("joe")));
  });
}

TEST_F(IsHomeDirectory, TakesAnExceptionForAHomeThatIsNotKnown) {
  inChild([this] {
    OneAnswer manager;
    EXPECT_FALSE(isHomeDirectory(1000, identityOf(directory_.path("joe")), false, manager));
    EXPECT_FALSE(isHome(1000, identityOf(directory_.path("joe"))));
    EXPECT_EQ(manager.asked.size(), 1u);
  });
}

TEST_F(IsHomeDirectory, KeepsUser0AndNegativeIdsApart) {
  inChild([this] {
    system_.users[0].uid = 0;
    system_.users[1].uid = static_cast<uid_t>(-2);
    EXPECT_TRUE(isHome(0, identityOf(directory_.path("joe"))));
    EXPECT_TRUE(isHome(-2, identityOf(directory_.path("ann"))));
  });
}

} // namespace
} // namespace tesker::test
