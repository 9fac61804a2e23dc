// Dependencies.h - what the answer to a search of one path depends on, as far as it is watched: the
// directories, and what matters in each. Internal to the catalog.
//
// A directory is known by the number of its watch, which is the same however it is reached. It
// keeps its name and the number of the directory above, from which its path is put together again:
// some 80 bytes, where the path alone would take as much.
#pragma once

#include "catalog/Places.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tesker {

// What has happened in a watched directory, or to it.
struct WatchEvent {
  int watch;
  std::uint32_t what;    // bits of inotify(7)
  std::string_view name; // of the entry concerned; empty for the directory itself
};

class Dependencies {
public:
  // What concerns the search path in a directory, beside what happens to the directory itself and
  // to awaited names.
  enum class Interest : std::uint8_t {
    entries = 1,      // all that may be or become an application
    everything = 2,   // everything
    descriptions = 4, // what the folder of a wrapper's description can have
  };
  static constexpr int kNoWatch = -1;

  Dependencies() = default;
  Dependencies(Dependencies &&) = default;
  Dependencies &operator=(Dependencies &&) = default;

  // The directory is watched. It has that name in the one above; where that is kNoWatch, the name
  // is its whole path, "" for the root. One that is known stays as it is.
  void add(int watch, int above, std::string_view name);
  // Precondition of both: the directory is known, or kNoWatch, of which nothing is kept.
  void addInterest(int watch, Interest interest);
  // A name in it concerns the search path: whatever happens to it, or as an entry, what may be or
  // become an application.
  void await(int watch, std::string_view name, bool everything);

  // The answer depends on what is mounted there.
  Places places;

  // Whether the answer may be another one since the event. May look at the entry.
  bool mayChangeBy(const WatchEvent &event) const;

  bool has(int watch) const { return directories_.contains(watch); }
  void drop(int watch) { directories_.erase(watch); }
  // Takes one of the directories out; nothing when none is left.
  std::optional<int> takeOne();
  std::size_t size() const { return directories_.size(); }
  template <class Function> void forEach(Function function) const {
    for (const auto &[watch, directory] : directories_)
      function(watch);
  }

private:
  struct Directory {
    std::string name;
    int above;
    std::uint8_t interests = 0;
    bool has(Interest interest) const {
      return (interests & static_cast<std::uint8_t>(interest)) != 0;
    }
  };
  using Awaited = std::map<std::pair<int, std::string>, bool>; // whether everything counts

  bool mayBeApplication(const Directory &directory, const WatchEvent &event) const;
  // Nothing when a directory above is not known any more.
  std::optional<std::string> pathOf(const Directory &directory) const;

  std::unordered_map<int, Directory> directories_;
  Awaited awaited_;
};

} // namespace tesker
