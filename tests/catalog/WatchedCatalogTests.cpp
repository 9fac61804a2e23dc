// The catalog where it watches, with the real tool and the real inotify.

#include "catalog/SavedAnswers.h"
#include "tests/catalog/CatalogHost.h"
#include "tests/support/LogCapture.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Kind = CatalogProblem::Kind;

class WatchedCatalog : public testing::Test {
protected:
  void SetUp() override {
    host_.addApplication("Apps/Edit", "txt");
    host_.options.watches = true;
    host_.options.settleTime = std::chrono::milliseconds(10);
    host_.options.longestSettleTime = std::chrono::milliseconds(100);
    create();
  }
  void create() {
    host_.create();
    host_.refresh();
  }
  // Dispatches until the extension has these handlers.
  void runUntilHandled(std::string_view extension, const std::vector<std::string> &names) {
    host_.runUntil([&] { return host_.handlers(extension) == names; });
  }

  const LogCapture log_;
  CatalogHost host_;
};

TEST_F(WatchedCatalog, FindsByItselfWhatIsAddedChangedAndRemoved) {
  host_.addApplication("Apps/Deep/down/Mail", "mbox");
  runUntilHandled("mbox", {"Mail"});
  host_.addApplication("Apps/Deep/down/Mail", "letter");
  runUntilHandled("letter", {"Mail"});
  EXPECT_THAT(host_.handlers("mbox"), IsEmpty());
  host_.remove("Apps/Deep");
  runUntilHandled("letter", {});
}

TEST_F(WatchedCatalog, SearchesOnlyThePathConcerned) {
  host_.options.paths.push_back(host_.top().makeDirectory("More"));
  create();
  host_.updates.clear();
  host_.addApplication("More/Mail", "mbox");
  runUntilHandled("mbox", {"Mail"});
  for (const ToldUpdate &update : host_.updates)
    EXPECT_THAT(update.searchPaths, ElementsAre(host_.path("More")));
}

// In the directories above, others may be at work.
TEST_F(WatchedCatalog, SearchesNothingWhileNothingHappens) {
  host_.addApplication("Other/Mail", "mbox");
  host_.top().writeFile("Apps/.hidden/file", "", 0755);
  std::ofstream(host_.path("Apps/plain")) << "not executable";
  for (int i = 0; i < 100 && host_.isReady(std::chrono::milliseconds(100)); ++i)
    host_.catalog().dispatch();
  EXPECT_THAT(host_.updates, SizeIs(1));
}

TEST_F(WatchedCatalog, ChangesWithoutAPauseDoNotPutASearchOffForEver) {
  host_.options.settleTime = std::chrono::hours(1);
  create();
  int count = 0;
  host_.addApplication("Apps/Mail", "mbox");
  host_.runUntil([&] {
    host_.top().writeFile("Apps/file", std::to_string(++count), 0755);
    return host_.handlers("mbox") == std::vector<std::string>{"Mail"};
  });
}

TEST_F(WatchedCatalog, APathThatIsMovedAwayIsStaleUntilItIsBack) {
  const std::string path = host_.path("Apps");
  std::filesystem::rename(path, host_.path("Away"));
  host_.runUntil([&] { return host_.catalog().state(path).isStale; });
  EXPECT_THAT(host_.handlers("txt"), ElementsAre("Edit"));
  host_.addApplication("Away/Mail", "mbox");
  std::filesystem::rename(host_.path("Away"), path);
  runUntilHandled("mbox", {"Mail"});
  EXPECT_FALSE(host_.catalog().state(path).isStale);
}

TEST_F(WatchedCatalog, AwaitsAPathThatIsNotThereYet) {
  host_.options.paths = {host_.path("later/Apps")};
  create();
  EXPECT_THAT(host_.catalog().records(), IsEmpty());
  host_.addApplication("later/Apps/Mail", "mbox");
  runUntilHandled("mbox", {"Mail"});
}

TEST_F(WatchedCatalog, KeepsTheAnswerOnDiskCurrentAndSaysSo) {
  const SavedAnswerFile file(host_.options.stateDirectory, {.searchPath = host_.path("Apps")});
  const Deadline soon = Deadline::in(std::chrono::seconds(10));
  EXPECT_TRUE(file.isWatched(soon));
  host_.addApplication("Apps/Mail", "mbox");
  runUntilHandled("mbox", {"Mail"});
  ASSERT_TRUE(file.read());
  EXPECT_THAT(file.read()->records, SizeIs(4));
  host_.destroy();
  EXPECT_FALSE(file.isWatched(soon));
}

TEST_F(WatchedCatalog, DoesNotSayThatAnAnswerIsCurrentWhileItsPathIsGone) {
  const SavedAnswerFile file(host_.options.stateDirectory, {.searchPath = host_.path("Apps")});
  std::filesystem::rename(host_.path("Apps"), host_.path("Away"));
  host_.runUntil([&] { return host_.catalog().state(host_.path("Apps")).isStale; });
  EXPECT_FALSE(file.isWatched(Deadline::in(std::chrono::seconds(10))));
}

// A system that has no watches left.
class NoWatches : public OperatingSystem {
public:
  int addWatch(int, const char *, std::uint32_t) override {
    errno = ENOSPC;
    return -1;
  }
};

TEST_F(WatchedCatalog, LooksAtIntervalsWhereWatchesRunOutAndSaysSoOnce) {
  NoWatches system;
  const ScopedOperatingSystem inForce(system);
  host_.options.pollInterval = std::chrono::milliseconds(1);
  host_.updates.clear();
  create();
  host_.addApplication("Apps/Mail", "mbox");
  runUntilHandled("mbox", {"Mail"});
  host_.nextUpdate();
  ASSERT_THAT(host_.updates.front().problems, SizeIs(1));
  EXPECT_EQ(host_.updates.front().problems[0].kind, Kind::notWatched);
  for (std::size_t i = 1; i < host_.updates.size(); ++i)
    EXPECT_THAT(host_.updates[i].problems, IsEmpty());
  host_.destroy();
}

} // namespace
} // namespace tesker::test
