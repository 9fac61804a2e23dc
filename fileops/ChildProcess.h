// ChildProcess.h - a program with its arguments, and how it runs as a child of this process.
//
// A child that was started has to be waited for, or it stays a zombie.
#pragma once

#include "fileops/ChildSteps.h"
#include "platform/foundation/SignalsHeld.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

namespace tesker {

// ---- what to run ----

// The path of the program that the user defaults name under the key; they are asked at every
// call. When they name none, that is logged and the path is "", which cannot be executed.
[[nodiscard]] std::string programPath(std::string_view key);

// The name as an argument that no program takes for an option: "./" goes before a leading "-", and
// the file is still the same.
[[nodiscard]] std::string operand(std::string_view name);

// The same for an archive: tar would take "-" for a stream and "host:file" for another machine's
// file.
[[nodiscard]] std::string archiveOperand(std::string_view name);

// A program with its arguments, made ready before a child is started.
class Command {
public:
  // The program's path is its argument zero as well.
  Command(std::string program, std::initializer_list<std::string_view> arguments);
  Command(const Command &) = delete;
  Command &operator=(const Command &) = delete;

  const char *program() const { return words_.front().c_str(); }
  // The words of the command and a null pointer at the end, as execv(3) takes them.
  char *const *argumentVector() const { return pointers_.data(); }

private:
  std::vector<std::string> words_;
  std::vector<char *> pointers_;
};

// ---- running it ----

// While one lives an operation is under way, and has something to clean up or to wait for when it
// is interrupted. All children are started and waited for under one.
class OperationUnderWay {
public:
  OperationUnderWay();
  ~OperationUnderWay();
  OperationUnderWay(const OperationUnderWay &) = delete;
  OperationUnderWay &operator=(const OperationUnderWay &) = delete;

  // Async-signal-safe, as the OperatingSystem in force is at that. Sends the signal to the children
  // that run, and lets no further one be started. False, with nothing done, when no operation is
  // under way.
  static bool interrupt(int signal);
};

class ChildProcess {
public:
  // Forks a child that takes the steps and then executes the command, which has to live until the
  // child has been waited for. The steps run in the child: they call only the functions of
  // ChildSteps.h. A failed fork is logged as "Cannot fork: %s", and then counts as a child that
  // failed; so does one that is not started because the operation was interrupted.
  template <class Steps>
  [[nodiscard]] static ChildProcess start(const Command &command, Steps steps) {
    // A signal that comes now finds the child known, or the child as the program will be.
    const SignalsHeld held;
    const pid_t id = forkChild();
    if (id == 0) {
      forgetHandlers();
      held.letThrough();
      steps();
      execute(command);
    }
    return ChildProcess(id, command);
  }

  // Waits, once, until the child has ended. Its exit status; nothing when a signal ended it, when
  // it could not be waited for, and when it was not started.
  [[nodiscard]] std::optional<int> waitForExitStatus() const;
  // Waits likewise: whether the exit status is 0.
  [[nodiscard]] bool waitForSuccess() const { return waitForExitStatus() == 0; }
  // The same, and anything else is logged as "Error while executing %s" with the program's path.
  [[nodiscard]] bool waitForSuccessOrLog() const;

private:
  ChildProcess(pid_t id, const Command &command) : id_(id), command_(command) {}
  // As fork, but what runs is known to OperationUnderWay; negative when there is no child.
  static pid_t forkChild();

  pid_t id_;
  const Command &command_;
};

} // namespace tesker
