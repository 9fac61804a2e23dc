#include "command/ProgramRun.h"

#include "command/Interrupts.h"
#include "platform/foundation/Files.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <unistd.h>

namespace tesker {

namespace {

// With all of the output written. An output that cannot be written is an error, however well the
// rest went.
ExitStatus runAndWrite(const ProgramRun &run, const std::vector<std::string> &words,
                       Diagnostics &diagnostics) {
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

int runProgram(const char *name, int count, char **words, const ProgramRun &run) {
  openMissingStandardDescriptors(O_RDONLY);
  // A search writes to sockets, too; what becomes of them is the search's to say.
  const bool signalIsIgnored = std::signal(SIGPIPE, SIG_IGN) == SIG_IGN;
  Diagnostics diagnostics(STDERR_FILENO, Diagnostics::Level::normal, name);
  ExitStatus status;
  try {
    status = runAndWrite(run, std::vector<std::string>(words + 1, words + count), diagnostics);
  } catch (const ReaderGone &) {
    status = endWithoutReader(signalIsIgnored, diagnostics);
  }
  Interrupts::endByTaken();
  return static_cast<int>(status);
}

ExitStatus print(const Notice &notice, Output &output) {
  if (notice.status == ExitStatus::done)
    output.write(notice.text);
  else
    Output(STDERR_FILENO).write(notice.text);
  return notice.status;
}

} // namespace tesker
