// Preferences.h - the applications that a person prefers for types of files, kept as settings.
//
// They are the defaults domain TeskerPreferredApplications: an extension for a key, and an
// application's name or path for its value. A site's files are read like the user's; the user's own
// is the only one that is written.
#pragma once

#include "catalog/Handlers.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/NSUserDefaults.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

inline constexpr const char *kPreferencesDomain = "TeskerPreferredApplications";

// Values other than strings count for nothing.
[[nodiscard]] PreferredApplications preferredApplications(NSUserDefaults &defaults);

// What is wrong with the files of the preferences, line for line (SettingsFiles.h).
[[nodiscard]] std::vector<std::string> problemsOfPreferences();

// Keeps the application for the extension in the user's own file; an empty one leaves none there.
// Nothing when that is done; else why it is not, a display text, and the file is as it was. Another
// process that is at it is waited for until the deadline. What else the file holds stays, but for
// comments; one that cannot be read is not written.
[[nodiscard]] std::optional<std::string>
keepPreference(std::string_view extension, std::string_view application, const Deadline &deadline);

} // namespace tesker
