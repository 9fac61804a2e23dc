// Desktop.h - the applications that a desktop has, and the file extensions that they open.
#pragma once

#include "desktop/DesktopDirectories.h"
#include "desktop/DesktopEntry.h"
#include "desktop/Reports.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tesker {

struct DesktopApplication {
  DesktopEntry entry;
  std::set<std::string> extensions;         // that it opens, without a dot
  std::optional<std::string> iconFile = {}; // the path of its picture
};

struct Desktop {
  std::vector<DesktopApplication> applications; // the entries of the most important directory first
  // By extension: the id of the application that the desktop opens such files with, unless it is
  // one that does not open them otherwise.
  std::map<std::string, std::string> defaults;
};

// What can be used of the entries: all that are shown in the menu or open some extension. Entries
// that cannot be read are reported.
[[nodiscard]] Desktop desktopIn(const DesktopDirectories &directories, Reports &reports);

} // namespace tesker
