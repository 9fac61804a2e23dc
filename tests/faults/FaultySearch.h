// FaultySearch.h - a whole search of a small tree, of which the tool or the master fails once, or
// from some point on; what became of it, and what it has left behind.
#pragma once

#include "master/FinderMaster.h"
#include "platform/foundation/Files.h"
#include "tests/faults/FaultTable.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tesker::test {

struct Fault {
  enum class Kind { call, allocation };
  Side side;
  Kind kind;
  std::size_t number = 0; // from 1; 0: none
  int error = 0;          // of a call
  bool andAllAfter = false;
};

// "master call 17 EMFILE on".
[[nodiscard]] std::string describe(const Fault &fault);

class FaultySearch {
public:
  struct Result {
    SearchOutcome outcome;
    std::vector<std::string> calls; // of the side that calls may fail of
    std::vector<std::string> failures;
    std::size_t allocations = 0; // of the side that allocations may fail of
    // What is there that was not there before.
    std::size_t descriptors = 0;
    std::size_t directories = 0;
    bool process = false;
  };

  // The program is tesker-faulty-tool. From now on a crash, and a search that takes a minute, end
  // this process with status 1 and name the fault.
  explicit FaultySearch(std::string tool);

  // What it has left behind is cleared away.
  [[nodiscard]] Result run(const Fault &fault);
  [[nodiscard]] std::string tree() const { return directory_.path("tree"); }

private:
  SearchOutcome search() const;
  void runWithCalls(const Fault &fault, Result &result);
  void runWithAllocations(const Fault &fault, Result &result);
  // What the tool has written since the last time.
  [[nodiscard]] std::string takeTrace() const;
  static void readTrace(const Fault &fault, const std::string &trace, Result &result);
  [[nodiscard]] std::size_t directoriesLeft() const;

  const std::string tool_;
  const TemporaryDirectory directory_;
  FileDescriptor trace_;
};

} // namespace tesker::test
