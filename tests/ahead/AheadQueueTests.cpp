// What is still to be read ahead, in the order of the tool, and no farther than it may be.
#include "ahead/AheadQueue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Kind = AheadTask::Kind;

class Queue : public testing::Test {
protected:
  bool add(const std::string &order, const std::string &path, Kind kind = Kind::directory) {
    AheadTask task{.kind = kind, .order = order, .path = path};
    return queue_.add(task);
  }
  std::vector<std::string> rest() {
    std::vector<std::string> paths;
    while (const auto task = queue_.nextNow())
      paths.push_back(task->path);
    return paths;
  }
  static std::string below(const std::string &order, std::uint32_t index) {
    return AheadQueue::orderBelow(order, index);
  }

  AheadQueue queue_;
  const std::string top_ = below("", 0);
};

TEST_F(Queue, GivesNamesBeforeWhatIsBelowThemAndADirectoryWholeBeforeTheNext) {
  EXPECT_TRUE(add(below(top_, 1), "/t/b"));
  EXPECT_TRUE(add(below(below(top_, 0), 7), "/t/a/x"));
  EXPECT_TRUE(add(below(top_, 300), "/t/c"));
  EXPECT_TRUE(add(AheadQueue::orderOfNames(top_, 256), "/t", Kind::names));
  EXPECT_TRUE(add(below("", 1), "/u"));
  EXPECT_THAT(rest(), ElementsAre("/t", "/t/a/x", "/t/b", "/t/c", "/u"));
}

TEST_F(Queue, ForgetsWhatTheToolHasPassed) {
  for (const auto &[index, path] : {std::pair(0U, "/t/a"), {1U, "/t/b"}, {2U, "/t/c"}})
    EXPECT_TRUE(add(below(top_, index), path));
  queue_.reached(10, "/t/b/deep/down");
  EXPECT_EQ(queue_.nameOnTheWay("/t"), "b");
  EXPECT_EQ(queue_.nameOnTheWay("/t/b/deep"), "down");
  EXPECT_EQ(queue_.nameOnTheWay("/t/bb"), "");
  EXPECT_EQ(queue_.nameOnTheWay("/"), "t");
  EXPECT_EQ(queue_.nameOnTheWay("/t/b/deep/down"), "");
  EXPECT_THAT(rest(), ElementsAre("/t/b", "/t/c"));
}

TEST_F(Queue, ForgetsNothingWhereItIsAheadAlready) {
  EXPECT_TRUE(add(below(below(top_, 3), 2), "/t/b/next"));
  EXPECT_TRUE(add(below(top_, 4), "/t/c"));
  queue_.reached(10, "/t/b/deep");
  EXPECT_THAT(rest(), ElementsAre("/t/b/next", "/t/c"));
}

TEST_F(Queue, WaitsWhereItIsTooFarAhead) {
  EXPECT_TRUE(add(below(top_, 4), "/t/c"));
  queue_.reached(100, "/t/b");
  queue_.count(AheadQueue::kMostAhead + 100);
  EXPECT_THAT(rest(), IsEmpty());
  queue_.reached(101, "/t/b");
  EXPECT_THAT(rest(), ElementsAre("/t/c"));
}

TEST_F(Queue, IsNotAheadOfAToolThatHasComeFarther) {
  queue_.count(AheadQueue::kMostAhead);
  EXPECT_TRUE(add(below(top_, 4), "/t/c"));
  queue_.reached(0, "/t/c/d");
  EXPECT_THAT(rest(), ElementsAre("/t/c"));
}

TEST_F(Queue, HasNoRoomForMoreTasksOrBytesThanItSays) {
  std::uint32_t tasks = 0;
  while (add(below(top_, tasks), "/t"))
    ASSERT_LE(++tasks, AheadQueue::kMostTasks);
  EXPECT_EQ(tasks, AheadQueue::kMostTasks);
  EXPECT_EQ(rest().size(), tasks);
  std::size_t bytes = 0;
  for (std::uint32_t i = 0; add(below(top_, i), std::string(4000, 'a')); ++i)
    ASSERT_LE(bytes += 4000, AheadQueue::kMostBytes);
  EXPECT_GT(bytes, AheadQueue::kMostBytes / 2);
  rest();
  EXPECT_TRUE(add(top_, "/t")) << "there is room again";
}

TEST_F(Queue, GivesNothingOnceItHasEnded) {
  EXPECT_TRUE(add(top_, "/t"));
  queue_.end();
  EXPECT_FALSE(queue_.next());
}

} // namespace
} // namespace tesker::test
