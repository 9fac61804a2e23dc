// FaultyTool.cpp - the tool, of which one system call or one allocation fails.
//
// FAULT in the environment says which: "call NUMBER ERRNO", "allocation NUMBER", or either with
// " on" behind it for all that follow, too. Without it nothing fails. The number of calls and of
// allocations of a whole run is written to the file that FAULT_COUNTS names.

#include "platform/foundation/NSLog.h"
#include "tests/faults/FailingMalloc.h"
#include "tests/support/FaultyOperatingSystem.h"
#include "tool/ToolFinderTool.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>

namespace {

using namespace tesker;

test::FaultyOperatingSystem &faulty = *new test::FaultyOperatingSystem;

void setFault(const std::string &text) {
  std::istringstream words(text);
  std::string what, on;
  std::size_t number = 0;
  words >> what >> number;
  if (what == "call") {
    words >> faulty.fault.error >> on;
    faulty.fault.call = number;
    faulty.fault.andAllAfter = on == "on";
  } else {
    words >> on;
    test::mallocFault = {test::mallocsSoFar + number, on == "on"};
  }
}

void writeCounts() {
  if (const char *file = std::getenv("FAULT_COUNTS"))
    if (std::FILE *counts = std::fopen(file, "w")) {
      std::fprintf(counts, "%zu %zu\n", faulty.calls.size(), test::mallocsSoFar);
      std::fclose(counts);
    }
}

} // namespace

int main() {
  const ScopedOperatingSystem scope(faulty);
  std::signal(SIGPIPE, SIG_IGN);
  std::atexit(writeCounts);
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
