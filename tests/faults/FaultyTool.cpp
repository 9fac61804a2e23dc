// FaultyTool.cpp - the tool, its own main included, of which one system call or one allocation
// fails.
//
// FAULT in the environment says which: "call NUMBER ERRNO", "allocation NUMBER", or either with
// " on" behind it for all that follow, too; of number 0 none fails. At its end it writes to the
// file that FAULT_TRACE names: how many allocations there were; or every call, a line each, and
// once more, with "!" before it, each that failed.

#include "tests/faults/FailingMalloc.h"
#include "tests/faults/FaultTable.h"
#include "tests/support/FaultyOperatingSystem.h"

#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

namespace {

using namespace tesker;

// In force for faults of calls only, since what it writes down takes memory.
std::optional<test::FaultyOperatingSystem> faulty;
std::optional<ScopedOperatingSystem> scope;
std::ofstream trace;

void setFault(const std::string &text) {
  std::istringstream words(text);
  std::string what, on;
  std::size_t number = 0;
  words >> what >> number;
  if (what == "call") {
    scope.emplace(faulty.emplace([](std::string_view call, int error) {
      return test::canFail(test::Side::tool, call, error);
    }));
    words >> faulty->fault.error >> on;
    faulty->fault.call = number;
    faulty->fault.andAllAfter = on == "on";
  } else {
    words >> on;
    if (number != 0)
      test::mallocFault = {test::mallocsSoFar + number, on == "on"};
  }
}

void writeTrace() {
  test::mallocFault = {};
  if (!faulty) {
    trace << test::mallocsSoFar << std::endl;
    return;
  }
  for (const std::string &line : faulty->calls)
    trace << line << '\n';
  for (const std::string &line : faulty->failures)
    trace << '!' << line << '\n';
  trace.flush();
}

} // namespace

int toolMain(); // tool/main.cpp's

int main() {
  if (const char *file = std::getenv("FAULT_TRACE"))
    trace.open(file); // now, for later it may not
  std::atexit(writeTrace);
  test::mallocsSoFar = 0;
  if (const char *fault = std::getenv("FAULT"))
    setFault(fault);
  return toolMain();
}
