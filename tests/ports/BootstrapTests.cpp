#include "platform/ports/Bootstrap.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>

namespace tesker {
namespace {

using test::boundSocket;
using test::inOrdinaryUsersChild;
using test::kOtherUser;
using test::openDescriptorCount;

// A directory that can stand for the name space, and does.
class BootstrapLookUp : public testing::Test {
protected:
  BootstrapLookUp() : path_(temporary_.makeDirectory("names", 0700)) {
    ::setenv("TESKER_BOOTSTRAP_DIR", path_.c_str(), 1);
  }
  ~BootstrapLookUp() override { ::unsetenv("TESKER_BOOTSTRAP_DIR"); }

  std::unique_ptr<BootstrapService> checkIn(std::string_view name = kMasterServiceName) const {
    std::unique_ptr<BootstrapService> service;
    EXPECT_EQ(BootstrapService::checkIn(path_, name, service), BOOTSTRAP_SUCCESS);
    return service;
  }

  // The status of a look-up; a failed one stores nothing and leaves nothing open.
  static kern_return_t lookUp(std::string_view name = kMasterServiceName) {
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
  std::string path_;
};

TEST_F(BootstrapLookUp, GivesASendRightToTheService) {
  const auto service = checkIn();
  port_t port = PORT_NULL;
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kMasterServiceName, port), BOOTSTRAP_SUCCESS);
  EXPECT_NE(port, task_self());
  EXPECT_NE(port, bootstrap_port());
  EXPECT_EQ(::fcntl(sendDescriptor(port), F_GETFD), FD_CLOEXEC);
  const port_t accepted = service->acceptConnection();
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
  const FileDescriptor silent = boundSocket(path_ + "/Miniapp_boot_port");
  ASSERT_TRUE(silent);
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
}

TEST_F(BootstrapLookUp, OfSomethingElseUnderTheNameIsUnknown) {
  temporary_.writeFile("names/Miniapp_boot_port", "no socket");
  EXPECT_EQ(lookUp(), BOOTSTRAP_UNKNOWN_SERVICE);
  const FileDescriptor stream = boundSocket(path_ + "/stream", SOCK_STREAM);
  ASSERT_EQ(::listen(stream.get(), 1), 0);
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
  for (const mode_t mode : {0770U, 0755U, 0701U, 0500U}) {
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

// The listening socket belongs to whoever made it listen.
TEST_F(BootstrapLookUp, RefusesAServiceOfAnotherUser) {
  TESKER_SKIP_UNLESS_ROOT();
  const FileDescriptor listener = boundSocket(path_ + "/Miniapp_boot_port");
  inOrdinaryUsersChild([&] { EXPECT_EQ(::listen(listener.get(), 1), 0); });
  EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED);
}

TEST_F(BootstrapLookUp, AcceptsAServiceOfRoot) {
  TESKER_SKIP_UNLESS_ROOT();
  const auto service = checkIn();
  ASSERT_EQ(::chown(path_.c_str(), kOtherUser, kOtherUser), 0);
  ASSERT_EQ(::chmod((path_ + "/Miniapp_boot_port").c_str(), 0777), 0);
  ASSERT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
  inOrdinaryUsersChild([] { EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS); });
}

TEST_F(BootstrapLookUp, RefusesASocketThatItMayNotConnectTo) {
  const auto service = checkIn();
  if (::geteuid() == 0) {
    ASSERT_EQ(::chown(path_.c_str(), kOtherUser, kOtherUser), 0);
  }
  ASSERT_EQ(::chmod((path_ + "/Miniapp_boot_port").c_str(), 0), 0);
  ASSERT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
  inOrdinaryUsersChild([] { EXPECT_EQ(lookUp(), BOOTSTRAP_NOT_PRIVILEGED); });
}

TEST_F(BootstrapLookUp, WorksInADirectoryTooFarDownForASocketAddress) {
  const std::string deep = temporary_.path(std::string(200, 'd') + "/names");
  ::setenv("TESKER_BOOTSTRAP_DIR", deep.c_str(), 1);
  std::unique_ptr<BootstrapService> service;
  ASSERT_EQ(BootstrapService::checkIn(deep, kMasterServiceName, service), BOOTSTRAP_SUCCESS);
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
}

TEST_F(BootstrapLookUp, IsServedByTheNameServersPortOnly) {
  const auto service = checkIn();
  port_t port = 4711;
  EXPECT_EQ(bootstrap_look_up(task_self(), kMasterServiceName, port), BOOTSTRAP_NOT_PRIVILEGED);
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
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kMasterServiceName, first), BOOTSTRAP_SUCCESS);
  CountingSystem counting;
  const ScopedOperatingSystem inForce(counting);
  const auto before = openDescriptorCount();
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kMasterServiceName, second), BOOTSTRAP_SUCCESS);
  EXPECT_EQ(second, first);
  EXPECT_EQ(counting.polls, 1);
  EXPECT_EQ(counting.stats, 0);
  EXPECT_EQ(openDescriptorCount(), before);
}

TEST_F(BootstrapLookUp, SeesAServiceThatHasGone) {
  auto service = checkIn();
  EXPECT_EQ(lookUp(), BOOTSTRAP_SUCCESS);
  ASSERT_NE(service->acceptConnection(), PORT_NULL);
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
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kMasterServiceName, first), BOOTSTRAP_SUCCESS);
  service.reset();
  service = checkIn();
  ASSERT_EQ(bootstrap_look_up(bootstrap_port(), kMasterServiceName, second), BOOTSTRAP_SUCCESS);
  EXPECT_NE(second, first);
  EXPECT_EQ(sendDescriptor(first), -1);
  EXPECT_NE(service->acceptConnection(), PORT_NULL);
}

class BootstrapDirectoryName : public testing::Test {
protected:
  BootstrapDirectoryName() {
    ::unsetenv("TESKER_BOOTSTRAP_DIR");
    ::unsetenv("XDG_RUNTIME_DIR");
  }
  ~BootstrapDirectoryName() override {
    ::unsetenv("TESKER_BOOTSTRAP_DIR");
    ::unsetenv("XDG_RUNTIME_DIR");
  }
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
    std::unique_ptr<BootstrapService> service;
    port_t port = PORT_NULL;
    ASSERT_EQ(BootstrapService::checkIn(bootstrapDirectory(), "name", service), 0);
    ASSERT_EQ(::chmod(parent.c_str(), 0770), 0);
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "name", port), BOOTSTRAP_NOT_PRIVILEGED);
    ASSERT_EQ(::chmod(parent.c_str(), 0700), 0);
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "name", port), BOOTSTRAP_SUCCESS);
  });
  std::filesystem::remove_all(parent);
}

} // namespace
} // namespace tesker
