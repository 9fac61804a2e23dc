// What a soak has to notice.
#include "platform/foundation/Files.h"
#include "tests/soak/Children.h"
#include "tests/soak/Holdings.h"
#include "tests/soak/RandomTree.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryDirectory.h"

#include <csignal>
#include <gmock/gmock.h>
#include <vector>

namespace tesker::soak {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

constexpr std::chrono::milliseconds kShortly{50};

std::vector<std::string> excessAfter(const test::TemporaryDirectory &directory,
                                     const std::function<void()> &deed) {
  const Holdings before = holdings({directory.path()});
  deed();
  return excess(holdings({directory.path()}), before);
}

TEST(Holdings, AreTheSameWhereNothingHappens) {
  const test::TemporaryDirectory directory;
  EXPECT_THAT(excessAfter(directory, [] {}), IsEmpty());
}

TEST(Holdings, HaveADescriptorMore) {
  const test::TemporaryDirectory directory;
  FileDescriptor left;
  EXPECT_THAT(excessAfter(directory, [&] { left = std::move(createPipe()->readEnd); }),
              ElementsAre(HasSubstr("descriptors")));
}

TEST(Holdings, HaveAFileMore) {
  const test::TemporaryDirectory directory;
  EXPECT_THAT(excessAfter(directory, [&] { directory.writeFile("a/b", ""); }),
              ElementsAre(MatchesRegex("files: 2 instead of 0: .*/a .*/a/b")));
}

TEST(Holdings, HaveMemoryMore) {
  const test::TemporaryDirectory directory;
  std::vector<std::string> left;
  EXPECT_THAT(excessAfter(directory,
                          [&] {
                            while (left.size() < 20000)
                              left.emplace_back(100, 'x');
                          }),
              ElementsAre(HasSubstr("bytes in use")));
}

// Forks, in a process that has no other children.
pid_t forked(const std::function<void()> &deed) {
  const pid_t child = ::fork();
  if (child == 0) {
    deed();
    ::_exit(0);
  }
  return child;
}

void hang() {
  for (;;)
    ::pause();
}

TEST(Children, NoneIsNothingWrong) {
  test::inChild([] { EXPECT_THAT(settleChildren(false), IsEmpty()); });
}

TEST(Children, ThatEndByThemselvesAreNothingWrong) {
  test::inChild([] {
    adoptOrphans();
    forked([] { forked([] { ::usleep(1000); }); });
    EXPECT_THAT(settleChildren(false), IsEmpty());
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  });
}

TEST(Children, ThatLiveOnAreSaidAndKilled) {
  test::inChild([] {
    const std::string left = std::to_string(forked(hang));
    EXPECT_THAT(settleChildren(false, kShortly),
                ElementsAre(MatchesRegex("process " + left + " .* lives on")));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  });
}

TEST(Children, ThatChildrenHaveLeftAreSaidAndKilled) {
  test::inChild([] {
    adoptOrphans();
    forked([] { forked(hang); });
    EXPECT_THAT(settleChildren(false, kShortly), ElementsAre(HasSubstr("lives on")));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  });
}

TEST(Children, ThatLeadAGroupHaveToBeReapedByTheirMaker) {
  test::inChild([] {
    forked([] { ::setpgid(0, 0); });
    EXPECT_THAT(settleChildren(false), ElementsAre(HasSubstr("was not reaped")));
  });
}

TEST(Children, ThatMayBeLeftAreKilled) {
  test::inChild([] {
    adoptOrphans();
    forked([] { forked([] { ::setsid(), hang(); }); });
    EXPECT_THAT(settleChildren(true), IsEmpty());
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  });
}

TEST(ARequest, TakesTheExpectedRecordsInAnyOrderAndThenTheSameText) {
  const SearchRecord one{{{"type", "app"}, {"name", "One"}}}, two{{{"name", "Two"}}};
  const SearchRecord oneTurned{{{"name", "One"}, {"type", "app"}}};
  Request request{false, "/a", {one, two}};
  EXPECT_THAT(request.faultOf({"text", {one}}), HasSubstr("lacks { name = Two; } and has nothing"));
  EXPECT_THAT(request.faultOf({"text", {one, two, two}}),
              HasSubstr("lacks nothing and has { name = Two; }"));
  EXPECT_EQ(request.faultOf({"text", {two, oneTurned}}), "");
  EXPECT_EQ(request.text, "text");
  EXPECT_THAT(request.faultOf({"other", {one, two}}), HasSubstr("another order"));
}

} // namespace
} // namespace tesker::soak
