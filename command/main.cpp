// main.cpp - tesker-apps.
#include "command/Commands.h"
#include "command/Help.h"
#include "command/JSONItems.h"
#include "command/ProgramRun.h"

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

} // namespace

} // namespace tesker

int main(int count, char **words) {
  return tesker::runProgram("tesker-apps", count, words, tesker::run);
}
