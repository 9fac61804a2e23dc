// MeddlingTool.cpp - becomes the tool, and leaves a process beside it that sends it signals.
//
// The file that MEDDLING_PLAN names says which: pairs of a time in microseconds and a signal's
// number, each sent so long after the one before. The process that sends them is in the tool's
// group and stays when it has sent them, so that it has to be ended with the tool.

#include "platform/foundation/OperatingSystem.h"

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Plan = std::vector<std::pair<useconds_t, int>>;

// By a descriptor, so that no other process is ever meant.
[[noreturn]] void meddle(int tool, const Plan &plan) {
  ::alarm(60); // were it forgotten
  ::close(STDOUT_FILENO);
  ::close(STDERR_FILENO);
  for (const auto &[microseconds, signal] : plan) {
    ::usleep(microseconds);
    if (::syscall(SYS_pidfd_send_signal, tool, signal, nullptr, 0) != 0)
      break; // it has ended
  }
  for (;;)
    ::pause();
}

} // namespace

int main() {
  Plan plan;
  std::ifstream file(tesker::environmentValue("MEDDLING_PLAN").value_or(""));
  for (std::pair<useconds_t, int> step; file >> step.first >> step.second;)
    plan.push_back(step);
  file.close();
  const int self = static_cast<int>(::syscall(SYS_pidfd_open, ::getpid(), 0));
  if (self < 0 || plan.empty())
    return 98;
  const pid_t meddler = ::fork();
  if (meddler < 0)
    return 98;
  if (meddler == 0)
    meddle(self, plan);
  const std::string tool = tesker::OperatingSystem::current().programFolder() + "ToolFinder";
  ::execl(tool.c_str(), tool.c_str(), nullptr);
  return 99;
}
