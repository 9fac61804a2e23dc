// ChildProcess.h - a program running as a child of this process.
//
// A child that was started has to be waited for, or it stays a zombie.
#pragma once

#include "fileops/ChildSteps.h"
#include "fileops/Command.h"

#include <optional>
#include <sys/types.h>
#include <unistd.h>

namespace tesker {

class ChildProcess {
public:
  // Forks a child that takes the steps and then executes the command, which has to live until the
  // child has been waited for. The steps run in the child: they call only the functions of
  // ChildSteps.h. A failed fork is logged as "Cannot fork: %s", and then counts as a child that
  // failed.
  template <class Steps>
  [[nodiscard]] static ChildProcess start(const Command &command, Steps steps) {
    const pid_t id = ::fork();
    if (id == 0) {
      beginChild();
      steps();
      execute(command);
    }
    return ChildProcess(id, command);
  }

  // Waits, once, until the child has ended. Its exit status; nothing when a signal ended it, when
  // it could not be waited for, and when the fork failed.
  [[nodiscard]] std::optional<int> waitForExitStatus() const;
  // Waits likewise: whether the exit status is 0.
  [[nodiscard]] bool waitForSuccess() const { return waitForExitStatus() == 0; }
  // The same, and anything else is logged as "Error while executing %s" with the program's path.
  [[nodiscard]] bool waitForSuccessOrLog() const;

private:
  ChildProcess(pid_t id, const Command &command);
  // Undoes in the child what the caller may have done to itself and programs do not expect.
  static void beginChild();

  pid_t id_;
  const Command &command_;
};

} // namespace tesker
