// Changes at random: a catalog that watches comes to know what a fresh search finds.
#include "finding/ApplicationWalk.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/NSException.h"
#include "tests/catalog/CatalogHost.h"
#include "tests/catalog/OwnMounts.h"
#include "tests/catalog/RandomTreeSteps.h"
#include "tests/support/LogCapture.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sys/inotify.h>

namespace tesker::test {
namespace {

// A system that loses events now and then, as when there is no more room for them.
class ForgetfulWatches : public OperatingSystem {
public:
  bool losesEvents = false;

  int createWatches() override { return watches_ = OperatingSystem::createWatches(); }
  ssize_t read(int descriptor, void *buffer, std::size_t size) override {
    const ssize_t got = OperatingSystem::read(descriptor, buffer, size);
    if (got <= 0 || descriptor != watches_ || !std::exchange(losesEvents, false))
      return got;
    *static_cast<inotify_event *>(buffer) = {
        .wd = -1, .mask = IN_Q_OVERFLOW, .cookie = 0, .len = 0};
    return sizeof(inotify_event);
  }
  // As it was before the process had mounts of its own, since when the file is, in a changed root
  // directory, at a place that the process cannot reach.
  std::optional<std::string> programPath() override { return program_; }

private:
  const std::optional<std::string> program_ = OperatingSystem::programPath();
  int watches_ = -1;
};

class RandomCatalog : public testing::Test {
protected:
  static std::vector<SearchRecord> found(const std::string &path) {
    const LogCapture log;
    ApplicationWalk walk([] {}, {}, {.skipsLinkCycles = true});
    try {
      walk.doForPath(NSString::create(path));
    } catch (const NSException &) {
      return {};
    }
    return *decodeRecords(encodeParsedApp(walk.lines()).bytes());
  }
  // Whether the catalog knows what is there; of a path that is gone it may know what was there.
  bool isRight(const std::string &path) {
    const std::span<const SearchRecord> known = host_->catalog().recordsOf(path);
    const std::vector<SearchRecord> now = found(path);
    return std::ranges::equal(known, now) || (now.empty() && !std::filesystem::is_directory(path) &&
                                              host_->catalog().state(path).isStale);
  }

  // Makes so many steps, some at a time.
  void makeSteps(std::uint64_t seed, int count, bool mayMount = false, bool losesEvents = false) {
    host_.emplace();
    RandomTreeSteps steps(host_->top().makeDirectory("tree"), seed, mayMount);
    std::mt19937_64 random(seed);
    host_->options.paths = steps.searchPaths();
    host_->options.cpu = "i386";
    host_->options.watches = true;
    host_->options.settleTime = std::chrono::milliseconds(2);
    host_->options.longestSettleTime = std::chrono::milliseconds(20);
    host_->create();
    host_->refresh();
    std::string history = "seed " + std::to_string(seed) + ":\n";
    for (int i = 0; i < count; ++i) {
      for (auto several = random() % 3 + 1; several != 0; --several, ++i)
        history += steps.step() + "\n";
      system_.losesEvents = losesEvents && random() % 4 == 0;
      if (random() % 2 == 0 && host_->isReady()) // in the midst of its work
        host_->catalog().dispatch();
      for (const std::string &path : host_->options.paths)
        ASSERT_TRUE(becomesRight(path)) << path << ", " << history;
      history += "settled\n";
    }
    EXPECT_GT(host_->catalog().generation(), static_cast<std::uint64_t>(count / 10));
  }
  bool becomesRight(const std::string &path) {
    const Deadline limit = Deadline::in(std::chrono::minutes(1));
    while (!isRight(path)) {
      if (limit.passed() || !host_->isReady(std::chrono::seconds(20)))
        return false;
      host_->catalog().dispatch();
    }
    return true;
  }

  const ScopedEnvironment cpu_{"TESKER_HOST_CPU", "i386"};
  ForgetfulWatches system_;
  const ScopedOperatingSystem inForce_{system_};
  std::optional<CatalogHost> host_;
};

TEST_F(RandomCatalog, KnowsWhatAFreshSearchFinds) { makeSteps(1, 60); }

TEST_F(RandomCatalog, KnowsItWhereEventsAreLost) { makeSteps(2, 50, false, true); }

TEST_F(RandomCatalog, KnowsItWhereDirectoriesAreMounted) {
  inOwnMounts([&] { makeSteps(3, 50, true); });
}

// As many as one likes: TESKER_RANDOM_STEPS=2000 TESKER_RANDOM_SEED=7.
TEST_F(RandomCatalog, KnowsItAfterAsManyStepsAsAreAskedFor) {
  const char *count = std::getenv("TESKER_RANDOM_STEPS");
  const char *seed = std::getenv("TESKER_RANDOM_SEED");
  if (count == nullptr)
    GTEST_SKIP() << "for TESKER_RANDOM_STEPS, and TESKER_RANDOM_SEED";
  const std::uint64_t first = std::stoull(seed != nullptr ? seed : "1");
  inOwnMounts([&] { makeSteps(first, std::stoi(count), true, first % 2 == 0); });
}

} // namespace
} // namespace tesker::test
