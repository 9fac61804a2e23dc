#include "tests/master/FakeToolSupport.h"

#include "platform/foundation/OperatingSystem.h"
#include "tests/support/ScopedEnvironment.h"

namespace tesker::test {

std::string programPath(const std::string &name) {
  return OperatingSystem::current().programFolder() + name;
}

FinderMasterOptions fakeTool(std::chrono::nanoseconds timeout) {
  return {.tool = programPath("tesker-fake-tool"), .timeout = timeout};
}

SearchOutcome searchWithFakeTool(const std::string &way, FinderMasterOptions options,
                                 std::optional<std::string_view> previous) {
  const ScopedEnvironment variable("FAKE_TOOL", way);
  return FinderMaster(std::move(options)).findAppsInSearchPath("/tmp", previous);
}

} // namespace tesker::test
