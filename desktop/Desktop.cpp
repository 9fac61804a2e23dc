#include "desktop/Desktop.h"

#include "desktop/Associations.h"
#include "desktop/EntryFiles.h"
#include "desktop/EntryIcon.h"
#include "desktop/MimeTypes.h"

#include <algorithm>
#include <utility>

namespace tesker {

namespace {

// The entries of all directories, each id of the first directory that has it.
class Entries {
public:
  Entries(const DesktopDirectories &directories, Reports &reports);
  // By directory.
  std::vector<std::vector<EntryClaims>> claims;
  std::vector<DesktopApplication> applications;
  // Nil when there is none that can be used.
  DesktopApplication *withId(const std::string &id);

private:
  void read(const EntryFile &file, const std::vector<std::string> &desktops, Reports &reports);
  std::map<std::string, std::size_t> places_; // of usable ones
  std::set<std::string> ids_;
};

Entries::Entries(const DesktopDirectories &directories, Reports &reports) {
  for (const std::string &directory : directories.data) {
    claims.emplace_back();
    for (const EntryFile &file : entryFilesBelow(directory + "/applications", reports)) {
      claims.back().push_back({file.id, {}});
      if (ids_.insert(file.id).second)
        read(file, directories.desktops, reports);
    }
  }
}

void Entries::read(const EntryFile &file, const std::vector<std::string> &desktops,
                   Reports &reports) {
  const auto text = readOrReport(file.path, kLargestDesktopEntry, reports);
  if (!text)
    return;
  EntryReading reading = readDesktopEntry(*text, desktops);
  if (!reading.fault.empty())
    reports.note(file.path, reading.fault + "; it is passed over");
  if (!reading.entry)
    return;
  reading.entry->id = file.id;
  reading.entry->file = file.path;
  claims.back().back().mimeTypes = reading.entry->mimeTypes;
  places_.emplace(file.id, applications.size());
  applications.push_back({std::move(*reading.entry), {}});
}

DesktopApplication *Entries::withId(const std::string &id) {
  const auto place = places_.find(id);
  return place == places_.end() ? nullptr : &applications[place->second];
}

} // namespace

Desktop desktopIn(const DesktopDirectories &directories, Reports &reports) {
  MimeTypes types;
  for (const std::string &directory : directories.data)
    types.add(directory, reports);
  Entries entries(directories, reports);
  const Associations associations(directories, entries.claims, types, reports);

  // An entry that only this system's export has made is chosen where a person has named it.
  const auto isUsable = [&](const std::string &id, bool isNamed) {
    const DesktopApplication *application = entries.withId(id);
    return application != nullptr && (isNamed || !application->entry.isExported());
  };
  Desktop desktop;
  for (const auto &[extension, type] : types.typesOfExtensions()) {
    for (const std::string &id : associations.handlersOf(type))
      if (DesktopApplication *application = entries.withId(id))
        application->extensions.insert(extension);
    const std::optional<std::string> id = associations.defaultOf(type, isUsable);
    if (id && entries.withId(*id)->extensions.contains(extension))
      desktop.defaults.emplace(extension, *id);
  }
  std::erase_if(entries.applications, [](const DesktopApplication &application) {
    return !application.entry.isShown && application.extensions.empty();
  });
  for (DesktopApplication &application : entries.applications)
    application.iconFile = iconFileFor(application.entry.icon, directories);
  desktop.applications = std::move(entries.applications);
  return desktop;
}

} // namespace tesker
