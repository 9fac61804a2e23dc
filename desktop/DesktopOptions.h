// DesktopOptions.h - the command line of tesker-desktop.
#pragma once

#include "command/Arguments.h"

#include <string>
#include <variant>
#include <vector>

namespace tesker {

struct DesktopOptions {
  bool imports = false;
  bool exports = false;
  bool watch = false; // with neither, both are done
  bool dryRun = false;
  bool remove = false;
  bool quiet = false;
  bool verbose = false;
  std::vector<std::string> paths; // export; empty: the usual places
};

[[nodiscard]] std::variant<DesktopOptions, Notice>
parseDesktopOptions(const std::vector<std::string> &words);

} // namespace tesker
