#include "fileops/ChildProcess.h"

#include "platform/foundation/NSLog.h"
#include "platform/foundation/NSUserDefaults.h"

#include <cerrno>
#include <csignal>
#include <sys/resource.h>
#include <sys/wait.h>
#include <utility>

namespace tesker {

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

ChildProcess::ChildProcess(pid_t id, const Command &command) : id_(id), command_(command) {
  if (id_ < 0)
    NSLog("Cannot fork: %s", {errorText(errno)});
}

void ChildProcess::beginChild() {
  // An ignored signal stays ignored over exec. A program whose reader has gone is to end by
  // SIGPIPE rather than go on writing to nobody, even where the caller ignores the signal.
  ::signal(SIGPIPE, SIG_DFL);
}

std::optional<int> ChildProcess::waitForExitStatus() const {
  if (id_ < 0)
    return std::nullopt;
  int status = 0;
  pid_t ended;
  do
    ended = ::wait4(id_, &status, 0, nullptr);
  while (ended < 0 && errno == EINTR);
  if (ended != id_ || !WIFEXITED(status))
    return std::nullopt;
  return WEXITSTATUS(status);
}

bool ChildProcess::waitForSuccessOrLog() const {
  if (waitForSuccess())
    return true;
  NSLog("Error while executing %s", {command_.program()});
  return false;
}

} // namespace tesker
