// SaidReports.cpp - reports for the person at the terminal.
#include "command/DisplayText.h"
#include "desktop/DesktopCommands.h"

namespace tesker {

void SaidReports::note(const std::string &path, std::string_view text) {
  if (diagnostics_.verbose())
    diagnostics_.note(displayText(path) + ": " + std::string(text));
}

void SaidReports::fail(const std::string &path, std::string_view text) {
  diagnostics_.errorAt(path, text);
  status_ = ExitStatus::failed;
}

} // namespace tesker
