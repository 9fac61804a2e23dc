#include "platform/foundation/OperatingSystem.h"

#include "platform/foundation/Files.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/InterruptedSystemCall.h"
#include "tests/support/RefusedSystemCall.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <string>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace tesker {
namespace {

using test::TemporaryDirectory;
using testing::UnorderedElementsAre;

OperatingSystem &real() { return OperatingSystem::current(); }

class FixedTime final : public OperatingSystem {
public:
  explicit FixedTime(std::int64_t time) : time_(time) {}
  std::int64_t currentTime() override { return time_; }

private:
  std::int64_t time_;
};

TEST(OperatingSystemTest, AReplacementIsInForceForAsLongAsItsScopeLives) {
  OperatingSystem &before = real();
  FixedTime outer(1);
  FixedTime inner(2);
  {
    const ScopedOperatingSystem first(outer);
    EXPECT_EQ(real().currentTime(), 1);
    {
      const ScopedOperatingSystem second(inner);
      EXPECT_EQ(real().currentTime(), 2);
    }
    EXPECT_EQ(real().currentTime(), 1);
  }
  EXPECT_EQ(&real(), &before);
}

TEST(OperatingSystemTest, WhatAReplacementDoesNotReplaceIsReal) {
  FixedTime system(1);
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(real().userId(), ::getuid());
}

TEST(OperatingSystemTest, StatusIsThatOfTheLinkOrOfWhatItLeadsTo) {
  const TemporaryDirectory directory;
  directory.writeFile("f", "12345");
  directory.makeLink("l", "f");
  const FileDescriptor folder(real().open(directory.path().c_str(), O_RDONLY | O_DIRECTORY));
  struct stat status {};
  ASSERT_EQ(real().statAt(folder.number(), "l", true, status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  ASSERT_EQ(real().statAt(folder.number(), "l", false, status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
  EXPECT_EQ(real().statAt(AT_FDCWD, directory.path("none").c_str(), true, status), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST(OperatingSystemTest, OpenedFilesAreCloseOnExecAndReadAtAnyPlace) {
  const TemporaryDirectory directory;
  const FileDescriptor file(
      real().open(directory.path("f").c_str(), O_RDWR | O_CREAT | O_EXCL, 0600));
  ASSERT_TRUE(file);
  EXPECT_NE(::fcntl(file.number(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_EQ(real().write(file.number(), "abcdef", 6), 6);
  EXPECT_EQ(real().synchronize(file.number()), 0);
  char buffer[8] = {};
  EXPECT_EQ(real().readAt(file.number(), buffer, sizeof buffer, 2), 4);
  EXPECT_STREQ(buffer, "cdef");
  struct stat status {};
  ASSERT_EQ(real().statDescriptor(file.number(), status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST(OperatingSystemTest, FilesAreChangedAsTheCallsSay) {
  const TemporaryDirectory directory;
  const std::string made = directory.path("d");
  EXPECT_EQ(real().makeDirectory(made.c_str(), 0700), 0);
  EXPECT_EQ(real().makeDirectory(made.c_str(), 0700), -1);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(real().changeMode(made.c_str(), 0500), 0);
  EXPECT_EQ(real().access(made.c_str(), R_OK), 0);
  EXPECT_EQ(real().rename(made.c_str(), directory.path("e").c_str()), 0);
  EXPECT_EQ(real().access(made.c_str(), F_OK), -1);
  const std::string file = directory.writeFile("f", "");
  EXPECT_EQ(real().unlink(file.c_str()), 0);
  EXPECT_EQ(real().access(file.c_str(), F_OK), -1);
}

TEST(OperatingSystemTest, ADirectoryIsListedWithItsDots) {
  const TemporaryDirectory directory;
  directory.writeFile("\xFF", "");
  directory.writeFile("b", "");
  const auto stream = real().openDirectory(directory.path().c_str());
  ASSERT_NE(stream, nullptr);
  EXPECT_NE(::fcntl(stream->descriptor(), F_GETFD) & FD_CLOEXEC, 0);
  std::vector<std::string> names;
  while (const auto name = stream->next())
    names.emplace_back(*name);
  EXPECT_THAT(names, UnorderedElementsAre(".", "..", "\xFF", "b"));
  EXPECT_FALSE(stream->next());
}

TEST(OperatingSystemTest, ADirectoryThatCannotBeOpenedIsNil) {
  const TemporaryDirectory directory;
  EXPECT_EQ(real().openDirectory(directory.path("none").c_str()), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(real().openDirectory(directory.writeFile("f", "").c_str()), nullptr);
  EXPECT_EQ(errno, ENOTDIR);
}

TEST(OperatingSystemTest, AClosedDirectoryLeavesNoDescriptor) {
  const TemporaryDirectory directory;
  int descriptor = -1;
  {
    const auto stream = real().openDirectory(directory.path().c_str());
    descriptor = stream->descriptor();
  }
  EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST(OperatingSystemTest, TheTimeIsWholeSecondsSince1970) {
  const std::int64_t before = ::time(nullptr);
  const std::int64_t now = real().currentTime();
  EXPECT_GE(now, before - 1); // time(2) may lag a tick behind
  EXPECT_LE(now, ::time(nullptr) + 1);
}

TEST(OperatingSystemTest, TheProgramPathIsTheRunningProgramsFile) {
  const auto path = real().programPath();
  ASSERT_TRUE(path);
  EXPECT_TRUE(std::filesystem::equivalent(*path, "/proc/self/exe"));
  EXPECT_EQ(std::filesystem::path(*path).filename(), "foundation-tests");
}

// Runs as if the program's file were elsewhere.
class RunningAs final : public OperatingSystem {
public:
  explicit RunningAs(std::optional<std::string> path) : path_(std::move(path)) {}
  std::optional<std::string> programPath() override { return path_; }

private:
  std::optional<std::string> path_;
};

TEST(OperatingSystemTest, TheProgramsFolderEndsInASlashAndItsNameStandsBehindIt) {
  RunningAs system("/usr/libexec/tesker/ToolFinder");
  EXPECT_EQ(system.programFolder(), "/usr/libexec/tesker/");
  EXPECT_EQ(system.programName(), "ToolFinder");
  RunningAs inRoot("/program");
  EXPECT_EQ(inRoot.programFolder(), "/");
  EXPECT_EQ(inRoot.programName(), "program");
}

TEST(OperatingSystemTest, AProgramWhosePathIsNotToldHasNeitherFolderNorName) {
  RunningAs system(std::nullopt);
  EXPECT_EQ(system.programFolder(), "");
  EXPECT_EQ(system.programName(), "");
}

TEST(OperatingSystemTest, AFileCanBeOpenedRelativeToAnOpenDirectory) {
  const TemporaryDirectory directory;
  directory.writeFile("f", "12345");
  const auto folder = real().openDirectory(directory.path().c_str());
  const FileDescriptor file(real().openAt(folder->descriptor(), "f", O_RDONLY));
  ASSERT_TRUE(file);
  EXPECT_NE(::fcntl(file.number(), F_GETFD) & FD_CLOEXEC, 0);
  struct stat status {};
  ASSERT_EQ(real().statDescriptor(file.number(), status), 0);
  EXPECT_EQ(status.st_size, 5);
}

TEST(OperatingSystemTest, AKnownUserHasNameGroupAndHome) {
  const auto root = real().userWithId(0);
  ASSERT_TRUE(root);
  EXPECT_EQ(root->name, "root");
  EXPECT_EQ(root->uid, 0U);
  EXPECT_EQ(root->gid, 0U);
  EXPECT_EQ(root->home, std::string(::getpwuid(0)->pw_dir));
  const auto byName = real().userWithName("root");
  ASSERT_TRUE(byName);
  EXPECT_EQ(byName->uid, 0U);
  EXPECT_EQ(real().groupNameWithId(0), "root");
}

TEST(OperatingSystemTest, UnknownUsersAndGroupsAreNothing) {
  EXPECT_FALSE(real().userWithId(3999999999U));
  EXPECT_FALSE(real().userWithName("no such user"));
  EXPECT_FALSE(real().groupNameWithId(3999999999U));
}

TEST(OperatingSystemTest, SupplementaryGroupsAreCountedAndStored) {
  const int count = real().supplementaryGroups(nullptr, 0);
  ASSERT_GE(count, 0);
  std::vector<gid_t> groups(static_cast<std::size_t>(count) + 1);
  std::vector<gid_t> expected(groups.size());
  EXPECT_EQ(real().supplementaryGroups(groups.data(), count), count);
  EXPECT_EQ(::getgroups(count, expected.data()), count);
  EXPECT_EQ(groups, expected);
}

TEST(OperatingSystemTest, AllocatedPagesAreZeroAndCanBeWritten) {
  auto *pages = static_cast<unsigned char *>(real().allocatePages(8192));
  ASSERT_NE(pages, nullptr);
  EXPECT_EQ(pages[0], 0U);
  EXPECT_EQ(pages[8191], 0U);
  pages[8191] = 1;
  EXPECT_EQ(real().allocatePages(0), nullptr);
}

TEST(OperatingSystemTest, PollTellsWhatIsReady) {
  const Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  pollfd waiting{pipe->readEnd.number(), POLLIN, 0};
  EXPECT_EQ(real().poll(&waiting, 1, 0), 0);
  ASSERT_EQ(::write(pipe->writeEnd.number(), "x", 1), 1);
  EXPECT_EQ(real().poll(&waiting, 1, -1), 1);
  EXPECT_NE(waiting.revents & POLLIN, 0);
}

// A signal that writes a byte into a pipe the third time it comes.
int signalPipe = -1;
volatile std::sig_atomic_t signals = 0;
void onAlarm(int) {
  signals = signals + 1;
  if (signals == 3)
    (void)!::write(signalPipe, "x", 1);
}

// Interrupts system calls again and again while it lives.
class AlarmClock {
public:
  explicit AlarmClock(int pipe) {
    signalPipe = pipe;
    signals = 0;
    struct sigaction action {};
    action.sa_handler = onAlarm; // without SA_RESTART
    ::sigaction(SIGALRM, &action, &before_);
    const itimerval often{{0, 2000}, {0, 2000}};
    ::setitimer(ITIMER_REAL, &often, nullptr);
  }
  ~AlarmClock() {
    const itimerval never{};
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before_, nullptr);
  }
  AlarmClock(const AlarmClock &) = delete;
  AlarmClock &operator=(const AlarmClock &) = delete;

private:
  struct sigaction before_ {};
};

TEST(OperatingSystemTest, APollInterruptedByASignalIsResumed) {
  const Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  const AlarmClock clock(pipe->writeEnd.number());
  pollfd waiting{pipe->readEnd.number(), POLLIN, 0};
  EXPECT_EQ(real().poll(&waiting, 1, -1), 1);
  EXPECT_GE(signals, 3);
}

TEST(OperatingSystemTest, SignalsDoNotKeepAPollFromEndingInTime) {
  const Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  // The alarm comes every 2 ms, so a poll that began its 50 ms again each time would never end.
  const AlarmClock clock(-1);
  pollfd waiting{pipe->readEnd.number(), POLLIN, 0};
  EXPECT_EQ(real().poll(&waiting, 1, 50), 0);
}

TEST(OperatingSystemTest, OpeningAFifoInterruptedByASignalIsResumed) {
  const TemporaryDirectory directory;
  const std::string fifo = directory.path("fifo");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const Result<Pipe> pipe = createPipe();
  ASSERT_TRUE(pipe);
  const pid_t child = ::fork();
  if (child == 0) {
    char byte;
    // Opens the other end only when signals have come.
    ::_exit(::read(pipe->readEnd.number(), &byte, 1) == 1 && ::open(fifo.c_str(), O_WRONLY) >= 0
                ? 0
                : 1);
  }
  ASSERT_GT(child, 0);
  const AlarmClock clock(pipe->writeEnd.number());
  const FileDescriptor opened(real().open(fifo.c_str(), O_RDONLY));
  EXPECT_TRUE(opened);
  EXPECT_GE(signals, 3);
}

// Does the call while system calls of one kind are interrupted, each once.
template <class Call> void interrupting(unsigned number, Call call) {
  test::inChild([&] {
    const test::InterruptedSystemCall interrupted(number);
    if (!interrupted)
      return; // nothing to be seen here
    call();
    EXPECT_GE(interrupted.interruptions(), 1);
  });
}

TEST(OperatingSystemTest, AnInterruptedStatusIsAskedForAgain) {
  struct stat status {};
  interrupting(SYS_newfstatat, [&] { EXPECT_EQ(real().statAt(AT_FDCWD, "/", true, status), 0); });
}

TEST(OperatingSystemTest, AnInterruptedStatusOfADescriptorIsAskedForAgain) {
  const FileDescriptor directory(real().open("/", O_RDONLY));
  struct stat status {};
  for (const unsigned number : {unsigned{SYS_newfstatat}, unsigned{SYS_fstat}}) // one of them
    test::inChild([&] {
      const test::InterruptedSystemCall interrupted(number);
      EXPECT_EQ(real().statDescriptor(directory.number(), status), 0);
    });
}

TEST(OperatingSystemTest, AnInterruptedListingGoesOn) {
  const TemporaryDirectory directory;
  directory.writeFile("a", "");
  interrupting(SYS_getdents64, [&] {
    const auto listing = real().openDirectory(directory.path().c_str());
    ASSERT_NE(listing, nullptr);
    int count = 0;
    while (listing->next())
      ++count;
    EXPECT_EQ(count, 3);
    EXPECT_EQ(listing->error(), 0);
  });
}

TEST(OperatingSystemTest, AListingThatBreaksOffSaysWhy) {
  const TemporaryDirectory directory;
  test::inChild([&] {
    const auto listing = real().openDirectory(directory.path().c_str());
    ASSERT_NE(listing, nullptr);
    ASSERT_EQ(test::refuseSystemCall(SYS_getdents64, EIO), 0);
    EXPECT_FALSE(listing->next());
    EXPECT_EQ(listing->error(), EIO);
  });
}

TEST(OperatingSystemTest, AnInterruptedReadIsRepeated) {
  const TemporaryDirectory directory;
  directory.writeFile("a", "text");
  const FileDescriptor file(real().open(directory.path("a").c_str(), O_RDONLY));
  interrupting(SYS_pread64, [&] {
    char bytes[4];
    EXPECT_EQ(real().readAt(file.number(), bytes, sizeof bytes, 0), 4);
  });
}

} // namespace
} // namespace tesker
