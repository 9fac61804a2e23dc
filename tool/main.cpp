// main.cpp - the application-finder tool: a master starts it, it connects back to the master, gives
// up what a search does not need, serves one request and ends. It takes no notice of its arguments.

#include "platform/foundation/Files.h"
#include "platform/ports/HostInfo.h"
#include "tool/Confinement.h"
#include "tool/ToolFinderTool.h"

#include <csignal>
#include <cstdlib>

namespace {

constexpr int kToolPriority = 16;

} // namespace

int main() {
  using namespace tesker;
  openMissingStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN); // a master that has gone is noticed by the failed write
  RefPtr<NSAutoreleasePool> outerPool = NSAutoreleasePool::create();
  NSTool = ToolFinderTool::create().leak();
  task_priority(task_self(), kToolPriority, true);
  if (NSTool != nullptr) {
    confine();
    NSTool->run();
  }
  outerPool = nullptr;
  std::exit(EXIT_SUCCESS);
}
