// main.cpp - tesker-desktop.
#include "command/ProgramRun.h"
#include "desktop/DesktopCommands.h"

#include <new>

namespace tesker {

namespace {

ExitStatus runVerb(const DesktopOptions &options, Output &output, Diagnostics &diagnostics) {
  Interrupts interrupts; // what is written is written whole
  try {
    if (options.watch)
      return watchCommand(options, interrupts, output);
    return options.imports ? importCommand(options, output, diagnostics)
                           : exportCommand(options, output, diagnostics);
  } catch (const std::bad_alloc &) {
    diagnostics.error("there is not enough memory");
    return ExitStatus::failed;
  }
}

ExitStatus run(const std::vector<std::string> &words, Output &output, Diagnostics &diagnostics) {
  const auto parsed = parseDesktopOptions(words);
  if (const auto *notice = std::get_if<Notice>(&parsed))
    return print(*notice, output);
  const auto &options = std::get<DesktopOptions>(parsed);
  using Level = Diagnostics::Level;
  diagnostics.setLevel(options.verbose ? Level::verbose
                       : options.quiet ? Level::quiet
                                       : Level::normal);
  return runVerb(options, output, diagnostics);
}

} // namespace

} // namespace tesker

int main(int count, char **words) {
  return tesker::runProgram(tesker::kProgram, count, words, tesker::run);
}
