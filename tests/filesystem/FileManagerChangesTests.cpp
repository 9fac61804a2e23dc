#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/NSException.h"
#include "tests/filesystem/UnixErrorProbe.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/FileManagers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The mode of the path itself; 0 where there is nothing.
mode_t modeOf(const std::string &path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

// An operating system in which some calls raise.
class Raising : public OperatingSystem {
public:
  Raising() : scope_(*this) {}
  int makeDirectory(const char *, mode_t) override { raise(); }
  int statAt(int, const char *, bool, struct stat &) override { raise(); }

private:
  [[noreturn]] static void raise() { throw NSException(NSGenericException, "raised"); }
  ScopedOperatingSystem scope_;
};

// The new mode that the masked change asks for; 0 when it asks for nothing.
mode_t changeTo(mode_t mode, mode_t mask, mode_t oldMode, bool autoSetExec) {
  struct ModeRecorder : OperatingSystem {
    mode_t asked = 0;
    int changeMode(const char *, mode_t wanted) override {
      asked = wanted;
      return 0;
    }
  } system;
  const ScopedOperatingSystem scope(system);
  EXPECT_TRUE(manager().changePermissions(mode, mask, "/path"_ns, oldMode, autoSetExec));
  return system.asked;
}

TEST(ChangePermissions, SetsTheMode) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("file", "", 0644);
  EXPECT_TRUE(manager().changePermissions(04751, NSString::create(file)));
  EXPECT_EQ(modeOf(file), mode_t{S_IFREG | 04751});
}

TEST(ChangePermissions, FailsWhereTheSystemRefuses) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("file", "", 0644);
  EXPECT_FALSE(manager().changePermissions(0600, directory.string("missing")));
  EXPECT_FALSE(manager().changePermissions(0600, NSString::create(file + std::string(1, '\0'))));
}

TEST(ChangePermissions, FailsForAFileOfAnotherUser) {
  TESKER_SKIP_UNLESS_ROOT();
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("file", "", 0644);
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  inOrdinaryUsersChild([&] {
    EXPECT_FALSE(manager().changePermissions(0600, NSString::create(file)));
    EXPECT_FALSE(manager().changePermissions(0600, 0777, NSString::create(file), 0100644, false));
  });
  EXPECT_EQ(modeOf(file), mode_t{S_IFREG | 0644});
}

TEST(MaskedChangePermissions, ChangesTheBitsOfTheMaskOnly) {
  EXPECT_EQ(changeTo(0077, 0070, 0100600, false), mode_t{0100670});
  EXPECT_EQ(changeTo(0000, 0222, 0100666, false), mode_t{0100444});
}

TEST(MaskedChangePermissions, GivesADirectorySearchPermissionWithReadPermission) {
  EXPECT_EQ(changeTo(0644, 0777, 040700, true), mode_t{040755});
  EXPECT_EQ(changeTo(0644, 0777, 040700, false), mode_t{040644});
}

TEST(MaskedChangePermissions, TakesSearchPermissionAwayWithReadPermission) {
  EXPECT_EQ(changeTo(0711, 0777, 040755, true), mode_t{040700});
}

TEST(MaskedChangePermissions, AddsTheExecuteBitsOfTheMasksReadBits) {
  // Only the group's read permission is named; its search permission comes along.
  EXPECT_EQ(changeTo(0040, 0040, 040700, true), mode_t{040750});
  EXPECT_EQ(changeTo(0000, 0040, 040750, true), mode_t{040700});
  // Search permission alone cannot be given: it follows the read bit.
  EXPECT_EQ(changeTo(0010, 0010, 040710, true), mode_t{040700});
}

TEST(MaskedChangePermissions, NeverGivesARegularFileExecuteBitsByItself) {
  EXPECT_EQ(changeTo(0644, 0777, 0100600, true), mode_t{0100644});
  EXPECT_EQ(changeTo(0755, 0777, 0100600, true), mode_t{0100755}); // asked for
}

TEST(MaskedChangePermissions, TakesOnlyDirectoriesForDirectories) {
  // A block device and a socket have the directory's bit among their type bits.
  EXPECT_EQ(changeTo(0644, 0777, 0060600, true), mode_t{0060644});
  EXPECT_EQ(changeTo(0644, 0777, 0140600, true), mode_t{0140644});
}

TEST(MaskedChangePermissions, MakesNoCallWhenNothingChangesEvenForAMissingPath) {
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_TRUE(manager().changePermissions(0644, 0777, "/no/such/path"_ns, 0100644, false));
  EXPECT_TRUE(manager().changePermissions(0644, 0777, "/no/such/path"_ns, 040755, true));
  EXPECT_TRUE(manager().changePermissions(0777, 0, "/no/such/path"_ns, 0100644, false));
  EXPECT_THAT(system.log, IsEmpty());
  EXPECT_FALSE(manager().changePermissions(0600, 0777, "/no/such/path"_ns, 0100644, false));
  EXPECT_THAT(system.log, ElementsAre("changeMode /no/such/path"));
}

TEST(MaskedChangePermissions, ChangesARealDirectory) {
  const TemporaryDirectory directory;
  const std::string path = directory.makeDirectory("inner", 0700);
  EXPECT_TRUE(manager().changePermissions(0644, 0777, NSString::create(path), 040700, true));
  EXPECT_EQ(modeOf(path), mode_t{S_IFDIR | 0755});
}

TEST(CreateDirectory, MakesItWithTheModeLessTheUmask) {
  const TemporaryDirectory directory;
  const mode_t before = ::umask(027);
  manager().createDirectoryAtPath(directory.string("new"), 0777);
  ::umask(before);
  EXPECT_EQ(modeOf(directory.path("new")), mode_t{S_IFDIR | 0750});
}

TEST(CreateDirectory, DoesNotReportItsOutcome) {
  const TemporaryDirectory directory;
  const UnixErrorProbe errors;
  manager().createDirectoryAtPath(directory.string(), 0777);
  manager().createDirectoryAtPath(directory.string("no/such"), 0777);
  manager().createDirectoryAtPath("/tmp\0/x"_ns, 0777);
  EXPECT_THAT(errors.paths, IsEmpty());
  EXPECT_EQ(modeOf(directory.path("no")), mode_t{0});
}

TEST(CreateDirectory, PassesAnExceptionThroughTheErrorHook) {
  const Raising system;
  const UnixErrorProbe errors;
  manager().createDirectoryAtPath("/path"_ns, 0777);
  EXPECT_THAT(errors.paths, ElementsAre("/path"));
}

TEST(RenameOld, RenamesAndAdvancesTheGeneration) {
  const TemporaryDirectory directory;
  const UnixErrorProbe errors;
  directory.writeFile("old", "contents");
  const std::uint32_t before = generation;
  manager().renameOld(directory.string("old"), directory.string("new"));
  EXPECT_EQ(generation, before + 1);
  EXPECT_EQ(modeOf(directory.path("old")), mode_t{0});
  EXPECT_NE(modeOf(directory.path("new")), mode_t{0});
  EXPECT_THAT(errors.paths, IsEmpty());
}

TEST(RenameOld, AdvancesTheGenerationEvenWhenItFails) {
  const TemporaryDirectory directory;
  const UnixErrorProbe errors;
  const std::uint32_t before = generation;
  manager().renameOld(directory.string("missing"), directory.string("new"));
  EXPECT_EQ(generation, before + 1);
  EXPECT_THAT(errors.paths, ElementsAre(directory.path("new")));
}

TEST(RenameOld, TakesNoPathWithANul) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("file", "");
  manager().renameOld(NSString::create(file + std::string("\0x", 2)), directory.string("new"));
  EXPECT_NE(modeOf(file), mode_t{0});
}

TEST(RenameOld, LetsTheGenerationWrap) {
  const std::uint32_t before = generation;
  generation = UINT32_MAX;
  manager().renameOld("/no/such/file"_ns, "/no/such/other"_ns);
  EXPECT_EQ(generation, 0u);
  generation = before;
}

TEST(GetDirectoryLinkPermissions, IsTheModeOfThePathItself) {
  const TemporaryDirectory directory;
  const std::string inner = directory.makeDirectory("inner", 0711);
  const std::string link = directory.makeLink("link", "inner");
  EXPECT_EQ(manager().getDirectoryLinkPermissions(NSString::create(inner)), mode_t{S_IFDIR | 0711});
  EXPECT_EQ(manager().getDirectoryLinkPermissions(NSString::create(link)), mode_t{S_IFLNK | 0777});
}

TEST(GetDirectoryLinkPermissions, IsZeroForAFailureAndAnException) {
  EXPECT_EQ(manager().getDirectoryLinkPermissions("/no/such/path"_ns), mode_t{0});
  EXPECT_EQ(manager().getDirectoryLinkPermissions("/\0"_ns), mode_t{0});
  const Raising system;
  EXPECT_EQ(manager().getDirectoryLinkPermissions("/"_ns), mode_t{0});
}

} // namespace
} // namespace tesker::test
