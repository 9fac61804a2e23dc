// The application-finder tool: a master starts it, it connects back to the master, serves one
// request and ends. It takes no notice of its arguments.

#include "platform/ports/TaskPriority.h"
#include "tool/ToolFinderTool.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr int kToolPriority = 16;

// A master may start the tool without standard descriptors. Were they missing, a socket would get
// one of their numbers, and log lines would go to the master in the middle of the protocol.
void openStandardDescriptors() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) < 0)
      (void)::open("/dev/null", O_RDWR); // takes the lowest number, which is this one
}

} // namespace

int main() {
  using namespace tesker;
  openStandardDescriptors();
  std::signal(SIGPIPE, SIG_IGN); // a master that has gone is noticed by the failed write
  RefPtr<NSAutoreleasePool> outerPool = NSAutoreleasePool::create();
  NSTool = ToolFinderTool::create().leak();
  task_priority(task_self(), kToolPriority, true);
  if (NSTool != nullptr)
    NSTool->run();
  outerPool = nullptr;
  std::exit(EXIT_SUCCESS);
}
