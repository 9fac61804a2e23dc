#include "command/Preferences.h"

#include "command/DisplayText.h"
#include "command/Output.h"
#include "command/SettingsFiles.h"
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

// Makes the directories above the file, for this user alone. 0 or the errno.
int makeDirectoriesFor(const std::string &file) {
  for (std::size_t slash = file.find('/', 1); slash != std::string::npos;
       slash = file.find('/', slash + 1))
    if (OperatingSystem::current().makeDirectory(file.substr(0, slash).c_str(), 0700) != 0 &&
        errno != EEXIST)
      return errno;
  return 0;
}

// Holds the lock for as long as the descriptor is open. It is of a file of its own, since the one
// that it guards is replaced. Fails with the errno, EWOULDBLOCK when another process holds it.
Result<FileDescriptor> locked(const std::string &file, const Deadline &deadline) {
  FileDescriptor lock(
      OperatingSystem::current().open(file.c_str(), O_RDWR | O_CREAT | O_NOCTTY, 0600));
  if (!lock)
    return Failure{errno};
  if (const Result<> taken = lockExclusively(lock.number(), deadline); !taken)
    return taken.failure();
  return lock;
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
  if (const int error = makeDirectoriesFor(name); error != 0)
    return fileError(name, error);
  const std::string lockName = name + ".lock";
  const Result<FileDescriptor> lock = locked(lockName, deadline);
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
