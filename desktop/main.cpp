// main.cpp - tesker-desktop.
#include "desktop/DesktopCommands.h"
#include "platform/foundation/Files.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <new>
#include <unistd.h>

namespace tesker {

namespace {

ExitStatus runVerb(const DesktopOptions &options, Output &output, Diagnostics &diagnostics) {
  try {
    if (options.watch)
      return watchCommand(options, output);
    return options.imports ? importCommand(options, output, diagnostics)
                           : exportCommand(options, output, diagnostics);
  } catch (const std::bad_alloc &) {
    diagnostics.error("there is not enough memory");
    return ExitStatus::failed;
  }
}

ExitStatus run(const std::vector<std::string> &words, Output &output, Diagnostics &diagnostics) {
  const auto parsed = parseDesktopOptions(words);
  if (const auto *notice = std::get_if<Notice>(&parsed)) {
    if (notice->status == ExitStatus::done)
      output.write(notice->text);
    else
      Output(STDERR_FILENO).write(notice->text);
    return notice->status;
  }
  const auto &options = std::get<DesktopOptions>(parsed);
  using Level = Diagnostics::Level;
  diagnostics.setLevel(options.verbose ? Level::verbose
                       : options.quiet ? Level::quiet
                                       : Level::normal);
  return runVerb(options, output, diagnostics);
}

// With all of the output written: one that cannot be is an error, however well the rest went.
ExitStatus runAndWrite(const std::vector<std::string> &words, Diagnostics &diagnostics) {
  Output output(STDOUT_FILENO);
  const ExitStatus status = run(words, output, diagnostics);
  output.flush();
  if (output.error() == 0)
    return status;
  diagnostics.error(std::string("standard output: ") + std::strerror(output.error()));
  return std::max(status, ExitStatus::failed);
}

} // namespace

} // namespace tesker

int main(int count, char **words) {
  using namespace tesker;
  openMissingStandardDescriptors(O_RDONLY);
  Diagnostics diagnostics(STDERR_FILENO, Diagnostics::Level::normal, kProgram);
  return static_cast<int>(
      runAndWrite(std::vector<std::string>(words + 1, words + count), diagnostics));
}
