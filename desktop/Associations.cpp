#include "desktop/Associations.h"

#include "platform/foundation/Text.h"

#include <algorithm>

namespace tesker {

namespace {

// Nothing when it is not there or cannot be read, which is reported.
std::optional<KeyFile> listIn(const std::string &file, Reports &reports) {
  const auto text = readOrReport(file, kLargestDatabaseFile, reports);
  if (!text)
    return std::nullopt;
  std::string why;
  std::optional<KeyFile> list = KeyFile::parse(*text, why);
  if (!list)
    reports.note(file, why + "; the file is ignored");
  return list;
}

} // namespace

void Associations::Ids::add(const std::string &id) {
  if (known.insert(id).second)
    list.push_back(id);
}

Associations::Associations(const DesktopDirectories &directories,
                           const std::vector<std::vector<EntryClaims>> &claims,
                           const MimeTypes &types, Reports &reports)
    : types_(types) {
  for (const std::string &desktop : directories.desktops)
    prefixes_.push_back(withoutCase(desktop) + "-");
  for (const std::string &directory : directories.configuration)
    readLists(levels_.emplace_back(), directory, reports);
  for (std::size_t i = 0; i < directories.data.size(); ++i)
    addDataLevel(directories.data[i] + "/applications", claims[i], reports);
}

void Associations::addDataLevel(const std::string &directory,
                                const std::vector<EntryClaims> &claims, Reports &reports) {
  Level &level = levels_.emplace_back();
  readLists(level, directory, reports);
  readDefaults(level, directory + "/defaults.list", reports);
  const bool hasCache = readCache(level, directory + "/mimeinfo.cache", reports);
  for (const EntryClaims &entry : claims) {
    level.entries.insert(entry.id);
    if (!hasCache)
      for (const std::string &type : entry.mimeTypes)
        if (Tweaks &tweaks = level.tweaks[types_.unaliased(type)];
            !tweaks.removed.contains(entry.id))
          tweaks.added.add(entry.id);
  }
}

// What the level has already counts for more. Lists for one desktop name defaults only.
void Associations::readLists(Level &level, const std::string &directory, Reports &reports) {
  for (const std::string &prefix : prefixes_)
    readDefaults(level, directory + "/" + prefix + "mimeapps.list", reports);
  readList(level, directory + "/mimeapps.list", reports);
}

// The ids of each type in the group, less those that the level has in the other list.
void Associations::take(Level &level, const KeyFile &list, const char *group, Ids Tweaks::*into,
                        Ids Tweaks::*unlessIn) {
  for (const std::string &type : list.keys(group)) {
    Tweaks &tweaks = level.tweaks[types_.unaliased(type)];
    for (const std::string &id : list.strings(group, type.c_str()))
      if (unlessIn == nullptr || !(tweaks.*unlessIn).contains(id))
        (tweaks.*into).add(id);
  }
}

void Associations::takeDefaults(Level &level, const KeyFile &list) {
  take(level, list, "Default Applications", &Tweaks::defaults, nullptr);
}

void Associations::readDefaults(Level &level, const std::string &file, Reports &reports) {
  if (const std::optional<KeyFile> list = listIn(file, reports))
    takeDefaults(level, *list);
}

void Associations::readList(Level &level, const std::string &file, Reports &reports) {
  const std::optional<KeyFile> list = listIn(file, reports);
  if (!list)
    return;
  takeDefaults(level, *list);
  take(level, *list, "Added Associations", &Tweaks::added, &Tweaks::removed);
  take(level, *list, "Removed Associations", &Tweaks::removed, &Tweaks::added);
}

// False when there is none.
bool Associations::readCache(Level &level, const std::string &file, Reports &reports) {
  const std::optional<KeyFile> list = listIn(file, reports);
  if (list)
    take(level, *list, "MIME Cache", &Tweaks::added, &Tweaks::removed);
  return list.has_value();
}

// What a level says of an entry that a more important one has, too, is not about that entry.
void Associations::collect(const std::string &type, Ids &found, Ids &removed) const {
  for (auto level = levels_.begin(); level != levels_.end(); ++level) {
    const auto tweaks = level->tweaks.find(type);
    if (tweaks == level->tweaks.end())
      continue;
    const auto counts = [&](const std::string &id) {
      return !removed.contains(id) && !found.contains(id) &&
             std::none_of(levels_.begin(), level,
                          [&](const Level &other) { return other.entries.contains(id); });
    };
    for (const std::string &id : tweaks->second.added.list)
      if (counts(id))
        found.add(id);
    for (const std::string &id : tweaks->second.removed.list)
      if (counts(id))
        removed.add(id);
  }
}

std::vector<std::string> Associations::handlersOf(const std::string &type) const {
  Ids found, removed;
  for (const std::string &kind : types_.withParents(type))
    collect(kind, found, removed);
  return std::move(found.list);
}

std::optional<std::string> Associations::defaultOf(const std::string &type,
                                                   const IsUsable &isUsable) const {
  Ids removed;
  for (const std::string &kind : types_.withParents(type)) {
    Ids found;
    for (const Level &level : levels_)
      if (const auto tweaks = level.tweaks.find(kind); tweaks != level.tweaks.end())
        for (const std::string &id : tweaks->second.defaults.list)
          found.add(id);
    const std::size_t named = found.list.size();
    collect(kind, found, removed);
    for (std::size_t i = 0; i < found.list.size(); ++i)
      if (!removed.contains(found.list[i]) && isUsable(found.list[i], i < named))
        return found.list[i];
  }
  return std::nullopt;
}

} // namespace tesker
