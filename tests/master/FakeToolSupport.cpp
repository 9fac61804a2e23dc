#include "tests/master/FakeToolSupport.h"

#include <cstdlib>
#include <filesystem>

namespace tesker::test {

std::string programPath(const std::string &name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

ScopedVariable::ScopedVariable(const char *name, const std::string &value) : name_(name) {
  const char *before = std::getenv(name);
  wasSet_ = before != nullptr;
  before_ = wasSet_ ? before : "";
  ::setenv(name, value.c_str(), 1);
}

ScopedVariable::~ScopedVariable() {
  if (wasSet_)
    ::setenv(name_, before_.c_str(), 1);
  else
    ::unsetenv(name_);
}

FinderMasterOptions fakeTool(std::chrono::nanoseconds timeout) {
  return {.tool = programPath("tesker-fake-tool"), .timeout = timeout};
}

SearchOutcome searchWithFakeTool(const std::string &way, FinderMasterOptions options,
                                 const NSString *previous) {
  const ScopedVariable variable("FAKE_TOOL", way);
  return FinderMaster(std::move(options)).findAppsInSearchPath("/tmp", previous);
}

} // namespace tesker::test
