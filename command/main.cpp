// main.cpp - tesker-apps.
#include "command/Commands.h"
#include "command/Help.h"
#include "command/Interrupts.h"
#include "command/JSONItems.h"
#include "platform/foundation/Files.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <new>
#include <unistd.h>

namespace tesker {

namespace {

ExitStatus runCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  try {
    const ExitStatus status = arguments.command->run(arguments, output, diagnostics);
    // Of a wrong command line there is no answer to tell what went wrong with.
    if (status != ExitStatus::usage)
      writeOtherProblems(output, arguments.format, diagnostics.problems());
    return status;
  } catch (const std::bad_alloc &) {
    diagnostics.error("there is not enough memory");
    return ExitStatus::failed;
  }
}

// Help and versions are data, usage errors are not.
ExitStatus print(const Notice &notice, Output &output) {
  if (notice.status == ExitStatus::done)
    output.write(notice.text);
  else
    Output(STDERR_FILENO).write(notice.text);
  return notice.status;
}

ExitStatus run(const std::vector<std::string> &words, Output &output, Diagnostics &diagnostics) {
  const auto parsed = parseArguments(words);
  if (const auto *notice = std::get_if<Notice>(&parsed))
    return print(*notice, output);
  const auto &arguments = std::get<Arguments>(parsed);
  diagnostics.setLevel(arguments.level);
  output.setTerminal(terminalAt(STDOUT_FILENO, arguments.colours));
  const ExitStatus status = runCommand(arguments, output, diagnostics);
  if (status == ExitStatus::usage)
    Output(STDERR_FILENO).write(helpHint(arguments.command));
  return status;
}

// The same, with all of the output written. An output that cannot be written is an error, however
// well the rest went.
ExitStatus runAndWrite(const std::vector<std::string> &words, Diagnostics &diagnostics) {
  Output output(STDOUT_FILENO);
  const ExitStatus status = run(words, output, diagnostics);
  output.flush();
  if (output.error() == 0)
    return status;
  diagnostics.error(std::string("standard output: ") + std::strerror(output.error()));
  return std::max(status, ExitStatus::failed);
}

// Ends the process as it ends where nobody cleans up: without a word, by the signal. Who has it
// ignored is told of the error instead.
ExitStatus endWithoutReader(bool signalIsIgnored, Diagnostics &diagnostics) {
  if (!signalIsIgnored) {
    std::signal(SIGPIPE, SIG_DFL);
    ::raise(SIGPIPE);
  }
  diagnostics.error(std::string("standard output: ") + std::strerror(EPIPE));
  return ExitStatus::failed;
}

} // namespace

} // namespace tesker

int main(int count, char **words) {
  using namespace tesker;
  openMissingStandardDescriptors(O_RDONLY);
  // A search writes to sockets, too; what becomes of them is the search's to say.
  const bool signalIsIgnored = std::signal(SIGPIPE, SIG_IGN) == SIG_IGN;
  Diagnostics diagnostics(STDERR_FILENO, Diagnostics::Level::normal);
  ExitStatus status;
  try {
    status = runAndWrite(std::vector<std::string>(words + 1, words + count), diagnostics);
  } catch (const ReaderGone &) {
    status = endWithoutReader(signalIsIgnored, diagnostics);
  }
  Interrupts::endByTaken();
  return static_cast<int>(status);
}
