#include "platform/foundation/FileContents.h"

#include "platform/foundation/FileDescriptor.h"
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
using test::TemporaryDirectory;
using testing::ElementsAre;

std::optional<std::string> contents(std::string_view path) {
  return contentsOfFile(*NSString::create(path));
}

// The errno of a read that must fail; 0 when it did not.
int readError(std::string_view path) {
  errno = 0;
  return contents(path) ? 0 : errno;
}

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
  const auto path = NSString::create(directory.writeFile("f", "12345678"));
  EXPECT_EQ(contentsOfFile(*path, 8), "12345678");
  errno = 0;
  EXPECT_EQ(contentsOfFile(*path, 7), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
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
  errno = 0;
  EXPECT_EQ(contentsOfFile(*NSString::create(file), 1000000), std::nullopt);
  EXPECT_EQ(errno, EFBIG);
}

TEST(OpenRegularFileTest, TheDescriptorIsCloseOnExecAndTheStatusIsTheFiles) {
  const TemporaryDirectory directory;
  struct stat status {};
  const FileDescriptor file(openRegularFile(directory.writeFile("f", "12345").c_str(), status));
  ASSERT_TRUE(file);
  EXPECT_EQ(status.st_size, 5);
  EXPECT_NE(::fcntl(file.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(OpenRegularFileTest, NoDescriptorIsLeftOpenForWhatIsNoFile) {
  class Counting final : public OperatingSystem {
  public:
    int open(const char *path, int flags, mode_t mode) override {
      const int descriptor = OperatingSystem::open(path, flags, mode);
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
  struct stat status {};
  EXPECT_EQ(openRegularFile("/dev/null", status), -1);
  EXPECT_EQ(openRegularFile("/", status), -1);
  EXPECT_EQ(system.open_, 0);
}

class WriteFileTest : public testing::Test {
protected:
  bool write(std::string_view name, std::string_view bytes) const {
    return writeFileAtomically(*NSString::create(directory.path(name)), bytes);
  }
  TemporaryDirectory directory;
};

TEST_F(WriteFileTest, ANewFileHoldsTheBytesAndNothingElseIsLeft) {
  EXPECT_TRUE(write("f", "a\0b"sv));
  EXPECT_EQ(contents(directory.path("f")), "a\0b"sv);
  EXPECT_TRUE(write("empty", ""));
  EXPECT_EQ(contents(directory.path("empty")), "");
  EXPECT_THAT(namesIn(directory.path()), testing::UnorderedElementsAre("f", "empty"));
}

TEST_F(WriteFileTest, AnExistingFileIsReplacedNotWrittenInto) {
  const std::string file = directory.writeFile("f", "old and long");
  const FileDescriptor reader(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
  EXPECT_TRUE(write("f", "new"));
  EXPECT_EQ(contents(file), "new");
  char buffer[32];
  EXPECT_EQ(::read(reader.get(), buffer, sizeof buffer), 12); // who has it open reads the old one
}

TEST_F(WriteFileTest, TheModeFollowsTheUmask) {
  const mode_t before = ::umask(027);
  EXPECT_TRUE(write("f", "x"));
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat(directory.path("f").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(WriteFileTest, ANameAsLongAsNamesCanBeIsWritten) {
  const std::string name(255, 'n');
  EXPECT_TRUE(write(name, "x"));
  EXPECT_EQ(contents(directory.path(name)), "x");
}

TEST_F(WriteFileTest, WhatOthersLeftUnderATemporaryNameIsNeitherUsedNorInTheWay) {
  ASSERT_TRUE(write("f", "old"));
  // Whatever name is tried first is taken by a link to a file that must not be written.
  class Taken final : public OperatingSystem {
  public:
    explicit Taken(const TemporaryDirectory &where) : where_(where) {}
    int open(const char *path, int flags, mode_t mode) override {
      if (links++ == 0) {
        EXPECT_EQ(::symlink(where_.path("f").c_str(), path), 0);
      }
      return OperatingSystem::open(path, flags, mode);
    }
    int links = 0;

  private:
    const TemporaryDirectory &where_;
  };
  {
    Taken system(directory);
    const ScopedOperatingSystem inForce(system);
    EXPECT_TRUE(write("g", "new"));
    EXPECT_EQ(system.links, 2);
  }
  EXPECT_EQ(contents(directory.path("f")), "old");
  EXPECT_EQ(contents(directory.path("g")), "new");
}

TEST_F(WriteFileTest, AFolderThatIsMissingIsAnswered) {
  errno = 0;
  EXPECT_FALSE(write("none/f", "x"));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(WriteFileTest, ADirectoryIsNotReplacedAndNoFileIsLeft) {
  directory.makeDirectory("d");
  errno = 0;
  EXPECT_FALSE(write("d", "x"));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_FALSE(write("d/", "x"));
  EXPECT_THAT(namesIn(directory.path()), ElementsAre("d"));
  EXPECT_THAT(namesIn(directory.path("d")), ElementsAre());
}

TEST_F(WriteFileTest, APathThatNamesNothingIsAnswered) {
  errno = 0;
  EXPECT_FALSE(write("f\0g"sv, "x"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(writeFileAtomically(*NSString::create(""), "x"));
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
    errno = 0;
    EXPECT_FALSE(write("f", "new"));
    EXPECT_EQ(errno, error);
    EXPECT_THAT(namesIn(directory.path()), ElementsAre("f"));
    EXPECT_EQ(contents(directory.path("f")), "old");
  }
  void SetUp() override { directory.writeFile("f", "old"); }

  FailingWrites system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(FailingWriteTest, PartialWritesAreContinued) {
  system.writeResult = 3;
  EXPECT_TRUE(write("f", "twelve bytes"));
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
  errno = 0;
  EXPECT_FALSE(write("f", "new"));
  EXPECT_EQ(errno, EDQUOT);
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
