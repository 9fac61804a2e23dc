// ProcessCalls.h - the system calls that processes take.
//
// A part of OperatingSystem.h, which says how they answer.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>
#include <sys/types.h>

namespace tesker {

// What a process has done so far, as far as it did not wait for anything but a processor.
struct ProcessWork {
  // It ran so long or was ready to run, without the time since it has become ready.
  std::chrono::nanoseconds busy;
  bool isReady; // now, or it runs
};

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
  // Of a process with one thread; nothing when the system does not tell.
  virtual std::optional<ProcessWork> work(pid_t process);
  virtual int setNice(id_t thread, int nice); // setpriority

protected:
  ~ProcessCalls() = default;
};

} // namespace tesker
