// Tools that the system, or another process, keeps from starting and from ending.

#include "platform/foundation/Files.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace tesker::test {
namespace {

// Until the test's child process would hang for good.
constexpr unsigned kSecondsToHang = 60;

// From here on no process that this one starts comes beyond execve(2), though none fails there.
// Nothing when the system does not offer that.
FileDescriptor holdExecutions() {
  std::array<sock_filter, 4> program{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_execve, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter{program.size(), program.data()};
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  return FileDescriptor(static_cast<int>(
      ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter)));
}

TEST(StuckTool, ThatIsNeverExecutedIsEndedAtTheDeadline) {
  inChild([] {
    ::alarm(kSecondsToHang);
    const FileDescriptor held = holdExecutions();
    if (!held)
      return; // nothing to be seen here
    const SearchOutcome outcome =
        searchWithFakeTool("empty-answer", fakeTool(std::chrono::milliseconds(200)));
    const auto *failure = std::get_if<SearchFailure>(&outcome.result);
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->kind, SearchFailure::Kind::timedOut);
    EXPECT_EQ(failure->stage, SearchStage::handOver);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1); // no child is left
  });
}

TEST(StuckTool, ThatIsNeverExecutedIsEndedWhenTheSearchIsGivenUp) {
  inChild([] {
    ::alarm(kSecondsToHang);
    const FileDescriptor held = holdExecutions();
    if (!held)
      return;
    Result<Pipe> pipe = createPipe();
    pipe->writeEnd.reset();
    FinderMasterOptions options = fakeTool();
    options.cancelDescriptor = pipe->readEnd.number();
    const SearchOutcome outcome = searchWithFakeTool("empty-answer", std::move(options));
    const auto *failure = std::get_if<SearchFailure>(&outcome.result);
    ASSERT_NE(failure, nullptr);
    EXPECT_EQ(failure->kind, SearchFailure::Kind::cancelled);
  });
}

// A descendant in a session of its own traces the tool, whose end then is the descendant's to take.
TEST(StuckTool, WhoseEndAnotherProcessKeepsIsNotWaitedFor) {
  inChild([] {
    ::alarm(kSecondsToHang);
    CountingOperatingSystem system;
    const ScopedOperatingSystem inForce(system);
    for (const char *way : {"end-traced", "hang-traced"}) {
      const SearchOutcome outcome = searchWithFakeTool(way, fakeTool(std::chrono::seconds(2)));
      const auto *failure = std::get_if<SearchFailure>(&outcome.result);
      ASSERT_NE(failure, nullptr);
      EXPECT_NE(failure->kind, SearchFailure::Kind::cannotSearch) << failure->reason;
    }
    EXPECT_LT(system.count("poll"), 1000U); // not again and again
  });
}

TEST(StuckTool, WhoseEndAProcessOfItsOwnKeepsIsReaped) {
  inChild([] {
    ::alarm(kSecondsToHang);
    const SearchOutcome outcome = searchWithFakeTool("end-traced-by-its-group");
    EXPECT_EQ(failureOf(outcome).kind, SearchFailure::Kind::noHandOver);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1); // no child is left
  });
}

} // namespace
} // namespace tesker::test
