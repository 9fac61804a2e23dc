#include "command/ConfinedChild.h"

#include "command/Interrupts.h"
#include "finding/Confinement.h"
#include "master/ToolProcess.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <exception>
#include <iterator>
#include <new>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace tesker {

namespace {

// A message is its length in decimal, a line feed, and its bytes.
constexpr std::size_t kLongestMessage = std::size_t{64} << 20;

constexpr int kOutOfMemory = 70;
constexpr int kFailed = 71;

[[noreturn]] void runWork(const std::function<void(const SendMessage &)> &work, int pipe,
                          pid_t parent) {
  // A child whose parent is gone has nobody to work for.
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent)
    ::_exit(kFailed);
  const LogSilence silence;
  try {
    (void)confine();
    work([pipe](std::string_view message) {
      std::string framed = std::to_string(message.size()) + "\n";
      framed += message;
      if (!writeAll(pipe, framed))
        ::_exit(kFailed);
    });
  } catch (const std::bad_alloc &) {
    ::_exit(kOutOfMemory);
  } catch (const std::exception &) {
    ::_exit(kFailed);
  }
  ::_exit(0);
}

// Ends the child when it goes.
class Child {
public:
  explicit Child(pid_t pid) : pid_(pid) {}
  ~Child() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      (void)wait();
    }
  }
  Child(const Child &) = delete;
  Child &operator=(const Child &) = delete;

  // How it ended.
  ToolEnd wait() {
    siginfo_t info{};
    if (OperatingSystem::current().waitForChild(std::exchange(pid_, 0), WEXITED, info) != 0)
      return {ToolEnd::Kind::unknown, 0};
    return toolEndIn(info);
  }

private:
  pid_t pid_;
};

// The messages in what has come, taken out of it. False when that is not a message.
bool takeMessages(std::string &bytes, const std::function<void(std::string_view)> &take) {
  std::size_t start = 0;
  for (;;) {
    const std::size_t lineFeed = bytes.find('\n', start);
    if (lineFeed == std::string::npos)
      break;
    std::size_t length = 0;
    const auto [end, error] =
        std::from_chars(bytes.data() + start, bytes.data() + lineFeed, length);
    if (error != std::errc() || end != bytes.data() + lineFeed || length > kLongestMessage)
      return false;
    if (bytes.size() - lineFeed - 1 < length)
      break;
    take(std::string_view(bytes).substr(lineFeed + 1, length));
    start = lineFeed + 1 + length;
  }
  bytes.erase(0, start);
  return true;
}

std::optional<std::string> reasonOf(const ToolEnd &end) {
  if (end.kind != ToolEnd::Kind::exited)
    return describe(end);
  switch (end.value) {
  case 0:
    return std::nullopt;
  case kOutOfMemory:
    return "out of memory";
  default:
    return "it could not go on";
  }
}

// Why the child is not listened to any longer; nothing at its end.
std::optional<std::string> listen(int pipe, int interrupts, const Deadline &deadline,
                                  const std::function<void(std::string_view)> &take) {
  OperatingSystem &system = OperatingSystem::current();
  std::string bytes;
  char piece[65536];
  for (;;) {
    struct pollfd descriptors[] = {{pipe, POLLIN, 0}, {interrupts, POLLIN, 0}};
    const int ready = system.poll(descriptors, std::size(descriptors), deadline.pollTimeout());
    if (ready > 0 && descriptors[1].revents != 0)
      return "interrupted";
    if (deadline.passed())
      return "timed out";
    if (ready <= 0)
      continue;
    const ssize_t got = system.read(pipe, piece, sizeof piece);
    if (got == 0)
      return std::nullopt;
    if (got < 0)
      return std::strerror(errno);
    bytes.append(piece, static_cast<std::size_t>(got));
    if (!takeMessages(bytes, take))
      return "it sent what is not understood";
  }
}

} // namespace

std::optional<std::string> runConfined(std::chrono::nanoseconds timeout,
                                       const std::function<void(const SendMessage &)> &work,
                                       const std::function<void(std::string_view message)> &take) {
  const auto deadline = Deadline::in(timeout);
  auto pipe = createPipe();
  if (!pipe)
    return std::strerror(pipe.error());
  std::signal(SIGCHLD, SIG_DFL); // one that is ignored takes the child's status with it
  const pid_t parent = ::getpid();
  const pid_t pid = ::fork();
  if (pid < 0)
    return std::strerror(errno);
  if (pid == 0)
    runWork(work, pipe->writeEnd.number(), parent);
  // In this order: an interrupt does its usual work when the child is no more.
  const Interrupts interrupts;
  Child child(pid);
  pipe->writeEnd = FileDescriptor();
  if (auto reason = listen(pipe->readEnd.number(), interrupts.descriptor(), deadline, take))
    return reason;
  return reasonOf(child.wait());
}

} // namespace tesker
