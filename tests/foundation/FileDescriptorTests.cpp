#include "platform/foundation/Files.h"

#include "tests/support/ChildProcess.h"
#include "tests/support/SpecialFiles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace tesker {
namespace {

using test::inChild;
using testing::ElementsAre;
using testing::IsEmpty;

class FileDescriptorTest : public testing::Test {
protected:
  // Notes what is closed in place of closing it, so that any number serves as a descriptor.
  class NotingClose final : public OperatingSystem {
  public:
    int close(int descriptor) override {
      closed.push_back(descriptor);
      return 0;
    }
    std::vector<int> closed;
  };

  NotingClose system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(FileDescriptorTest, ADescriptorIsClosedOnceWhenItsOwnerGoes) {
  {
    const FileDescriptor file(1001);
    EXPECT_TRUE(file);
    EXPECT_EQ(file.number(), 1001);
  }
  EXPECT_THAT(system.closed, ElementsAre(1001));
}

TEST_F(FileDescriptorTest, DescriptorZeroIsOwnedToo) {
  {
    const FileDescriptor file(0);
    EXPECT_TRUE(file);
  }
  EXPECT_THAT(system.closed, ElementsAre(0));
}

TEST_F(FileDescriptorTest, NoDescriptorIsNotClosed) {
  {
    const FileDescriptor none;
    const FileDescriptor failed(-1);
    EXPECT_FALSE(none);
    EXPECT_FALSE(failed);
  }
  EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(FileDescriptorTest, MovingHandsTheDescriptorOver) {
  {
    FileDescriptor first(1001);
    const FileDescriptor second(std::move(first));
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): what is left is what is asked.
    EXPECT_EQ(second.number(), 1001);
    EXPECT_THAT(system.closed, IsEmpty());
  }
  EXPECT_THAT(system.closed, ElementsAre(1001));
}

TEST_F(FileDescriptorTest, AssigningClosesTheFormerDescriptor) {
  FileDescriptor file(1001);
  file = FileDescriptor(1002);
  EXPECT_THAT(system.closed, ElementsAre(1001));
  EXPECT_EQ(file.number(), 1002);
}

TEST_F(FileDescriptorTest, AssigningToItselfKeepsTheDescriptor) {
  FileDescriptor file(1001);
  FileDescriptor &same = file;
  file = std::move(same);
  EXPECT_THAT(system.closed, IsEmpty());
  EXPECT_EQ(file.number(), 1001);
}

TEST_F(FileDescriptorTest, ReleasingGivesTheDescriptorUpWithoutClosing) {
  {
    FileDescriptor file(1001);
    EXPECT_EQ(file.release(), 1001);
    EXPECT_EQ(file.release(), -1);
  }
  EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(FileDescriptorTest, ResettingClosesOnce) {
  {
    FileDescriptor file(1001);
    file.reset();
    file.reset();
    EXPECT_FALSE(file);
  }
  EXPECT_THAT(system.closed, ElementsAre(1001));
}

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; }
bool isCloseOnExec(int descriptor) { return (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0; }

bool isSameFile(int a, int b) {
  struct stat one {};
  struct stat other {};
  return ::fstat(a, &one) == 0 && ::fstat(b, &other) == 0 && one.st_dev == other.st_dev &&
         one.st_ino == other.st_ino;
}

// The body in a process that was started without these descriptors.
template <class Body> void inChildWithout(std::vector<int> descriptors, Body body) {
  inChild([&] {
    for (const int descriptor : descriptors)
      ::close(descriptor);
    body();
  });
}

// No descriptor from this number on can be opened any more.
void limitDescriptors(int end) {
  const auto limit = static_cast<rlim_t>(end);
  const rlimit limits{limit, limit};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limits), 0);
}

// The number that the next descriptor beyond the standard ones gets.
int nextDescriptor() {
  const FileDescriptor next(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  return next.number();
}

void expectWorkingPipe(const Pipe &pipe) {
  EXPECT_GT(pipe.readEnd.number(), STDERR_FILENO);
  EXPECT_GT(pipe.writeEnd.number(), STDERR_FILENO);
  EXPECT_TRUE(isCloseOnExec(pipe.readEnd.number()));
  EXPECT_TRUE(isCloseOnExec(pipe.writeEnd.number()));
  EXPECT_EQ(::write(pipe.writeEnd.number(), "x", 1), 1);
  char byte = 0;
  EXPECT_EQ(::read(pipe.readEnd.number(), &byte, 1), 1);
  EXPECT_EQ(byte, 'x');
}

TEST(PipeTest, WhatIsWrittenIntoOneEndComesOutOfTheOther) {
  const std::size_t before = test::openDescriptors();
  {
    const Result<Pipe> pipe = createPipe();
    ASSERT_TRUE(pipe);
    expectWorkingPipe(*pipe);
    EXPECT_EQ(test::openDescriptors(), before + 2);
  }
  EXPECT_EQ(test::openDescriptors(), before);
}

TEST(PipeTest, BothEndsLieBeyondTheStandardDescriptorsWhicheverAreFree) {
  for (const std::vector<int> &missing :
       std::vector<std::vector<int>>{{0}, {1}, {2}, {0, 1}, {0, 2}, {1, 2}, {0, 1, 2}})
    inChildWithout(missing, [&] {
      const Result<Pipe> pipe = createPipe();
      ASSERT_TRUE(pipe);
      expectWorkingPipe(*pipe);
      for (const int descriptor : missing)
        EXPECT_FALSE(isOpen(descriptor)) << descriptor;
    });
}

TEST(PipeTest, WithoutDescriptorsLeftTheReasonIsToldAndNothingStaysOpen) {
  inChild([] {
    limitDescriptors(nextDescriptor() + 1);
    EXPECT_EQ(createPipe().error(), EMFILE);
  });
  // One end can be moved, and then there is none left for the other.
  inChildWithout({0, 1}, [] {
    const int next = nextDescriptor();
    limitDescriptors(next + 1);
    EXPECT_EQ(createPipe().error(), EMFILE);
    for (const int descriptor : {0, 1, next})
      EXPECT_FALSE(isOpen(descriptor)) << descriptor;
  });
}

TEST(AboveStandardDescriptorsTest, ADescriptorThatLiesThereStaysTheSame) {
  const FileDescriptor kept =
      aboveStandardDescriptors(FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
  ASSERT_TRUE(kept);
  const int number = kept.number();
  FileDescriptor same = aboveStandardDescriptors(FileDescriptor(::dup(number)));
  EXPECT_NE(same.number(), number);
  const int copy = same.number();
  same = aboveStandardDescriptors(std::move(same));
  EXPECT_EQ(same.number(), copy);
}

TEST(AboveStandardDescriptorsTest, AStandardDescriptorIsMovedAndItsNumberFree) {
  for (const int low : {0, 1, 2})
    inChild([low] {
      const FileDescriptor null(::open("/dev/null", O_RDONLY | O_CLOEXEC));
      ASSERT_EQ(::dup2(null.number(), low), low);
      const FileDescriptor moved = aboveStandardDescriptors(FileDescriptor(low));
      EXPECT_GT(moved.number(), STDERR_FILENO);
      EXPECT_TRUE(isCloseOnExec(moved.number()));
      EXPECT_TRUE(isSameFile(moved.number(), null.number()));
      EXPECT_FALSE(isOpen(low));
    });
}

TEST(AboveStandardDescriptorsTest, OfNoDescriptorThereIsNone) {
  EXPECT_FALSE(aboveStandardDescriptors(FileDescriptor()));
}

TEST(AboveStandardDescriptorsTest, WithoutDescriptorsLeftThereIsNoneAndTheGivenOneIsClosed) {
  inChild([] {
    const FileDescriptor last(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    limitDescriptors(last.number() + 1);
    errno = 0;
    EXPECT_FALSE(aboveStandardDescriptors(FileDescriptor(STDIN_FILENO)));
    EXPECT_EQ(errno, EMFILE);
    EXPECT_FALSE(isOpen(STDIN_FILENO));
  });
}

// Takes at most so many bytes at a time; fails with the error when that is none.
class SlowWrites final : public OperatingSystem {
public:
  ssize_t write(int, const void *bytes, std::size_t size) override {
    ++calls;
    if (most == 0) {
      errno = error;
      return error == 0 ? 0 : -1;
    }
    const std::size_t taken = std::min(size, most);
    written.append(static_cast<const char *>(bytes), taken);
    return static_cast<ssize_t>(taken);
  }
  std::size_t most = 1000;
  int error = 0;
  int calls = 0;
  std::string written;
};

class WriteAllTest : public testing::Test {
protected:
  SlowWrites system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(WriteAllTest, AllBytesAreWrittenInAsManyPartsAsItTakes) {
  system.most = 5;
  EXPECT_TRUE(writeAll(1001, "twelve bytes"));
  EXPECT_EQ(system.written, "twelve bytes");
  EXPECT_EQ(system.calls, 3);
}

TEST_F(WriteAllTest, NoBytesTakeNoCall) {
  EXPECT_TRUE(writeAll(1001, ""));
  EXPECT_EQ(system.calls, 0);
}

TEST_F(WriteAllTest, AFailureIsToldWithItsReason) {
  system.most = 0;
  system.error = ENOSPC;
  EXPECT_EQ(writeAll(1001, "x").error(), ENOSPC);
}

TEST_F(WriteAllTest, AWriteThatTakesNothingIsAFailure) {
  system.most = 0;
  EXPECT_EQ(writeAll(1001, "x").error(), EIO);
  EXPECT_EQ(system.calls, 1);
}

TEST(OpenMissingStandardDescriptorsTest, EachMissingOneIsOpenedAndTheOthersStay) {
  for (const std::vector<int> &missing :
       std::vector<std::vector<int>>{{}, {0}, {1}, {2}, {0, 2}, {0, 1, 2}})
    inChild([&] {
      const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
      const FileDescriptor other(::open("/dev/zero", O_RDWR | O_CLOEXEC));
      for (const int descriptor : {0, 1, 2})
        ASSERT_EQ(::dup2(other.number(), descriptor), descriptor);
      for (const int descriptor : missing)
        ::close(descriptor);
      const std::size_t before = test::openDescriptors();
      openMissingStandardDescriptors();
      EXPECT_EQ(test::openDescriptors(), before + missing.size());
      for (const int descriptor : {0, 1, 2}) {
        const bool wasMissing =
            std::find(missing.begin(), missing.end(), descriptor) != missing.end();
        EXPECT_TRUE(isSameFile(descriptor, wasMissing ? null.number() : other.number()));
        EXPECT_FALSE(isCloseOnExec(descriptor));
        EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDWR);
      }
    });
}

TEST(OpenMissingStandardDescriptorsTest, OpenedForReadingTheyRefuseToBeWritten) {
  inChildWithout({1, 2}, [] {
    openMissingStandardDescriptors(O_RDONLY);
    for (const int descriptor : {1, 2}) {
      EXPECT_EQ(::write(descriptor, "x", 1), -1);
      EXPECT_EQ(errno, EBADF);
      EXPECT_TRUE(isOpen(descriptor));
    }
  });
}

} // namespace
} // namespace tesker
