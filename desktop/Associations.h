// Associations.h - which desktop entries open files of a type, as the desktop has it.
//
// Entries claim types; the person, the desktop and the system add to that, take from it and name
// defaults, in lists (mimeapps.list) that stand in each directory for configuration and for data.
#pragma once

#include "desktop/DesktopDirectories.h"
#include "desktop/KeyFile.h"
#include "desktop/MimeTypes.h"

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tesker {

// What an entry of one data directory claims.
struct EntryClaims {
  std::string id;
  std::vector<std::string> mimeTypes;
};

class Associations {
public:
  // The types are borrowed. claims: for each of the directories' data directories, of all entries
  // in it, those that cannot be used as well (which may claim nothing). They count where the
  // directory has no list of them (mimeinfo.cache), as the desktop's own readers go by that.
  Associations(const DesktopDirectories &directories,
               const std::vector<std::vector<EntryClaims>> &claims, const MimeTypes &types,
               Reports &reports);

  // The ids of those that open the type, for itself and what it is a kind of: the nearest claims
  // first.
  [[nodiscard]] std::vector<std::string> handlersOf(const std::string &type) const;

  // The one that is taken unless the person says otherwise: of those that can be used, the one that
  // a list names as the default, else the first that opens the type; then the same for what it is a
  // kind of. Whether a list names it so is told.
  using IsUsable = std::function<bool(const std::string &id, bool isNamed)>;
  [[nodiscard]] std::optional<std::string> defaultOf(const std::string &type,
                                                     const IsUsable &isUsable) const;

private:
  // Each once, in order.
  struct Ids {
    std::vector<std::string> list;
    std::set<std::string, std::less<>> known;
    [[nodiscard]] bool contains(const std::string &id) const { return known.contains(id); }
    void add(const std::string &id);
  };
  struct Tweaks {
    Ids added, removed, defaults;
  };
  struct Level {
    std::map<std::string, Tweaks> tweaks; // by type
    std::set<std::string> entries;        // ids of the entries in it
  };
  void take(Level &level, const KeyFile &list, const char *group, Ids Tweaks::*into,
            Ids Tweaks::*unlessIn);
  void takeDefaults(Level &level, const KeyFile &list);
  void readLists(Level &level, const std::string &directory, Reports &reports);
  void readDefaults(Level &level, const std::string &file, Reports &reports);
  void readList(Level &level, const std::string &file, Reports &reports);
  bool readCache(Level &level, const std::string &file, Reports &reports);
  void addDataLevel(const std::string &directory, const std::vector<EntryClaims> &claims,
                    Reports &reports);
  void collect(const std::string &type, Ids &found, Ids &removed) const;

  const MimeTypes &types_;
  std::vector<std::string> prefixes_; // of the lists for the person's own desktop
  std::vector<Level> levels_;         // the most important first
};

} // namespace tesker
