// What the caches do, on a real directory: the real system calls, counted, and a clock that ticks
// by hand. Files get change dates of the real clock; the clock of the caches is set beside it.
#include "caching/CachingFileManager.h"
#include "caching/GlobalStatCache.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

class RealDirectoryTest : public ::testing::Test {
protected:
  class Clocked final : public CountingOperatingSystem {
  public:
    // Far in the future, so that no real change falls in the second of a stamp.
    std::int64_t now = 2'000'000'000;
    std::int64_t currentTime() override { return now; }
  };

  RealDirectoryTest() {
    directory.writeFile("file", "text");
    directory.writeFile("other", "text");
    directory.makeDirectory("sub");
    directory.makeLink("link", "file");
    directory.makeLink("dangling", "nothing");
    // A directory that is removed may leave its inode number to that of the next test.
    manager().reset();
    manager().validate(7);
    system.forget();
  }

  static CachingFileManager &manager() { return CachingFileManager::classObject(); }
  std::optional<NSFileAttributes> lstat(const char *name) {
    return manager()._privateLstatDir(directory.string(), NSString::create(name));
  }
  std::optional<NSFileAttributes> stat(const char *name) {
    return manager()._privateStatDir(directory.string(), NSString::create(name));
  }
  Names names() { return manager().childrenForDirPath(directory.string()).value_or(Names()); }
  int type(const char *name) {
    return manager().getFilerTypeDir(directory.string(), NSString::create(name));
  }
  std::size_t stats() {
    const auto count = system.count("statAt");
    system.forget();
    return count;
  }
  void validateLater() {
    system.now += 10;
    manager().validate(7);
    // In place of the last directory.
    static_cast<void>(globalCachedDirStat("/"_ns, false));
    static_cast<void>(manager().getFilerTypeDir("/"_ns, "nothing"_ns));
    static_cast<void>(manager().getFilerTypeDir("/"_ns, "nothing"_ns));
    system.forget();
  }

  TemporaryDirectory directory;
  Clocked system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(RealDirectoryTest, ASecondLookUpMakesNoStat) {
  EXPECT_TRUE(lstat("file")->isRegular());
  EXPECT_TRUE(lstat("other")->isRegular());
  EXPECT_EQ(stats(), 3U) << "two files and the directory";
  EXPECT_TRUE(lstat("file")->isRegular());
  EXPECT_TRUE(stat("other")->isRegular());
  EXPECT_EQ(stats(), 0U);
}

TEST_F(RealDirectoryTest, AfterAValidationThereIsOneStatAndTheChangeIsSeen) {
  EXPECT_EQ(lstat("file")->fullPermissions(), S_IFREG | 0644);
  ASSERT_EQ(::chmod(directory.path("file").c_str(), 0600), 0);
  EXPECT_EQ(lstat("file")->fullPermissions(), S_IFREG | 0644);
  validateLater();
  EXPECT_EQ(lstat("file")->fullPermissions(), S_IFREG | 0600);
  EXPECT_EQ(system.countLine("statAt " + directory.path("file") + " nofollow"), 1U);
}

TEST_F(RealDirectoryTest, ALinkIsFollowedAgainOnEveryCall) {
  EXPECT_TRUE(stat("link")->isRegular());
  static_cast<void>(stats());
  std::filesystem::remove(directory.path("file"));
  EXPECT_FALSE(stat("link"));
  EXPECT_TRUE(lstat("link")->isLink());
  EXPECT_EQ(stats(), 1U);
}

TEST_F(RealDirectoryTest, TypesAreAsTheFileSystemHasThem) {
  EXPECT_EQ(type("file"), 3);
  EXPECT_EQ(type("sub"), 1);
  EXPECT_EQ(type("link"), 3);
  EXPECT_EQ(type("dangling"), 4);
  EXPECT_EQ(type("nothing"), 4);
  EXPECT_EQ(manager().getFilerTypeDir("/"_ns, "proc"_ns), 2) << "a mount point";
  EXPECT_EQ(manager().getFilerTypeDir("/dev"_ns, "null"_ns), 4);
  static_cast<void>(stats());
  EXPECT_EQ(type("file"), 3);
  EXPECT_EQ(type("sub"), 1);
  EXPECT_EQ(stats(), 0U);
}

TEST_F(RealDirectoryTest, AListingIsKeptUntilAValidationFindsTheDirectoryChanged) {
  const auto before = names();
  EXPECT_THAT(before, UnorderedElementsAre("file", "other", "sub", "link", "dangling"));
  system.forget();
  EXPECT_EQ(names(), before);
  EXPECT_TRUE(system.log.empty());
  validateLater();
  EXPECT_EQ(names(), before);
  EXPECT_EQ(system.count("openDirectory"), 0U);
  // Dated into the future, since all of this happens within one second.
  const utimbuf future{1'900'000'000, 1'900'000'000};
  directory.writeFile("new", "text");
  ASSERT_EQ(::utime(directory.path().c_str(), &future), 0);
  EXPECT_EQ(names(), before);
  validateLater();
  EXPECT_THAT(names(), UnorderedElementsAre("file", "other", "sub", "link", "dangling", "new"));
  EXPECT_EQ(system.count("openDirectory"), 1U);
}

TEST_F(RealDirectoryTest, TwoPathsToOneDirectoryShareTheAttributesOfItsFiles) {
  directory.makeLink("self", ".");
  static_cast<void>(lstat("file"));
  const NSString throughLink = directory.string("self");
  static_cast<void>(globalCachedDirStat(throughLink, true));
  system.forget();
  EXPECT_EQ(manager()._privateLstatDir(throughLink, "file"_ns), lstat("file"));
  EXPECT_EQ(stats(), 0U);
}

TEST_F(RealDirectoryTest, FlushDirGivesFreshAnswers) {
  static_cast<void>(lstat("file"));
  static_cast<void>(names());
  directory.writeFile("new", "text");
  ASSERT_EQ(::chmod(directory.path("file").c_str(), 0600), 0);
  static_cast<void>(lstat("other")); // in place of the last file
  manager().flushDir(directory.string());
  EXPECT_EQ(lstat("file")->fullPermissions(), S_IFREG | 0600);
  EXPECT_THAT(names(), ::testing::Contains("new"));
}

TEST_F(RealDirectoryTest, AccessIsJudgedFromTheCachedAttributes) {
  const auto may = [this](int mode, const char *name) {
    return manager().access(mode, directory.string(), NSString::create(name));
  };
  EXPECT_TRUE(may(4, "file"));
  EXPECT_FALSE(may(1, "file")) << "refused to the super-user, too";
  EXPECT_TRUE(may(0, "nothing"));
  system.forget();
  EXPECT_TRUE(may(6, "file"));
  EXPECT_EQ(system.count("access") + stats(), 0U);
}

} // namespace tesker::test
