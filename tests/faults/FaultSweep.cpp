// FaultSweep.cpp - whole searches, of which one system call or allocation of the tool or of the
// master fails.
//
//   tesker-fault-sweep TOOL [--faults N] [--allocations N] [--seed N] [--each-call]
//                      [--read-ahead] [--list]
//
// TOOL is tesker-faulty-tool. A search has to end with the right answer, with one that says that it
// is incomplete, with one that lacks what could not be read, for a reason that an entry may have,
// or with a failure that has a reason; which of them, FaultTable says for each call. Nothing may
// crash or hang, and no descriptor, process or directory may be left. A search that ends
// otherwise is told, and the status is 1. Faults are chosen at random; the same seed makes the same
// sweep. With --each-call every call of the master fails in turn, with each of its errors, alone
// and with all after it. With --read-ahead a program reads ahead of every search: what fails of
// that changes no answer. With --list what became of each kind of fault is printed.

#include "tests/faults/FaultTable.h"
#include "tests/faults/FaultySearch.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <variant>

namespace {

using namespace tesker;
using test::Fault;
using test::FaultySearch;
using test::Outcomes;
using test::Side;

struct Options {
  std::string tool;
  std::size_t faults = 2000;
  std::size_t allocations = 300;
  unsigned seed = 1;
  bool eachCall = false;
  bool readAhead = false;
  bool list = false;
};

std::string nameOf(Outcomes outcome) {
  switch (outcome) {
  case test::kWhole:
    return "whole";
  case test::kLacking:
    return "lacking";
  case test::kIncomplete:
    return "incomplete, and says so";
  case test::kNone:
    return "no answer";
  default:
    return "a wrong answer that says nothing";
  }
}

class Sweep {
public:
  explicit Sweep(const Options &options)
      : options_(options), search_(options.tool), random_(options.seed) {}

  int run() {
    for (const Side side : {Side::tool, Side::master})
      if (!prepare(side))
        return complain("without a fault", "there is no whole answer, or something is left");
    std::printf("%zu records; calls: %zu of the tool, %zu of the master; allocations: %zu and %zu; "
                "seed %u\n",
                whole_.records.size(), calls_[Side::tool].size(), calls_[Side::master].size(),
                allocations_[Side::tool], allocations_[Side::master], options_.seed);
    if (options_.eachCall)
      tryEachCallOfTheMaster();
    else
      tryAtRandom();
    for (const auto &[what, count] : outcomes_)
      std::printf("%6zu %s\n", count, what.c_str());
    return complaints_ == 0 ? 0 : 1;
  }

private:
  // Twice, for what is made at the first time only.
  bool prepare(Side side) {
    for (int time = 0; time < 2; ++time) {
      const auto byCalls = search_.run({side, Fault::Kind::call});
      const auto *answer = std::get_if<SearchAnswer>(&byCalls.outcome.result);
      const auto byAllocations = search_.run({side, Fault::Kind::allocation});
      if (answer == nullptr || byCalls.outcome.incomplete)
        return false;
      whole_ = *answer;
      calls_[side] = byCalls.calls;
      allocations_[side] = byAllocations.allocations;
    }
    return !calls_[side].empty() && allocations_[side] > 0;
  }

  std::size_t upTo(std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(1, most)(random_);
  }
  Side anySide() { return upTo(2) == 1 ? Side::tool : Side::master; }

  bool isOn() { return upTo(4) == 1; }

  void tryAtRandom() {
    for (std::size_t i = 0; i < options_.faults; ++i) {
      const Side side = anySide();
      const std::size_t number = upTo(calls_[side].size());
      const auto errors = errorsOf(side, number);
      const int error = errors[upTo(errors.size()) - 1];
      attempt({side, Fault::Kind::call, number, error, isOn() && test::mayLast(error)});
    }
    for (std::size_t i = 0; i < options_.allocations; ++i) {
      const Side side = anySide();
      attempt({side, Fault::Kind::allocation, upTo(allocations_[side]), 0, isOn()});
    }
  }

  void tryEachCallOfTheMaster() {
    for (std::size_t number = 1; number <= calls_[Side::master].size(); ++number)
      for (const int error : errorsOf(Side::master, number))
        for (const bool andAllAfter : {false, true})
          if (!andAllAfter || test::mayLast(error))
            attempt({Side::master, Fault::Kind::call, number, error, andAllAfter});
  }

  std::vector<int> errorsOf(Side side, std::size_t number) {
    const std::string &line = calls_[side][number - 1];
    return test::errorsOf(side, line.substr(0, line.find(' ')));
  }

  void attempt(const Fault &fault) {
    if (complaints_ == kMostComplaints)
      return;
    const FaultySearch::Result result = search_.run(fault);
    const Outcomes outcome = outcomeOf(result.outcome);
    ++outcomes_[(fault.side == Side::tool ? "tool: " : "master: ") + nameOf(outcome)];
    const auto *failure = std::get_if<SearchFailure>(&result.outcome.result);
    const std::string reason = failure != nullptr ? ": " + failure->reason : "";
    if (options_.list)
      std::printf("%s (%s): %s%s\n", describe(fault).c_str(),
                  result.failures.empty() ? "" : result.failures.front().c_str(),
                  nameOf(outcome).c_str(), reason.c_str());
    std::string wrong = failure != nullptr ? wrongAbout(*failure) : "";
    if (wrong.empty() && !mayBe(outcome, fault, result))
      wrong = "it should not end with " + nameOf(outcome) + reason;
    if (wrong.empty())
      wrong = wrongAbout(fault, result);
    if (wrong.empty())
      return;
    complain(describe(fault), wrong);
    for (std::size_t i = 0; i < std::min<std::size_t>(result.failures.size(), 3); ++i)
      std::fprintf(stderr, "  failed: %s\n", result.failures[i].c_str());
  }

  // 0 when it is a wrong answer.
  Outcomes outcomeOf(const SearchOutcome &outcome) const {
    if (std::holds_alternative<SearchFailure>(outcome.result))
      return test::kNone;
    const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
    const bool isPart = answer != nullptr && isPartOfTheWhole(*answer);
    if (!isPart)
      return 0;
    if (outcome.incomplete)
      return test::kIncomplete;
    return answer->text == whole_.text ? test::kWhole : test::kLacking;
  }

  bool isPartOfTheWhole(const SearchAnswer &answer) const {
    return std::ranges::all_of(answer.records, [&](const SearchRecord &record) {
      return std::ranges::find(whole_.records, record) != whole_.records.end();
    });
  }

  bool mayBe(Outcomes outcome, const Fault &fault, const FaultySearch::Result &result) const {
    if (fault.kind == Fault::Kind::allocation)
      return outcome != test::kLacking && outcome != 0;
    // All that failed together: what each of them allows.
    Outcomes any = 0, all = test::kWhole;
    bool hasToEnd = false;
    for (const std::string &line : result.failures) {
      Outcomes allowed = test::outcomesOf(fault.side, line, fault.error, search_.tree());
      if (options_.readAhead && fault.side == Side::master)
        allowed |= test::kWhole; // it may have been a call for the program that reads ahead
      any |= allowed;
      all &= allowed;
      hasToEnd =
          hasToEnd || (allowed & ~test::kLeavesDirectory & ~test::kLeavesProcess) == test::kNone;
    }
    if (outcome == test::kNone)
      return (any & test::kNone) != 0;
    if (hasToEnd)
      return false;
    return ((outcome == test::kWhole ? all : any) & outcome) != 0;
  }

  static std::string wrongAbout(const SearchFailure &failure) {
    if (failure.reason.empty())
      return "a failure without a reason";
    if (failure.kind == SearchFailure::Kind::timedOut)
      return "the tool hangs";
    if (failure.toolEnd && failure.toolEnd->kind == ToolEnd::Kind::killed)
      return "the tool crashes: " + failure.reason;
    return {};
  }

  std::string wrongAbout(const Fault &fault, const FaultySearch::Result &result) const {
    Outcomes any = 0;
    for (const std::string &line : result.failures)
      any |= test::outcomesOf(fault.side, line, fault.error, search_.tree());
    if (result.descriptors != 0)
      return "a descriptor is left open";
    if (result.process && (any & test::kLeavesProcess) == 0)
      return "a process is left";
    if (result.directories == ~std::size_t{0})
      return "a directory is left for good";
    if (result.directories > 0 && (any & test::kLeavesDirectory) == 0)
      return "a directory is left";
    const auto *failure = std::get_if<SearchFailure>(&result.outcome.result);
    const bool isOfThisSide = fault.side == Side::master && fault.kind == Fault::Kind::call;
    if (failure != nullptr && isOfThisSide && !saysWhy(failure->reason, fault.error))
      return "the reason does not say why: " + failure->reason;
    return {};
  }

  // By the error's text, or by what the error means where it happened.
  static bool saysWhy(const std::string &reason, int error) {
    const auto says = [&](std::string_view text) { return reason.find(text) != std::string::npos; };
    switch (error) {
    case EACCES:
    case EPERM:
    case ENOTDIR:
    case ELOOP:
      return says(std::strerror(error)) || says("bootstrap status 1100");
    case ENOENT:
      return says(std::strerror(error)) || says("bootstrap status 1102");
    case EPIPE:
    case ECONNRESET: // the other side has gone
      return says("the connection ended") || says("the tool ended without connecting");
    default:
      return says(std::strerror(error));
    }
  }

  int complain(const std::string &fault, const std::string &what) {
    std::fprintf(stderr, "%s: %s\n", fault.c_str(), what.c_str());
    ++complaints_;
    return 1;
  }

  static constexpr int kMostComplaints = 40;

  const Options options_;
  FaultySearch search_;
  std::mt19937 random_;
  SearchAnswer whole_;
  std::map<Side, std::vector<std::string>> calls_;
  std::map<Side, std::size_t> allocations_;
  std::map<std::string, std::size_t> outcomes_;
  int complaints_ = 0;
};

} // namespace

int main(int count, char **arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string_view word = arguments[i];
    if (word == "--faults" && i + 1 < count)
      options.faults = std::stoul(arguments[++i]);
    else if (word == "--allocations" && i + 1 < count)
      options.allocations = std::stoul(arguments[++i]);
    else if (word == "--seed" && i + 1 < count)
      options.seed = static_cast<unsigned>(std::stoul(arguments[++i]));
    else if (word == "--each-call")
      options.eachCall = true;
    else if (word == "--read-ahead")
      options.readAhead = true;
    else if (word == "--list")
      options.list = true;
    else
      options.tool = word;
  }
  ::setenv("TESKER_READ_AHEAD", options.readAhead ? "always" : "never", 1);
  return Sweep(options).run();
}
