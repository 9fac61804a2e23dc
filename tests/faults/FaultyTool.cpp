// FaultyTool.cpp - the tool, of which one system call or one allocation fails.
//
// FAULT in the environment says which: "call NUMBER ERRNO", "allocation NUMBER", or either with
// " on" behind it for all that follow, too; of number 0 none fails. How many calls, or allocations,
// a whole run makes is written to the file that FAULT_COUNTS names.

#include "tests/faults/FailingMalloc.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tool/ToolFinderTool.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <new>
#include <optional>
#include <sstream>
#include <string>

namespace {

using namespace tesker;

// In force for faults of calls only, since what it writes down takes memory.
std::optional<test::FaultyOperatingSystem> faulty;
std::optional<ScopedOperatingSystem> scope;

void setFault(const std::string &text) {
  std::istringstream words(text);
  std::string what, on;
  std::size_t number = 0;
  words >> what >> number;
  if (what == "call") {
    scope.emplace(faulty.emplace());
    words >> faulty->fault.error >> on;
    faulty->fault.call = number;
    faulty->fault.andAllAfter = on == "on";
  } else {
    words >> on;
    if (number != 0)
      test::mallocFault = {test::mallocsSoFar + number, on == "on"};
  }
}

void writeCount() {
  test::mallocFault = {};
  if (const char *file = std::getenv("FAULT_COUNTS"))
    std::ofstream(file) << (faulty ? faulty->calls.size() : test::mallocsSoFar) << '\n';
}

} // namespace

int main() {
  std::signal(SIGPIPE, SIG_IGN);
  std::atexit(writeCount);
  test::mallocsSoFar = 0;
  if (const char *fault = std::getenv("FAULT"))
    setFault(fault);
  try {
    NSTool = ToolFinderTool::create().leak();
  } catch (const std::bad_alloc &) { // as the tool's own main does
  }
  if (NSTool != nullptr)
    NSTool->run();
  std::exit(EXIT_SUCCESS);
}
