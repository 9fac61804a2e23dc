#include "filesystem/TeskerFileManagerMethods.h"
#include "paths/PathFunctions.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/FileManagers.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;

// Refuses every access with the same error.
class Refusing : public OperatingSystem {
public:
  explicit Refusing(int error) : error_(error), scope_(*this) {}
  int access(const char *, int) override {
    errno = error_;
    return -1;
  }

private:
  int error_;
  ScopedOperatingSystem scope_;
};

// What the five predicates answer: r, x, rx, wx, rwx.
std::string access(const std::string &path) {
  const auto string = NSString::create(path);
  std::string held;
  const auto add = [&](bool holds, const char *name) { held += holds ? name : ""; };
  add(manager()._fileCanBeReadAtPath(string), " r");
  add(manager()._fileCanBeExecutedAtPath(string), " x");
  add(manager().fileCanBeReadExecutedAtPath(string), " rx");
  add(manager().fileCanBeWriteExecutedAtPath(string), " wx");
  add(manager().fileCanBeReadWritedExecutedAtPath(string), " rwx");
  return held;
}

TEST(AccessPredicates, FollowThePermissionBits) {
  const TemporaryDirectory directory;
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  const auto file = [&](const char *name, mode_t mode) {
    return directory.writeFile(name, "", mode);
  };
  const auto all = file("all", 0777), none = file("none", 0), read = file("read", 0444),
             write = file("write", 0222), execute = file("execute", 0111),
             readExecute = file("read-execute", 0555), writeExecute = file("write-execute", 0333);
  inOrdinaryUsersChild([&] {
    EXPECT_EQ(access(all), " r x rx wx rwx");
    EXPECT_EQ(access(none), "");
    EXPECT_EQ(access(read), " r");
    EXPECT_EQ(access(write), "");
    EXPECT_EQ(access(execute), " x");
    EXPECT_EQ(access(readExecute), " r x rx");
    EXPECT_EQ(access(writeExecute), " x wx");
  });
}

TEST(AccessPredicates, AskForTheRightBits) {
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  access("/path");
  EXPECT_THAT(system.log, ElementsAre("access /path 4", "access /path 1", "access /path 5",
                                      "access /path 3", "access /path 7"));
}

TEST(AccessPredicates, OfAMissingFileFailExceptWriteExecuted) {
  const TemporaryDirectory directory;
  EXPECT_EQ(access(directory.path("missing")), " wx");
}

TEST(AccessPredicates, OfAPathWithANulFailAsForAMissingFile) {
  const TemporaryDirectory directory; // 0700, the caller's own
  ASSERT_EQ(access(directory.path()), " r x rx wx rwx");
  EXPECT_EQ(access(directory.path() + std::string("\0x", 2)), " wx");
}

TEST(AccessPredicates, OfAPathThatTheKernelRefusesFailExceptWriteExecuted) {
  EXPECT_EQ(access("/" + std::string(5000, 'x')), " wx");
}

TEST(FileCanBeWriteExecuted, AnswersNoOnlyForARefusal) {
  for (const int error : {EACCES, EROFS, EPERM}) {
    const Refusing system(error);
    EXPECT_FALSE(manager().fileCanBeWriteExecutedAtPath("/path"_ns)) << error;
  }
  for (const int error : {ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG, EIO, ETXTBSY}) {
    const Refusing system(error);
    EXPECT_TRUE(manager().fileCanBeWriteExecutedAtPath("/path"_ns)) << error;
  }
}

TEST(FileCanBeWriteExecuted, AnswersNoForAFileInAReadOnlyFileSystem) {
  const TemporaryDirectory directory;
  const auto path = NSString::create(directory.writeFile("file", "", 0755));
  EXPECT_TRUE(manager().fileCanBeWriteExecutedAtPath(path));
  const Refusing readOnly(EROFS);
  EXPECT_FALSE(manager().fileCanBeWriteExecutedAtPath(path));
}

// Answers one thing and remembers what it was asked.
class Teller : public IsWritableDeviceTeller {
public:
  explicit Teller(bool answer) : answer_(answer) { manager().registerIsWritableDeviceTeller(this); }
  ~Teller() override { manager().registerIsWritableDeviceTeller(nullptr); }
  Teller(const Teller &) = delete;
  Teller &operator=(const Teller &) = delete;
  bool isWritableDeviceFor(const NSString &path) override {
    asked.emplace_back(path.bytes());
    return answer_;
  }
  bool isWritableDeviceForDir(const NSString &, const NSString &) override { return answer_; }
  std::vector<std::string> asked;

private:
  bool answer_;
};

TEST(IsWritableDeviceTeller, MayVetoReadWritedExecuted) {
  const TemporaryDirectory directory;
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  const Teller teller(false);
  EXPECT_FALSE(manager().fileCanBeReadWritedExecutedAtPath(directory.string()));
  EXPECT_THAT(teller.asked, ElementsAre(directory.path()));
  EXPECT_EQ(system.count("access"), 0u);
}

TEST(IsWritableDeviceTeller, GrantsNothingByItself) {
  const TemporaryDirectory directory;
  const Teller teller(true);
  EXPECT_TRUE(manager().fileCanBeReadWritedExecutedAtPath(directory.string()));
  EXPECT_FALSE(manager().fileCanBeReadWritedExecutedAtPath(directory.string("missing")));
  EXPECT_EQ(teller.asked.size(), 2u);
}

TEST(IsWritableDeviceTeller, IsNotAskedByTheOtherPredicates) {
  const TemporaryDirectory directory;
  const Teller teller(false);
  EXPECT_EQ(access(directory.path()), " r x rx wx");
  EXPECT_EQ(teller.asked.size(), 1u);
}

TEST(IsWritableDeviceTeller, IsClearedByNil) {
  const TemporaryDirectory directory;
  const Teller teller(false);
  manager().registerIsWritableDeviceTeller(nullptr);
  EXPECT_TRUE(manager().fileCanBeReadWritedExecutedAtPath(directory.string()));
}

TEST(IsWritableDeviceTeller, IsSharedByAllClasses) {
  class Subclass final : public NSFileManager {
  public:
    static IsWritableDeviceTeller *teller() { return isWritableDeviceTeller(); }
  };
  const TemporaryDirectory directory;
  EXPECT_EQ(Subclass::teller(), nullptr);
  const Teller teller(false);
  EXPECT_EQ(Subclass::teller(), &teller);
  Subclass subclass;
  EXPECT_FALSE(subclass.fileCanBeReadWritedExecutedAtPath(directory.string()));
}

TEST(IsLegalNameDir, HoldsForWhatExistsAndForAMissingFileWithALegalName) {
  const TemporaryDirectory directory;
  EXPECT_TRUE(manager().isLegalNameDir(directory.string()));
  EXPECT_TRUE(manager().isLegalNameDir(directory.string("missing")));
  EXPECT_TRUE(manager().isLegalNameDir(directory.string("no/such/directory")));
  EXPECT_TRUE(manager().isLegalNameDir(directory.string("new\nline\xff")));
  EXPECT_TRUE(manager().isLegalNameDir("/a\0b"_ns));
}

TEST(IsLegalNameDir, FailsForANameThatIsTooLong) {
  const TemporaryDirectory directory;
  const auto named = [&](std::size_t length) { return directory.string(std::string(length, 'n')); };
  EXPECT_TRUE(manager().isLegalNameDir(named(255)));
  EXPECT_FALSE(manager().isLegalNameDir(named(256)));
  EXPECT_FALSE(manager().isLegalNameDir(named(5000)));
}

TEST(IsLegalNameDir, FailsOnlyWhereTheNameItselfIsRefused) {
  struct Unopenable : OperatingSystem {
    int error = 0;
    int openAt(int, const char *, int, mode_t) override {
      errno = error;
      return -1;
    }
  } system;
  const ScopedOperatingSystem scope(system);
  for (const int error : {EINVAL, ENAMETOOLONG}) {
    system.error = error;
    EXPECT_FALSE(manager().isLegalNameDir("/path"_ns)) << error;
  }
  for (const int error : {ENOENT, EACCES, ELOOP, EMFILE, EIO}) {
    system.error = error;
    EXPECT_TRUE(manager().isLegalNameDir("/path"_ns)) << error;
  }
}

TEST(IsLegalNameDir, ClosesWhatItOpened) {
  const TemporaryDirectory directory;
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_TRUE(manager().isLegalNameDir(directory.string()));
  EXPECT_THAT(system.log, ElementsAre("open " + directory.path(), "close " + directory.path()));
}

TEST(IsLegalNameDir, DoesNotWaitForTheOtherEndOfAFifo) {
  const TemporaryDirectory directory;
  makeFifo(directory.path("fifo"));
  EXPECT_TRUE(manager().isLegalNameDir(directory.string("fifo")));
}

TEST(FilerZone, IsOnePageLargeNamedAndTheSameOnEveryCall) {
  NSZone &zone = manager().filerZone();
  EXPECT_EQ(&zone, &manager().filerZone());
  EXPECT_EQ(&zone, &filerZone());
  EXPECT_EQ(zone.name(), "File Caching");
  EXPECT_EQ(zone.startSize(), static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)));
  EXPECT_EQ(zone.granule(), zone.startSize());
}

} // namespace
} // namespace tesker::test
