// Many searches, some at a time.

#include "master/SearchesInOrder.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/master/FakeToolSupport.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <stdexcept>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class SearchesInOrderOf : public testing::Test {
protected:
  // A tool that does what the shell is told, and then misbehaves so.
  SearchTask task(const std::string &script, const std::string &way = "empty-answer") {
    const std::string tool = directory_.writeFile("tool-" + std::to_string(tools_++),
                                                  "#!/bin/sh\ncd " + directory_.path() + "\n" +
                                                      script + "\nFAKE_TOOL=" + way + " exec " +
                                                      programPath("tesker-fake-tool") + "\n",
                                                  0755);
    return {{.tool = tool, .timeout = std::chrono::seconds(100)}, {.argument = "/tmp"}};
  }
  void search(const std::vector<SearchTask> &tasks, std::size_t jobs) {
    searchInOrder(tasks, {.jobs = jobs, .take = [this](std::size_t index, SearchOutcome &outcome) {
                            return take(index, outcome);
                          }});
  }
  bool take(std::size_t index, SearchOutcome &outcome) {
    const auto *failure = std::get_if<SearchFailure>(&outcome.result);
    taken_.push_back(std::to_string(index) + (failure != nullptr ? " " + failure->reason : ""));
    return index != lastToTake_;
  }
  // The lines of a file that the tools write.
  std::vector<std::string> linesOf(const std::string &name) const {
    std::ifstream file(directory_.path(name));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
      lines.push_back(line);
    return lines;
  }

  const LogCapture log_;
  const TemporaryDirectory directory_;
  int tools_ = 0;
  std::vector<std::string> taken_;
  std::size_t lastToTake_ = 1000;
};

TEST_F(SearchesInOrderOf, OutcomesComeInTheOrderOfTheTasks) {
  // The first one waits for the end of the last.
  search({task("until [ -e last ]; do sleep 0.01; done"), task(""), task("touch last")}, 3);
  EXPECT_THAT(taken_, ElementsAre("0", "1", "2"));
}

TEST_F(SearchesInOrderOf, NoMoreAreUnderWayThanThereAreJobs) {
  const std::string script = "echo begin >>log; sleep 0.05; echo end >>log";
  search({task(script), task(script), task(script)}, 1);
  EXPECT_THAT(taken_, ElementsAre("0", "1", "2"));
  EXPECT_THAT(linesOf("log"), ElementsAre("begin", "end", "begin", "end", "begin", "end"));
}

TEST_F(SearchesInOrderOf, NoMoreOutcomesWaitThanThereAreJobs) {
  const std::string counts = "ls begun-* | wc -l >>counts; touch begun-$$";
  // It waits for all that may begin, and then gives others the time to.
  const std::string waits =
      "until [ $(ls begun-* | wc -l) -ge 3 ]; do sleep 0.01; done; sleep 0.3; ";
  std::vector<SearchTask> tasks{task(waits + counts)};
  for (int i = 0; i < 6; ++i)
    tasks.push_back(task(counts));
  search(tasks, 2);
  // While the first one lasts the second begins, and two more once that and the next have ended.
  EXPECT_EQ(linesOf("counts").at(3), "3");
  EXPECT_EQ(taken_.size(), 7U);
}

TEST_F(SearchesInOrderOf, OneThatFailsDoesNotKeepTheOthersFromBeingMade) {
  search({task("", "exit-3"), {{.tool = "/missing"}, {.argument = "/tmp"}}, task("")}, 2);
  EXPECT_THAT(taken_, ElementsAre("0 the tool died before the hand-over (exit status 3)",
                                  StartsWith("1 the tool /missing cannot be executed"), "2"));
}

TEST_F(SearchesInOrderOf, TheOneWhoTakesThemMayEndThem) {
  lastToTake_ = 0;
  search({task(""), task("", "never-connect"), task("touch begun")}, 2);
  EXPECT_THAT(taken_, ElementsAre("0"));
  EXPECT_FALSE(hasChildren());
}

TEST_F(SearchesInOrderOf, WhatIsThrownLeavesOnceNothingIsLeft) {
  EXPECT_THROW(searchInOrder({task(""), task("", "never-connect")},
                             {.jobs = 2,
                              .take = [](std::size_t, SearchOutcome &) -> bool {
                                throw std::runtime_error("enough");
                              }}),
               std::runtime_error);
  EXPECT_FALSE(hasChildren());
}

// Those under way when the control says so, and of three tasks two are.
std::vector<std::string> controlled(SearchesInOrderOptions options, SearchControl control,
                                    const std::vector<SearchTask> &tasks) {
  Result<Pipe> pipe = createPipe();
  pipe->writeEnd.reset();
  bool isAsked = false;
  std::vector<std::string> taken;
  options.jobs = 2;
  options.controlDescriptor = pipe->readEnd.number();
  options.control = [&] { return std::exchange(isAsked, true) ? SearchControl::goOn : control; };
  options.take = [&](std::size_t, SearchOutcome &outcome) {
    taken.push_back(failureOf(outcome).reason);
    return true;
  };
  searchInOrder(tasks, options);
  return taken;
}

TEST_F(SearchesInOrderOf, ThoseUnderWayAreGivenUpAndNoOtherBegins) {
  for (const SearchControl control : {SearchControl::stop, SearchControl::cancel}) {
    const std::vector<SearchTask> tasks{task("", "never-connect"), task("", "never-connect"),
                                        task("touch begun")};
    EXPECT_THAT(controlled({}, control, tasks),
                ElementsAre("the search was given up", "the search was given up"));
    EXPECT_FALSE(std::filesystem::exists(directory_.path("begun")));
    EXPECT_FALSE(hasChildren());
  }
}

TEST_F(SearchesInOrderOf, EndWhereNothingCanBeWaitedFor) {
  class Impatient final : public OperatingSystem {
    int poll(pollfd *descriptors, nfds_t count, int milliseconds) override {
      if (milliseconds == 0)
        return OperatingSystem::poll(descriptors, count, milliseconds);
      errno = ENOMEM;
      return -1;
    }
  } system;
  const ScopedOperatingSystem inForce(system);
  search({task(""), task("")}, 2);
  EXPECT_THAT(taken_, ElementsAre("0", "1"));
}

TEST_F(SearchesInOrderOf, NothingIsNothing) {
  search({}, 4);
  EXPECT_THAT(taken_, IsEmpty());
}

} // namespace
} // namespace tesker::test
