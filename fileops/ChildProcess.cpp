#include "fileops/ChildProcess.h"

#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/OperatingSystem.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <sys/wait.h>
#include <utility>

namespace tesker {

namespace {

constexpr pid_t kNobody = 0;

// What the handler of a signal looks at, in the middle of anything: the children that have not been
// waited for (an operation has two at most), and the signal that interrupted the operation, or 0.
std::atomic<bool> isUnderWay = false;
std::atomic<int> interruption = 0;
std::array<std::atomic<pid_t>, 2> running{};
static_assert(std::atomic<pid_t>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void replaceInRunning(pid_t before, pid_t after) {
  for (auto &child : running)
    if (pid_t expected = before; child.compare_exchange_strong(expected, after))
      return;
}

} // namespace

std::string programPath(std::string_view key) {
  const NSString path = NSUserDefaults::standardUserDefaults().stringForKey(key);
  if (!path) {
    NSLog("The user defaults name no program for \"%s\"", {key});
    return {};
  }
  return path.fileSystemRepresentation();
}

std::string operand(std::string_view name) {
  return std::string(name.starts_with('-') ? "./" : "").append(name);
}

std::string archiveOperand(std::string_view name) {
  const bool looksLikeStream = name == "-";
  const bool looksRemote = name.find(':') < name.find('/');
  return std::string(looksLikeStream || looksRemote ? "./" : "").append(name);
}

Command::Command(std::string program, std::initializer_list<std::string_view> arguments) {
  words_.reserve(arguments.size() + 1);
  words_.push_back(std::move(program));
  words_.insert(words_.end(), arguments.begin(), arguments.end());
  for (std::string &word : words_)
    pointers_.push_back(word.data());
  pointers_.push_back(nullptr);
}

OperationUnderWay::OperationUnderWay() {
  interruption = 0;
  isUnderWay = true;
}

OperationUnderWay::~OperationUnderWay() { isUnderWay = false; }

bool OperationUnderWay::interrupt(int signal) {
  if (!isUnderWay)
    return false;
  const int savedErrno = errno;
  interruption = signal;
  for (const auto &child : running)
    if (const pid_t id = child; id != kNobody)
      OperatingSystem::current().sendSignal(id, signal);
  errno = savedErrno;
  return true;
}

pid_t ChildProcess::forkChild() {
  if (interruption != 0)
    return -1;
  OperatingSystem &system = OperatingSystem::current();
  const pid_t id = system.fork();
  if (id < 0)
    NSLog("Cannot fork: %s", {errorText(errno)});
  if (id <= 0)
    return id;
  replaceInRunning(kNobody, id);
  // Held signals have not come in between; another thread may have interrupted the operation.
  if (const int signal = interruption; signal != 0)
    system.sendSignal(id, signal);
  return id;
}

std::optional<int> ChildProcess::waitForExitStatus() const {
  if (id_ < 0)
    return std::nullopt;
  siginfo_t ended{};
  const bool waited = OperatingSystem::current().waitForChild(id_, WEXITED, ended) == 0;
  // Ids are given out in turn, so that this one is not another process's at once.
  replaceInRunning(id_, kNobody);
  if (!waited || ended.si_code != CLD_EXITED)
    return std::nullopt;
  return ended.si_status;
}

bool ChildProcess::waitForSuccessOrLog() const {
  if (waitForSuccess())
    return true;
  NSLog("Error while executing %s", {command_.program()});
  return false;
}

} // namespace tesker
