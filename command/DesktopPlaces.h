// DesktopPlaces.h - where tesker-desktop keeps what it makes of a desktop's applications.
//
// All of it is below the user's data directory: $XDG_DATA_HOME, which has to be absolute, or
// ~/.local/share. The functions answer nothing where neither that nor a home directory is known.
#pragma once

#include "catalog/Handlers.h"

#include <optional>
#include <string>
#include <vector>

namespace tesker {

[[nodiscard]] std::optional<std::string> userDataDirectory();

// The wrappers for desktop entries, which is one of the usual places to search.
[[nodiscard]] std::optional<std::string> importedApplicationsDirectory();

// The desktop's defaults for types of files, a property list like the user's own preferences.
[[nodiscard]] std::optional<std::string> importedPreferencesFile();
// What that file says, and what is wrong with it (SettingsFiles.h). Empty without a file.
[[nodiscard]] PreferredApplications importedPreferences(std::vector<std::string> &problems);

// Adds the preferences of the desktop for those extensions that the person prefers nothing for.
void addWhatIsNotPreferred(PreferredApplications &preferred, const PreferredApplications &imported);

} // namespace tesker
