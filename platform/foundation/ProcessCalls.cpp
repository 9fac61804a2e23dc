#include "platform/foundation/ProcessCalls.h"

#include "platform/foundation/Resumed.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker {

pid_t ProcessCalls::processId() { return ::getpid(); }

pid_t ProcessCalls::fork() { return ::_Fork(); }

int ProcessCalls::setProcessGroup(pid_t process, pid_t group) { return ::setpgid(process, group); }

int ProcessCalls::openProcess(pid_t process) {
  return static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
}

int ProcessCalls::waitForChild(pid_t child, int options, siginfo_t &ended) {
  return resumed([&] { return ::waitid(P_PID, static_cast<id_t>(child), &ended, options); });
}

int ProcessCalls::sendSignal(pid_t process, int signal) { return ::kill(process, signal); }

int ProcessCalls::setNice(id_t thread, int nice) {
  return ::setpriority(PRIO_PROCESS, thread, nice);
}

} // namespace tesker
