// Changes at random: whatever changes the answer to a search is told.
#include "finding/ApplicationWalk.h"
#include "platform/foundation/NSException.h"
#include "tests/catalog/FailingWatches.h"
#include "tests/catalog/OwnMounts.h"
#include "tests/catalog/RandomTreeSteps.h"
#include "tests/catalog/WatchTest.h"
#include "tests/support/LogCapture.h"

#include <cstdlib>
#include <map>
#include <set>

namespace tesker::test {
namespace {

class RandomWatch : public WatchTest {
protected:
  RandomWatch() { ::setenv("TESKER_HOST_CPU", "i386", 1); }

  // As a search of the path would find it now.
  static std::string answer(const std::string &path) {
    const LogCapture log;
    ApplicationWalk walk([] {}, {}, {.skipsLinkCycles = true});
    try {
      walk.doForPath(NSString::create(path));
    } catch (const NSException &exception) {
      return exception.what();
    }
    return std::string(encodeParsedApp(walk.lines()).bytes());
  }

  void take() {
    while (isReadable())
      for (std::string &path : watches_->takeChanged())
        told_.insert(std::move(path));
  }
  // As one who is told does. Steps may be made meanwhile.
  void beginAgain(const std::string &path, RandomTreeSteps *meanwhile) {
    told_.erase(path);
    watches_->begin(path);
    system_.isHurried = meanwhile != nullptr;
    for (int calls = 0;; ++calls) {
      const auto progress = watches_->advance(path);
      ASSERT_TRUE(progress) << std::generic_category().message(progress.error());
      if (*progress == SearchPathWatches::Progress::done)
        break;
      if (meanwhile != nullptr && calls % 4 == 3)
        history_ += meanwhile->step() + ", while " + path + " was begun\n";
    }
    system_.isHurried = false;
  }

  // Makes so many steps. Whoever is told begins again sooner or later.
  void makeSteps(std::uint64_t seed, int count, bool mayMount = false, bool losesEvents = false) {
    RandomTreeSteps steps(directory_.path(), seed, mayMount);
    std::mt19937_64 random(seed);
    std::map<std::string, std::string> answers;
    for (const std::string &path : steps.searchPaths())
      beginAgain(path, nullptr);
    for (const std::string &path : steps.searchPaths())
      answers[path] = answer(path);
    int changes = 0;
    for (int i = 0; i < count; ++i) {
      history_ += steps.step() + "\n";
      system_.losesEvents = losesEvents && random() % 4 == 0;
      take();
      for (auto &[path, before] : answers) {
        std::string now = answer(path);
        changes += now != before ? 1 : 0;
        ASSERT_TRUE(now == before || told_.contains(path)) << path << ", seed " << seed << ":\n"
                                                           << history_ << before << "\n"
                                                           << now;
        before = std::move(now);
      }
      bool isChanged = false;
      for (const std::string &path : std::set(told_))
        if (random() % 2 == 0) {
          const bool hasSteps = random() % 4 == 0;
          beginAgain(path, hasSteps ? &steps : nullptr);
          isChanged = isChanged || hasSteps;
        }
      take();
      if (isChanged)
        for (auto &[path, before] : answers)
          before = answer(path);
    }
    EXPECT_GT(changes, count / 5); // of the answers, in as many steps
  }

  FailingWatches system_;
  ScopedOperatingSystem scope_{system_};
  std::set<std::string> told_;
  std::string history_;
};

TEST_F(RandomWatch, TellsWhateverChangesAnAnswer) { makeSteps(1, 60); }

TEST_F(RandomWatch, TellsItWhereEventsAreLost) { makeSteps(2, 40, false, true); }

TEST_F(RandomWatch, TellsItWhereDirectoriesAreMounted) {
  inOwnMounts([&] {
    watches_.emplace(std::move(*SearchPathWatches::create()));
    makeSteps(3, 60, true);
  });
}

// As many as one likes: TESKER_RANDOM_STEPS=2000 TESKER_RANDOM_SEED=7.
TEST_F(RandomWatch, TellsItInAsManyStepsAsAreAskedFor) {
  const char *count = std::getenv("TESKER_RANDOM_STEPS");
  const char *seed = std::getenv("TESKER_RANDOM_SEED");
  if (count == nullptr)
    GTEST_SKIP() << "for TESKER_RANDOM_STEPS, and TESKER_RANDOM_SEED";
  inOwnMounts([&] {
    watches_.emplace(std::move(*SearchPathWatches::create()));
    makeSteps(std::stoull(seed != nullptr ? seed : "1"), std::stoi(count), true);
  });
}

} // namespace
} // namespace tesker::test
