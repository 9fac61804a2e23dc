#include "tests/master/HostLoop.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

namespace tesker::test {

void HostLoop::start(FinderMasterOptions options, const FinderSearchRequest &request) {
  auto started = FinderSearch::start(std::move(options), request, [this](SearchOutcome ended) {
    ++ends;
    outcome.emplace(std::move(ended));
    if (destroysSearchAtEnd)
      destroySearch();
  });
  if (auto *failure = std::get_if<SearchFailure>(&started))
    throw std::runtime_error(failure->reason);
  search_ = std::move(std::get<0>(started));
}

void HostLoop::startFakeTool(const std::string &way, FinderMasterOptions options) {
  const ScopedEnvironment variable("FAKE_TOOL", way);
  start(std::move(options), {.argument = "/tmp"});
}

bool HostLoop::isReady(std::chrono::milliseconds time) const {
  pollfd waiting{search_->descriptor(), POLLIN, 0};
  return ::poll(&waiting, 1, static_cast<int>(time.count())) == 1;
}

void HostLoop::dispatch() {
  ++dispatches;
  search_->dispatch();
}

void HostLoop::runUntilQuiet() {
  constexpr std::chrono::milliseconds kQuiet{300};
  while (!outcome && isReady(kQuiet))
    dispatch();
}

void HostLoop::runToEnd() {
  while (!outcome) {
    EXPECT_TRUE(isReady(std::chrono::minutes(2)));
    dispatch();
  }
}

} // namespace tesker::test
