// DesktopCommands.h - what the verbs of tesker-desktop do, and say.
#pragma once

#include "command/Interrupts.h"
#include "command/Output.h"
#include "desktop/DesktopOptions.h"
#include "desktop/Reports.h"

namespace tesker {

// As the program calls itself.
inline constexpr const char *kProgram = "tesker-desktop";

// Reports as lines of diagnostics: notes only when they are verbose. What has failed is the status.
class SaidReports final : public Reports {
public:
  explicit SaidReports(Diagnostics &diagnostics) : diagnostics_(diagnostics) {}
  void note(const std::string &path, std::string_view text) override;
  void fail(const std::string &path, std::string_view text) override;
  ExitStatus status() const { return status_; }

private:
  Diagnostics &diagnostics_;
  ExitStatus status_ = ExitStatus::done;
};

[[nodiscard]] ExitStatus importCommand(const DesktopOptions &options, Output &output,
                                       Diagnostics &diagnostics);

[[nodiscard]] ExitStatus exportCommand(const DesktopOptions &options, Output &output,
                                       Diagnostics &diagnostics);

// What the options name of both, and again whenever something has changed, until a signal comes.
[[nodiscard]] ExitStatus watchCommand(const DesktopOptions &options, Interrupts &interrupts,
                                      Output &output);

} // namespace tesker
