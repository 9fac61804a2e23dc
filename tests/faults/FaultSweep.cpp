// FaultSweep.cpp - whole searches, of which one system call or allocation fails, at random.
//
//   tesker-fault-sweep TOOL [--faults N] [--allocations N] [--seed N]
//
// TOOL is tesker-faulty-tool. A search has to end with the right answer, with one that says that it
// is incomplete, with one that lacks what could not be read, for a reason that an entry may have,
// or with a failure that has a reason. A tool that crashes or hangs, and a wrong answer, end the
// sweep with status 1. The same seed makes the same sweep.

#include "examples/MachOWriter.h"
#include "master/FinderMaster.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <variant>

namespace {

using namespace tesker;

constexpr std::array kOrdinary = {ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, ENXIO};
constexpr std::array kOthers = {EIO, ESTALE, ENOMEM, EMFILE, ENFILE};

std::string executable(const std::string &name) {
  const std::string header = "F\t" + name + "\tApplication\ticon\nS\tx" + name + "\tApplication\n";
  return examples::MachOWriter(examples::kI386)
      .addSection("__ICON", "__header", header)
      .addSection("__ICON", "__services", "")
      .bytes();
}

void makeTree(const test::TemporaryDirectory &directory) {
  for (const char *name : {"a/one", "a/b/two", "c/three", "four"})
    directory.writeFile("tree/" + std::string(name), executable(name), 0755);
  directory.writeFile("tree/script", "#!/bin/sh\n", 0755);
  directory.writeFile("tree/text", "text");
  directory.writeFile("tree/c/Five.app/Five", executable("Five"), 0755);
  directory.writeFile("tree/c/Five.app/Resources/Info-quorvale.plist",
                      "{NSExecutable = Five; NSTypes = ({NSExtensions = (five, funf);});}");
  directory.writeFile("tree/c/Six.app/Six", executable("Six"), 0755);
  directory.writeFile("tree/c/Six.app/Part.bundle/Part", executable("Part"), 0755);
  directory.writeFile("tree/Seven.app/registry.table", "{NSDocumentTypes = {seven = {};};}");
  directory.makeLink("tree/link", "c");
}

struct Options {
  std::string tool;
  std::size_t faults = 2000;
  std::size_t allocations = 300;
  unsigned seed = 1;
};

class Sweep {
public:
  explicit Sweep(const Options &options) : options_(options), random_(options.seed) {
    makeTree(directory_);
  }

  int run() {
    ::setenv("FAULT_COUNTS", directory_.path("counts").c_str(), 1);
    calls_ = countOf("call 0");
    allocations_ = countOf("allocation 0");
    if (calls_ == 0 || allocations_ == 0)
      return complain("without a fault", "there is no whole answer");
    std::printf("%zu records, %zu calls, %zu allocations; seed %u\n", whole_.records.size(), calls_,
                allocations_, options_.seed);
    for (std::size_t i = 0; i < options_.faults; ++i)
      if (const int status = tryCall())
        return status;
    for (std::size_t i = 0; i < options_.allocations; ++i)
      if (const int status = tryAllocation())
        return status;
    for (const auto &[what, count] : outcomes_)
      std::printf("%6zu %s\n", count, what.c_str());
    return 0;
  }

private:
  SearchOutcome search(const std::string &fault) {
    ::setenv("FAULT", fault.c_str(), 1);
    return FinderMaster({.tool = options_.tool, .cpu = "i386", .timeout = std::chrono::seconds(30)})
        .findAppsInSearchPath(directory_.path("tree"));
  }

  // How many there are in a search of which none fails; 0 when there is no whole answer.
  std::size_t countOf(const std::string &none) {
    const SearchOutcome outcome = search(none);
    const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
    if (answer == nullptr || outcome.incomplete)
      return 0;
    whole_ = *answer;
    std::size_t count = 0;
    std::ifstream(directory_.path("counts")) >> count;
    return count;
  }

  std::size_t upTo(std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(1, most)(random_);
  }
  std::string orOn() { return upTo(4) == 1 ? " on" : ""; }

  int tryCall() {
    const bool ordinary = upTo(2) == 1;
    const int error =
        ordinary ? kOrdinary[upTo(kOrdinary.size()) - 1] : kOthers[upTo(kOthers.size()) - 1];
    const std::string fault =
        "call " + std::to_string(upTo(calls_)) + " " + std::to_string(error) + orOn();
    return judge(fault, search(fault), ordinary);
  }

  int tryAllocation() {
    const std::string fault = "allocation " + std::to_string(upTo(allocations_)) + orOn();
    return judge(fault, search(fault), false);
  }

  // 0 when the outcome may be.
  int judge(const std::string &fault, const SearchOutcome &outcome, bool mayLack) {
    if (const auto *failure = std::get_if<SearchFailure>(&outcome.result))
      return judge(fault, *failure);
    const auto *answer = std::get_if<SearchAnswer>(&outcome.result);
    if (answer == nullptr)
      return complain(fault, "the answer is called unchanged");
    const bool isWhole = answer->text == whole_.text;
    ++outcomes_[isWhole ? "whole" : outcome.incomplete ? "incomplete, and says so" : "lacking"];
    if (isWhole || outcome.incomplete || (mayLack && isPartOfTheWhole(*answer)))
      return 0;
    return complain(fault, "a wrong answer that says nothing");
  }

  int judge(const std::string &fault, const SearchFailure &failure) {
    ++outcomes_["no answer"];
    if (failure.reason.empty())
      return complain(fault, "a failure without a reason");
    if (failure.kind == SearchFailure::Kind::timedOut)
      return complain(fault, "the tool hangs");
    if (failure.toolEnd && failure.toolEnd->kind == ToolEnd::Kind::killed)
      return complain(fault, "the tool crashes: " + failure.reason);
    return 0;
  }

  bool isPartOfTheWhole(const SearchAnswer &answer) const {
    return std::ranges::all_of(answer.records, [&](const SearchRecord &record) {
      return std::ranges::find(whole_.records, record) != whole_.records.end();
    });
  }

  static int complain(const std::string &fault, const std::string &what) {
    std::fprintf(stderr, "%s: %s\n", fault.c_str(), what.c_str());
    return 1;
  }

  const Options options_;
  std::mt19937 random_;
  const test::TemporaryDirectory directory_;
  SearchAnswer whole_;
  std::size_t calls_ = 0, allocations_ = 0;
  std::map<std::string, std::size_t> outcomes_;
};

} // namespace

int main(int count, char **arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string word = arguments[i];
    if (word == "--faults" && i + 1 < count)
      options.faults = std::stoul(arguments[++i]);
    else if (word == "--allocations" && i + 1 < count)
      options.allocations = std::stoul(arguments[++i]);
    else if (word == "--seed" && i + 1 < count)
      options.seed = static_cast<unsigned>(std::stoul(arguments[++i]));
    else
      options.tool = word;
  }
  std::signal(SIGPIPE, SIG_IGN);
  return Sweep(options).run();
}
