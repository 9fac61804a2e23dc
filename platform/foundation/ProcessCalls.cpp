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

// The start of a file in /proc, as far as it goes into a few lines; empty when it cannot be read.
std::string stateFile(pid_t process, const char *name) {
  const std::string path = "/proc/" + std::to_string(process) + name;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0)
    return "";
  std::array<char, 128> text;
  const ssize_t got = ::read(file, text.data(), text.size());
  ::close(file);
  return {text.data(), got < 0 ? 0 : static_cast<std::size_t>(got)};
}

// Up to now; what the file schedstat says of it may be as old as the last tick.
std::optional<std::chrono::nanoseconds> timeThatRan(pid_t process) {
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

std::optional<ProcessWork> ProcessCalls::work(pid_t process) {
  const auto ran = timeThatRan(process);
  unsigned long long counted = 0, ready = 0; // a kernel that does not count says 0
  if (!ran ||
      std::sscanf(stateFile(process, "/schedstat").c_str(), "%llu %llu", &counted, &ready) != 2 ||
      counted == 0)
    return std::nullopt;
  const std::string state = stateFile(process, "/stat"); // its number, its name in (), a letter
  const std::size_t name = state.rfind(") ");
  return ProcessWork{*ran + std::chrono::nanoseconds(ready),
                     name != std::string::npos && state.substr(name + 2, 1) == "R"};
}

int ProcessCalls::setNice(id_t thread, int nice) {
  return ::setpriority(PRIO_PROCESS, thread, nice);
}

} // namespace tesker
