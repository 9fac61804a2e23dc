// Import.h - wrappers for the applications of a desktop, and its defaults as preferences.
//
// What is there already stays where it is right; what import has made and the desktop no longer
// has is removed; what something else has made is not touched.
#pragma once

#include "desktop/Desktop.h"
#include "desktop/Reports.h"
#include "desktop/Wishes.h"

#include <cstddef>
#include <string>
#include <vector>

namespace tesker {

struct ImportPlaces {
  std::string applications; // the directory for the wrappers
  std::string preferences;  // the file for the defaults
};

struct ImportChange {
  enum class Kind { added, changed, removed };
  Kind kind;
  std::string wrapper; // "Edit.app"
  std::string id;      // of the entry
};

struct ImportOutcome {
  std::vector<ImportChange> changes; // those that were made, in the order of the wrappers' names
  std::size_t unchanged = 0;         // wrappers
  bool changesPreferences = false;
};

// What cannot be done is reported, and the rest is done all the same. An empty desktop leaves
// nothing of what import has made.
[[nodiscard]] ImportOutcome importDesktop(const Desktop &desktop, const ImportPlaces &places,
                                          const Wishes &wishes, Reports &reports);

} // namespace tesker
