#include "platform/foundation/Files.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/RefusedSystemCall.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace tesker {
namespace {

using namespace std::string_view_literals;
using test::kOtherUser;
using test::TemporaryDirectory;
using testing::ElementsAre;

std::string contentsOrWhy(std::string_view path) {
  const Result<std::string> bytes = contentsOfFile(NSString::create(path));
  return bytes ? *bytes : "cannot be read";
}

std::vector<std::string> namesIn(const std::string &directory) {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(directory))
    names.push_back(entry.path().filename().string());
  return names;
}

class WriteFileTest : public testing::Test {
protected:
  // The errno of the write; 0 when it succeeded.
  int write(std::string_view name, std::string_view bytes) const {
    return writeFileAtomically(directory.string(name), bytes).error();
  }
  struct stat statusOf(std::string_view name) const {
    struct stat status {};
    EXPECT_EQ(::lstat(directory.path(name).c_str(), &status), 0);
    return status;
  }
  mode_t modeOf(std::string_view name) const { return statusOf(name).st_mode & 07777; }
  TemporaryDirectory directory;
};

TEST_F(WriteFileTest, ANewFileHoldsTheBytesAndNothingElseIsLeft) {
  EXPECT_EQ(write("f", "a\0b"sv), 0);
  EXPECT_EQ(contentsOrWhy(directory.path("f")), "a\0b"sv);
  EXPECT_EQ(write("empty", ""), 0);
  EXPECT_EQ(contentsOrWhy(directory.path("empty")), "");
  EXPECT_THAT(namesIn(directory.path()), testing::UnorderedElementsAre("f", "empty"));
}

TEST_F(WriteFileTest, AnExistingFileIsReplacedNotWrittenInto) {
  const std::string file = directory.writeFile("f", "old and long");
  const FileDescriptor reader(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(write("f", "new"), 0);
  EXPECT_EQ(contentsOrWhy(file), "new");
  char buffer[32];
  EXPECT_EQ(::read(reader.number(), buffer, sizeof buffer),
            12); // who has it open reads the old one
}

TEST_F(WriteFileTest, ANewFilesModeFollowsTheUmask) {
  const mode_t before = ::umask(027);
  EXPECT_EQ(write("f", "x"), 0);
  ::umask(before);
  EXPECT_EQ(modeOf("f"), 0640U);
}

TEST_F(WriteFileTest, AnExistingFileKeepsItsModeWhateverTheUmask) {
  for (const mode_t mode : {0600U, 0644U, 0666U, 0755U, 0400U, 0604U, 01640U}) {
    directory.writeFile("f", "old", mode);
    const mode_t before = ::umask(027);
    EXPECT_EQ(write("f", "x"), 0);
    ::umask(before);
    EXPECT_EQ(modeOf("f"), mode);
    ASSERT_EQ(::unlink(directory.path("f").c_str()), 0);
  }
}

TEST_F(WriteFileTest, WhatIsNotAFileHandsOnNoRights) {
  directory.writeFile("secret", "old", 0600);
  directory.makeLink("l", "secret");
  const mode_t before = ::umask(022);
  EXPECT_EQ(write("l", "x"), 0);
  ::umask(before);
  EXPECT_EQ(modeOf("l"), 0644U);
  EXPECT_EQ(contentsOrWhy(directory.path("secret")), "old");
}

TEST_F(WriteFileTest, OwnerAndGroupAreKeptByWhoMayGiveThem) {
  TESKER_SKIP_UNLESS_ROOT();
  const std::string file = directory.writeFile("f", "old");
  ASSERT_EQ(::chown(file.c_str(), kOtherUser, kOtherUser + 1), 0);
  ASSERT_EQ(::chmod(file.c_str(), 06754), 0);
  EXPECT_EQ(write("f", "new"), 0);
  const struct stat status = statusOf("f");
  EXPECT_EQ(status.st_uid, kOtherUser);
  EXPECT_EQ(status.st_gid, kOtherUser + 1);
  EXPECT_EQ(modeOf("f"), 06754U);
}

TEST_F(WriteFileTest, AnotherOwnersFileGivesNobodyMoreRights) {
  TESKER_SKIP_UNLESS_ROOT();
  struct Case {
    mode_t before, after;
  };
  ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
  for (const Case &modes : {Case{0640, 0600}, {0604, 0600}, {0664, 0644}, {04755, 0755}}) {
    const std::string file = directory.writeFile("f", "old", modes.before);
    test::inOrdinaryUsersChild([&] { EXPECT_EQ(write("f", "new"), 0); });
    EXPECT_EQ(statusOf("f").st_uid, kOtherUser);
    EXPECT_EQ(modeOf("f"), modes.after) << std::oct << modes.before;
    ASSERT_EQ(::unlink(file.c_str()), 0);
  }
}

TEST_F(WriteFileTest, TheGroupIsKeptWhereOnlyTheOwnerCannotBe) {
  TESKER_SKIP_UNLESS_ROOT();
  ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
  const std::string file = directory.writeFile("f", "old");
  ASSERT_EQ(::chown(file.c_str(), 0, kOtherUser), 0);
  ASSERT_EQ(::chmod(file.c_str(), 06640), 0);
  test::inOrdinaryUsersChild([&] { EXPECT_EQ(write("f", "new"), 0); });
  EXPECT_EQ(statusOf("f").st_uid, kOtherUser);
  EXPECT_EQ(statusOf("f").st_gid, kOtherUser);
  EXPECT_EQ(modeOf("f"), 0640U);
}

// An access list by which one more user may read, as the system keeps it: a version, and for each
// entry a kind, rights and an id.
std::string accessList() {
  struct Entry {
    std::uint16_t kind, rights;
    std::uint32_t id;
  };
  constexpr std::uint32_t kNobody = 0xFFFFFFFF, kVersion = 2;
  // The owner, the user, the group, the mask and all others.
  const Entry entries[] = {
      {1, 6, kNobody}, {2, 4, kOtherUser + 1}, {4, 0, kNobody}, {16, 4, kNobody}, {32, 0, kNobody}};
  std::string bytes(sizeof kVersion + sizeof entries, '\0');
  std::memcpy(bytes.data(), &kVersion, sizeof kVersion);
  std::memcpy(bytes.data() + sizeof kVersion, entries, sizeof entries);
  return bytes;
}

class AccessListTest : public WriteFileTest {
protected:
  // False where the file system has no such lists.
  static bool setList(const std::string &path, const char *which) {
    const std::string list = accessList();
    return ::setxattr(path.c_str(), which, list.data(), list.size(), 0) == 0;
  }
  std::string listOf(std::string_view name) const {
    std::string list(1000, '\0');
    const ssize_t size =
        ::getxattr(directory.path(name).c_str(), kAccess, list.data(), list.size());
    list.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return list;
  }
  static constexpr const char *kAccess = "system.posix_acl_access";
  static constexpr const char *kHandedOn = "system.posix_acl_default";
};

TEST_F(AccessListTest, IsKept) {
  if (!setList(directory.writeFile("f", "old"), kAccess))
    GTEST_SKIP() << "no access lists here";
  EXPECT_EQ(write("f", "new"), 0);
  EXPECT_EQ(listOf("f"), accessList());
  EXPECT_EQ(modeOf("f"), 0640U);
}

TEST_F(AccessListTest, OfTheDirectoryIsNotAddedToAFileThatHadNone) {
  directory.writeFile("f", "old", 0640);
  if (!setList(directory.path(), kHandedOn))
    GTEST_SKIP() << "no access lists here";
  EXPECT_EQ(write("f", "new"), 0);
  EXPECT_EQ(listOf("f"), "");
  EXPECT_EQ(modeOf("f"), 0640U);
}

TEST_F(AccessListTest, OfAnotherGroupLeavesRightsToNobodyButTheOwner) {
  TESKER_SKIP_UNLESS_ROOT();
  ASSERT_EQ(::chmod(directory.path().c_str(), 0777), 0);
  if (!setList(directory.writeFile("f", "old"), kAccess))
    GTEST_SKIP() << "no access lists here";
  ASSERT_EQ(::chmod(directory.path("f").c_str(), 0664), 0);
  test::inOrdinaryUsersChild([&] { EXPECT_EQ(write("f", "new"), 0); });
  EXPECT_EQ(statusOf("f").st_uid, kOtherUser);
  EXPECT_EQ(listOf("f"), "");
  EXPECT_EQ(modeOf("f"), 0600U);
}

TEST_F(AccessListTest, ThatCannotBeSetLeavesRightsToNobodyButTheOwner) {
  if (!setList(directory.writeFile("f", "old"), kAccess))
    GTEST_SKIP() << "no access lists here";
  test::inChild([&] {
    ASSERT_EQ(test::refuseSystemCall(SYS_fsetxattr, EPERM), 0);
    EXPECT_EQ(write("f", "new"), 0);
  });
  EXPECT_EQ(listOf("f"), "");
  EXPECT_EQ(modeOf("f"), 0600U);
}

// Looks at the modes that a file being written has on its way.
TEST_F(WriteFileTest, UntilItHasTheFormersRightsAFileIsItsMakersAlone) {
  class Watching final : public OperatingSystem {
  public:
    ssize_t write(int descriptor, const void *bytes, std::size_t size) override {
      watch(descriptor);
      return OperatingSystem::write(descriptor, bytes, size);
    }
    int changeDescriptorOwner(int descriptor, uid_t, gid_t) override {
      watch(descriptor);
      errno = EPERM;
      return -1;
    }
    int changeDescriptorMode(int, mode_t) override {
      errno = EPERM;
      return -1;
    }
    std::vector<mode_t> modes;

  private:
    void watch(int descriptor) {
      struct stat status {};
      EXPECT_EQ(statDescriptor(descriptor, status), 0);
      modes.push_back(status.st_mode & 07777);
    }
  };
  directory.writeFile("f", "old", 0666);
  Watching system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(write("f", "new"), 0);
  EXPECT_THAT(system.modes, ElementsAre(0600U, 0600U, 0600U));
}

TEST_F(WriteFileTest, ANameAsLongAsNamesCanBeIsWritten) {
  const std::string name(255, 'n');
  EXPECT_EQ(write(name, "x"), 0);
  EXPECT_EQ(contentsOrWhy(directory.path(name)), "x");
}

TEST_F(WriteFileTest, WhatOthersLeftUnderATemporaryNameIsNeitherUsedNorInTheWay) {
  ASSERT_EQ(write("f", "old"), 0);
  // Whatever name is tried first is taken by a link to a file that must not be written.
  class Taken final : public OperatingSystem {
  public:
    explicit Taken(const TemporaryDirectory &where) : where_(where) {}
    int openAt(int folder, const char *path, int flags, mode_t mode) override {
      if (links++ == 0) {
        EXPECT_EQ(::symlink(where_.path("f").c_str(), path), 0);
      }
      return OperatingSystem::openAt(folder, path, flags, mode);
    }
    int links = 0;

  private:
    const TemporaryDirectory &where_;
  };
  {
    Taken system(directory);
    const ScopedOperatingSystem inForce(system);
    EXPECT_EQ(write("g", "new"), 0);
    EXPECT_EQ(system.links, 2);
  }
  EXPECT_EQ(contentsOrWhy(directory.path("f")), "old");
  EXPECT_EQ(contentsOrWhy(directory.path("g")), "new");
}

TEST_F(WriteFileTest, ANewFileTakesSixCalls) {
  test::CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(write("f", "text"), 0);
  const std::string temporary = system.log[1].substr(system.log[1].find('/'));
  EXPECT_THAT(system.log,
              ElementsAre("statAt " + directory.path("f") + " nofollow", "open " + temporary,
                          "write " + temporary, "synchronize " + temporary, "close " + temporary,
                          "rename " + temporary + " " + directory.path("f")));
}

TEST_F(WriteFileTest, AFolderThatIsMissingIsAnswered) { EXPECT_EQ(write("none/f", "x"), ENOENT); }

TEST_F(WriteFileTest, ADirectoryIsNotReplacedAndNoFileIsLeft) {
  directory.makeDirectory("d");
  EXPECT_EQ(write("d", "x"), EISDIR);
  EXPECT_NE(write("d/", "x"), 0);
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("d"));
  EXPECT_THAT(namesIn(directory.path("d")), ElementsAre());
}

TEST_F(WriteFileTest, APathThatNamesNothingIsAnswered) {
  EXPECT_EQ(write("f\0g"sv, "x"), ENOENT);
  EXPECT_EQ(writeFileAtomically(""_ns, "x").error(), ENOENT);
  EXPECT_EQ(writeFileAtomically(nullptr, "x").error(), ENOENT);
  EXPECT_THAT(namesIn(directory.path()), ElementsAre());
}

// Makes one of the calls fail.
class FailingWrites final : public OperatingSystem {
public:
  ssize_t write(int descriptor, const void *bytes, std::size_t size) override {
    if (writeResult <= 0) {
      errno = writeResult < 0 ? ENOSPC : 0;
      return writeResult;
    }
    return OperatingSystem::write(descriptor, bytes,
                                  std::min(size, static_cast<std::size_t>(writeResult)));
  }
  int synchronize(int descriptor) override {
    errno = synchronizeError;
    return synchronizeError == 0 ? OperatingSystem::synchronize(descriptor) : -1;
  }
  int close(int descriptor) override {
    const int result = OperatingSystem::close(descriptor);
    errno = closeError;
    return closeError == 0 ? result : -1;
  }
  int rename(const char *oldPath, const char *newPath) override {
    errno = renameError;
    return renameError == 0 ? OperatingSystem::rename(oldPath, newPath) : -1;
  }
  ssize_t writeResult = 1 << 30; // at most so many bytes at a time
  int synchronizeError = 0;
  int closeError = 0;
  int renameError = 0;
};

class FailingWriteTest : public WriteFileTest {
protected:
  // A write that must fail with the error, change nothing and leave nothing.
  void expectFailure(int error) {
    EXPECT_EQ(write("f", "new"), error);
    EXPECT_THAT(namesIn(directory.path()), ElementsAre("f"));
    EXPECT_EQ(contentsOrWhy(directory.path("f")), "old");
  }
  void SetUp() override { directory.writeFile("f", "old"); }

  FailingWrites system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(FailingWriteTest, PartialWritesAreContinued) {
  system.writeResult = 3;
  EXPECT_EQ(write("f", "twelve bytes"), 0);
  EXPECT_EQ(contentsOrWhy(directory.path("f")), "twelve bytes");
}

TEST_F(FailingWriteTest, AFullDiskLeavesTheOldFileAndNoOther) {
  system.writeResult = -1;
  expectFailure(ENOSPC);
}

TEST_F(FailingWriteTest, AWriteThatMakesNoProgressIsAFailure) {
  system.writeResult = 0;
  expectFailure(EIO);
}

TEST_F(FailingWriteTest, AFailureToSynchronizeLeavesTheOldFileAndNoOther) {
  system.synchronizeError = EIO;
  expectFailure(EIO);
}

TEST_F(FailingWriteTest, AFailureToCloseLeavesTheOldFileAndNoOther) {
  system.closeError = EDQUOT;
  EXPECT_EQ(write("f", "new"), EDQUOT);
  system.closeError = 0;
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("f"));
  EXPECT_EQ(contentsOrWhy(directory.path("f")), "old");
}

TEST_F(FailingWriteTest, AFailureToRenameLeavesTheOldFileAndNoOther) {
  system.renameError = EACCES;
  expectFailure(EACCES);
}

} // namespace
} // namespace tesker
