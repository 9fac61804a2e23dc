#include "fileops/ChildProcess.h"

#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>

namespace tesker {

ChildProcess::ChildProcess(pid_t id, const Command &command) : id_(id), command_(command) {
  if (id_ < 0)
    NSLog("Cannot fork: %s", {errorText(errno)});
}

void ChildProcess::beginChild() {
  // An ignored signal stays ignored over exec. A program whose reader has gone is to end by
  // SIGPIPE rather than go on writing to nobody, even where the caller ignores the signal.
  ::signal(SIGPIPE, SIG_DFL);
}

std::optional<int> ChildProcess::waitForExitStatus() const {
  if (id_ < 0)
    return std::nullopt;
  int status = 0;
  pid_t ended;
  do
    ended = ::wait4(id_, &status, 0, nullptr);
  while (ended < 0 && errno == EINTR);
  if (ended != id_ || !WIFEXITED(status))
    return std::nullopt;
  return WEXITSTATUS(status);
}

bool ChildProcess::waitForSuccessOrLog() const {
  if (waitForSuccess())
    return true;
  NSLog("Error while executing %s", {command_.program()});
  return false;
}

} // namespace tesker
