#include "platform/ports/Bootstrap.h"
#include "platform/ports/BootstrapService.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace tesker {
namespace {

using test::boundSocket;
using test::openDescriptorCount;

class BootstrapServiceTest : public testing::Test {
protected:
  // The status of checking in under the name; a service that came of it is gone again.
  kern_return_t statusOf(std::string_view name = "name") const {
    return BootstrapService::checkIn(directory_, name).error();
  }
  std::unique_ptr<BootstrapService> checkedIn() const {
    auto service = BootstrapService::checkIn(directory_, "name");
    EXPECT_EQ(service.error(), 0);
    return service ? std::move(*service) : nullptr;
  }
  bool exists() const { return std::filesystem::exists(std::filesystem::symlink_status(name_)); }

  // A connection as somebody makes it who looks the service up.
  FileDescriptor connect() const {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    const sockaddr_un address = test::addressOf(name_);
    if (::connect(socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address) <
        0)
      socket.reset();
    return socket;
  }

  test::TemporaryDirectory temporary_;
  std::string directory_ = temporary_.makeDirectory("names", 0700);
  std::string name_ = directory_ + "/name";
};

TEST_F(BootstrapServiceTest, MakesTheMissingDirectoriesForItsUserOnly) {
  directory_ = temporary_.path("a/b/c");
  const auto service = checkedIn();
  struct stat status {};
  for (const char *made : {"a", "a/b", "a/b/c"}) {
    ASSERT_EQ(::stat(temporary_.path(made).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U) << made;
  }
}

TEST_F(BootstrapServiceTest, MakesItsDirectoriesWithoutTheBitOfOneThatHandsItsGroupOn) {
  const std::string above = temporary_.makeDirectory("above", 0755);
  ASSERT_EQ(::chmod(above.c_str(), 02755), 0);
  directory_ = above + "/a/b";
  EXPECT_NE(checkedIn(), nullptr);
}

// Of the calls that it makes one fails.
class OneFailing final : public OperatingSystem {
public:
  enum class Call { makeDirectory, lock, peer };
  OneFailing(Call call, int error) : call_(call), error_(error) {}

  int makeDirectory(const char *path, mode_t mode) override {
    return fails(Call::makeDirectory) ? -1 : OperatingSystem::makeDirectory(path, mode);
  }
  int lock(int descriptor, int operation) override {
    return fails(Call::lock) ? -1 : OperatingSystem::lock(descriptor, operation);
  }
  int socketOption(int socket, int option, void *value, socklen_t size) override {
    return fails(Call::peer) ? -1 : OperatingSystem::socketOption(socket, option, value, size);
  }
  int poll(pollfd *descriptors, nfds_t count, int timeout) override {
    ++polls;
    return OperatingSystem::poll(descriptors, count, timeout);
  }

  int polls = 0;

private:
  bool fails(Call call) const {
    errno = error_;
    return call == call_;
  }
  Call call_;
  int error_;
};

TEST_F(BootstrapServiceTest, SaysWhyItsDirectoryCannotBeMade) {
  OneFailing system(OneFailing::Call::makeDirectory, ENOSPC);
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(statusOf(), 0); // it is there
  directory_ = temporary_.path("missing");
  EXPECT_EQ(statusOf(), ENOSPC);
}

TEST_F(BootstrapServiceTest, DoesNotWaitForALockThatTheFileSystemDoesNotHave) {
  OneFailing system(OneFailing::Call::lock, ENOLCK);
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(statusOf(), ENOLCK);
  EXPECT_EQ(system.polls, 0);
}

TEST_F(BootstrapServiceTest, SaysWhyItCannotTellWhoHasConnected) {
  const auto service = checkedIn();
  const FileDescriptor client = connect();
  OneFailing system(OneFailing::Call::peer, ENOBUFS);
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(service->acceptConnection().error(), ENOBUFS);
}

TEST_F(BootstrapServiceTest, RefusesADirectoryThatOthersMayEnter) {
  ASSERT_EQ(::chmod(directory_.c_str(), 0755), 0);
  EXPECT_EQ(statusOf(), BOOTSTRAP_NOT_PRIVILEGED);
  EXPECT_FALSE(exists());
}

TEST_F(BootstrapServiceTest, RefusesANameThatCanBeNoFiles) {
  EXPECT_EQ(statusOf("../name"), EINVAL);
  EXPECT_EQ(statusOf(""), EINVAL);
}

TEST_F(BootstrapServiceTest, RemovesItsSocketAtTheEnd) {
  const auto before = openDescriptorCount();
  auto service = checkedIn();
  EXPECT_TRUE(exists());
  service.reset();
  EXPECT_FALSE(exists());
  EXPECT_EQ(openDescriptorCount(), before);
}

TEST_F(BootstrapServiceTest, LeavesASocketThatHasTakenItsPlace) {
  auto service = checkedIn();
  ASSERT_EQ(::rename(name_.c_str(), temporary_.path("aside").c_str()), 0);
  const FileDescriptor other = boundSocket(name_);
  service.reset();
  EXPECT_TRUE(exists());
}

TEST_F(BootstrapServiceTest, ReplacesASocketThatNobodyListensOn) {
  ASSERT_TRUE(boundSocket(name_)); // closed at once
  ASSERT_TRUE(exists());
  const auto service = checkedIn();
  EXPECT_TRUE(connect());
}

TEST_F(BootstrapServiceTest, IsRefusedWhileAnotherOneLives) {
  const auto first = checkedIn();
  EXPECT_EQ(statusOf(), BOOTSTRAP_NAME_IN_USE);
  EXPECT_TRUE(connect());
}

TEST_F(BootstrapServiceTest, IsRefusedWhereSomethingElseStandsUnderTheName) {
  temporary_.writeFile("names/name", "a file of the user's");
  EXPECT_EQ(statusOf(), BOOTSTRAP_NAME_IN_USE);
  EXPECT_TRUE(exists());
}

TEST_F(BootstrapServiceTest, AcceptsWithoutWaiting) {
  const auto service = checkedIn();
  EXPECT_EQ(*service->acceptConnection(), PORT_NULL);
  const FileDescriptor tool = connect();
  pollfd waiting{service->descriptor(), POLLIN, 0};
  EXPECT_EQ(::poll(&waiting, 1, 0), 1);
  EXPECT_NE(*service->acceptConnection(), PORT_NULL);
  EXPECT_EQ(*service->acceptConnection(), PORT_NULL);
}

TEST_F(BootstrapServiceTest, KeepsConnectionsOpenForAsLongAsItLives) {
  auto service = checkedIn();
  const FileDescriptor first = connect(), second = connect();
  ASSERT_NE(*service->acceptConnection(), PORT_NULL);
  ASSERT_NE(*service->acceptConnection(), PORT_NULL);
  pollfd ends[] = {{first.number(), 0, 0}, {second.number(), 0, 0}};
  EXPECT_EQ(::poll(ends, 2, 0), 0);
  service.reset();
  EXPECT_EQ(::poll(ends, 2, 0), 2);
}

TEST_F(BootstrapServiceTest, GivesUpConnectionsThatHaveEnded) {
  const auto service = checkedIn();
  FileDescriptor tool = connect();
  const port_t port = *service->acceptConnection();
  EXPECT_GE(receiveDescriptor(port), 0);
  tool.reset();
  EXPECT_EQ(*service->acceptConnection(), PORT_NULL);
  EXPECT_EQ(receiveDescriptor(port), -1);
}

TEST_F(BootstrapServiceTest, KeepsNoMoreConnectionsThanItsLimitAndClosesTheOthers) {
  const auto service = checkedIn();
  std::vector<FileDescriptor> tools;
  for (std::size_t i = 0; i < BootstrapService::kMostConnections; ++i) {
    tools.push_back(connect());
    ASSERT_NE(*service->acceptConnection(), PORT_NULL);
  }
  const FileDescriptor oneTooMany = connect();
  EXPECT_EQ(*service->acceptConnection(), PORT_NULL);
  EXPECT_TRUE(hasHungUp(oneTooMany.number()));
  EXPECT_FALSE(hasHungUp(tools.front().number()));
  tools.pop_back(); // makes room
  const FileDescriptor next = connect();
  EXPECT_NE(*service->acceptConnection(), PORT_NULL);
  EXPECT_FALSE(hasHungUp(next.number()));
}

TEST_F(BootstrapServiceTest, SaysWhyTheSystemRefusesAConnection) {
  const auto service = checkedIn();
  const FileDescriptor tool = connect();
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const struct rlimit none { 0, before.rlim_max };
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
  const Result<port_t> refused = service->acceptConnection();
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_EQ(refused.error(), EMFILE);
  EXPECT_NE(*service->acceptConnection(), PORT_NULL);
}

TEST_F(BootstrapServiceTest, DoesNotWaitForWhoeverKeepsTheDirectoryLocked) {
  auto service = checkedIn();
  const FileDescriptor other(::open(directory_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(::flock(other.number(), LOCK_EX), 0);
  EXPECT_EQ(statusOf("second"), EWOULDBLOCK);
  service.reset();
  EXPECT_FALSE(exists()) << "the name is given up all the same";
}

TEST_F(BootstrapServiceTest, TurnsAnotherUsersProcessesAway) {
  TESKER_SKIP_UNLESS_ROOT();
  const auto service = checkedIn();
  for (const std::string &path : {temporary_.path(), directory_, name_})
    ASSERT_EQ(::chmod(path.c_str(), 0777), 0);
  Result<Pipe> ready = createPipe();
  ASSERT_TRUE(ready);
  const pid_t stranger = ::fork();
  if (stranger == 0) {
    const bool connected =
        ::setresuid(test::kOtherUser, test::kOtherUser, test::kOtherUser) == 0 && [&] {
          const FileDescriptor socket = connect();
          (void)writeAll(ready->writeEnd.number(), socket ? "y" : "n");
          return socket && test::receiveRaw(socket.number()).first.empty(); // the end
        }();
    ::_exit(connected ? 0 : 1);
  }
  ready->writeEnd.reset();
  char connected = 0;
  ASSERT_EQ(::read(ready->readEnd.number(), &connected, 1), 1);
  EXPECT_EQ(connected, 'y');
  EXPECT_EQ(*service->acceptConnection(), PORT_NULL);
  int status = -1;
  ASSERT_EQ(::waitpid(stranger, &status, 0), stranger);
  EXPECT_EQ(status, 0);
}

} // namespace
} // namespace tesker
