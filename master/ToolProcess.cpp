#include "master/ToolProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker {

namespace {

// For what the child writes; the reading end does not block.
Result<Pipe> createLogPipe() {
  Result<Pipe> pipe = createPipe();
  if (pipe && ::fcntl(pipe->readEnd.number(), F_SETFL, O_NONBLOCK) != 0)
    return Failure{errno};
  return pipe;
}

class FileActions {
public:
  FileActions() { ::posix_spawn_file_actions_init(&actions_); }
  ~FileActions() { ::posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions &) = delete;
  FileActions &operator=(const FileActions &) = delete;

  int set(int log) {
    if (const int error =
            ::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0))
      return error;
    for (const int target : {STDOUT_FILENO, STDERR_FILENO})
      if (const int error = ::posix_spawn_file_actions_adddup2(&actions_, log, target))
        return error;
    // Whatever the process around this library has left open without close-on-exec.
    return ::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1);
  }
  const posix_spawn_file_actions_t *posix() const { return &actions_; }

private:
  posix_spawn_file_actions_t actions_;
};

class Attributes {
public:
  Attributes() { ::posix_spawnattr_init(&attributes_); }
  ~Attributes() { ::posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes &) = delete;
  Attributes &operator=(const Attributes &) = delete;

  int set() {
    sigset_t none, all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&attributes_, &none);
    ::posix_spawnattr_setsigdefault(&attributes_, &all);
    ::posix_spawnattr_setpgroup(&attributes_, 0);
    return ::posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                        POSIX_SPAWN_SETPGROUP);
  }
  const posix_spawnattr_t *posix() const { return &attributes_; }

private:
  posix_spawnattr_t attributes_;
};

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
  Result<Pipe> log = createLogPipe();
  if (!log)
    return log.failure();
  FileActions actions;
  Attributes attributes;
  if (const int error = actions.set(log->writeEnd.number()); error != 0)
    return Failure{error};
  if (const int error = attributes.set(); error != 0)
    return Failure{error};

  std::vector<std::string> texts = environmentWith(environment);
  std::vector<char *> variables;
  for (std::string &text : texts)
    variables.push_back(text.data());
  variables.push_back(nullptr);
  std::string name = program;
  std::array<char *, 2> arguments{name.data(), nullptr};

  pid_t pid = 0;
  if (const int error = ::posix_spawn(&pid, program.c_str(), actions.posix(), attributes.posix(),
                                      arguments.data(), variables.data());
      error != 0)
    return Failure{error};
  FileDescriptor pidfd(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
  const int error = pidfd ? 0 : errno;
  std::unique_ptr<ToolProcess> process(
      new ToolProcess(pid, std::move(pidfd), std::move(log->readEnd)));
  // A child that ends at once is gone by now where the host ignores SIGCHLD; the end of its pipe
  // wakes the one who waits.
  if (error == ESRCH)
    process->end_ = ToolEnd{ToolEnd::Kind::unknown, 0};
  // Every other error means that there is no such call, or that a sandbox forbids it.
  if (error == EMFILE || error == ENFILE || error == ENOMEM)
    return Failure{error};
  return process;
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
  if (end_)
    return end_;
  const std::optional<ToolEnd> seen = reap(WNOHANG | WNOWAIT);
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
  if (end())
    return;
  ::kill(-pid_, SIGKILL);
  ::kill(pid_, SIGKILL); // in case it has left its group
  end_ = reap(0);
}

} // namespace tesker
