// DefaultSearchPaths.h - where applications are looked for when nobody says where.
#pragma once

#include "platform/foundation/NSUserDefaults.h"

#include <string>
#include <vector>

namespace tesker {

// The setting `ApplicationPaths` of domain "Tesker": an array of strings, or one string; "~/" at
// the beginning is the home directory. When it is not set: ~/Applications, /usr/local/Applications
// and /Applications, those that exist.
[[nodiscard]] std::vector<std::string> defaultSearchPaths(NSUserDefaults &defaults);

} // namespace tesker
