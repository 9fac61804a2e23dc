#include "tests/master/FakeToolSupport.h"

#include "platform/foundation/OperatingSystem.h"
#include "tests/support/ScopedEnvironment.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/wait.h>

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

SearchFailure failureOf(const SearchOutcome &outcome) {
  if (const auto *failure = std::get_if<SearchFailure>(&outcome.result))
    return *failure;
  ADD_FAILURE() << "the search did not fail";
  return {SearchFailure::Kind::cannotSearch, SearchStage::handOver, std::nullopt, "no failure"};
}

bool hasChildren() {
  siginfo_t info;
  return ::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD;
}

} // namespace tesker::test
