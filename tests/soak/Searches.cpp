#include "tests/soak/Searches.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/tool/HostileMasters.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/timerfd.h>
#include <utility>

namespace tesker::soak {

using namespace std::chrono;
using test::Ending;

namespace {

constexpr std::size_t kTrees = 4;
// After so many searches one of the trees gives way to a new one.
constexpr std::size_t kSearchesOfATree = 40;
// Stops what hangs, and is not meant to be reached.
constexpr nanoseconds kNever = minutes(2);

nanoseconds since(steady_clock::time_point begin) { return steady_clock::now() - begin; }

std::string inPlan(nanoseconds time, int signal) {
  return std::to_string(duration_cast<microseconds>(time).count()) + " " + std::to_string(signal) +
         " ";
}

// Becomes readable after this time.
FileDescriptor timer(nanoseconds time) {
  FileDescriptor descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
  const auto whole = duration_cast<seconds>(time);
  const itimerspec once{{0, 0}, {whole.count(), std::max(1L, (time - whole).count())}};
  ::timerfd_settime(descriptor.number(), 0, &once, nullptr);
  return descriptor;
}

// What is wrong about a search's outcome; empty when nothing is.
std::string faultOf(const SearchOutcome &outcome, Request &request,
                    const std::optional<std::string> &previous,
                    std::initializer_list<Ending> alsoAllowed) {
  if (const auto *failure = std::get_if<SearchFailure>(&outcome.result))
    return std::ranges::find(alsoAllowed, test::endingOf(outcome)) != alsoAllowed.end()
               ? ""
               : failure->reason;
  if (outcome.incomplete)
    return "the answer is called incomplete";
  const bool isPrevious = previous && request.text == previous;
  if (std::holds_alternative<SearchUnchanged>(outcome.result))
    return isPrevious ? "" : "the answer is called unchanged, and is not";
  const auto &answer = std::get<SearchAnswer>(outcome.result);
  if (std::string fault = request.faultOf(answer); !fault.empty())
    return fault;
  return isPrevious || previous == answer.text ? "the answer is unchanged, and comes again" : "";
}

std::string reasonOf(const SearchOutcome &outcome) {
  const auto *failure = std::get_if<SearchFailure>(&outcome.result);
  return failure != nullptr ? ": " + failure->reason : "";
}

void removeWhatIsIn(const std::string &directory) {
  std::error_code ignored;
  for (const auto &entry : std::filesystem::directory_iterator(directory, ignored))
    std::filesystem::remove_all(entry.path(), ignored);
}

std::string nameOfEnding(const SearchOutcome &outcome) {
  return std::holds_alternative<SearchUnchanged>(outcome.result)
             ? "unchanged"
             : test::nameOf(test::endingOf(outcome));
}

} // namespace

const std::vector<Searches::Kind> &Searches::kinds() {
  static const std::vector<Kind> kinds{
      {"ordinary", 47, &Searches::ordinary},
      {"given up at some moment", 8, &Searches::cancelled},
      {"with its deadline at some moment", 8, &Searches::endedByItsDeadline},
      {"tool killed at some moment", 10, &Searches::killed},
      {"tool stopped at some moment", 4, &Searches::stopped},
      {"tool slowed", 8, &Searches::slowed},
      {"hostile tool", 11, &Searches::withHostileTool},
      {"hostile master", 4, &Searches::ofHostileMaster},
  };
  return kinds;
}

Searches::Searches(std::string directory, unsigned seed)
    : directory_(std::move(directory)), seed_(seed) {
  // Kept for good from their first use, and large: before anything is compared.
  (void)test::hostileTools();
  (void)test::hostileMasters();
  for (std::size_t i = 0; i < kTrees; ++i)
    trees_.push_back(makeTree(i));
  measure();
}

void Searches::measure() {
  constexpr int kMeasured = 10;
  const auto begin = steady_clock::now();
  for (int i = 0; i < kMeasured; ++i)
    (void)makeOrdinary();
  ordinaryTime_ = since(begin) / kMeasured;
  const test::ScopedEnvironment variable("FAKE_TOOL", "answer-and-exit");
  const auto hostileBegin = steady_clock::now();
  for (int i = 0; i < kMeasured; ++i)
    (void)FinderMaster(options("tesker-fake-tool", kNever)).findAppsInSearchPath("/tmp");
  hostileTimes_ =
      duration<double>(since(hostileBegin)) / duration<double>(kMeasured * ordinaryTime_);
}

std::unique_ptr<RandomTree> Searches::makeTree(std::size_t number) {
  std::seed_seq seeds{std::size_t{seed_}, number};
  Random random(seeds);
  return std::make_unique<RandomTree>(directory_ + "/" + std::to_string(number), random);
}

Done Searches::make(std::size_t number) {
  if (number % kSearchesOfATree == 0) {
    const std::size_t tree = kTrees + number / kSearchesOfATree;
    trees_[tree % kTrees] = makeTree(tree);
  }
  std::seed_seq seeds{std::size_t{seed_}, number, std::size_t{1}};
  random_.seed(seeds);
  std::size_t total = 0;
  for (const Kind &kind : kinds())
    total += kind.weight;
  std::size_t lot = below(total, random_);
  auto kind = kinds().begin();
  for (; lot >= kind->weight; ++kind)
    lot -= kind->weight;
  currentSearch = kind->name;
  Done done{kind->name};
  (this->*kind->search)(done);
  return done;
}

Done Searches::makeOrdinary() {
  Done done{kinds().front().name};
  ordinary(done);
  return done;
}

nanoseconds Searches::anyMoment() {
  constexpr std::size_t kParts = 1000;
  return ordinaryTime_ * (3 * below(kParts, random_)) / (2 * kParts);
}

FinderMasterOptions Searches::options(const char *tool, nanoseconds timeout) const {
  return {
      .tool = OperatingSystem::current().programFolder() + tool, .cpu = "i386", .timeout = timeout};
}

std::optional<std::string> Searches::anyPrevious(const Request &request) {
  switch (below(4, random_)) {
  case 0:
    return request.text;
  case 1:
    return "(0)";
  case 2:
    return "not what an answer looks like";
  default:
    return std::nullopt;
  }
}

void Searches::ask(Done &done, FinderMasterOptions options,
                   std::initializer_list<Ending> alsoAllowed) {
  Request &request = trees_[below(kTrees, random_)]->anyRequest(random_);
  const std::optional<std::string> previous = anyPrevious(request);
  const FinderMaster master(std::move(options));
  const SearchOutcome outcome = request.isDock
                                    ? master.findAppsForDockPaths(request.argument, previous)
                                    : master.findAppsInSearchPath(request.argument, previous);
  done.ending = nameOfEnding(outcome);
  if (const std::string fault = faultOf(outcome, request, previous, alsoAllowed); !fault.empty())
    done.wrong.push_back(fault);
}

void Searches::ordinary(Done &done) {
  constexpr int kTimesThatCount = 16; // others may come to use the machine, or end
  const auto begin = steady_clock::now();
  ask(done, options("ToolFinder", kNever));
  ordinaryTime_ += (since(begin) - ordinaryTime_) / kTimesThatCount;
}

void Searches::cancelled(Done &done) {
  const FileDescriptor alarm = timer(anyMoment());
  FinderMasterOptions cancellable = options("ToolFinder", kNever);
  cancellable.cancelDescriptor = alarm.number();
  ask(done, std::move(cancellable), {Ending::cancelled});
}

void Searches::endedByItsDeadline(Done &done) {
  // The connection of a tool that has answered ends a little earlier than the tool.
  ask(done, options("ToolFinder", anyMoment()), {Ending::timedOut, Ending::connectionLost});
}

// ---- something happens to the tool ----

void Searches::askMeddledTool(Done &done, const std::string &plan, nanoseconds timeout,
                              std::initializer_list<Ending> alsoAllowed) {
  const std::string file = directory_ + "/plan";
  std::ofstream(file) << plan;
  const test::ScopedEnvironment variable("MEDDLING_PLAN", file);
  ask(done, options("tesker-meddling-tool", timeout), alsoAllowed);
}

void Searches::killed(Done &done) {
  askMeddledTool(done, inPlan(anyMoment(), SIGKILL), kNever, {Ending::toolDied});
}

void Searches::stopped(Done &done) {
  // One that is stopped after its connection has ended keeps its master from seeing its end.
  askMeddledTool(done, inPlan(anyMoment(), SIGSTOP), 5 * ordinaryTime_,
                 {Ending::timedOut, Ending::connectionLost});
}

void Searches::slowed(Done &done) {
  std::string plan;
  for (std::size_t i = 1 + below(10, random_); i > 0; --i)
    plan += inPlan(anyMoment() / 5, SIGSTOP) + inPlan(anyMoment() / 5, SIGCONT);
  askMeddledTool(done, plan, kNever);
}

// ---- the hostile ones ----

void Searches::withHostileTool(Done &done) {
  const auto &tools = test::hostileTools();
  const test::HostileToolKind &hostile = tools[below(tools.size(), random_)];
  currentSearch = hostile.way;
  const test::ScopedEnvironment variable("FAKE_TOOL", hostile.way);
  const nanoseconds timeout =
      duration_cast<nanoseconds>(hostileTimes_ * ordinaryTime_) + 4 * anyMoment();
  const SearchOutcome outcome =
      FinderMaster(options("tesker-fake-tool", timeout)).findAppsInSearchPath("/tmp");
  done.ending = nameOfEnding(outcome);
  done.mayLeaveProcesses = hostile.leaves == test::Leaves::processes;
  const Ending ending = test::endingOf(outcome);
  const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
  // Whatever it does, the deadline may be earlier, and find the connection ended and the tool not.
  if ((!hostile.admits(ending) && ending != Ending::timedOut && ending != Ending::connectionLost) ||
      (answer != nullptr && !answer->records.empty()))
    done.wrong.push_back(std::string(hostile.way) + ": " + done.ending + reasonOf(outcome));
  if (hostile.leaves == test::Leaves::deepDirectories)
    removeWhatIsIn(environmentValue("XDG_RUNTIME_DIR").value_or(""));
}

void Searches::ofHostileMaster(Done &done) {
  const auto &masters = test::hostileMasters();
  const test::HostileMasterKind &hostile = masters[below(masters.size(), random_)];
  currentSearch = hostile.name;
  const int status = test::exitStatusFacing(hostile);
  done.ending = "tool's exit status " + std::to_string(status);
  if (!hostile.admits(status))
    done.wrong.push_back(std::string(hostile.name) + ": " + done.ending);
}

} // namespace tesker::soak
