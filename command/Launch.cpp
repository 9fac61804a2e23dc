#include "command/Launch.h"

#include "command/DisplayText.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/ProgramStart.h"
#include "platform/foundation/SignalsHeld.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker {

namespace {

// What becomes of the child, which tells through the pipe.
Result<pid_t> outcomeOf(pid_t child, const FileDescriptor &pipe, const Deadline &deadline) {
  pollfd known{pipe.number(), POLLIN, 0};
  const int ready = OperatingSystem::current().poll(&known, 1, deadline.pollTimeout());
  if (ready <= 0) {
    const int error = ready == 0 ? ETIMEDOUT : errno;
    ::kill(child, SIGKILL);
    return Failure{error};
  }
  int error = 0;
  if (OperatingSystem::current().read(pipe.number(), &error, sizeof error) != sizeof error)
    return child;
  ::waitpid(child, nullptr, 0); // it ends at once
  return Failure{error};
}

bool isPlain(char byte) {
  constexpr std::string_view others = "_/.,:+@%=-";
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || others.find(byte) != std::string_view::npos;
}

std::string shellWord(std::string_view word) {
  if (!word.empty() && std::all_of(word.begin(), word.end(), isPlain))
    return std::string(word);
  const bool isVisible = word.find('\\') == std::string_view::npos && displayText(word) == word;
  if (isVisible && word.find('\'') == std::string_view::npos)
    return "'" + std::string(word) + "'";
  std::string quoted = "$'";
  for (const char byte : word)
    if (byte == '\'' || byte == '\\') {
      quoted += {'\\', byte};
    } else if (byte >= 0x20 && byte < 0x7F) {
      quoted += byte;
    } else {
      std::array<char, 8> digits{};
      std::snprintf(digits.data(), digits.size(), "\\%03o",
                    static_cast<unsigned>(static_cast<unsigned char>(byte)));
      quoted += digits.data();
    }
  return quoted + "'";
}

} // namespace

Result<pid_t> startDetached(const std::string &program, const std::vector<std::string> &arguments,
                            const Deadline &deadline) {
  if (!program.starts_with('/'))
    return Failure{EINVAL};
  const FileDescriptor nothing = aboveStandardDescriptors(
      FileDescriptor(OperatingSystem::current().open("/dev/null", O_WRONLY)));
  if (!nothing)
    return Failure{errno};
  Result<Pipe> error = createPipe();
  if (!error)
    return error.failure();
  std::vector<std::string> words{program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char *> pointers;
  for (std::string &word : words)
    pointers.push_back(word.data());
  pointers.push_back(nullptr);

  const SignalsHeld held; // the child lets them through
  const pid_t child = ::_Fork();
  if (child < 0)
    return Failure{errno};
  if (child == 0)
    becomeProgram({.program = program.c_str(),
                   .arguments = pointers.data(),
                   .variables = environ,
                   .output = nothing.number(),
                   .error = error->writeEnd.number(),
                   .ownSession = true});
  held.letThrough();
  error->writeEnd.reset();
  return outcomeOf(child, error->readEnd, deadline);
}

std::string shellLine(const std::string &program, const std::vector<std::string> &arguments) {
  std::string line = shellWord(program);
  for (const std::string &argument : arguments)
    line += " " + shellWord(argument);
  return line;
}

} // namespace tesker
