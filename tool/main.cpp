// main.cpp - the application-finder tool: a master starts it, it connects back to the master, gives
// up what a search does not need, serves one request and ends. It takes no notice of its arguments.

#include "platform/foundation/Files.h"
#include "platform/ports/HostInfo.h"
#include "tool/Confinement.h"
#include "tool/ToolFinderTool.h"

#include <csignal>
#include <cstdlib>
#include <new>

namespace {

constexpr int kToolPriority = 16;

void serve() {
  using namespace tesker;
  openMissingStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN); // a master that has gone is noticed by the failed write
  const auto outerPool = NSAutoreleasePool::create();
  NSTool = ToolFinderTool::create().leak();
  task_priority(task_self(), kToolPriority, true);
  if (NSTool == nullptr)
    return;
  confine();
  NSTool->run();
}

} // namespace

int main() {
  try {
    serve();
  } catch (const std::bad_alloc &) { // before the run loop, which logs its own
    tesker::TeskerTool::logException();
  }
  std::exit(EXIT_SUCCESS);
}
