// Searches where the system cannot tell the end of a process, as an old kernel or a sandbox.
#include "tests/master/FakeToolSupport.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RefusedSystemCall.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/syscall.h>

namespace tesker::test {
namespace {

TEST(UnwatchedTool, IsSeenToEndInOtherWays) {
  inChild([] {
    ASSERT_EQ(refuseSystemCall(SYS_pidfd_open, ENOSYS), 0);
    EXPECT_TRUE(std::holds_alternative<SearchAnswer>(searchWithFakeTool("empty-answer").result));
    EXPECT_TRUE(
        std::holds_alternative<SearchAnswer>(searchWithFakeTool("leave-a-grandchild").result));
    EXPECT_EQ(failureOf(searchWithFakeTool("exit-3")).reason,
              "the tool died before the hand-over (exit status 3)");
    EXPECT_EQ(failureOf(searchWithFakeTool("exit-9-after-answer")).reason,
              "the tool died after its answer (exit status 9)");
    EXPECT_EQ(failureOf(searchWithFakeTool("never-connect", fakeTool(kTimeToHang))).kind,
              SearchFailure::Kind::timedOut);
  });
}

// A process that the tool has left behind holds the log open, and there is no connection to end.
TEST(UnwatchedTool, IsSeenToEndWhereNothingShowsIt) {
  const TemporaryDirectory directory;
  const std::string tool = directory.writeFile("tool", "#!/bin/sh\nsleep 1000 &\nexit 3\n", 0755);
  inChild([&] {
    ASSERT_EQ(refuseSystemCall(SYS_pidfd_open, ENOSYS), 0);
    EXPECT_EQ(failureOf(FinderMaster({.tool = tool}).findAppsInSearchPath("/tmp")).reason,
              "the tool died before the hand-over (exit status 3)");
  });
}

} // namespace
} // namespace tesker::test
