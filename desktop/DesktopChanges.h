// DesktopChanges.h - waits until something may have changed that import and export go by.
//
// Directories and files are GLib's to watch; what a search goes through, SearchPathWatches'. What
// cannot be watched is taken for changed at intervals. The process's main context is this object's.
#pragma once

#include "catalog/SearchPathWatches.h"
#include "command/Interrupts.h"
#include "desktop/Reports.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

extern "C" {
struct _GFileMonitor;
}

namespace tesker {

class DesktopChanges {
public:
  // The signals that end the waiting are borrowed.
  explicit DesktopChanges(Interrupts &interrupts);
  ~DesktopChanges();
  DesktopChanges(const DesktopChanges &) = delete;
  DesktopChanges &operator=(const DesktopChanges &) = delete;

  // What to watch from now on, and nothing else. Neither directories, of which the names and files
  // in them are meant, nor files have to be there. What cannot be watched is reported once.
  struct Wanted {
    std::set<std::string> directories, files;
    std::set<std::string> searchPaths; // absolute
  };
  void watch(const Wanted &wanted, Reports &reports);

  // Waits for a change and then for so long, since changes come in crowds. False when a signal has
  // come to end it.
  [[nodiscard]] bool wait(std::chrono::milliseconds settling);

private:
  // What the sources of the main context say has come.
  struct Come {
    int file = 0, searchPath = 0, settled = 0, signal = 0;
  };
  struct Stop {
    void operator()(_GFileMonitor *monitor) const;
  };
  using Monitor = std::unique_ptr<_GFileMonitor, Stop>;
  void watchFile(const std::string &path, bool isDirectory, Reports &reports);
  void watchSearchPaths(const std::set<std::string> &paths, Reports &reports);
  void beginSearchPath(const std::string &path, Reports &reports);
  void cannotWatch(const std::string &path, std::string_view why, Reports &reports);
  void takeSearchPaths();

  Interrupts &interrupts_;
  Come come_;
  std::map<std::string, Monitor> monitors_; // nil: it cannot be watched
  std::optional<SearchPathWatches> searches_;
  std::set<std::string> searchPaths_; // that are watched
  std::set<std::string> changed_;     // of them
  std::set<std::string> unwatched_;   // of what is wanted
  std::set<unsigned> sources_;        // for the object's life
};

} // namespace tesker
