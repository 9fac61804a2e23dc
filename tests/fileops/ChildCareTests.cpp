// How children are started and awaited.
#include "tests/fileops/FileOperationsTest.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ChildCare : public FileOperationsTest {
protected:
  ChildCare() { useFakes("drain"); }
  bool compress() { return compressFile(source_.c_str(), output_.c_str()); }
  bool uncompress() { return uncompressFile(source_.c_str(), directory_.path().c_str()); }

  std::string source_ = directory_.writeFile("source", "the source");
  std::string output_ = path("output");
};

TEST_F(ChildCare, compressFileStartsAndAwaitsTarBeforeCompress) {
  useFake("tar", "");
  EXPECT_TRUE(compress());
  const SystemCalls &calls = SystemCalls::current();
  ASSERT_EQ(calls.forked.size(), 2u);
  EXPECT_EQ(calls.waited, calls.forked);
}

TEST_F(ChildCare, uncompressFileStartsTarFirstAndAwaitsItLast) {
  EXPECT_TRUE(uncompress());
  const SystemCalls &calls = SystemCalls::current();
  ASSERT_EQ(calls.forked.size(), 2u);
  EXPECT_THAT(calls.waited, ElementsAre(calls.forked[1], calls.forked[0]));
}

TEST_F(ChildCare, interruptedWaitsAreResumed) {
  useFake("tar", "");
  SystemCalls::current().interruptedWaits = 3;
  EXPECT_TRUE(compress());
  EXPECT_EQ(SystemCalls::current().waited.size(), 2u);
  EXPECT_FALSE(hasChildren());
}

TEST_F(ChildCare, aCallReturnsOnlyAfterItsSlowestChild) {
  const std::string gate = path("gate");
  ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
  SystemCalls &calls = SystemCalls::current();
  for (const std::size_t slow : {0u, 1u}) {
    calls.forked.clear();
    useFakes();
    useFake(slow == 0 ? "tar" : "compress", "wait " + gate + "\ntouch " + path("ended"));
    // The slow child cannot end before it is waited for.
    calls.beforeWait = [&](pid_t id) {
      if (id == calls.forked[slow])
        ::close(::open(gate.c_str(), O_WRONLY | O_CLOEXEC));
    };
    EXPECT_TRUE(compress());
    EXPECT_TRUE(exists(path("ended"))) << slow;
    ::unlink(path("ended").c_str());
  }
  calls.beforeWait = nullptr;
}

TEST_F(ChildCare, childrenSeeTheCallersDescriptorsAndNoneOfTheOperation) {
  const int inherited = ::open("/dev/null", O_RDONLY);
  const auto expected = openDescriptorNumbers(true);
  useFake("tar", "");
  EXPECT_TRUE(compress());
  useFake("tar", "drain");
  EXPECT_TRUE(uncompress());
  EXPECT_TRUE(compressZFile(source_.c_str(), output_.c_str()));
  ::close(inherited);
  EXPECT_TRUE(expected.contains(inherited));
  for (const char *key : {"tar", "compress", "uncompress"})
    for (const FakeRun &run : runs(key))
      EXPECT_EQ(run.descriptors, expected) << key;
}

TEST_F(ChildCare, childrenGetSigpipeBackWhereTheCallerIgnoresIt) {
  const Disposition ignored(SIGPIPE, SIG_IGN);
  useFake("tar", "");
  EXPECT_TRUE(compress());
  EXPECT_TRUE(onlyRun("tar").sigpipeIsDefault);
  EXPECT_TRUE(onlyRun("compress").sigpipeIsDefault);
}

TEST_F(ChildCare, aChildThatDiesBySigpipeIsAFailureAndNotTheCallersEnd) {
  useFake("tar", "flood");
  useFake("compress", "exit 0");
  for (auto *handler : {SIG_DFL, SIG_IGN}) {
    const Disposition sigpipe(SIGPIPE, handler);
    log_.logged.clear();
    EXPECT_FALSE(compress());
    EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("tar")));
    EXPECT_FALSE(exists(output_));
  }
  useFake("uncompress", "flood");
  useFake("tar", "exit 0");
  log_.logged.clear();
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("uncompress")));
}

TEST_F(ChildCare, aFailedForkIsLoggedAndCleanedUp) {
  const std::string line = "Cannot fork: Resource temporarily unavailable";
  const auto failing = [&](int which, const auto &operation) {
    log_.logged.clear();
    SystemCalls::current() = {};
    SystemCalls::current().failedFork = which;
    const auto before = openDescriptorNumbers();
    EXPECT_FALSE(operation());
    EXPECT_EQ(openDescriptorNumbers(), before);
    EXPECT_FALSE(hasChildren());
    return log_.logged;
  };
  EXPECT_THAT(failing(1, [&] { return destroyFile("/a"); }), ElementsAre(line));
  EXPECT_THAT(failing(1, [&] { return compressZFile(source_.c_str(), output_.c_str()); }),
              ElementsAre(line));
  EXPECT_THAT(failing(1, [&] { return archiveTarFile(source_.c_str(), output_.c_str()); }),
              ElementsAre(line));
  EXPECT_FALSE(exists(output_));

  EXPECT_THAT(failing(1, [&] { return compress(); }),
              ElementsAre(line, errorWhileExecuting("tar")));
  EXPECT_FALSE(exists(output_));
  useFake("tar", "");
  EXPECT_THAT(failing(2, [&] { return compress(); }),
              ElementsAre(line, errorWhileExecuting("compress")));
  EXPECT_FALSE(exists(output_));
  EXPECT_THAT(failing(1, [&] { return uncompress(); }),
              ElementsAre(line, errorWhileExecuting("tar")));
  useFake("tar", "drain");
  EXPECT_THAT(failing(2, [&] { return uncompress(); }),
              ElementsAre(line, errorWhileExecuting("uncompress")));
}

TEST_F(ChildCare, aChildThatCannotBeAwaitedCountsAsFailed) {
  const Disposition ignored(SIGCHLD, SIG_IGN);
  EXPECT_FALSE(destroyFile("/a"));
}

// Closes the descriptors in a process of its own, and answers how the operations end there.
int statusWithout(const std::vector<int> &descriptors, const auto &operations) {
  const pid_t id = ::fork();
  if (id == 0) {
    for (const int descriptor : descriptors)
      ::close(descriptor);
    ::_exit(operations() ? 0 : 1);
  }
  int status = -1;
  ::waitpid(id, &status, 0);
  return status;
}

TEST_F(ChildCare, operationsWorkWithoutStandardDescriptors) {
  for (const char *key : {"tar", "compress", "uncompress"})
    useProgram(key, std::string("/usr/bin/") + key);
  const std::string text(10000, 't');
  directory_.writeFile("source", text);
  directory_.makeDirectory("target");
  const auto roundTrip = [&] {
    return compress() && uncompressFile(output_.c_str(), path("target").c_str()) &&
           compressZFile(source_.c_str(), path("z").c_str()) &&
           uncompressZFile(path("z").c_str(), path("plain").c_str());
  };
  for (const auto &closed : std::vector<std::vector<int>>{{0}, {1}, {0, 1}, {0, 1, 2}, {0, 2}}) {
    EXPECT_EQ(statusWithout(closed, roundTrip), 0) << testing::PrintToString(closed);
    EXPECT_EQ(contents(path("target/source")), text);
    EXPECT_EQ(contents(path("plain")), text);
  }
}

TEST_F(ChildCare, logLinesOfChildrenWithoutStandardErrorGoIntoNoFile) {
  useProgram("compress", "/nowhere");
  for (const auto &closed : std::vector<std::vector<int>>{{2}, {1, 2}, {0, 2}, {0, 1, 2}}) {
    directory_.writeFile("output", "");
    EXPECT_NE(
        statusWithout(closed, [&] { return compressZFile(source_.c_str(), output_.c_str()); }), 0);
    EXPECT_EQ(contents(output_), "") << testing::PrintToString(closed);
    EXPECT_EQ(contents(source_), "the source");
  }
}

TEST_F(ChildCare, logLinesOfChildrenWithoutStandardErrorGoThroughNoPipe) {
  useFake("tar", "print packed");
  useFake("compress", "copy");
  const std::string source = path("missing/source"); // "Cannot chdir to", and tar runs all the same
  for (const auto &closed : std::vector<std::vector<int>>{{2}, {1, 2}, {0, 2}, {0, 1, 2}}) {
    EXPECT_EQ(statusWithout(closed, [&] { return compressFile(source.c_str(), output_.c_str()); }),
              0);
    EXPECT_EQ(contents(output_), "packed") << testing::PrintToString(closed);
  }
}

TEST_F(ChildCare, programsFindOfTheStandardDescriptorsWhatTheOperationGivesAndNoOther) {
  useFake("tar", "");
  std::set<int> inherited = openDescriptorNumbers(true);
  for (const int standard : {0, 1, 2})
    inherited.erase(standard);
  const auto with = [&](std::initializer_list<int> given) {
    std::set<int> all = inherited;
    all.insert(given);
    return all;
  };
  EXPECT_EQ(statusWithout({0, 1, 2}, [&] { return compress(); }), 0);
  EXPECT_EQ(onlyRun("tar").descriptors, with({1}));
  EXPECT_EQ(onlyRun("compress").descriptors, with({0, 1}));
  useFake("tar", "drain");
  EXPECT_EQ(statusWithout({0, 1, 2}, [&] { return uncompress(); }), 0);
  EXPECT_EQ(runs("tar").back().descriptors, with({0}));
  EXPECT_EQ(onlyRun("uncompress").descriptors, with({0, 1}));
  EXPECT_EQ(
      statusWithout({0, 1, 2}, [&] { return compressZFile(source_.c_str(), output_.c_str()); }), 0);
  EXPECT_EQ(runs("compress").back().descriptors, with({0, 1}));
}

// In a process that may have no descriptor from the limit on.
TEST_F(ChildCare, aPipeOfWhichNotBothEndsFindRoomIsNone) {
  // 3 is the output's, so that one end of the pipe has room or none.
  for (const rlim_t limit : {5u, 4u}) {
    const auto failing = [&] {
      ::close_range(3, ~0u, 0);
      const struct rlimit limits { limit, limit };
      return ::setrlimit(RLIMIT_NOFILE, &limits) == 0 && !compress() &&
             log_.logged == std::vector<std::string>{"cannot create pipe: Too many open files"} &&
             SystemCalls::current().forked.empty() && !exists(output_) && ::fcntl(4, F_GETFD) < 0 &&
             ::fcntl(0, F_GETFD) < 0 && ::fcntl(1, F_GETFD) < 0;
    };
    SystemCalls::current() = {};
    EXPECT_EQ(statusWithout({0, 1}, failing), 0) << limit;
  }
}

TEST_F(ChildCare, logLinesOfChildrenComeWholeWhenSignalsInterruptThemAndInParts) {
  useProgram("rm", "/nowhere");
  const std::string line = "Cannot exec /nowhere: No such file or directory\n";
  SystemCalls::current().interruptedWrites = 3;
  {
    const StandardErrorCapture capture;
    EXPECT_FALSE(destroyFile("/a"));
    EXPECT_EQ(capture.text(), line);
  }
  SystemCalls::current() = {};
  SystemCalls::current().longestWrite = 5;
  const StandardErrorCapture capture;
  EXPECT_FALSE(destroyFile("/a"));
  EXPECT_EQ(capture.text(), line);
}

} // namespace
