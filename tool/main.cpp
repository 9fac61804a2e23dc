// main.cpp - the application-finder tool: a master starts it, it connects back to the master, gives
// up what a search does not need, serves one request and ends. It takes no notice of its arguments.

#include "finding/Confinement.h"
#include "finding/StopRequest.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSZone.h"
#include "platform/ports/HostInfo.h"
#include "protocol/FinderProtocol.h"
#include "tool/ToolFinderTool.h"

#include <csignal>
#include <cstdlib>
#include <new>
#include <string>

namespace {

constexpr int kToolPriority = 16;

tesker::StopRequest stopRequest;

void serve() {
  using namespace tesker;
  openMissingStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN); // a master that has gone is noticed by the failed write
  const bool givesParts = environmentValue(wishes::kPartialAnswers) == wishes::kGive;
  if (givesParts)
    std::signal(SIGTERM, [](int) { stopRequest.ask(); });
  const auto outerPool = NSAutoreleasePool::create();
  ToolFinderTool *tool = ToolFinderTool::create().leak();
  NSTool = tool;
  task_priority(task_self(), kToolPriority, true);
  if (tool == nullptr)
    return;
  tool->setStopRequest(givesParts ? &stopRequest : nullptr);
  const std::string reached = confine();
  // With TESKER_LOG_CONFINEMENT=1 one line tells how far that was.
  if (environmentValue("TESKER_LOG_CONFINEMENT") == "1")
    NSLog(std::string(kConfinementLine).append("%s"), {reached});
  NSTool->run();
}

} // namespace

int main() {
  tesker::NSPoolDefaultMallocZone();
  try {
    serve();
  } catch (const std::bad_alloc &) { // before the run loop, which logs its own
    tesker::TeskerTool::logException();
  }
  std::exit(EXIT_SUCCESS);
}
