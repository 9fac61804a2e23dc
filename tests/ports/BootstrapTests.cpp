#include "platform/ports/Bootstrap.h"
#include "platform/ports/BootstrapService.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <utility>

namespace tesker {
namespace {

using test::boundSocket;
using test::inChild;
using test::inOrdinaryUsersChild;
using test::kOtherUser;
using test::openDescriptorCount;

constexpr std::string_view kName = "the.service";

std::unique_ptr<BootstrapService> checkIn(const std::string &directory, std::string_view name) {
  auto service = BootstrapService::checkIn(directory, name);
  EXPECT_EQ(service.error(), 0);
  return service ? std::move(*service) : nullptr;
}

// A directory that can stand for the name space, and does.
class BootstrapLookUp : public testing::Test {
protected:
  std::unique_ptr<BootstrapService> checkIn(std::string_view name = kName) const {
    return tesker::checkIn(path_, name);
  }

  // The status of a look-up; a failed one stores nothing and leaves nothing open.
  static kern_return_t lookUp(std::string_view name = kName) {
    const auto before = openDescriptorCount();
    port_t port = 4711;
    const kern_return_t status = bootstrap_look_up(bootstrap_port(), name, port);
    if (status != BOOTSTRAP_SUCCESS) {
      EXPECT_EQ(port, 4711U);
      EXPECT_LE(openDescriptorCount(), before);
    }
    return status;
  }

  test::TemporaryDirectory temporary_;
  std::string path_ = temporary_.makeDirectory("names", 0700);
  test::ScopedEnvironment variable_{"TESKER_BOOTSTRAP_DIR", path_};
};

TEST_F(BootstrapLookUp, GivesASendRightToTheService) {
  const auto service = checkIn();
  port_t port = PORT_NULL;
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kName, port), BOOTSTRAP_SUCCESS);
  EXPECT_NE(port, task_self());
  EXPECT_NE(port, bootstrap_port());
  EXPECT_EQ(::fcntl(sendDescriptor(port), F_GETFD), FD_CLOEXEC);
  const port_t accepted = *service->acceptConnection();
  ASSERT_NE(accepted, PORT_NULL);
  ASSERT_TRUE(test::sendRaw(sendDescriptor(port), "hello"));
  EXPECT_EQ(test::receiveRaw(receiveDescriptor(accepted)).first, "hello");
}

TEST_F(BootstrapLookUp, OfWhatIsNotThereIsUnknown) {
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
  ::setenv("TESKER_BOOTSTRAP_DIR", temporary_.path("missing").c_str(), 1);
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, OfASocketThatNobodyListensOnIsUnknown) {
  const FileDescriptor silent = boundSocket(path_ + "/the.service");
  ASSERT_TRUE(silent);
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, OfSomethingElseUnderTheNameIsUnknown) {
  temporary_.writeFile("names/the.service", "no socket");
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
  const FileDescriptor stream = boundSocket(path_ + "/stream", SOCK_STREAM);
  ASSERT_EQ(::listen(stream.number(), 1), 0);
  EXPECT_EQ(lookUp("stream"), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, OfANameThatCanBeNoFilesIsUnknown) {
  const auto service = checkIn("inner");
  EXPECT_EQ(lookUp(""), BOOTSTRAP_UNKNOWN_SERVICE);
  EXPECT_EQ(lookUp("../names/inner"), BOOTSTRAP_UNKNOWN_SERVICE);
  EXPECT_EQ(lookUp(std::string(300, 'x')), BOOTSTRAP_UNKNOWN_SERVICE);
  EXPECT_EQ(lookUp(std::string_view("inner\0", 6)), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, RefusesADirectoryOfAnotherUser) {
  TESKER_SKIP_UNLESS_ROOT();
  const auto service = checkIn();
  ASSERT_EQ(::chown(path_.c_str(), kOtherUser, kOtherUser), 0);
  EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED);
}

TEST_F(BootstrapLookUp, RefusesADirectoryWithOtherPermissionsThanItsOwners) {
  const auto service = checkIn();
  for (const mode_t mode : {0770U, 0755U, 0701U, 0500U, 01700U, 02700U, 04700U}) {
    ASSERT_EQ(::chmod(path_.c_str(), mode), 0);
    EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED) << std::oct << mode;
  }
  ASSERT_EQ(::chmod(path_.c_str(), 0700), 0);
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
}

TEST_F(BootstrapLookUp, RefusesALinkOrAFileInTheDirectorysPlace) {
  const auto service = checkIn();
  ::setenv("TESKER_BOOTSTRAP_DIR", temporary_.makeLink("link", path_).c_str(), 1);
  EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED);
  ::setenv("TESKER_BOOTSTRAP_DIR", temporary_.writeFile("file", "").c_str(), 1);
  EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED);
}

TEST_F(BootstrapLookUp, RefusesALinkWhateverSlashesStandBehindIt) {
  const std::string link = temporary_.makeLink("link", path_);
  for (const char *end : {"/", "//", "/.", "/./", "/.//./"}) {
    const auto service = checkIn(); // no look-up remembers it yet
    ::setenv("TESKER_BOOTSTRAP_DIR", (link + end).c_str(), 1);
    EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED) << end;
    ::setenv("TESKER_BOOTSTRAP_DIR", (path_ + end).c_str(), 1);
    EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS) << end;
  }
}

// The listening socket belongs to the one who made it listen.
TEST_F(BootstrapLookUp, RefusesAServiceOfAnotherUser) {
  TESKER_SKIP_UNLESS_ROOT();
  const FileDescriptor listener = boundSocket(path_ + "/the.service");
  inOrdinaryUsersChild([&] { EXPECT_EQ(::listen(listener.number(), 1), 0); });
  EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED);
}

TEST_F(BootstrapLookUp, AcceptsAServiceOfRoot) {
  TESKER_SKIP_UNLESS_ROOT();
  const auto service = checkIn();
  ASSERT_EQ(::chown(path_.c_str(), kOtherUser, kOtherUser), 0);
  ASSERT_EQ(::chmod((path_ + "/the.service").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
  inOrdinaryUsersChild([] { EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS); });
}

TEST_F(BootstrapLookUp, RefusesASocketThatItMayNotConnectTo) {
  const auto service = checkIn();
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(path_.c_str(), kOtherUser, kOtherUser), 0);
  }
  ASSERT_EQ(::chmod((path_ + "/the.service").c_str(), 0), 0);
  ASSERT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
  inOrdinaryUsersChild([] { EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED); });
}

TEST_F(BootstrapLookUp, WorksInADirectoryTooFarDownForASocketAddress) {
  const std::string deep = temporary_.path(std::string(200, 'd') + "/names");
  ::setenv("TESKER_BOOTSTRAP_DIR", deep.c_str(), 1);
  const auto service = tesker::checkIn(deep, kName);
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
}

// How many further descriptors this process may open.
void allowDescriptors(rlim_t count) {
  const FileDescriptor next(::open("/dev/null", O_RDONLY | O_CLOEXEC)); // the lowest that is free
  const rlim_t limit = static_cast<rlim_t>(next.number()) + count;
  const rlimit few{limit, limit};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
}

TEST_F(BootstrapLookUp, WithoutDescriptorsForTheDirectoryAndTheSocketSaysSo) {
  const auto service = checkIn();
  const std::pair<rlim_t, kern_return_t> statuses[] = {
      {0, EMFILE}, {1, EMFILE}, {2, BOOTSTRAP_SUCCESS}};
  for (const auto &[descriptors, status] : statuses)
    inChild([&, allowed = descriptors, expected = status] {
      allowDescriptors(allowed);
      port_t port = 4711;
      EXPECT_EQ(bootstrap_look_up(bootstrap_port(), kName, port), expected) << allowed;
      EXPECT_EQ(port == 4711, expected != BOOTSTRAP_SUCCESS);
    });
}

TEST_F(BootstrapLookUp, WhereThereIsNoProcSaysSo) {
  TESKER_SKIP_UNLESS_ROOT();
  const auto service = checkIn();
  inChild([&] {
    ASSERT_EQ(::chroot(temporary_.path().c_str()), 0);
    ::setenv("TESKER_BOOTSTRAP_DIR", "/names", 1);
    port_t port = 4711;
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), kName, port), ENOENT);
    EXPECT_EQ(port, 4711U);
  });
}

// A system that fails with the error where the directory is opened or examined.
class FailingSystem final : public OperatingSystem {
public:
  explicit FailingSystem(int error) : error_(error) {}
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    return failsToOpen ? fail() : OperatingSystem::openAt(directory, path, flags, mode);
  }
  int statDescriptor(int, struct stat &) override { return fail(); }
  bool failsToOpen = false;

private:
  int fail() const {
    errno = error_;
    return -1;
  }
  int error_;
};

TEST_F(BootstrapLookUp, GivesTheErrorThatKeepsItFromFindingOut) {
  const auto service = checkIn();
  FailingSystem failing(EIO);
  const ScopedOperatingSystem inForce(failing);
  EXPECT_EQ(lookUp(), EIO);
  failing.failsToOpen = true;
  EXPECT_EQ(lookUp(), EIO);
}

TEST_F(BootstrapLookUp, OfALinkThatLeadsNowhereIsUnknown) {
  temporary_.makeLink("names/the.service", "missing");
  temporary_.makeLink("names/circle", "circle");
  temporary_.makeLink("names/through", temporary_.writeFile("file", "") + "/socket");
  for (const char *name : {"the.service", "circle", "through"})
    EXPECT_EQ(lookUp(name), BOOTSTRAP_UNKNOWN_SERVICE) << name;
}

TEST_F(BootstrapLookUp, IsServedByTheNameServersPortOnly) {
  const auto service = checkIn();
  port_t port = 4711;
  EXPECT_EQ(bootstrap_look_up(task_self(), kName, port), BOOTSTRAP_NOT_PRIVILEGED);
  EXPECT_EQ(port, 4711U);
}

class CountingSystem final : public OperatingSystem {
public:
  int poll(pollfd *descriptors, nfds_t count, int timeout) override {
    ++polls;
    return OperatingSystem::poll(descriptors, count, timeout);
  }
  int statDescriptor(int descriptor, struct stat &status) override {
    ++stats;
    return OperatingSystem::statDescriptor(descriptor, status);
  }
  int polls = 0, stats = 0;
};

TEST_F(BootstrapLookUp, AgainCostsOnePollAndGivesTheSameRight) {
  const auto service = checkIn();
  port_t first = PORT_NULL, second = PORT_NULL;
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kName, first), BOOTSTRAP_SUCCESS);
  CountingSystem counting;
  const ScopedOperatingSystem inForce(counting);
  const auto before = openDescriptorCount();
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kName, second), BOOTSTRAP_SUCCESS);
  EXPECT_EQ(second, first);
  EXPECT_EQ(counting.polls, 1);
  EXPECT_EQ(counting.stats, 0);
  EXPECT_EQ(openDescriptorCount(), before);
}

TEST_F(BootstrapLookUp, SeesAServiceThatHasGone) {
  auto service = checkIn();
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
  ASSERT_NE(*service->acceptConnection(), PORT_NULL);
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
  service.reset();
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, SeesAServiceThatHasGoneBeforeItAccepted) {
  auto service = checkIn();
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
  service.reset();
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, ConnectsAnewToAServiceThatHasReturned) {
  auto service = checkIn();
  port_t first = PORT_NULL, second = PORT_NULL;
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kName, first), BOOTSTRAP_SUCCESS);
  service.reset();
  service = checkIn();
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kName, second), BOOTSTRAP_SUCCESS);
  EXPECT_NE(second, first);
  EXPECT_EQ(sendDescriptor(first), -1);
  EXPECT_NE(*service->acceptConnection(), PORT_NULL);
}

class BootstrapDirectoryName : public testing::Test {
  test::ScopedEnvironment directory_{"TESKER_BOOTSTRAP_DIR", nullptr};
  test::ScopedEnvironment runtime_{"XDG_RUNTIME_DIR", nullptr};
};

TEST_F(BootstrapDirectoryName, IsTheFirstThatTheEnvironmentGives) {
  EXPECT_EQ(bootstrapDirectory(), "/tmp/tesker-" + std::to_string(::geteuid()) + "/bootstrap");
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  EXPECT_EQ(bootstrapDirectory(), "/run/user/1/tesker/bootstrap");
  ::setenv("TESKER_BOOTSTRAP_DIR", "/names", 1);
  EXPECT_EQ(bootstrapDirectory(), "/names");
}

TEST_F(BootstrapDirectoryName, AnEmptyVariableCountsAsUnset) {
  ::setenv("XDG_RUNTIME_DIR", "/run/user/1", 1);
  ::setenv("TESKER_BOOTSTRAP_DIR", "", 1);
  EXPECT_EQ(bootstrapDirectory(), "/run/user/1/tesker/bootstrap");
  ::setenv("XDG_RUNTIME_DIR", "", 1);
  EXPECT_EQ(bootstrapDirectory(), "/tmp/tesker-" + std::to_string(::geteuid()) + "/bootstrap");
}

// Everybody may write to /tmp, so the directory there that holds the names is checked too.
TEST_F(BootstrapDirectoryName, InTmpTheParentMustBeTheUsersOwn) {
  TESKER_SKIP_UNLESS_ROOT(); // the directory of the user who runs the tests may be in use
  const std::string parent = "/tmp/tesker-" + std::to_string(kOtherUser);
  std::filesystem::remove_all(parent);
  inOrdinaryUsersChild([&] {
    const auto service = checkIn(bootstrapDirectory(), "name");
    port_t port = PORT_NULL;
    ASSERT_EQ(::chmod(parent.c_str(), 0770), 0);
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "name", port), BOOTSTRAP_NOT_PRIVILEGED);
    const test::ScopedEnvironment named("TESKER_BOOTSTRAP_DIR", bootstrapDirectory() + "/");
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "name", port), BOOTSTRAP_NOT_PRIVILEGED);
    ASSERT_EQ(::chmod(parent.c_str(), 0700), 0);
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "name", port), BOOTSTRAP_SUCCESS);
  });
  std::filesystem::remove_all(parent);
}

} // namespace
} // namespace tesker
