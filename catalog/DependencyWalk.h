// DependencyWalk.h - begins to watch all that the answer to a search of one path depends on.
// Internal to the catalog.
//
// A walk by the rules of a search, but over directories only: files are not looked at, and no
// description is read. A directory is watched first and listed then, so that nothing that comes
// meanwhile is missed. Paths are canonical: a link is followed by hand, and each directory in which
// a name on its way is looked up is watched for that name, up to the root.
//
// Where a wrapper's descriptions may come from is known without reading them: its own entries, the
// folders "Resources" and "Info-quorvale.plist", the one that its executable may be, and the tools
// and bundles in it.
#pragma once

#include "catalog/Dependencies.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <unordered_set>
#include <vector>

namespace tesker {

class DependencyWalk {
public:
  // An inotify(7) descriptor, which is borrowed. A path that cannot be searched (relative, "/", or
  // with ".." or a NUL in it) depends on nothing.
  DependencyWalk(int watches, std::string_view searchPath);

  // Goes on until the deadline, or a little longer. Whether it is done; fails with the errno that
  // keeps it from watching something (Dependencies that it has found stay watched).
  [[nodiscard]] Result<bool> advance(const Deadline &deadline);

  // What was found so far.
  Dependencies dependencies;

private:
  enum class As { entry, nested, wrapper };
  // Something that was listed.
  struct Pending {
    std::string path; // of a directory that is canonical, and a name in it
    As as;
    bool isDirectory; // and not a link to one
    int above;        // the watch of the directory that it is in
  };
  struct Place {
    std::string path; // canonical
    int above;        // the watch of the directory above; kNoWatch where it is not known
  };
  // The directory that is being listed.
  struct Listing {
    FileDescriptor descriptor;
    std::string path; // canonical
    std::string name; // by which it was met
    int watch;
    bool isWrapper;
  };

  void step();
  void meet(const Pending &pending);
  void enter(const Place &place, std::string_view name, bool isWrapper);
  void listPiece();
  void listedInWrapper(std::string_view name, unsigned char type);
  void pend(std::string_view name, As as, bool isDirectory);
  // The directory that the rest of a path leads to from a canonical one; nothing where there is
  // none. All that this depends on is watched.
  std::optional<Place> follow(std::string directory, std::string rest, bool everything);
  // Nothing where there is nothing to be had; above is the watch of the directory it is in.
  std::optional<mode_t> modeOf(const std::string &path, int above);
  // The number of the directory's watch, of which these events are told from now on; kNoWatch where
  // it cannot be entered, and with a failure.
  int watched(const std::string &directory, int above, std::uint32_t events);

  int watches_;
  std::string searchPath_; // empty once it has been met
  std::vector<Pending> pending_;
  std::optional<Listing> listing_;
  // Hashes of the paths that were entered; of wrappers, with the names by which they were met.
  std::unordered_set<std::size_t> entered_;
  // Most directories are asked for several times in a row.
  std::string lastWatched_;
  std::uint32_t lastEvents_ = 0;
  int lastWatch_ = Dependencies::kNoWatch;
  int failure_ = 0; // the errno that ends the walk
};

} // namespace tesker
