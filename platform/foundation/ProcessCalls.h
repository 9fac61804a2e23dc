// ProcessCalls.h - the system calls that processes take.
//
// A part of OperatingSystem.h, which says how they answer.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>
#include <sys/types.h>

namespace tesker {

class ProcessCalls {
public:
  virtual pid_t processId();
  // The child calls only what is async-signal-safe until it executes a program, and that directly:
  // not the methods here, which may be a test's. What the process has asked for at a fork
  // (pthread_atfork) is not done.
  virtual pid_t fork();
  virtual int setProcessGroup(pid_t process, pid_t group);
  virtual int openProcess(pid_t process);                               // pidfd_open
  virtual int waitForChild(pid_t child, int options, siginfo_t &ended); // waitid
  // As kill(2). Async-signal-safe.
  virtual int sendSignal(pid_t process, int signal);
  // How long the process's first thread has run or was ready to run, so not how long it waited for
  // anything but a processor; nothing when the system does not tell.
  virtual std::optional<std::chrono::nanoseconds> busyTime(pid_t process);
  virtual int setNice(id_t thread, int nice); // setpriority

protected:
  ~ProcessCalls() = default;
};

} // namespace tesker
