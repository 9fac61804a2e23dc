// SystemCalls.h - the calls that start and await children, watched and made to fail.
//
// The test program is linked so that _Fork, waitid, kill, writev and pipe2 of the code under test
// come here first: what a child calls, too, and by way of whatever OperatingSystem is in force.
#pragma once

#include <functional>
#include <sys/types.h>
#include <vector>

namespace tesker::test {

struct SystemCalls {
  std::vector<pid_t> forked;    // the children, in order
  std::vector<pid_t> waited;    // those that were waited for, in order; without interrupted waits
  std::vector<pid_t> signalled; // whom a signal was sent to, in order
  std::vector<int> statuses;    // what each of these waits told
  std::function<void(pid_t)> beforeWait; // called as the code begins to wait for the child
  std::function<void()> beforeFork;      // called as the code is about to fork
  int failedFork = 0;                    // which fork fails with EAGAIN, counted from 1
  int pipeError = 0;                     // the errno that pipe2 fails with
  int interruptedWaits = 0;              // so many waits end with EINTR
  int interruptedWrites = 0;             // so many writev end with EINTR
  int longestWrite = 0;                  // no writev takes more bytes; 0: as many as there are

  static SystemCalls &current();
};

} // namespace tesker::test
