// Searches of several threads at a time: each of its own. ./dev threads runs this under
// ThreadSanitizer.

#include "tests/master/FakeToolSupport.h"
#include "tests/support/TemporaryDirectory.h"

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace tesker::test {
namespace {

TEST(Threads, SearchEachOnItsOwn) {
  const TemporaryDirectory directory;
  const std::string tool = programPath("ToolFinder");
  std::atomic<int> answers = 0;
  const auto search = [&] {
    const FinderMaster master({.tool = tool});
    for (int i = 0; i < 10; ++i) {
      const SearchOutcome outcome = master.findAppsInSearchPath(directory.path());
      answers += std::holds_alternative<SearchAnswer>(outcome.result) ? 1 : 0;
    }
  };
  {
    const std::array<std::jthread, 4> threads{std::jthread(search), std::jthread(search),
                                              std::jthread(search), std::jthread(search)};
  }
  EXPECT_EQ(answers, 40);
}

} // namespace
} // namespace tesker::test
