#include "platform/foundation/Files.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

namespace tesker {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using test::kOtherUser;
using test::TemporaryDirectory;
using testing::ElementsAre;

// What the file holds; fails the test when it cannot be read.
std::string contents(std::string_view path) {
  const Result<std::string> bytes = contentsOfFile(NSString::create(path));
  EXPECT_TRUE(bytes) << path << ": error " << bytes.error();
  return bytes ? *bytes : "";
}

// The errno of a read that must fail; 0 when it did not.
int readError(std::string_view path) { return contentsOfFile(NSString::create(path)).error(); }

std::vector<std::string> namesIn(const std::string &directory) {
  std::vector<std::string> names;
  for (const auto &entry : std::filesystem::directory_iterator(directory))
    names.push_back(entry.path().filename().string());
  return names;
}

TEST(ContentsOfFileTest, AFileComesThroughWhole) {
  const TemporaryDirectory directory;
  for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 1000000U}) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<char>(i * 7);
    EXPECT_EQ(contents(directory.writeFile("f", bytes)), bytes) << size;
  }
}

TEST(ContentsOfFileTest, LinksAreFollowed) {
  const TemporaryDirectory directory;
  directory.writeFile("f", "text");
  EXPECT_EQ(contents(directory.makeLink("l", "f")), "text");
  EXPECT_EQ(readError(directory.makeLink("nowhere", "none")), ENOENT);
  EXPECT_EQ(readError(directory.makeLink("loop", "loop")), ELOOP);
}

TEST(ContentsOfFileTest, AMissingFileIsAnswered) {
  const TemporaryDirectory directory;
  EXPECT_EQ(readError(directory.path("none")), ENOENT);
  EXPECT_EQ(readError(""), ENOENT);
}

TEST(ContentsOfFileTest, APathWithANulInsideNamesNothing) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("f", "text");
  EXPECT_EQ(readError(file + "\0"s), ENOENT);
}

TEST(ContentsOfFileTest, ADirectoryIsNoFile) {
  const TemporaryDirectory directory;
  EXPECT_EQ(readError(directory.path()), EINVAL);
}

TEST(ContentsOfFileTest, AFifoWithoutAWriterIsNotWaitedFor) {
  const TemporaryDirectory directory;
  ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(readError(directory.path("fifo")), EINVAL);
}

TEST(ContentsOfFileTest, ADeviceIsNoFile) { EXPECT_EQ(readError("/dev/zero"), EINVAL); }

TEST(ContentsOfFileTest, AFileLargerThanAnyTextIsRefusedWithoutReadingIt) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("sparse", "");
  ASSERT_EQ(::truncate(file.c_str(), off_t{1} << 40), 0);
  EXPECT_EQ(readError(file), EFBIG);
}

TEST(ContentsOfFileTest, AFileIsReadUpToTheLimitGiven) {
  const TemporaryDirectory directory;
  const NSString path = NSString::create(directory.writeFile("f", "12345678"));
  const Result<std::string> whole = contentsOfFile(path, 8);
  ASSERT_TRUE(whole);
  EXPECT_EQ(*whole, "12345678");
  EXPECT_EQ(contentsOfFile(path, 7).error(), EFBIG);
}

// Serves reads by a script: each is a text to give, or an error.
class ScriptedReads final : public OperatingSystem {
public:
  ssize_t readAt(int, void *buffer, std::size_t size, off_t offset) override {
    offsets.push_back(offset);
    if (endless) {
      std::memset(buffer, 'x', size);
      return static_cast<ssize_t>(size);
    }
    if (texts.empty()) {
      errno = error;
      return error == 0 ? 0 : -1;
    }
    const std::string text = texts.front();
    texts.erase(texts.begin());
    EXPECT_LE(text.size(), size);
    std::memcpy(buffer, text.data(), text.size());
    return static_cast<ssize_t>(text.size());
  }
  std::vector<std::string> texts;
  int error = 0;
  bool endless = false;
  std::vector<off_t> offsets;
};

class ScriptedContentsTest : public testing::Test {
protected:
  TemporaryDirectory directory;
  std::string file = directory.writeFile("f", "four");
  ScriptedReads system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(ScriptedContentsTest, AFileThatGrowsWhileItIsReadGivesWhatThereWasToRead) {
  system.texts = {"four", " and", " more"};
  EXPECT_EQ(contents(file), "four and more");
  EXPECT_THAT(system.offsets, ElementsAre(0, 4, 8, 13));
}

TEST_F(ScriptedContentsTest, AFileThatShrankGivesWhatThereWasToRead) {
  system.texts = {"fo"};
  EXPECT_EQ(contents(file), "fo");
}

TEST_F(ScriptedContentsTest, AnErrorInTheMiddleGivesNothingAndItsReason) {
  system.texts = {"four"};
  system.error = EIO;
  EXPECT_EQ(readError(file), EIO);
}

TEST_F(ScriptedContentsTest, AFileThatNeverEndsIsGivenUpAtTheLimit) {
  system.endless = true;
  EXPECT_EQ(contentsOfFile(NSString::create(file), 1000000).error(), EFBIG);
}

TEST(ContentsOfFileTest, AFileTakesFiveCalls) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("f", "text");
  test::CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(contents(file), "text");
  EXPECT_THAT(system.log, ElementsAre("open " + file, "statDescriptor " + file, "readAt " + file,
                                      "readAt " + file, "close " + file));
}

TEST(OpenRegularFileTest, TheDescriptorIsCloseOnExecAndTheStatusIsTheFiles) {
  const TemporaryDirectory directory;
  const Result<RegularFile> file = openRegularFile(directory.writeFile("f", "12345").c_str());
  ASSERT_TRUE(file);
  EXPECT_EQ(file->status.st_size, 5);
  EXPECT_NE(::fcntl(file->descriptor.number(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(OpenRegularFileTest, APathCanBeRelativeToAnOpenDirectory) {
  const TemporaryDirectory directory;
  directory.writeFile("d/f", "12345");
  const FileDescriptor folder(::open(directory.path("d").c_str(), O_RDONLY | O_CLOEXEC));
  const Result<RegularFile> file = openRegularFile("f", folder.number());
  ASSERT_TRUE(file);
  EXPECT_EQ(file->status.st_size, 5);
  EXPECT_EQ(openRegularFile("none", folder.number()).error(), ENOENT);
}

TEST(OpenRegularFileTest, NoDescriptorIsLeftOpenForWhatIsNoFile) {
  class Counting final : public OperatingSystem {
  public:
    int openAt(int directory, const char *path, int flags, mode_t mode) override {
      const int descriptor = OperatingSystem::openAt(directory, path, flags, mode);
      open_ += descriptor >= 0 ? 1 : 0;
      return descriptor;
    }
    int close(int descriptor) override {
      --open_;
      return OperatingSystem::close(descriptor);
    }
    int open_ = 0;
  };
  Counting system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(openRegularFile("/dev/null").error(), EINVAL);
  EXPECT_EQ(openRegularFile("/").error(), EINVAL);
  EXPECT_EQ(system.open_, 0);
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
  EXPECT_EQ(contents(directory.path("f")), "a\0b"sv);
  EXPECT_EQ(write("empty", ""), 0);
  EXPECT_EQ(contents(directory.path("empty")), "");
  EXPECT_THAT(namesIn(directory.path()), testing::UnorderedElementsAre("f", "empty"));
}

TEST_F(WriteFileTest, AnExistingFileIsReplacedNotWrittenInto) {
  const std::string file = directory.writeFile("f", "old and long");
  const FileDescriptor reader(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(write("f", "new"), 0);
  EXPECT_EQ(contents(file), "new");
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
  EXPECT_EQ(contents(directory.path("secret")), "old");
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
  EXPECT_EQ(contents(directory.path(name)), "x");
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
  EXPECT_EQ(contents(directory.path("f")), "old");
  EXPECT_EQ(contents(directory.path("g")), "new");
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
    EXPECT_EQ(contents(directory.path("f")), "old");
  }
  void SetUp() override { directory.writeFile("f", "old"); }

  FailingWrites system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(FailingWriteTest, PartialWritesAreContinued) {
  system.writeResult = 3;
  EXPECT_EQ(write("f", "twelve bytes"), 0);
  EXPECT_EQ(contents(directory.path("f")), "twelve bytes");
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
  EXPECT_EQ(contents(directory.path("f")), "old");
}

TEST_F(FailingWriteTest, AFailureToRenameLeavesTheOldFileAndNoOther) {
  system.renameError = EACCES;
  expectFailure(EACCES);
}

} // namespace
} // namespace tesker
