// What a signal does to an operation that is under way.
#include "tests/fileops/FileopCommand.h"
#include "tests/support/SpecialFiles.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

class Signals : public FileopCommand {
protected:
  Signals() {
    makeFifo(gate_);
    useFakes("drain");
  }
  ~Signals() override { SystemCalls::current() = {}; }

  std::string option(const std::string &key) const { return "--program=" + key + "=" + fake(key); }
  // The command's words for the operation, with all programs fakes.
  std::vector<std::string> words(std::vector<std::string> operation) const {
    for (const char *key : {"rm", "tar", "compress", "uncompress"})
      operation.insert(operation.begin(), option(key));
    return operation;
  }
  // Returns when a fake has come to the step "wait GATE", where it stays until the end is closed.
  int whenAtGate() const { return ::open(gate_.c_str(), O_WRONLY | O_CLOEXEC); }
  bool somebodyIsAtGate() const {
    const int end = ::open(gate_.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    ::close(end);
    return end >= 0;
  }
  // Starts the operation, sends it the signal when a fake is at the gate, and says how it ended.
  Ended interrupted(const std::vector<std::string> &operation, int signal,
                    bool wholeGroup = false) {
    const pid_t id = start(words(operation));
    const int gate = whenAtGate();
    ::kill(wholeGroup ? -id : id, signal);
    const Ended ended = waitFor(id);
    ::close(gate);
    EXPECT_FALSE(somebodyIsAtGate()) << "a program goes on";
    return ended;
  }
  static void waitUntil(const std::function<bool()> &condition) {
    while (!condition())
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  const std::string gate_ = path("gate");
  const std::string wait_ = "wait " + gate_;
  const std::string source_ = directory_.writeFile("source", "the source");
  const std::string output_ = path("output");
};

TEST_F(Signals, endTheCommandAndItsProgramsAndThePartialOutput) {
  useFake("tar", "print part\n" + wait_);
  for (const int signal : kSignals)
    for (const bool wholeGroup : {false, true}) {
      const Ended ended = interrupted({"compress", source_, output_}, signal, wholeGroup);
      EXPECT_EQ(ended.signal, signal);
      EXPECT_FALSE(exists(output_));
      EXPECT_THAT(ended.errors, HasSubstr(errorWhileExecuting("tar") + "\n"));
      EXPECT_THAT(ended.errors, HasSubstr("Could not compress '" + source_ + "'"));
    }
  EXPECT_EQ(contents(source_), "the source");
}

TEST_F(Signals, reachTheSecondProgramToo) {
  useFake("tar", "");
  useFake("compress", "print part\n" + wait_);
  EXPECT_EQ(interrupted({"compress", source_, output_}, SIGTERM).signal, SIGTERM);
  EXPECT_FALSE(exists(output_));
}

TEST_F(Signals, endEveryOperationAsAFailureDoes) {
  useFakes("print part\n" + wait_);
  EXPECT_EQ(interrupted({"destroy", source_}, SIGINT).signal, SIGINT);
  EXPECT_EQ(interrupted({"tar", source_, output_}, SIGINT).signal, SIGINT);
  EXPECT_EQ(interrupted({"untar", source_, directory_.path()}, SIGINT).signal, SIGINT);
  for (const char *operation : {"zcompress", "zuncompress"}) {
    EXPECT_EQ(interrupted({operation, source_, output_}, SIGINT).signal, SIGINT);
    EXPECT_EQ(contents(output_), "part") << "it may be all that could be saved";
  }
  useFake("uncompress", "print part");
  EXPECT_EQ(interrupted({"uncompress", source_, directory_.path()}, SIGINT).signal, SIGINT);
  EXPECT_EQ(contents(source_), "the source");
}

TEST_F(Signals, thatAreIgnoredStayIgnored) {
  useFake("tar", "print packed\n" + wait_);
  useFake("compress", "copy");
  for (const int signal : kSignals) {
    const Disposition ignored(signal, SIG_IGN);
    const pid_t id = start(words({"compress", source_, output_}), signal);
    const int gate = whenAtGate();
    ::kill(-id, signal);
    ::close(gate);
    EXPECT_EQ(waitFor(id).status, 0);
    EXPECT_EQ(contents(output_), "packed");
  }
}

// No program has been started yet, and nothing made.
TEST_F(Signals, endACommandThatWaitsForTheWriterOfItsArchive) {
  const pid_t id = start(words({"uncompress", gate_, directory_.path()}));
  waitUntil([&] {
    std::string status;
    std::getline(std::ifstream("/proc/" + std::to_string(id) + "/stat"), status);
    return status.find(") S ") != std::string::npos;
  });
  ::kill(id, SIGTERM);
  EXPECT_EQ(waitFor(id).signal, SIGTERM);
}

// The child still runs the command's own code.
TEST_F(Signals, endAChildThatWaitsForTheWriterOfItsInput) {
  const pid_t id = start(words({"zcompress", gate_, output_}));
  const std::string process = std::to_string(id);
  waitUntil([&] {
    std::string children;
    std::getline(std::ifstream("/proc/" + process + "/task/" + process + "/children"), children);
    return !children.empty();
  });
  ::kill(id, SIGTERM);
  EXPECT_EQ(waitFor(id).signal, SIGTERM);
  EXPECT_FALSE(exists(output_));
  EXPECT_FALSE(somebodyIsAtGate());
}

// ---- the library ----

TEST_F(Signals, areLeftToTheCallerByTheLibrary) {
  const Disposition caught(SIGTERM, [](int) {});
  const Disposition plain(SIGINT, SIG_DFL);
  sigset_t blocked, before, now;
  ::sigemptyset(&blocked);
  ::sigaddset(&blocked, SIGUSR1);
  ::sigprocmask(SIG_BLOCK, &blocked, &before);
  std::set<int> blockedWhileWaiting;
  SystemCalls::current().beforeWait = [&](pid_t) {
    struct sigaction action {};
    EXPECT_EQ(::sigaction(SIGINT, nullptr, &action), 0);
    EXPECT_EQ(action.sa_handler, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, nullptr, &now);
    for (int signal = 1; signal < NSIG; ++signal)
      if (::sigismember(&now, signal) == 1)
        blockedWhileWaiting.insert(signal);
  };
  EXPECT_TRUE(destroyFile("/a"));
  ::sigprocmask(SIG_SETMASK, &before, nullptr);
  EXPECT_TRUE(blockedWhileWaiting.contains(SIGUSR1));
  EXPECT_FALSE(blockedWhileWaiting.contains(SIGINT));
  EXPECT_EQ(onlyRun("rm").blocked, blockedWhileWaiting);
}

TEST_F(Signals, interruptNothingWhereNoOperationIsUnderWay) {
  EXPECT_FALSE(interruptFileOperation(SIGTERM));
  EXPECT_TRUE(destroyFile("/a"));
  EXPECT_FALSE(interruptFileOperation(SIGTERM));
}

TEST_F(Signals, interruptAnOperationOfTheLibraryAndNotTheNextOne) {
  useFakes(wait_);
  SystemCalls::current().beforeWait = [&](pid_t id) {
    if (id == SystemCalls::current().forked.front()) {
      EXPECT_TRUE(interruptFileOperation(SIGTERM));
    }
  };
  EXPECT_FALSE(compressFile(source_.c_str(), output_.c_str()));
  EXPECT_THAT(log_.logged,
              ElementsAre(errorWhileExecuting("tar"), errorWhileExecuting("compress")));
  EXPECT_FALSE(exists(output_));
  EXPECT_EQ(SystemCalls::current().signalled, SystemCalls::current().forked);
  EXPECT_THAT(SystemCalls::current().statuses, ElementsAre(SIGTERM, SIGTERM));

  SystemCalls::current() = {};
  useFakes();
  EXPECT_TRUE(compressFile(source_.c_str(), output_.c_str()));
}

TEST_F(Signals, thatComeAtTheForkReachTheChildAndKeepFromStartingTheNext) {
  useFakes(wait_);
  SystemCalls::current().beforeFork = [] { EXPECT_TRUE(interruptFileOperation(SIGTERM)); };
  EXPECT_FALSE(compressFile(source_.c_str(), output_.c_str()));
  EXPECT_THAT(SystemCalls::current().forked, SizeIs(1));
  EXPECT_THAT(SystemCalls::current().statuses, ElementsAre(SIGTERM));
  EXPECT_FALSE(exists(output_));
  EXPECT_FALSE(hasChildren());
}

// Its id may soon be another process's.
TEST_F(Signals, areSentToNoChildThatHasBeenWaitedFor) {
  useFake("tar", "");
  useFake("compress", wait_);
  SystemCalls &calls = SystemCalls::current();
  calls.beforeWait = [&](pid_t id) {
    if (id == calls.forked.back()) {
      EXPECT_TRUE(interruptFileOperation(SIGTERM));
    }
  };
  EXPECT_FALSE(compressFile(source_.c_str(), output_.c_str()));
  EXPECT_THAT(calls.signalled, ElementsAre(calls.forked.back()));
}

} // namespace
