// The program that reads ahead, as a master runs it; and its threads.
#include "ahead/ReadAhead.h"
#include "parsing/ReadAheadHints.h"
#include "tests/support/TemporaryDirectory.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace tesker::test {
namespace {

using namespace std::string_view_literals;

constexpr int kDirectories = 64;

// Counts the listings of all threads.
class CountedListings : public OperatingSystem {
public:
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    ++count;
    return OperatingSystem::openDirectory(path);
  }
  std::atomic<int> count = 0;
};

// With links that lead back in each directory.
void makeTree(const TemporaryDirectory &directory) {
  for (int i = 0; i < kDirectories; ++i)
    directory.makeLink("tree/" + std::to_string(i) + "/up", "../../tree");
}

TEST(ReadAheadThreads, ReadATreeAndEnd) {
  const TemporaryDirectory directory;
  makeTree(directory);
  CountedListings system;
  const ScopedOperatingSystem inForce(system);
  ReadAhead readAhead;
  readAhead.take(searchPathHint(directory.path("tree")) + searchPathHint("relative") +
                 searchPathHint("/nowhere at all"));
  for (int i = 0; i < 10'000 && system.count < kDirectories + 1; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_EQ(system.count, kDirectories + 1);
}

TEST(ReadAheadThreads, AreToldOfTheToolAllTheWhile) {
  const TemporaryDirectory directory;
  makeTree(directory);
  ReadAhead readAhead;
  readAhead.take(searchPathHint(directory.path("tree")));
  for (int i = 0; i < 10 * kDirectories; ++i)
    readAhead.take(searchPathHint(directory.path("tree")) +
                   progressHint(static_cast<std::uint64_t>(i),
                                directory.path("tree/" + std::to_string(i % kDirectories))));
}

class Program : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(::pipe(hints_), 0);
    child_ = ::fork();
    ASSERT_GE(child_, 0);
    if (child_ == 0) {
      ::dup2(hints_[0], STDIN_FILENO);
      ::close(hints_[1]);
      ::execl(TESKER_READ_AHEAD, TESKER_READ_AHEAD, nullptr);
      ::_exit(127);
    }
    ::close(hints_[0]);
  }
  void say(const std::string &hint) {
    ASSERT_EQ(::write(hints_[1], hint.data(), hint.size()), static_cast<ssize_t>(hint.size()));
  }
  int statusAtEndOfHints() {
    ::close(hints_[1]);
    int status = 0;
    EXPECT_EQ(::waitpid(child_, &status, 0), child_);
    return status;
  }

  int hints_[2] = {-1, -1};
  pid_t child_ = -1;
};

TEST_F(Program, EndsWithItsHints) { EXPECT_EQ(statusAtEndOfHints(), 0); }

TEST_F(Program, EndsWithItsHintsInTheMiddleOfATree) {
  say(searchPathHint("/usr") + progressHint(12, "/usr/share"));
  EXPECT_EQ(statusAtEndOfHints(), 0);
}

TEST_F(Program, TakesAnything) {
  std::string bytes;
  for (int i = 0; i < 40'000; ++i)
    bytes += static_cast<char>(i * i % 251);
  say(bytes + std::string("s \0s relative\0p 7 nowhere\0"sv));
  EXPECT_EQ(statusAtEndOfHints(), 0);
}

} // namespace
} // namespace tesker::test
