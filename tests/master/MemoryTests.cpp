// Every request for memory of a whole search is refused in turn. Nothing of that may end this
// process, hold it, or make an answer a wrong one.

#include "tests/master/FailingMemory.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/ports/RawSockets.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <optional>

namespace tesker::test {
namespace {

using Which = FailingMemory::Which;

class SearchWithoutMemory : public testing::TestWithParam<Which> {
protected:
  // The outcome, and whether memory was refused on the way.
  std::pair<SearchOutcome, bool> searchWith(std::size_t refused) {
    const FailingMemory memory(refused, GetParam());
    SearchOutcome outcome = master.findAppsInSearchPath(path, std::string_view(previous));
    return {std::move(outcome), memory.hasHappened()};
  }

  // As a rule that memory is lacking. Now and then the bus library drops a message without a word,
  // and the tool then ends before it has heard anything.
  static void expectSaysWhy(const SearchFailure &failure) {
    EXPECT_NE(failure.reason, "");
    EXPECT_TRUE(failure.kind == SearchFailure::Kind::cannotSearch ||
                failure.kind == SearchFailure::Kind::toolDied)
        << failure.reason;
  }

  const TemporaryDirectory runtime;
  const ScopedEnvironment runtimeVariable{"XDG_RUNTIME_DIR", runtime.path()};
  const ScopedEnvironment way{"FAKE_TOOL", "echo-previous"};
  const SearchRecord record{{{"name", std::string(100, 'x')}}};
  const std::string previous = encodeRecords({record});
  const std::string path = "/a/path/longer/than/a/short/string";
  const FinderMaster master{fakeTool()};
};

TEST_P(SearchWithoutMemory, AnswersRightOrSaysThatItCannotSearch) {
  (void)searchWith(1 << 20); // what is made at first use stays
  const auto descriptors = openDescriptorCount();
  bool happened = true;
  std::size_t failures = 0;
  for (std::size_t refused = 1; happened; ++refused) {
    SCOPED_TRACE("request " + std::to_string(refused));
    const auto [outcome, hasHappened] = searchWith(refused);
    happened = hasHappened;
    if (const auto *failure = std::get_if<SearchFailure>(&outcome.result)) {
      EXPECT_TRUE(happened);
      expectSaysWhy(*failure);
      ++failures;
    } else {
      const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
      ASSERT_NE(answer, nullptr);
      EXPECT_TRUE(answer->text == previous && answer->records == std::vector{record});
    }
    ASSERT_EQ(openDescriptorCount(), descriptors);
    ASSERT_TRUE(std::filesystem::is_empty(runtime.path()));
  }
  EXPECT_GT(failures, 20U); // it was tried
}

TEST_P(SearchWithoutMemory, DoesSoInAProcessThatHasNotSearchedBefore) {
  char happened = 'y';
  for (std::size_t refused = 1; happened == 'y'; ++refused) {
    SCOPED_TRACE("request " + std::to_string(refused));
    Pipe pipe = std::move(*createPipe());
    inChild([&] {
      const auto [outcome, hasHappened] = searchWith(refused);
      if (const auto *failure = std::get_if<SearchFailure>(&outcome.result)) {
        expectSaysWhy(*failure);
      }
      (void)writeAll(pipe.writeEnd.number(), hasHappened ? "y" : "n");
    });
    pipe.writeEnd.reset();
    ASSERT_EQ(::read(pipe.readEnd.number(), &happened, 1), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(Memory, SearchWithoutMemory,
                         testing::Values(Which::one, Which::allFromThen), [](const auto &tested) {
                           return tested.param == Which::one ? "Once" : "FromThenOn";
                         });

} // namespace
} // namespace tesker::test
