// FakeToolSupport.h - searches with the tool that misbehaves on demand.
#pragma once

#include "master/FinderMaster.h"

#include <chrono>
#include <string>

namespace tesker::test {

// The programs lie beside the test.
std::string programPath(const std::string &name);

// Sets a variable for as long as it lives.
class ScopedVariable {
public:
  ScopedVariable(const char *name, const std::string &value);
  ~ScopedVariable();
  ScopedVariable(const ScopedVariable &) = delete;
  ScopedVariable &operator=(const ScopedVariable &) = delete;

private:
  const char *name_;
  std::string before_;
  bool wasSet_;
};

// A master whose tool misbehaves so, with a time-out that no test is meant to reach.
FinderMasterOptions fakeTool(std::chrono::nanoseconds timeout = std::chrono::seconds(100));
SearchOutcome searchWithFakeTool(const std::string &way, FinderMasterOptions options = fakeTool(),
                                 const NSString *previous = nullptr);

} // namespace tesker::test
