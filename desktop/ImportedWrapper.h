// ImportedWrapper.h - a wrapper that import has made, and how it is told from others.
//
// It holds its program, its description, its icon, Resources/icon.png or another of such a name,
// and a marker, Resources/desktop-entry, with the id of the entry that it stands for; and nothing
// else.
#pragma once

#include "desktop/Desktop.h"
#include "desktop/Reports.h"
#include "making/WrapperDescription.h"

#include <map>
#include <optional>
#include <set>
#include <string>

namespace tesker {

inline constexpr const char *kMarkerName = "desktop-entry";

// What the wrapper of the application is to be. An icon that cannot be read is reported and left
// out.
[[nodiscard]] WrapperDescription wrapperFor(const DesktopApplication &application,
                                            const std::string &name, Reports &reports);

// The id in the marker of the wrapper; nothing where something else has made it.
[[nodiscard]] std::optional<std::string> importedIdOf(const std::string &wrapper);

// What stands in a folder.
struct WrapperFolder {
  std::map<std::string, std::string> imported; // ids by the names of the wrappers, "Edit"
  std::set<std::string> others;                // the names of files, "Edit.app"
};
// A folder that is not there is empty. Nothing where it cannot be listed, which is reported.
[[nodiscard]] std::optional<WrapperFolder> wrapperFolder(const std::string &folder,
                                                         Reports &reports);

// Whether the wrapper, which import has made, is as it should be.
[[nodiscard]] bool isUpToDate(const std::string &wrapper, const WrapperDescription &description);

} // namespace tesker
