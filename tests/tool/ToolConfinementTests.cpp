// The tool process as it is when it begins to serve, and the levels that are not about system
// calls.

#include "finding/Confinement.h"
#include "platform/foundation/Files.h"
#include "platform/ports/BootstrapService.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RefusedSystemCall.h"
#include "tests/tool/ToolUnderTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>

namespace tesker {
namespace {

using test::inChild;
using test::inOrdinaryUsersChild;
using test::MasterInSteps;
using test::TemporaryDirectory;
using test::ToolUnderTest;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::MatchesRegex;

#ifndef __SANITIZE_ADDRESS__ // which leaves the tool unconfined, for its own sake
std::string textOf(const ToolUnderTest &tool, const std::string &file) {
  std::ostringstream text;
  text << std::ifstream("/proc/" + std::to_string(tool.process()) + "/" + file).rdbuf();
  return text.str();
}

class ToolConfinement : public testing::Test {
protected:
  static void tell() { ::setenv("TESKER_LOG_CONFINEMENT", "1", 1); }
  MasterInSteps master;
};

TEST_F(ToolConfinement, IsThereWhenTheToolBeginsToServe) {
  ToolUnderTest tool(master.directory(), tell);
  const auto connection = master.connect();
  ASSERT_THAT(tool.nextLogLine(),
              MatchesRegex("Tool: confinement: out-of-memory score on, limits on, no new "
                           "privileges on, not dumpable on, Landlock .*, system-call filter on"));
  const std::string status = textOf(tool, "status");
  EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1\n"));
  EXPECT_THAT(status, HasSubstr("Seccomp:\t2\n"));
  EXPECT_EQ(textOf(tool, "oom_score_adj"), "1000\n");
  const std::string limits = textOf(tool, "limits");
  EXPECT_THAT(limits, ContainsRegex("Max address space +8589934592 +8589934592 "));
  EXPECT_THAT(limits, ContainsRegex("Max core file size +0 +0 "));
  EXPECT_THAT(limits, ContainsRegex("Max file size +0 +0 "));
}

TEST_F(ToolConfinement, IsSwitchedOffByTheEnvironment) {
  ToolUnderTest tool(master.directory(), [] {
    tell();
    ::setenv("TESKER_SANDBOX", "off", 1);
  });
  const auto connection = master.connect();
  ASSERT_EQ(tool.nextLogLine(), "Tool: confinement: off");
  const std::string status = textOf(tool, "status");
  EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t0\n"));
  EXPECT_THAT(status, HasSubstr("Seccomp:\t0\n"));
}

TEST_F(ToolConfinement, ALevelThatTheKernelDoesNotHaveIsLeftOut) {
  ToolUnderTest tool(master.directory(), [] {
    tell();
    test::refuseSystemCall(SYS_landlock_create_ruleset, ENOSYS);
  });
  const auto connection = master.connect();
  EXPECT_THAT(tool.nextLogLine(),
              HasSubstr("Landlock off (Function not implemented), system-call filter on"));
}
#endif

// ---- limits ----

rlim_t limitOf(__rlimit_resource_t resource) {
  struct rlimit limit {};
  EXPECT_EQ(::getrlimit(resource, &limit), 0);
  EXPECT_EQ(limit.rlim_cur, limit.rlim_max);
  return limit.rlim_cur;
}

TEST(ConfinementLimits, NoFileGrows) {
  inChild([] {
    const TemporaryDirectory directory;
    const FileDescriptor file(
        ::open(directory.path("file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    const Pipe log = std::move(*createPipe());
    ::dup2(log.writeEnd.number(), STDERR_FILENO);
    ::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(limitResources().error(), 0);
    EXPECT_EQ(writeAll(file.number(), "x").error(), EFBIG);
    EXPECT_EQ(writeAll(STDERR_FILENO, "x").error(), 0);
  });
}

TEST(ConfinementLimits, ALogThatIsAFileGrows) {
  inChild([] {
    const TemporaryDirectory directory;
    const FileDescriptor file(
        ::open(directory.path("log").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ::dup2(file.number(), STDERR_FILENO);
    ASSERT_EQ(limitResources().error(), 0);
    EXPECT_EQ(writeAll(STDERR_FILENO, "x").error(), 0);
  });
}

TEST(ConfinementLimits, LowerOnesStay) {
  inChild([] {
    const struct rlimit low { 1000, 1000 };
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &low), 0);
    const FileDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    ::dup2(null.number(), STDERR_FILENO);
    ASSERT_EQ(limitResources().error(), 0);
    EXPECT_EQ(limitOf(RLIMIT_FSIZE), 0U);
    EXPECT_EQ(limitOf(RLIMIT_CORE), 0U);
  });
}

#ifndef __SANITIZE_ADDRESS__
TEST(ConfinementLimits, MemoryIsThereForTheLargestTextsAndNotForMore) {
  inChild([] {
    const auto map = [](std::uint64_t size) {
      return ::mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    };
    ASSERT_EQ(limitResources().error(), 0);
    EXPECT_EQ(map(kMostAddressSpace), MAP_FAILED); // the program itself takes some
    EXPECT_NE(map(std::uint64_t{6} << 30), MAP_FAILED);
  });
}

TEST(ConfinementLimits, LessMemoryThanThatStaysLess) {
  inChild([] {
    const struct rlimit low { std::uint64_t{1} << 30, std::uint64_t{2} << 30 };
    ASSERT_EQ(::setrlimit(RLIMIT_AS, &low), 0);
    ASSERT_EQ(limitResources().error(), 0);
    struct rlimit limit {};
    ASSERT_EQ(::getrlimit(RLIMIT_AS, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, low.rlim_cur);
    EXPECT_EQ(limit.rlim_max, low.rlim_max);
  });
}
#endif

// ---- what the process is to others ----

TEST(ConfinementLevels, OnlyAProcessWithoutNewPrivilegesMayFilterUnlessItIsRoots) {
  inOrdinaryUsersChild([] {
    EXPECT_EQ(filterSystemCalls().error(), EACCES);
    EXPECT_EQ(giveUpNewPrivileges().error(), 0);
    EXPECT_EQ(filterSystemCalls().error(), 0);
  });
}

TEST(ConfinementLevels, ADescriptorTableThatIsRefusedToOthersIsOpenToTheProcess) {
  inOrdinaryUsersChild([] {
    ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0); // becoming another user has taken it away
    const std::string table = "/proc/" + std::to_string(::getpid()) + "/fd";
    const auto seenByAChild = [&] {
      const pid_t child = ::fork();
      if (child == 0)
        ::_exit(OperatingSystem::current().openDirectory(table.c_str()) == nullptr ? errno : 0);
      int status = 0;
      ::waitpid(child, &status, 0);
      return WEXITSTATUS(status);
    };
    EXPECT_EQ(seenByAChild(), 0);
    ASSERT_EQ(refuseInspection().error(), 0);
    EXPECT_EQ(seenByAChild(), EACCES);
    EXPECT_NE(OperatingSystem::current().openDirectory(table.c_str()), nullptr);
  });
}

TEST(ConfinementLevels, AProcessOffersItselfFirst) {
  inOrdinaryUsersChild([] {
    ::prctl(PR_SET_DUMPABLE, 1, 0, 0, 0);
    ASSERT_EQ(offerToEndFirst().error(), 0);
    std::string score;
    std::getline(std::ifstream("/proc/self/oom_score_adj"), score);
    EXPECT_EQ(score, "1000");
  });
}

// The look-up of a service goes through the process's own descriptors below /proc.
TEST(ConfinementLevels, AConfinedProcessFindsItsMasterAgainAndNoticesItsEnd) {
  const TemporaryDirectory temporary;
  ::chmod(temporary.path().c_str(), 0777);
  inOrdinaryUsersChild([&] {
    const std::string directory = temporary.path("names");
    ::setenv("TESKER_BOOTSTRAP_DIR", directory.c_str(), 1);
    auto service = BootstrapService::checkIn(directory, "master");
    ASSERT_EQ(service.error(), 0);
    (void)confine();
    port_t port = PORT_NULL;
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "master", port), BOOTSTRAP_SUCCESS);
    service->reset();
    EXPECT_EQ(bootstrap_look_up(bootstrap_port(), "master", port), BOOTSTRAP_UNKNOWN_SERVICE);
  });
}

} // namespace
} // namespace tesker
