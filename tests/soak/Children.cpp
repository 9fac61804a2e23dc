#include "tests/soak/Children.h"

#include "platform/foundation/Deadline.h"

#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <poll.h>
#include <sstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::soak {

namespace {

constexpr int kMillisecondsBetween = 2;

struct Child {
  pid_t process, group;
  std::string name;
};

// Nothing when it is not a child of this process.
std::optional<Child> childOf(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text((std::istreambuf_iterator<char>(file)), {});
  const auto open = text.find('('), close = text.rfind(')'); // a name may have any bytes
  if (open == std::string::npos || close == std::string::npos)
    return std::nullopt;
  Child child{process, 0, text.substr(open + 1, close - open - 1)};
  std::istringstream words(text.substr(close + 1));
  char state = 0;
  pid_t parent = 0;
  words >> state >> parent >> child.group;
  return parent == ::getpid() ? std::optional(child) : std::nullopt;
}

std::vector<Child> children() {
  std::vector<Child> found;
  for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    pid_t process = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), process).ec == std::errc())
      if (const auto child = childOf(process))
        found.push_back(*child);
  }
  return found;
}

std::string describe(const Child &child) {
  return "process " + std::to_string(child.process) + " (" + child.name + ")";
}

} // namespace

void adoptOrphans() { ::prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0); }

std::vector<std::string> settleChildren(bool mayBeLeft, std::chrono::milliseconds atMost) {
  std::vector<std::string> wrong;
  const Deadline deadline = Deadline::in(atMost);
  for (;;) {
    siginfo_t info;
    std::memset(&info, 0, sizeof info);
    if (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0)
      return wrong; // there is none
    if (info.si_pid != 0) {
      const auto child = childOf(info.si_pid);
      if (!mayBeLeft && child && child->group == child->process)
        wrong.push_back(describe(*child) + " was not reaped");
      ::waitid(P_PID, static_cast<id_t>(info.si_pid), &info, WEXITED);
      continue;
    }
    const bool passed = deadline.passed();
    for (const Child &child : mayBeLeft || passed ? children() : std::vector<Child>()) {
      if (!mayBeLeft)
        wrong.push_back(describe(child) + " lives on");
      ::kill(child.process, SIGKILL); // a child, so that its number is nobody else's
    }
    if (passed)
      mayBeLeft = true; // said once
    (void)::poll(nullptr, 0, kMillisecondsBetween);
  }
}

} // namespace tesker::soak
