// DesktopDirectories.h - where a desktop keeps its entries, types and associations.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tesker {

// All are absolute, without a slash at the end, the most important one first and each once.
struct DesktopDirectories {
  std::string own;                        // the user's data directory
  std::vector<std::string> data;          // it and those of the system
  std::vector<std::string> configuration; // for lists of associations alone
  // What the person's desktop is called, as its entries name it ($XDG_CURRENT_DESKTOP).
  std::vector<std::string> desktops;
};

// As the environment has them; nothing where it does not say where the user's are.
[[nodiscard]] std::optional<DesktopDirectories> desktopDirectories();

} // namespace tesker
