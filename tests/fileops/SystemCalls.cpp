#include "tests/fileops/SystemCalls.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

using tesker::test::SystemCalls;

SystemCalls &SystemCalls::current() {
  static SystemCalls calls;
  return calls;
}

// The linker's names for the calls as the code makes them (__wrap) and the real ones (__real).
// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
pid_t __real__Fork();
int __real_waitid(idtype_t kind, id_t id, siginfo_t *ended, int options);
int __real_kill(pid_t id, int signal);
int __real_pipe2(int *ends, int flags);
ssize_t __real_writev(int descriptor, const struct iovec *pieces, int count);

pid_t __wrap__Fork();
int __wrap_waitid(idtype_t kind, id_t id, siginfo_t *ended, int options);
int __wrap_kill(pid_t id, int signal);
int __wrap_pipe2(int *ends, int flags);
ssize_t __wrap_writev(int descriptor, const struct iovec *pieces, int count);

pid_t __wrap__Fork() {
  SystemCalls &calls = SystemCalls::current();
  if (calls.failedFork > 0 && --calls.failedFork == 0) {
    errno = EAGAIN;
    return -1;
  }
  if (calls.beforeFork)
    calls.beforeFork();
  const pid_t id = __real__Fork();
  if (id > 0)
    calls.forked.push_back(id);
  return id;
}

int __wrap_waitid(idtype_t kind, id_t number, siginfo_t *ended, int options) {
  SystemCalls &calls = SystemCalls::current();
  if (calls.interruptedWaits > 0) {
    --calls.interruptedWaits;
    errno = EINTR;
    return -1;
  }
  const auto id = static_cast<pid_t>(number);
  calls.waited.push_back(id);
  if (calls.beforeWait)
    calls.beforeWait(id);
  const int result = __real_waitid(kind, number, ended, options);
  const bool exited = ended->si_code == CLD_EXITED;
  calls.statuses.push_back(exited ? ended->si_status << 8 : ended->si_status); // as wait(2)
  return result;
}

int __wrap_kill(pid_t id, int signal) {
  SystemCalls::current().signalled.push_back(id);
  return __real_kill(id, signal);
}

int __wrap_pipe2(int *ends, int flags) {
  const int failure = SystemCalls::current().pipeError;
  if (failure == 0)
    return __real_pipe2(ends, flags);
  errno = failure;
  return -1;
}

ssize_t __wrap_writev(int descriptor, const struct iovec *pieces, int count) {
  SystemCalls &calls = SystemCalls::current();
  if (calls.interruptedWrites > 0) {
    --calls.interruptedWrites;
    errno = EINTR;
    return -1;
  }
  if (calls.longestWrite == 0)
    return __real_writev(descriptor, pieces, count);
  // A part of the first piece that holds anything.
  while (count > 1 && pieces->iov_len == 0) {
    ++pieces;
    --count;
  }
  return ::write(descriptor, pieces->iov_base,
                 std::min(pieces->iov_len, static_cast<std::size_t>(calls.longestWrite)));
}
}
// NOLINTEND(bugprone-reserved-identifier)
