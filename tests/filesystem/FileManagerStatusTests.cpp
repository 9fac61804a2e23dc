#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/NSException.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/FileManagers.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;

// A directory "d" with a file (0640), a subdirectory (0711) and links to both, to nothing and to
// itself.
class Status : public ::testing::Test {
protected:
  Status() {
    directory_.writeFile("d/file", "12345", 0640);
    directory_.makeDirectory("d/sub", 0711);
    directory_.makeLink("d/to-file", "file");
    directory_.makeLink("d/to-sub", "sub");
    directory_.makeLink("d/dangling", "nowhere");
    directory_.makeLink("d/loop", "loop");
  }
  mode_t lstatMode(std::string_view name) const {
    return manager().getLModeDir(dir_, NSString::create(name));
  }
  mode_t statMode(std::string_view name) const {
    return manager().getModeDir(dir_, NSString::create(name));
  }

  const TemporaryDirectory directory_;
  const NSString dir_ = directory_.string("d");
};

TEST_F(Status, DescribesAFinalLinkItselfOrWhatItLeadsTo) {
  EXPECT_EQ(lstatMode("to-file"), mode_t{0120777});
  EXPECT_EQ(statMode("to-file"), mode_t{0100640});
  EXPECT_EQ(lstatMode("to-sub"), mode_t{0120777});
  EXPECT_EQ(statMode("to-sub"), mode_t{0040711});
  EXPECT_EQ(lstatMode("file"), mode_t{0100640});
  EXPECT_EQ(statMode("file"), mode_t{0100640});
}

TEST_F(Status, OfADanglingLinkAndALinkLoopIsThatOfTheLinkOrNil) {
  for (const char *name : {"dangling", "loop"}) {
    const auto file = NSString::create(name);
    EXPECT_TRUE(manager()._privateLstatDir(dir_, file)->isLink());
    EXPECT_FALSE(manager()._privateStatDir(dir_, file));
    EXPECT_FALSE(manager()._privateStatNoMountDir(dir_, file));
  }
}

TEST_F(Status, OfNilIsTheDirectorysOwn) {
  EXPECT_EQ(manager().getLModeDir(directory_.string("d/sub"), nullptr), 0040711);
  EXPECT_EQ(manager().getModeDir(directory_.string("d/to-sub"), nullptr), 0040711);
  EXPECT_EQ(manager().getLModeDir(directory_.string("d/to-sub"), nullptr), 0120777);
}

TEST_F(Status, IsNilAndNumbersAreZeroForWhatIsNotThere) {
  const auto missing = "missing"_ns;
  EXPECT_FALSE(manager()._privateLstatDir(dir_, missing));
  EXPECT_FALSE(manager()._privateStatDir(dir_, missing));
  EXPECT_FALSE(manager()._privateStatNoMountDir(dir_, missing));
  EXPECT_EQ(manager().getLModeDir(dir_, missing), 0);
  EXPECT_EQ(manager().getModeDir(dir_, missing), 0);
  EXPECT_EQ(manager().devnumForLDir(dir_, missing), 0);
  EXPECT_EQ(manager().devnumForDir(dir_, missing), 0);
}

TEST_F(Status, IsNilForAPathWithANul) {
  EXPECT_FALSE(manager()._privateLstatDir(dir_, "file\0"_ns));
  EXPECT_FALSE(manager()._privateStatDir(dir_, "\0"_ns));
  EXPECT_FALSE(manager().fileAttributesAtPath("/\0"_ns, true));
  EXPECT_FALSE(manager().fileExistsAtPath("/\0"_ns));
}

TEST_F(Status, IsNilWhereTheDirectoryMayNotBeSearched) {
  ASSERT_EQ(::chmod(directory_.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(directory_.path("d").c_str(), 0444), 0);
  inOrdinaryUsersChild([&] { EXPECT_FALSE(manager()._privateLstatDir(dir_, "file"_ns)); });
}

TEST_F(Status, GivesTheDeviceNumber) {
  struct stat status {};
  ASSERT_EQ(::stat(directory_.path().c_str(), &status), 0);
  EXPECT_EQ(manager().devnumForLDir(dir_, "dangling"_ns), static_cast<std::int32_t>(status.st_dev));
  EXPECT_EQ(manager().devnumForDir(dir_, "to-sub"_ns), static_cast<std::int32_t>(status.st_dev));
  EXPECT_EQ(manager().devnumForDir(dir_, "dangling"_ns), 0);
}

TEST_F(Status, FileAttributesAtPathFollowsAFinalLinkOnRequest) {
  const auto path = directory_.string("d/to-file");
  EXPECT_TRUE(manager().fileAttributesAtPath(path, false)->isLink());
  EXPECT_TRUE(manager().fileAttributesAtPath(path, true)->isRegular());
}

TEST_F(Status, FileExistsAtPathFollowsLinks) {
  const auto exists = [&](const char *name) {
    return manager().fileExistsAtPath(directory_.string(name));
  };
  EXPECT_TRUE(exists("d"));
  EXPECT_TRUE(exists("d/to-file"));
  EXPECT_FALSE(exists("d/dangling"));
  EXPECT_FALSE(exists("d/missing"));
}

TEST_F(Status, DescribesSpecialFiles) {
  makeFifo(directory_.path("d/fifo"));
  makeSocket(directory_.path("d/socket"));
  EXPECT_EQ(lstatMode("fifo") & S_IFMT, mode_t{S_IFIFO});
  EXPECT_EQ(lstatMode("socket") & S_IFMT, mode_t{S_IFSOCK});
}

TEST_F(Status, DescribesADevice) {
  std::string device = directory_.path("d/device");
  if (::mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) != 0)
    device = "/dev/null";
  EXPECT_TRUE(manager().fileAttributesAtPath(NSString::create(device), false)->isDevice());
}

// Marks every link as a magic directory.
class MagicLinks : public CountingOperatingSystem {
public:
  MagicLinks() : scope_(*this) {}
  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    const int result = CountingOperatingSystem::statAt(directory, name, followLinks, status);
    if (S_ISLNK(status.st_mode))
      status.st_mode |= S_ISVTX;
    return result;
  }

private:
  ScopedOperatingSystem scope_;
};

TEST_F(Status, NoMountFollowsAnOrdinaryLink) {
  EXPECT_TRUE(manager()._privateStatNoMountDir(dir_, "to-sub"_ns)->isDirectory());
  EXPECT_TRUE(manager()._privateStatNoMountDir(dir_, "to-file"_ns)->isRegular());
  EXPECT_TRUE(manager()._privateStatNoMountDir(dir_, "sub"_ns)->isDirectory());
}

TEST_F(Status, NoMountDescribesAMagicDirectoryAsTheLinkAndNeverEntersIt) {
  const MagicLinks system;
  const auto attributes = manager()._privateStatNoMountDir(dir_, "to-sub"_ns);
  EXPECT_TRUE(attributes->isMagicDirectory());
  EXPECT_THAT(system.log, ElementsAre("statAt " + directory_.path("d/to-sub") + " nofollow"));
}

TEST_F(Status, NoMountExaminesWhatIsNoLinkOnce) {
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_TRUE(manager()._privateStatNoMountDir(dir_, "file"_ns));
  EXPECT_EQ(system.log.size(), 1u);
}

TEST_F(Status, IsSameDirHoldsForEqualPathsWithoutAskingTheSystem) {
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_TRUE(manager().isSameDir("/no/such"_ns, "/no/such"_ns));
  EXPECT_TRUE(manager().isSameDir("/no"_ns, nullptr, "/no"_ns, nullptr));
  EXPECT_TRUE(manager().isSameDir("/no"_ns, "such"_ns, "/no"_ns, "such"_ns));
  EXPECT_EQ(system.log.size(), 0u);
}

TEST_F(Status, IsSameDirHoldsForTwoPathsOfOneDirectory) {
  const auto sub = directory_.string("d/sub");
  const auto link = directory_.string("d/to-sub");
  EXPECT_TRUE(manager().isSameDir(sub, link));
  EXPECT_TRUE(manager().isSameDir(link, directory_.string("d/./sub")));
  EXPECT_FALSE(manager().isSameDir(sub, dir_));
}

TEST_F(Status, IsSameDirTakesPairs) {
  const auto sub = directory_.string("d/sub");
  EXPECT_TRUE(manager().isSameDir(dir_, "sub"_ns, dir_, "to-sub"_ns));
  EXPECT_TRUE(manager().isSameDir(dir_, "to-sub"_ns, sub, nullptr));
  EXPECT_TRUE(manager().isSameDir(sub, "."_ns, sub, nullptr));
  EXPECT_FALSE(manager().isSameDir(dir_, "sub"_ns, dir_, "file"_ns));
  EXPECT_FALSE(manager().isSameDir(dir_, "sub"_ns, dir_, nullptr));
}

TEST_F(Status, IsSameDirFailsWhereEitherCannotBeExamined) {
  const auto missing = directory_.string("missing");
  EXPECT_FALSE(manager().isSameDir(dir_, missing));
  EXPECT_FALSE(manager().isSameDir(missing, dir_));
  EXPECT_FALSE(manager().isSameDir(missing, directory_.string("missing2")));
  EXPECT_FALSE(manager().isSameDir(dir_, "dangling"_ns, dir_, "missing"_ns));
}

// Answers status requests as a cache would, with modes that tell which one was sent, or raises.
class Answering final : public NSFileManager {
public:
  bool raises = false;
  std::optional<NSFileAttributes> _privateLstatDir(const NSString &, const NSString &) override {
    return answer(S_IFLNK | 1);
  }
  std::optional<NSFileAttributes> _privateStatDir(const NSString &, const NSString &) override {
    return answer(S_IFREG | 2);
  }

private:
  NSFileAttributes answer(mode_t mode) const {
    if (raises)
      throw NSException(NSGenericException, "raised");
    struct stat status {};
    status.st_mode = mode;
    status.st_dev = mode & 7;
    return NSFileAttributes(status);
  }
};

TEST_F(Status, InheritedMethodsUseTheStatusOfTheSubclass) {
  Answering subclass;
  EXPECT_EQ(subclass.getLModeDir("/no"_ns, nullptr), S_IFLNK | 1);
  EXPECT_EQ(subclass.getModeDir("/no"_ns, nullptr), S_IFREG | 2);
  EXPECT_EQ(subclass.devnumForLDir("/no"_ns, nullptr), 1);
  EXPECT_EQ(subclass.devnumForDir("/no"_ns, nullptr), 2);
  EXPECT_TRUE(subclass._privateStatNoMountDir("/no"_ns, nullptr)->isRegular());
  EXPECT_TRUE(subclass.isSameDir("/no"_ns, "/other"_ns));
  EXPECT_TRUE(subclass.isSameDir("/no"_ns, "a"_ns, "/other"_ns, nullptr));
}

TEST_F(Status, IsSameDirTakesAnExceptionForNo) {
  Answering subclass;
  subclass.raises = true;
  EXPECT_FALSE(subclass.isSameDir("/no"_ns, "/other"_ns));
  EXPECT_FALSE(subclass.isSameDir("/no"_ns, "a"_ns, "/no"_ns, nullptr));
  EXPECT_TRUE(subclass.isSameDir("/no"_ns, "/no"_ns));
}

} // namespace
} // namespace tesker::test
