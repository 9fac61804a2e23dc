// Work on hostile files in a child: what it tells arrives, and whatever becomes of it is said.
#include "command/ConfinedChild.h"
#include "tests/support/ScopedEnvironment.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;

class ConfinedChildTest : public ::testing::Test {
protected:
  std::string run(const std::function<void(const SendMessage &)> &work,
                  std::chrono::milliseconds timeout = std::chrono::seconds(100)) {
    const auto reason = runConfined(
        timeout, work, [this](std::string_view message) { messages_.emplace_back(message); });
    errno = 0;
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left";
    EXPECT_EQ(errno, ECHILD);
    return reason.value_or("ended");
  }
  std::vector<std::string> messages_;
};

TEST_F(ConfinedChildTest, SendsMessagesOfAnyBytes) {
  const std::string large(300000, 'x');
  EXPECT_EQ(run([&](const SendMessage &send) {
              send("one");
              send("");
              send(std::string_view("2\n\0\n3", 5));
              send(large);
            }),
            "ended");
  EXPECT_THAT(messages_, ElementsAre("one", "", std::string("2\n\0\n3", 5), large));
}

TEST_F(ConfinedChildTest, SaysHowItDiedAndKeepsWhatItTold) {
  EXPECT_EQ(run([](const SendMessage &send) {
              send("before");
              ::raise(SIGKILL);
            }),
            "signal 9 (Killed)");
  EXPECT_THAT(messages_, ElementsAre("before"));
}

TEST_F(ConfinedChildTest, SaysHowItDiedWhereEndsOfChildrenAreIgnored) {
  std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(run([](const SendMessage &) { ::raise(SIGKILL); }), "signal 9 (Killed)");
}

TEST_F(ConfinedChildTest, SaysThatItRanOutOfMemoryOrCouldNotGoOn) {
  EXPECT_EQ(run([](const SendMessage &) { throw std::bad_alloc(); }), "out of memory");
  EXPECT_EQ(run([](const SendMessage &) { throw std::runtime_error("lost"); }),
            "it could not go on");
}

// The descriptors open for writing only: the ends of pipes.
std::set<int> writingEnds() {
  std::set<int> ends;
  for (int descriptor = 3; descriptor < 1024; ++descriptor)
    if ((::fcntl(descriptor, F_GETFL) & O_ACCMODE) == O_WRONLY)
      ends.insert(descriptor);
  return ends;
}

TEST_F(ConfinedChildTest, SaysThatItSentWhatIsNotUnderstood) {
  const std::set<int> before = writingEnds();
  for (const std::string bytes : {"99999999999\n", "x\n", "-1\n", "1 \n"})
    EXPECT_EQ(run([&](const SendMessage &) {
                for (const int end : writingEnds())
                  if (!before.contains(end))
                    (void)!::write(end, bytes.data(), bytes.size());
              }),
              "it sent what is not understood")
        << bytes;
  EXPECT_THAT(messages_, ::testing::IsEmpty());
}

TEST_F(ConfinedChildTest, EndsWithItsParent) {
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  int told[2];
  ASSERT_EQ(::pipe(told), 0);
  const pid_t parent = ::fork();
  if (parent == 0) {
    (void)runConfined(
        std::chrono::seconds(100),
        [](const SendMessage &send) {
          send(std::to_string(::getpid()));
          ::sleep(20);
        },
        [&](std::string_view message) {
          (void)!::write(told[1], message.data(), message.size());
          ::raise(SIGKILL);
        });
    ::_exit(0);
  }
  char number[16] = {};
  ASSERT_GT(::read(told[0], number, sizeof number - 1), 0);
  ASSERT_EQ(::waitpid(parent, nullptr, 0), parent);
  int status = 0;
  ASSERT_EQ(::waitpid(std::atoi(number), &status, 0), std::atoi(number));
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  ::close(told[0]);
  ::close(told[1]);
}

TEST_F(ConfinedChildTest, IsEndedAtItsDeadline) {
  EXPECT_EQ(run(
                [](const SendMessage &send) {
                  send("before");
                  for (;;)
                    ::pause();
                },
                std::chrono::milliseconds(300)),
            "timed out");
  EXPECT_THAT(messages_, ElementsAre("before"));
}

TEST_F(ConfinedChildTest, IsEndedAtItsDeadlineWhileItTellsWithoutPause) {
  EXPECT_EQ(run(
                [](const SendMessage &send) {
                  for (;;)
                    send("more");
                },
                std::chrono::milliseconds(300)),
            "timed out");
}

TEST_F(ConfinedChildTest, IsEndedWhenTheListenerRaises) {
  EXPECT_THROW((void)runConfined(
                   std::chrono::seconds(100),
                   [](const SendMessage &send) {
                     send("one");
                     for (;;)
                       ::pause();
                   },
                   [](std::string_view) { throw std::runtime_error("enough"); }),
               std::runtime_error);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

#ifndef __SANITIZE_ADDRESS__ // which is not confined unless it is asked to
TEST_F(ConfinedChildTest, CannotWriteFilesOrStartPrograms) {
  const ScopedEnvironment environment("TESKER_SANDBOX", nullptr);
  EXPECT_EQ(run([](const SendMessage &send) {
              const int file = ::open("/tmp/tesker-confined-child", O_WRONLY | O_CREAT, 0600);
              send(file < 0 ? "refused" : "opened");
              send(::execl("/bin/true", "true", nullptr) < 0 ? "refused" : "started");
            }),
            "ended");
  EXPECT_THAT(messages_, ElementsAre("refused", "refused"));
}
#endif

} // namespace
} // namespace tesker::test
