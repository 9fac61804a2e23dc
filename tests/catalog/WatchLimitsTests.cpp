// What is told when events are lost or watches run out, and what watching costs.
#include "tests/catalog/FailingWatches.h"
#include "tests/catalog/WatchTest.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sys/epoll.h>
#include <sys/stat.h>

namespace tesker::test {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class WatchLimits : public WatchTest {
protected:
  WatchLimits() {
    for (const char *tree : {"tree", "second"})
      for (const char *program : {"/program", "/a/program", "/b/program", "/b/c/program"})
        directory_.writeFile(std::string(tree) + program, "#!", 0755);
  }

  // Until so many watches are left.
  void letGo(std::size_t left) {
    for (int calls = 0; calls < 1000 && watches_->watchCount() > left; ++calls)
      static_cast<void>(watches_->takeChanged());
    EXPECT_EQ(watches_->watchCount(), left);
  }

  FailingWatches system_;
  ScopedOperatingSystem scope_{system_};
};

TEST_F(WatchLimits, ThatAreSentTooManyEventsTellAllPaths) {
  watch();
  watch("second");
  append("second/program");
  system_.losesEvents = true;
  EXPECT_THAT(watches_->takeChanged(), ElementsAre(path("second"), path("tree")));
}

TEST_F(WatchLimits, OfTheSystemItselfTellAllPathsToo) {
  watch();
  watch("second");
  std::string most;
  std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most;
  if (std::stoul(most) > 100'000)
    GTEST_SKIP() << "the system has room for " << most << " events";
  for (unsigned long i = 0; i <= std::stoul(most) / 2; ++i) { // two events each
    ::chmod(path("tree/a").c_str(), i % 2 == 0 ? 0700 : 0755);
    ::chmod(path("tree/b").c_str(), i % 2 == 0 ? 0700 : 0755);
  }
  const auto told = changed();
  EXPECT_THAT(told, ::testing::Contains("second"));
}

TEST_F(WatchLimits, OfReadingTellAllPaths) {
  watch();
  watch("second");
  append("tree/program");
  system_.failing = "read ";
  system_.error = EIO;
  EXPECT_THAT(watches_->takeChanged(), ElementsAre(path("second"), path("tree")));
}

TEST_F(WatchLimits, OfWatchesAreSaidAndNothingIsWatchedThen) {
  watch("second");
  const std::size_t others = watches_->watchCount();
  for (const std::size_t after : {0U, 1U, 3U, 5U}) {
    system_.failing = "addWatch";
    system_.after = after;
    system_.error = ENOSPC;
    EXPECT_EQ(watch(), ENOSPC) << after;
    system_.failing.clear();
    letGo(others);
    append("tree/program");
    EXPECT_THAT(changed(), IsEmpty());
    append("second/program");
    EXPECT_THAT(changed(), ElementsAre("second"));
  }
  EXPECT_EQ(watch(), 0);
  append("tree/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
}

TEST_F(WatchLimits, OfDescriptorsAndMemoryAreSaid) {
  for (const auto &[call, error] : {std::pair{"open " + path("tree/b"), EMFILE},
                                    {"addWatch " + path("tree/a"), ENOMEM},
                                    {"readEntries " + path("tree"), EIO},
                                    {"statAt " + path("tree"), EIO}}) {
    system_.failing = call;
    system_.error = error;
    EXPECT_EQ(watch(), error) << call;
    system_.failing.clear();
    EXPECT_EQ(watch(), 0);
  }
}

TEST_F(WatchLimits, OfWhatMayBeReadOrVanishesMeanwhileAreNotFailures) {
  for (const int error : {EACCES, ENOENT, ENOTDIR, ELOOP, ENAMETOOLONG})
    for (const std::string &call : {"addWatch " + path("tree/a"), "open " + path("tree/a"),
                                    "readEntries " + path("tree/a")}) {
      if (call.starts_with("readEntries") && error != ENOENT)
        continue;
      system_.failing = call;
      system_.error = error;
      EXPECT_EQ(watch(), 0) << call << " " << error;
      append("tree/b/program");
      EXPECT_TRUE(isTold());
    }
}

TEST_F(WatchLimits, OfWaitingForAPathInADirectoryThatCannotBeReadAreSaid) {
  system_.failing = "addWatch " + path("tree");
  system_.error = EACCES;
  EXPECT_EQ(watch("tree/missing"), EACCES);
  EXPECT_EQ(watch("tree/a"), 0);
}

TEST_F(WatchLimits, OfWhatMayBeReadLeaveWhatADirectorySaysOfItself) {
  system_.failing = "addWatch " + path("tree");
  system_.error = EACCES;
  system_.failsOnce = true;
  EXPECT_EQ(watch("tree/a/missing"), 0);
  fs::rename(path("tree/a"), path("tree/away"));
  EXPECT_THAT(changed(), ElementsAre("tree/a/missing"));
}

TEST_F(WatchLimits, OfTheSystemAreSaidAtOnce) {
  for (const auto &[call, error] : {std::pair{"createWatches", EMFILE},
                                    {"createEventPoll", ENFILE},
                                    {"controlEventPoll", ENOSPC},
                                    {"open /proc/self/mountinfo", ENOENT},
                                    {"readAt /proc/self/mountinfo", EIO}}) {
    system_.failing = call;
    system_.error = error;
    const auto created = SearchPathWatches::create();
    EXPECT_EQ(created.error(), error) << call;
  }
}

TEST_F(WatchLimits, OfTimeEndACallBetweenDirectories) {
  system_.isHurried = true;
  watches_->begin(path("tree"));
  int calls = 1;
  for (; *watches_->advance(path("tree")) == SearchPathWatches::Progress::more; ++calls)
    continue;
  EXPECT_GT(calls, 4);
  EXPECT_LT(calls, 20);
  append("tree/b/c/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
}

TEST_F(WatchLimits, OfTimeKeepNothingBackThatHappensInWhatIsBegun) {
  system_.isHurried = true;
  watches_->begin(path("tree"));
  for (int calls = 0; calls < 3; ++calls)
    EXPECT_EQ(*watches_->advance(path("tree")), SearchPathWatches::Progress::more);
  append("tree/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
}

TEST_F(WatchLimits, AreOneWatchForEachDirectoryAndEachAboveIt) {
  watch();
  const std::size_t above =
      static_cast<std::size_t>(std::ranges::count(directory_.path(), '/') + 1); // and the root
  EXPECT_EQ(watches_->watchCount(), above + 4);
  watch("tree/b"); // has all of its own already
  EXPECT_EQ(watches_->watchCount(), above + 4);
}

TEST_F(WatchLimits, OfAPathThatIsForgottenAreLetGo) {
  watch();
  const std::size_t before = watches_->watchCount();
  watch("second");
  watches_->forget(path("second"));
  letGo(before);
  EXPECT_EQ(system_.count("removeWatch"), 4U);
  append("second/program");
  EXPECT_FALSE(isReadable() && isTold());
  append("tree/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
  watches_->forget(path("tree"));
  watches_->forget(path("tree"));
  letGo(0);
  append("tree/program");
  EXPECT_THAT(changed(), IsEmpty());
}

TEST_F(WatchLimits, OfAPathThatIsBegunAgainAreKept) {
  watch();
  system_.forget();
  watch();
  watch();
  EXPECT_EQ(system_.count("removeWatch"), 0U);
  const std::size_t before = watches_->watchCount();
  fs::rename(path("tree/b"), path("away"));
  watch();
  letGo(before - 2);
  EXPECT_EQ(system_.count("removeWatch"), 2U);
}

TEST_F(WatchLimits, OfAWalkThatIsBegunAgainBeforeItIsDoneAreLetGo) {
  system_.isHurried = true;
  watch();
  const std::size_t before = watches_->watchCount();
  for (int i = 0; i < 3; ++i) {
    watches_->begin(path("second"));
    for (int steps = 0; steps < 3; ++steps)
      ASSERT_TRUE(watches_->advance(path("second")));
  }
  EXPECT_GT(watches_->watchCount(), before);
  watches_->forget(path("second"));
  letGo(before);
  append("tree/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
}

TEST_F(WatchLimits, AreTheSameForADirectoryThatIsListedInPieces) {
  for (int i = 0; i < 300; ++i)
    directory_.makeLink("tree/many/" + std::string(200, 'x') + std::to_string(i), "nowhere");
  directory_.writeFile("tree/many/folder/program", "#!", 0755);
  EXPECT_EQ(watch(), 0);
  EXPECT_GT(system_.countLine("readEntries " + path("tree/many")), 2U);
  append("tree/many/folder/program");
  EXPECT_THAT(changed(), ElementsAre("tree"));
}

// A host that has it among others is woken, too.
TEST_F(WatchLimits, WakeAnEventLoopThatTheyAreNestedIn) {
  watch();
  const int loop = ::epoll_create1(EPOLL_CLOEXEC);
  epoll_event event{.events = EPOLLIN | EPOLLET, .data = {.fd = 0}};
  ASSERT_EQ(::epoll_ctl(loop, EPOLL_CTL_ADD, watches_->descriptor(), &event), 0);
  for (int i = 0; i < 3; ++i) {
    append("tree/program");
    EXPECT_EQ(::epoll_wait(loop, &event, 1, 0), 1);
    EXPECT_THAT(changed(), ElementsAre("tree"));
  }
  ::close(loop);
}

} // namespace
} // namespace tesker::test
