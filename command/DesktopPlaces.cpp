#include "command/DesktopPlaces.h"

#include "command/DisplayText.h"
#include "command/SearchPath.h"
#include "command/SettingsFiles.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <iterator>

namespace tesker {

namespace {

std::optional<std::string> inUserDataDirectory(std::string_view name) {
  std::optional<std::string> path = userDataDirectory();
  if (path)
    *path += name;
  return path;
}

} // namespace

std::optional<std::string> userDataDirectory() {
  if (std::optional<std::string> given = environmentValue("XDG_DATA_HOME");
      given && given->starts_with('/'))
    return tidied(*given);
  const std::optional<std::string> home = homeDirectory();
  if (!home || !home->starts_with('/'))
    return std::nullopt;
  return tidied(*home + "/.local/share");
}

std::optional<std::string> importedApplicationsDirectory() {
  return inUserDataDirectory("/tesker/Applications");
}

std::optional<std::string> importedPreferencesFile() {
  return inUserDataDirectory("/tesker/defaults/TeskerPreferredApplications.plist");
}

PreferredApplications importedPreferences(std::vector<std::string> &problems) {
  PreferredApplications preferred;
  const std::optional<std::string> file = importedPreferencesFile();
  if (!file)
    return preferred;
  SettingsRead read = readSettings(
      NSString::create(*file), [&](const NSDictionary &pairs, const ComplainOfSetting &complain) {
        for (const auto &[extension, value] : pairs)
          if (const NSString application = value->asString(); application.length() != 0)
            preferred.emplace(extension.bytes(), application.bytes());
          else
            complain(*value, "the desktop's default for " + displayText(extension.bytes()) +
                                 " files is not a name or path; it is ignored");
      });
  if (read.whyIgnored)
    problems.push_back(*read.whyIgnored + "; the settings in this file are ignored");
  std::ranges::move(read.complaints, std::back_inserter(problems));
  return preferred;
}

void addWhatIsNotPreferred(PreferredApplications &preferred,
                           const PreferredApplications &imported) {
  const PreferredApplications own = preferred;
  for (const auto &choice : imported)
    if (preferredFor(own, choice.first) == nullptr)
      preferred.insert(choice);
}

} // namespace tesker
