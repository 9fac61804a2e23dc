// main.cpp - tesker-apps.
#include "command/Commands.h"
#include "platform/foundation/Files.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <new>
#include <unistd.h>

namespace tesker {

namespace {

ExitStatus runCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics) {
  try {
    return arguments.command->run(arguments, output, diagnostics);
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
  return runCommand(arguments, output, diagnostics);
}

} // namespace

} // namespace tesker

int main(int count, char **words) {
  using namespace tesker;
  openMissingStandardDescriptors(O_RDONLY);
  std::signal(SIGPIPE, SIG_IGN);
  Output output(STDOUT_FILENO);
  Diagnostics diagnostics(STDERR_FILENO, Diagnostics::Level::normal);
  ExitStatus status = run(std::vector<std::string>(words + 1, words + count), output, diagnostics);
  output.flush();
  // An output that cannot be written is an error, however well the rest went.
  if (output.error() != 0) {
    diagnostics.error(std::string("standard output: ") + std::strerror(output.error()));
    status = std::max(status, ExitStatus::failed);
  }
  return static_cast<int>(status);
}
