// ToolProcess.h - the tool as a child process.
//
// The child gets a clean start: nothing on standard input unless it is given some, standard output
// and error in one pipe, no other descriptor of this process, no blocked or ignored signal, and a
// process group of its own, so that a terminal's interrupt is this side's to handle and what the
// child may have started ends with it. Nothing here waits for what the child does, not even for its
// execution of the program, except, for two seconds, for the end of a child that it has to kill. No
// SIGCHLD handler is needed or touched. Internal to the master.
#pragma once

#include "master/SearchOutcome.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace tesker {

// How a child has ended, of what waitid(2) has told about it.
[[nodiscard]] ToolEnd toolEndIn(const siginfo_t &info);

class ToolProcess {
public:
  // Variables to set for the child on top of this process's own.
  using Environment = std::vector<std::pair<std::string, std::string>>;

  // Begins to start the program, which is a path and not searched for; startError() tells whether
  // it could be executed. Its standard input is a copy of the descriptor, which must not be one of
  // the three standard ones; -1: nothing. Fails with the errno of what this process lacks.
  [[nodiscard]] static Result<std::unique_ptr<ToolProcess>>
  start(const std::string &program, const Environment &environment, int input = -1);
  // Kills it if it still runs.
  ~ToolProcess();
  ToolProcess(const ToolProcess &) = delete;
  ToolProcess &operator=(const ToolProcess &) = delete;

  // Readable when startError() has something to tell: for poll(2). Negative afterwards.
  int startDescriptor() const { return errorPipe_.number(); }
  // The errno of execve(2) once it is known that the program cannot be executed; 0 before, and when
  // it runs. Known for certain once the child has ended.
  int startError();

  // Readable when the child has ended: for poll(2). Negative, as poll(2) ignores it, when it had
  // ended and was reaped by somebody else before it could be watched, and where the system has no
  // such descriptors or forbids them: who waits then has to ask for its end now and again.
  int endDescriptor() const { return pidfd_.number(); }
  // The reading end of what it writes, non-blocking. It is the caller's; the second call gives
  // none.
  FileDescriptor takeLogPipe() { return std::move(logPipe_); }
  // What it has done; nothing when the system does not tell, and once it has ended.
  std::optional<ProcessWork> work() const;
  // How it ended; nothing while it runs. After an answer the child is reaped.
  std::optional<ToolEnd> end();
  // Asks it to end (SIGTERM).
  void askToEnd();
  // Ends it and everything in its process group; end() tells when it is reaped. One that cannot be
  // reaped within two seconds, as another process traces it or the kernel does not let it go, is
  // left to this process's end, and how it ended is unknown.
  void beginToKill();
  // The same, and waits for it.
  void kill();

private:
  ToolProcess(FileDescriptor logPipe, FileDescriptor errorPipe)
      : logPipe_(std::move(logPipe)), errorPipe_(std::move(errorPipe)) {}
  // Takes the child over. 0 or the errno.
  [[nodiscard]] int watch(pid_t pid);
  std::optional<ToolEnd> reap(int options);

  pid_t pid_ = -1; // before there is a child
  FileDescriptor pidfd_;
  FileDescriptor logPipe_;
  FileDescriptor errorPipe_; // none once it has been read
  int startError_ = 0;
  std::optional<Deadline> timeToDie_; // once it has been killed
  std::optional<ToolEnd> end_;
};

} // namespace tesker
