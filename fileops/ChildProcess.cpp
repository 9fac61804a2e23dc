#include "fileops/ChildProcess.h"

#include "platform/foundation/NSLog.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <utility>

namespace tesker {

ChildProcess::ChildProcess(pid_t id, const Command &command) : id_(id), command_(command) {
  if (id_ < 0)
    NSLog("Cannot fork: %s", {errorText()});
}

void ChildProcess::beginChild() {
  // An ignored signal stays ignored over exec. A program whose reader has gone is to end by
  // SIGPIPE, not to write on into the void, even where the caller ignores the signal.
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

std::optional<Pipe> createPipe() {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0)
    return std::nullopt;
  Pipe pipe{FileDescriptor(aboveStandardDescriptors(ends[0])),
            FileDescriptor(aboveStandardDescriptors(ends[1]))};
  if (!pipe.readEnd || !pipe.writeEnd)
    return std::nullopt;
  return pipe;
}

} // namespace tesker
