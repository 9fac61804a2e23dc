#include "master/ToolProcess.h"

#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/ProgramStart.h"
#include "platform/foundation/ReadFailures.h"
#include "platform/foundation/SignalsHeld.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker {

namespace {

// How long a killed child is waited for. It is gone at once, unless the kernel waits for a disk
// that does not answer, or another process traces it and does not let it go.
constexpr std::chrono::seconds kTimeToDie{2};
// How long a process that traces a tool gets to let it go when the tool has ended.
constexpr std::chrono::milliseconds kTimeToLetGo{100};
constexpr int kMillisecondsBetween = 10;

// For what the child tells; the reading end does not block.
Result<Pipe> createPipeFromChild() {
  Result<Pipe> pipe = createPipe();
  if (pipe && OperatingSystem::current().control(pipe->readEnd.number(), F_SETFL, O_NONBLOCK) != 0)
    return Failure{errno};
  return pipe;
}

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
                                                        const Environment &environment, int input) {
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

  OperatingSystem &system = OperatingSystem::current();
  const SignalsHeld held; // the child lets them through
  const pid_t pid = system.fork();
  if (pid < 0)
    return Failure{errno};
  if (pid == 0)
    becomeProgram({.program = name.c_str(),
                   .arguments = arguments.data(),
                   .variables = variables.data(),
                   .input = input,
                   .output = log->writeEnd.number(),
                   .error = error->writeEnd.number()});
  system.setProcessGroup(pid, pid); // in case the child has not come to it yet
  if (const int failed = process->watch(pid); failed != 0)
    return Failure{failed};
  return process;
}

int ToolProcess::watch(pid_t pid) {
  pid_ = pid;
  pidfd_ = FileDescriptor(OperatingSystem::current().openProcess(pid));
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
  const ssize_t size = OperatingSystem::current().read(errorPipe_.number(), &error, sizeof error);
  if (size < 0 && errno == EAGAIN)
    return 0;
  errorPipe_.reset();
  if (size == sizeof error)
    startError_ = error;
  return startError_;
}

ToolEnd toolEndIn(const siginfo_t &info) {
  return {info.si_code == CLD_EXITED ? ToolEnd::Kind::exited : ToolEnd::Kind::killed,
          info.si_status};
}

ToolProcess::~ToolProcess() { kill(); }

std::optional<ToolEnd> ToolProcess::reap(int options) {
  siginfo_t info{};
  if (OperatingSystem::current().waitForChild(pid_, WEXITED | options, info) != 0)
    return ToolEnd{ToolEnd::Kind::unknown, 0}; // a host that ignores SIGCHLD gets no status
  if (info.si_pid == 0)
    return std::nullopt;
  return toolEndIn(info);
}

std::optional<ToolEnd> ToolProcess::end() {
  if (end_ || pid_ < 0)
    return end_;
  std::optional<ToolEnd> seen = reap(WNOHANG | WNOWAIT);
  if (!seen && isReadable(pidfd_)) {
    seen = reap(WNOHANG | WNOWAIT);
    if (!seen) { // another process traces it, and has the status
      // A process of its own group, such as a leak checker, lets it go by this.
      OperatingSystem::current().sendSignal(-pid_, SIGKILL);
      pidfd_.reset(); // it has told what it can
      if (!timeToDie_)
        timeToDie_ = Deadline::in(kTimeToLetGo);
    }
  }
  if (seen && seen->kind == ToolEnd::Kind::unknown) {
    end_ = seen;
  } else if (seen) {
    // While the child is not reaped its number, and so its group's, is nobody else's.
    OperatingSystem::current().sendSignal(-pid_, SIGKILL);
    end_ = reap(0);
  } else if (timeToDie_ && timeToDie_->passed()) {
    end_ = ToolEnd{ToolEnd::Kind::unknown, 0};
  }
  return end_;
}

std::optional<ProcessWork> ToolProcess::work() const {
  if (pid_ < 0 || end_)
    return std::nullopt;
  return OperatingSystem::current().work(pid_);
}

void ToolProcess::askToEnd() {
  if (pid_ >= 0 && !end())
    OperatingSystem::current().sendSignal(pid_, SIGTERM);
}

void ToolProcess::beginToKill() {
  if (pid_ < 0 || timeToDie_ || end())
    return;
  OperatingSystem &system = OperatingSystem::current();
  system.sendSignal(-pid_, SIGKILL);
  system.sendSignal(pid_, SIGKILL); // in case it has left its group
  timeToDie_ = Deadline::in(kTimeToDie);
}

void ToolProcess::kill() {
  beginToKill();
  if (pid_ < 0 || end_)
    return;
  OperatingSystem &system = OperatingSystem::current();
  pollfd ended{pidfd_.number(), POLLIN, 0};
  (void)system.poll(&ended, 1, pidfd_ ? timeToDie_->pollTimeout() : 0);
  while (!end())
    (void)system.poll(nullptr, 0, kMillisecondsBetween);
}

} // namespace tesker
