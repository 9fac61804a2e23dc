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

// Nil when the master cannot be found, or when there is no memory for it.
tesker::RefPtr<tesker::ToolFinderTool> connectedTool() {
  try {
    return tesker::ToolFinderTool::create();
  } catch (const std::bad_alloc &) {
    tesker::TeskerTool::logException();
    return nullptr;
  }
}

} // namespace

int main() {
  using namespace tesker;
  openMissingStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN); // a master that has gone is noticed by the failed write
  RefPtr<NSAutoreleasePool> outerPool = NSAutoreleasePool::create();
  NSTool = connectedTool().leak();
  task_priority(task_self(), kToolPriority, true);
  if (NSTool != nullptr) {
    confine();
    NSTool->run();
  }
  outerPool = nullptr;
  std::exit(EXIT_SUCCESS);
}
