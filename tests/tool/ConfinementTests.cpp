// What a confined process can still do, level by level. Everything happens in children, because
// no level can be left again.

#include "finding/Confinement.h"
#include "platform/foundation/Files.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RefusedSystemCall.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <linux/openat2.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>

namespace tesker {
namespace {

using test::inChild;
using test::refuseSystemCall;
using test::TemporaryDirectory;

// The errno of a call that answers -1; 0 when it does not.
template <class Call> int errorOf(Call call) {
  errno = 0;
  return static_cast<long>(call()) == -1 ? errno : 0;
}

// A directory with something for each attempt, open to every user.
class Confined : public testing::Test {
protected:
  Confined() {
    ::chmod(tree.path().c_str(), 0777);
    tree.writeFile("file", "bytes", 0666);
    tree.makeDirectory("directory", 0777);
  }
  std::string path(std::string_view name) const { return tree.path(name); }

  int execute() const {
    return errorOf([] { return ::execl("/bin/false", "false", nullptr); });
  }
  int open(int flags, std::string_view name = "file") const {
    return errorOf([&] { return ::open(path(name).c_str(), flags, 0600); });
  }
  int remove() const {
    return errorOf([&] { return ::unlink(path("file").c_str()); });
  }
  int makeDirectory() const {
    return errorOf([&] { return ::mkdir(path("new").c_str(), 0700); });
  }
  int rename() const {
    return errorOf([&] { return ::rename(path("file").c_str(), path("other").c_str()); });
  }
  int truncate() const {
    return errorOf([&] { return ::truncate(path("file").c_str(), 0); });
  }
  int mount() const { // needs nothing but the right to
    return errorOf([&] { return ::mount("none", path("directory").c_str(), "tmpfs", 0, nullptr); });
  }

  TemporaryDirectory tree;
};

int signalTheParent() {
  return errorOf([] { return ::kill(::getppid(), 0); });
}

int traceTheParent() {
  return errorOf([] { return ::ptrace(PTRACE_SEIZE, ::getppid(), nullptr, nullptr); });
}

int openSocket(int family) {
  return errorOf([&] { return ::socket(family, SOCK_DGRAM, 0); });
}

// What every search does.
void expectSearchesWork(const std::string &directory) {
  struct stat status {};
  EXPECT_EQ(::stat(directory.c_str(), &status), 0);
  EXPECT_EQ(std::string(*contentsOfFile(NSString::create(directory + "/file"))), "bytes");
  const auto listing = OperatingSystem::current().openDirectory(directory.c_str());
  ASSERT_NE(listing, nullptr);
  EXPECT_TRUE(listing->next());
  EXPECT_GT(std::string(std::size_t{64} << 20, 'x').size(), 0U); // mapped and unmapped
  EXPECT_THROW(throw std::runtime_error("unwound"), std::runtime_error);
  EXPECT_EQ(OperatingSystem::current().poll(nullptr, 0, 1), 0);
}

// ---- the filter alone ----

// As any user may be.
bool isFiltered() { return giveUpNewPrivileges() && filterSystemCalls(); }

TEST_F(Confined, ByTheFilterASearchStillWorks) {
  inChild([&] {
    ASSERT_TRUE(isFiltered());
    expectSearchesWork(tree.path());
  });
}

TEST_F(Confined, ByTheFilterNoProgramIsExecutedAndNoProcessMade) {
  inChild([&] {
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(execute(), EPERM);
    EXPECT_EQ(errorOf([] {
                return ::syscall(SYS_execveat, AT_FDCWD, "/bin/false", nullptr, nullptr, 0);
              }),
              EPERM);
    EXPECT_EQ(errorOf([] { return ::fork(); }), EPERM);
  });
}

TEST_F(Confined, ByTheFilterNothingIsOpenedButForReading) {
  inChild([&] {
    ASSERT_TRUE(isFiltered());
    for (const int flags : {O_WRONLY, O_RDWR, O_ACCMODE, O_RDONLY | O_TRUNC, O_RDONLY | O_CREAT})
      EXPECT_EQ(open(flags), EPERM) << flags;
    EXPECT_EQ(open(O_RDWR | O_TMPFILE, "directory"), EPERM);
    EXPECT_EQ(errorOf([&] { return ::creat(path("new").c_str(), 0600); }), EPERM);
    struct open_how how {};
    EXPECT_EQ(errorOf([&] {
                return ::syscall(SYS_openat2, AT_FDCWD, path("file").c_str(), &how, sizeof how);
              }),
              ENOSYS);
#ifdef SYS_open
    EXPECT_EQ(errorOf([&] { return ::syscall(SYS_open, path("file").c_str(), O_WRONLY); }), EPERM);
#endif
  });
}

TEST_F(Confined, ByTheFilterNoFileIsMadeRemovedOrChanged) {
  inChild([&] {
    const FileDescriptor file(::open(path("file").c_str(), O_RDWR | O_CLOEXEC));
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(remove(), EPERM);
    EXPECT_EQ(makeDirectory(), EPERM);
    EXPECT_EQ(rename(), EPERM);
    EXPECT_EQ(truncate(), EPERM);
    EXPECT_EQ(errorOf([&] { return ::ftruncate(file.number(), 0); }), EPERM);
    EXPECT_EQ(errorOf([&] { return ::chmod(path("file").c_str(), 0600); }), EPERM);
    EXPECT_EQ(errorOf([&] { return ::chown(path("file").c_str(), 1, 1); }), EPERM);
    EXPECT_EQ(errorOf([&] { return ::symlink("file", path("link").c_str()); }), EPERM);
    EXPECT_EQ(errorOf([&] { return ::rmdir(path("directory").c_str()); }), EPERM);
  });
}

TEST_F(Confined, ByTheFilterNoSocketIsMadeButLocalOnes) {
  inChild([&] {
    ASSERT_TRUE(isFiltered());
    for (const int family : {AF_INET, AF_INET6, AF_NETLINK, AF_PACKET, AF_VSOCK})
      EXPECT_EQ(openSocket(family), EPERM) << family;
    EXPECT_EQ(openSocket(AF_UNIX), 0);
  });
}

TEST_F(Confined, ByTheFilterNoOtherProcessIsReached) {
  inChild([&] {
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(signalTheParent(), EPERM);
    EXPECT_EQ(errorOf([] { return ::syscall(SYS_tgkill, ::getppid(), ::getppid(), 0); }), EPERM);
    EXPECT_EQ(traceTheParent(), EPERM);
    EXPECT_EQ(
        errorOf([] { return ::setpriority(PRIO_PROCESS, static_cast<id_t>(::getppid()), 0); }),
        EPERM);
    const struct rlimit limit { 1000, 1000 };
    EXPECT_EQ(errorOf([&] { return ::setrlimit(RLIMIT_NOFILE, &limit); }), EPERM);
    struct rlimit asked {};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &asked), 0);
  });
}

TEST_F(Confined, ByTheFilterNoRightIsGainedOrPlaceChanged) {
  inChild([&] {
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(errorOf([] { return ::setuid(::getuid()); }), EPERM);
    EXPECT_EQ(mount(), EPERM);
    EXPECT_EQ(errorOf([] { return ::chroot("/"); }), EPERM);
    EXPECT_EQ(errorOf([] { return ::unshare(CLONE_NEWUSER); }), EPERM);
    EXPECT_EQ(errorOf([] { return ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0); }), EPERM);
  });
}

TEST_F(Confined, ByTheFilterNoMemoryIsOrBecomesExecutable) {
  inChild([&] {
    const auto map = [](int protection) {
      return ::mmap(nullptr, 4096, protection, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    };
    void *writable = map(PROT_READ | PROT_WRITE);
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(map(PROT_READ | PROT_EXEC), MAP_FAILED);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(errorOf([&] { return ::mprotect(writable, 4096, PROT_EXEC); }), EPERM);
    EXPECT_EQ(errorOf([&] { return ::mprotect(writable, 4096, PROT_READ); }), 0);
  });
}

TEST_F(Confined, ByTheFilterCallsThatAreNewAreUnknown) {
  inChild([] {
    ASSERT_TRUE(isFiltered());
    constexpr long ioUringSetup = 425, ofTheFuture = 100000, x32Read = 0x40000000;
    for (const long call : {ioUringSetup, ofTheFuture, x32Read})
      EXPECT_EQ(errorOf([&] { return ::syscall(call, 0, 0, 0); }), ENOSYS) << call;
  });
}

TEST_F(Confined, ByTheFilterDescriptorsHaveNoSignalsSentAboutThem) {
  inChild([] {
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(errorOf([] { return ::fcntl(STDERR_FILENO, F_SETOWN, ::getppid()); }), EPERM);
    EXPECT_EQ(errorOf([] { return ::fcntl(STDERR_FILENO, F_GETFL); }), 0);
    const FileDescriptor copy(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3));
    EXPECT_TRUE(copy);
  });
}

TEST_F(Confined, AKernelThatIsOlderThanAFlagOfTheFilterIsNotGivenIt) {
  inChild([&] {
    ASSERT_EQ(refuseSystemCall(SYS_seccomp, EINVAL, {{1, SECCOMP_FILTER_FLAG_SPEC_ALLOW}}), 0);
    ASSERT_TRUE(isFiltered());
    EXPECT_EQ(remove(), EPERM);
  });
}

TEST_F(Confined, ByTheFilterAProcessCanStillAbort) {
  inChild([] {
    const pid_t child = ::fork();
    if (child == 0) {
      const struct rlimit none {};
      ::setrlimit(RLIMIT_CORE, &none);
      if (isFiltered())
        std::abort();
      ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGABRT);
  });
}

// ---- Landlock alone ----

// The number of the version, or 0 where the kernel has none.
int landlockVersion() {
  const pid_t child = ::fork();
  if (child == 0) {
    const Result<int> reached =
        giveUpNewPrivileges() ? restrictFileAccess() : Result<int>(Failure{EPERM});
    ::_exit(reached ? *reached : 0);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

class ConfinedByLandlock : public Confined {
protected:
  void SetUp() override {
    if (version < 1)
      GTEST_SKIP() << "this kernel has no Landlock";
  }
  void confined(const std::function<void()> &body) const {
    inChild([&] {
      ASSERT_EQ(giveUpNewPrivileges().error(), 0);
      ASSERT_EQ(restrictFileAccess().error(), 0);
      body();
    });
  }
  const int version = landlockVersion();
};

TEST_F(ConfinedByLandlock, ASearchStillWorks) {
  confined([&] { expectSearchesWork(tree.path()); });
}

TEST_F(ConfinedByLandlock, NoProgramIsExecuted) {
  confined([&] { EXPECT_EQ(execute(), EACCES); });
}

TEST_F(ConfinedByLandlock, NothingIsOpenedButForReading) {
  confined([&] {
    EXPECT_EQ(open(O_WRONLY), EACCES);
    EXPECT_EQ(open(O_RDWR), EACCES);
    EXPECT_EQ(open(O_RDONLY | O_CREAT, "new"), EACCES);
    EXPECT_EQ(open(O_RDWR | O_TMPFILE, "directory"), EACCES);
  });
}

TEST_F(ConfinedByLandlock, NothingIsMadeMovedOrRemoved) {
  confined([&] {
    EXPECT_EQ(remove(), EACCES);
    EXPECT_EQ(makeDirectory(), EACCES);
    EXPECT_EQ(rename(), EACCES);
    EXPECT_EQ(errorOf([&] { return ::symlink("file", path("link").c_str()); }), EACCES);
    EXPECT_EQ(errorOf([&] { return ::rmdir(path("directory").c_str()); }), EACCES);
  });
}

TEST_F(ConfinedByLandlock, NothingIsMountedAndNoProcessTraced) {
  confined([&] {
    EXPECT_EQ(mount(), EPERM);
    EXPECT_EQ(traceTheParent(), EPERM);
  });
}

TEST_F(ConfinedByLandlock, NothingIsCutOff) {
  if (version < 3)
    GTEST_SKIP() << "this kernel's Landlock does not know truncate";
  confined([&] { EXPECT_EQ(truncate(), EACCES); });
}

TEST_F(ConfinedByLandlock, NoConnectionLeavesTheMachine) {
  if (version < 4)
    GTEST_SKIP() << "this kernel's Landlock does not know TCP";
  confined([] {
    const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(9);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(errorOf([&] {
                return ::connect(socket.number(), reinterpret_cast<sockaddr *>(&address),
                                 sizeof address);
              }),
              EACCES);
  });
}

TEST_F(ConfinedByLandlock, NoOtherProcessIsSignalled) {
  if (version < 6)
    GTEST_SKIP() << "this kernel's Landlock does not know signals";
  confined([] { EXPECT_EQ(signalTheParent(), EPERM); });
}

// As a kernel does that has less than the number of its version promises.
TEST_F(ConfinedByLandlock, AKernelThatRefusesMuchIsAskedForLess) {
  inChild([&] {
    ASSERT_EQ(giveUpNewPrivileges().error(), 0);
    for (const unsigned size : {24U, 16U}) // of what versions 6 to 4 are asked with
      ASSERT_EQ(refuseSystemCall(SYS_landlock_create_ruleset, EINVAL, {{1, size}}), 0);
    const Result<int> reached = restrictFileAccess();
    ASSERT_EQ(reached.error(), 0);
    EXPECT_EQ(*reached, std::min(version, 3));
    EXPECT_EQ(open(O_WRONLY), EACCES);
  });
}

} // namespace
} // namespace tesker
