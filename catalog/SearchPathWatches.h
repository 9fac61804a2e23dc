// SearchPathWatches.h - which of some search paths may have other applications than before.
//
//   auto watches = tesker::SearchPathWatches::create();
//   watches->begin("/Applications");
//   while (advance("/Applications") says more) ...     // and only then search
//   // whenever watches->descriptor() is readable:
//   for (const std::string &path : watches->takeChanged())
//     // settle, begin(path) again, and search it once more
//
// All directories that a search goes through are watched (inotify(7)), those that a wrapper's
// description depends on, and those in which a name on the way to one of them or to the target of
// a link is looked up. What is told is a hint: the answer to a search may be another one now. No
// hint means that it is not, but for what cannot be seen:
//   - what other machines do on a network file system, and file systems that are made of data
//     (/proc, /sys);
//   - writing through a mapping, until it is unmapped, or through another hard link's path outside
//     of what is watched;
//   - what happens in a directory that may be entered but not listed, other than to directories in
//     it that are watched themselves.
//
// Files without execute permission are made and written without a hint, except in wrappers: their
// mode has to change first, or another name. So are names that a search passes over.
//
// Costs: about 100 bytes for each directory here, and in the system some 100 bytes and the
// directory's inode, about 1 KiB, which stays in memory; twice the former while a path is begun
// again. No function waits, or takes much longer than 20 ms; a descriptor is held open only for the
// directory that is being listed.
//
// Threads: one at a time. After fork(2) the object is the parent's.
#pragma once

#include "catalog/Dependencies.h"
#include "catalog/MountTable.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tesker {

class DependencyWalk;

class SearchPathWatches {
public:
  enum class Progress { more, done };

  // Watches nothing. Fails with the errno: without inotify and /proc changes have to be looked for.
  [[nodiscard]] static Result<SearchPathWatches> create();
  SearchPathWatches(SearchPathWatches &&) noexcept;
  ~SearchPathWatches();

  // Readable while there is something to take, the same for the object's life, lent for so long.
  // A mount makes it readable only until it is polled, and makes epoll_wait on it say nothing: what
  // it is nested in has to call takeChanged() without asking it again.
  int descriptor() const { return ready_.number(); }

  // Begins to watch all that the answer to a search of this path depends on, again where it is
  // watched: what it depended on before stays watched until that is done. A path that cannot be
  // searched depends on nothing.
  void begin(const std::string &searchPath);
  // Goes on with that for some 20 ms. A search that starts when it is done finds all that happened
  // before, and the rest is told, as is what happens meanwhile. Fails with the errno when something
  // cannot be watched (ENOSPC: the user has no more watches; EMFILE, ENOMEM, EIO; EACCES: the path
  // is not there, and what is above it cannot be read): nothing is watched for this path then, and
  // its changes have to be looked for. Done for a path that was not begun.
  [[nodiscard]] Result<Progress> advance(const std::string &searchPath);
  // Its changes are not told any more. What was watched for it is let go little by little, with the
  // next calls.
  void forget(const std::string &searchPath);

  // Takes what has come, a bounded amount: the search paths that may have changed since, in
  // alphabetical order. All of them when events were lost. After a std::bad_alloc the next call
  // tells all.
  [[nodiscard]] std::vector<std::string> takeChanged();

  // How many directories are watched, those to be let go included.
  std::size_t watchCount() const;

private:
  // The dependencies of one search path.
  struct Watched {
    Dependencies current;                 // when it was last done
    std::unique_ptr<DependencyWalk> next; // while it is begun
    bool mayChangeBy(const WatchEvent &event) const;
    bool mayChangeByMount(const std::string &mountPoint) const;
    bool has(int watch) const;
    void drop(int watch);
  };
  SearchPathWatches(FileDescriptor ready, FileDescriptor events, MountTable mounts);

  class Changed;
  void takeEvents(Changed &changed);
  void take(const WatchEvent &event, Changed &changed);
  void takeMounts(Changed &changed);
  bool isNeeded(int watch) const;
  void retire(Dependencies &dependencies) noexcept;
  void letGo();

  FileDescriptor ready_;  // an epoll of the others
  FileDescriptor events_; // inotify
  MountTable mounts_;
  std::map<std::string, Watched> paths_;
  std::vector<Dependencies> retired_; // of which watches are to be removed that nobody else needs
  std::size_t unconfirmed_ = 0;       // removals
  bool mayHaveLost_ = false;          // events
};

} // namespace tesker
