// A table of masters that mean no good, against the real tool. Whatever they do, the tool ends once
// they have gone, with the status that is documented, and its memory stays within bounds.

#include "tests/support/SanitizerMemory.h"
#include "tests/tool/HostileMasters.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>

namespace tesker::test {
namespace {

// What the tool may need beyond what it was sent.
constexpr long kMebibytes = 256;

class HostileMaster : public testing::TestWithParam<HostileMasterKind> {};

TEST_P(HostileMaster, LeavesNoToolBehind) {
  const int status = exitStatusFacing(GetParam());
  EXPECT_TRUE(GetParam().admits(status)) << status;
  struct rusage usage {};
  ::getrusage(RUSAGE_CHILDREN, &usage);
  EXPECT_LT(usage.ru_maxrss >> 10, kMebibytes + kSanitizerMebibytes);
}

TEST(MoreDockPathsThanARequestMayHave, AreLoggedInOneLineAndNothingIsAnswered) {
  HandMadeMaster master;
  ToolUnderTest tool(master.steps.directory());
  master.authenticate();
  master.say(dockRequest(std::string(std::size_t{20} << 20, '\0')));
  EXPECT_EQ(tool.logLines(), (std::vector<std::string>{
                                 "*** Too many dock paths: 20971521",
                                 "TeskerTool [" + std::to_string(tool.process()) + "] exception"}));
  EXPECT_EQ(tool.exitStatus(), 0);
}

INSTANTIATE_TEST_SUITE_P(Table, HostileMaster, testing::ValuesIn(hostileMasters()),
                         [](const auto &tested) { return std::string(tested.param.name); });

} // namespace
} // namespace tesker::test
