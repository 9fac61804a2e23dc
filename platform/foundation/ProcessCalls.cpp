#include "platform/foundation/ProcessCalls.h"

#include "platform/foundation/Resumed.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker {

namespace {

// The time that it ran alone, where the kernel does not count how long it was ready.
std::optional<std::chrono::nanoseconds> processorTime(pid_t process) {
  clockid_t clock;
  timespec time{};
  if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0)
    return std::nullopt;
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

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

std::optional<std::chrono::nanoseconds> ProcessCalls::busyTime(pid_t process) {
  const std::string path = "/proc/" + std::to_string(process) + "/schedstat";
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0)
    return processorTime(process);
  std::array<char, 128> text{};
  const ssize_t got = ::read(file, text.data(), text.size() - 1);
  ::close(file);
  unsigned long long ran = 0, ready = 0;
  if (got <= 0 || std::sscanf(text.data(), "%llu %llu", &ran, &ready) != 2)
    return processorTime(process);
  return std::chrono::nanoseconds(ran + ready);
}

int ProcessCalls::setNice(id_t thread, int nice) {
  return ::setpriority(PRIO_PROCESS, thread, nice);
}

} // namespace tesker
