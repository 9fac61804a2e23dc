#include "command/Preferences.h"

#include "command/DisplayText.h"
#include "command/Output.h"
#include "command/SettingsFiles.h"
#include "platform/foundation/KeptFiles.h"
#include "platform/foundation/PropertyListDescription.h"

#include <cerrno>

namespace tesker {

namespace {

// Adds what the user's own file holds, if it is there. Nothing when that is done, else why it
// cannot be used, a display text.
std::optional<std::string> addOwnPairs(const NSString &file, NSDictionary &pairs) {
  return readSettings(file, [&](const NSDictionary &own,
                                const ComplainOfSetting &) { pairs.addEntriesFromDictionary(own); })
      .whyIgnored;
}

std::string textOf(const NSDictionary &pairs) {
  return "/* The application that opens files with each extension: tesker-apps prefer. */\n{\n" +
         std::string(descriptionInStringsFileFormat(pairs).bytes()) + "}\n";
}

} // namespace

PreferredApplications preferredApplications(NSUserDefaults &defaults) {
  PreferredApplications preferred;
  for (const auto &[extension, value] : defaults.pairsOfDomain(kPreferencesDomain))
    if (const NSString application = value->asString(); application.length() != 0)
      preferred.emplace(extension.bytes(), application.bytes());
  return preferred;
}

std::vector<std::string> problemsOfPreferences() {
  return problemsOfSettings(
      kPreferencesDomain, [](const NSDictionary &pairs, const ComplainOfSetting &complain) {
        for (const auto &[extension, value] : pairs)
          if (!value->asString())
            complain(*value, "the preference for " + displayText(extension.bytes()) +
                                 " files is not a name or path; it is ignored");
        return true;
      });
}

std::optional<std::string> keepPreference(std::string_view extension, std::string_view application,
                                          const Deadline &deadline) {
  const NSString file = userDefaultsFile(kPreferencesDomain);
  if (!file)
    return "there is no directory for preferences: HOME is not set";
  const std::string name(file.bytes());
  if (const Result<> made = makeDirectoriesAbove(name); !made)
    return fileError(name, made.error());
  const std::string lockName = name + ".lock";
  const Result<FileDescriptor> lock = openLocked(lockName, deadline);
  if (!lock && lock.error() == EWOULDBLOCK)
    return displayText(lockName) + ": another process holds the lock";
  if (!lock)
    return fileError(lockName, lock.error());
  const auto pairs = NSDictionary::create();
  if (std::optional<std::string> problem = addOwnPairs(file, *pairs))
    return problem;
  if (application.empty())
    pairs->removeObjectForKey(extension);
  else
    pairs->setObjectForKey(NSString::create(application), NSString::create(extension));
  const Result<> saved = saveFile(name, textOf(*pairs));
  return saved ? std::nullopt : std::optional(fileError(name, saved.error()));
}

} // namespace tesker
