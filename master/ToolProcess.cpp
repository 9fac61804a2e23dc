#include "master/ToolProcess.h"

#include "platform/foundation/Deadline.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/foundation/SignalsHeld.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker {

namespace {

// How long a killed child is waited for. It is gone at once, unless the kernel waits for a disk
// that does not answer, or another process traces it and does not let it go.
constexpr std::chrono::seconds kTimeToDie{2};
constexpr int kMillisecondsBetween = 10;

// For what the child tells; the reading end does not block.
Result<Pipe> createPipeFromChild() {
  Result<Pipe> pipe = createPipe();
  if (pipe && ::fcntl(pipe->readEnd.number(), F_SETFL, O_NONBLOCK) != 0)
    return Failure{errno};
  return pipe;
}

// ---- the child, before it is the program: only what may be called between fork and exec ----

struct Start {
  const char *program;
  char *const *arguments;
  char *const *variables;
  int log;   // what the program writes goes here
  int error; // and the number of what keeps it from being one, here
};

void resetSignals() {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    ::sigaction(signal, &standard, nullptr); // those that cannot be changed need not be
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// Nothing on standard input, the log on the two others, and beside them only the descriptor that
// the error goes to, which is moved.
bool arrangeDescriptors(int log, int &error) {
  constexpr int kErrorDescriptor = STDERR_FILENO + 1;
  const int nothing = ::open("/dev/null", O_RDONLY);
  if (nothing < 0 || ::dup2(nothing, STDIN_FILENO) < 0 || ::dup2(log, STDOUT_FILENO) < 0 ||
      ::dup2(log, STDERR_FILENO) < 0)
    return false;
  if (error != kErrorDescriptor && ::dup3(error, kErrorDescriptor, O_CLOEXEC) < 0)
    return false;
  error = kErrorDescriptor;
  // Whatever the process around this library has left open without close-on-exec.
  ::closefrom(kErrorDescriptor + 1);
  return true;
}

[[noreturn]] void becomeProgram(Start start) {
  ::setpgid(0, 0);
  resetSignals();
  if (arrangeDescriptors(start.log, start.error))
    ::execve(start.program, start.arguments, start.variables);
  const int error = errno;
  (void)!::write(start.error, &error, sizeof error);
  ::_exit(127);
}

// ---- this process ----

bool isReadable(const FileDescriptor &descriptor) {
  pollfd waiting{descriptor.number(), POLLIN, 0};
  return OperatingSystem::current().poll(&waiting, 1, 0) > 0;
}

// This process's environment with some variables set.
std::vector<std::string> environmentWith(const ToolProcess::Environment &set) {
  std::vector<std::string> texts;
  for (char **variable = environ; variable != nullptr && *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string_view name = text.substr(0, text.find('='));
    bool replaced = false;
    for (const auto &[setName, value] : set)
      replaced = replaced || setName == name;
    if (!replaced)
      texts.emplace_back(text);
  }
  for (const auto &[name, value] : set)
    texts.push_back(name + "=" + value);
  return texts;
}

} // namespace

Result<std::unique_ptr<ToolProcess>> ToolProcess::start(const std::string &program,
                                                        const Environment &environment) {
  Result<Pipe> log = createPipeFromChild();
  if (!log)
    return log.failure();
  Result<Pipe> error = createPipeFromChild();
  if (!error)
    return error.failure();
  std::vector<std::string> texts = environmentWith(environment);
  std::vector<char *> variables;
  for (std::string &text : texts)
    variables.push_back(text.data());
  variables.push_back(nullptr);
  std::string name = program;
  const std::array<char *, 2> arguments{name.data(), nullptr};
  // There already, so that nothing can fail between the fork and the process's having an owner.
  std::unique_ptr<ToolProcess> process(
      new ToolProcess(std::move(log->readEnd), std::move(error->readEnd)));

  const SignalsHeld held;      // the child lets them through
  const pid_t pid = ::_Fork(); // what this process has asked for at a fork is not for this child
  if (pid < 0)
    return Failure{errno};
  if (pid == 0)
    becomeProgram({name.c_str(), arguments.data(), variables.data(), log->writeEnd.number(),
                   error->writeEnd.number()});
  ::setpgid(pid, pid); // in case the child has not come to it yet
  if (const int failed = process->watch(pid); failed != 0)
    return Failure{failed};
  return process;
}

int ToolProcess::watch(pid_t pid) {
  pid_ = pid;
  pidfd_ = FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
  if (pidfd_)
    return 0;
  // Every other error means that there is no such call, or that a sandbox forbids it.
  if (isExhaustion(errno))
    return errno;
  if (errno != ESRCH)
    return 0;
  // A child that ends at once is gone by now where the host ignores SIGCHLD; the end of its pipe
  // wakes the one who waits.
  end_ = ToolEnd{ToolEnd::Kind::unknown, 0};
  return 0;
}

int ToolProcess::startError() {
  if (!errorPipe_)
    return startError_;
  int error = 0;
  const ssize_t size = ::read(errorPipe_.number(), &error, sizeof error);
  if (size < 0 && (errno == EAGAIN || errno == EINTR))
    return 0;
  errorPipe_.reset();
  if (size == sizeof error)
    startError_ = error;
  return startError_;
}

ToolProcess::~ToolProcess() { kill(); }

std::optional<ToolEnd> ToolProcess::reap(int options) {
  siginfo_t info;
  std::memset(&info, 0, sizeof info);
  int result;
  do
    result = ::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | options);
  while (result != 0 && errno == EINTR);
  if (result != 0)
    return ToolEnd{ToolEnd::Kind::unknown, 0}; // a host that ignores SIGCHLD gets no status
  if (info.si_pid == 0)
    return std::nullopt;
  return ToolEnd{info.si_code == CLD_EXITED ? ToolEnd::Kind::exited : ToolEnd::Kind::killed,
                 info.si_status};
}

std::optional<ToolEnd> ToolProcess::end() {
  if (end_ || pid_ < 0)
    return end_;
  std::optional<ToolEnd> seen = reap(WNOHANG | WNOWAIT);
  if (!seen && isReadable(pidfd_)) {
    seen = reap(WNOHANG | WNOWAIT);
    if (!seen) { // another process traces it, and has the status
      ::kill(-pid_, SIGKILL);
      end_ = ToolEnd{ToolEnd::Kind::unknown, 0};
      return end_;
    }
  }
  if (seen && seen->kind == ToolEnd::Kind::unknown) {
    end_ = seen;
  } else if (seen) {
    // While the child is not reaped its number, and so its group's, is nobody else's.
    ::kill(-pid_, SIGKILL);
    end_ = reap(0);
  }
  return end_;
}

void ToolProcess::kill() {
  if (pid_ < 0 || end())
    return;
  ::kill(-pid_, SIGKILL);
  ::kill(pid_, SIGKILL); // in case it has left its group
  const auto deadline = Deadline::in(kTimeToDie);
  pollfd ended{pidfd_.number(), POLLIN, 0};
  (void)OperatingSystem::current().poll(&ended, 1, pidfd_ ? deadline.pollTimeout() : 0);
  while (!(end_ = reap(WNOHANG)) && !deadline.passed())
    (void)OperatingSystem::current().poll(nullptr, 0, kMillisecondsBetween);
  if (!end_)
    end_ = ToolEnd{ToolEnd::Kind::unknown, 0};
}

} // namespace tesker
