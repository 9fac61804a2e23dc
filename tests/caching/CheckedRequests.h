// CheckedRequests.h - asks the caches, and holds each answer against a plain uncached model.
//
// After every request this is checked, and nothing else is allowed:
//
//   asked now          the answer is the truth of this moment
//   the memories       the directory or file that was the last is given the very record again
//   directories        otherwise the answer was true at some moment since the last validation
//   files              otherwise the answer is that of a stat made since the last validation that
//                      reached the cache, for that name in what was taken for the same directory
//   links followed     the truth of this moment, behind a link record as above
//   types, listings    otherwise the answer is the one found out last, the directory is the same as
//                      in this cache's memory, or its entry was made since the validation, or
//                      its change date shows no change and is not in the second of the stamp
//
// Since the last validation means: since the first moment that has the validation's stamp, so that
// its own second counts. Where no directory has changed its path since then, the answer must also
// have been true for just that path: since the validation, or under the same change date.
#pragma once

#include "tests/caching/CachingTest.h"
#include "tests/caching/DiskHistory.h"
#include "tests/caching/RandomChanges.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace tesker::test {

using Info = std::optional<NSFileAttributes>;

// The memories of the last directory and the last file, as they were when this was made.
struct Memories {
  std::string dir{globalStatState().lastCacheDir.bytes()}; // empty for none
  Info dirInfo = globalStatState().lastCachedStat;
  std::string fileDir{DirFileStatsCachePeer::lastDir().bytes()};
  std::string fileName{DirFileStatsCachePeer::lastFile().bytes()};
  Info fileInfo = DirFileStatsCachePeer::lastInfo();

  bool hasFile(const std::string &d, const std::string &f) const {
    return fileDir == d && fileName == f;
  }
};

class CheckedRequests {
public:
  CheckedRequests(FakeDisk &disk, Chance &chance) : disk_(disk), chance_(chance) {}

  // The requests, about one of kDirectories and a name in it.
  void askDirectory(const std::string &dir, bool follow);
  void askFile(const std::string &dir, const std::string &file, bool follow);
  void askType(const std::string &dir, const std::string &file);
  void askAccess(const std::string &dir, const std::string &file);
  void askListing(const std::string &dir);

  // What happened in between. A change of the disk, and of the clock or the generation, are for
  // the history.
  DiskHistory &history() { return history_; }
  void noteValidation(int mask);
  void noteFlush(const std::string &dir);
  void noteListingsForgotten() { listings_.clear(); }
  // Everything was emptied: what is answered from now on is from now on.
  void noteReset();

  // How often each way of being answered was checked.
  int checked(const std::string &way) const {
    const auto found = checked_.find(way);
    return found != checked_.end() ? found->second : 0;
  }

private:
  using Strings = std::vector<std::string>;
  static CachingFileManager &manager() { return CachingFileManager::classObject(); }

  void checkFile(const Memories &before, const std::string &dir, const std::string &file,
                 const Info &itself, const Strings &calls);
  void checkKnownType(const std::string &dir, const std::string &file, int type,
                      const std::string &lastName, const std::map<ino_t, EntryDates> &entries);
  int expectedType(const std::string &dir, const std::string &file, bool &kept);
  bool isUnconfused(const std::string &dir, Moment since, std::optional<DirFileUID> taken) const;

  FakeDisk &disk_;
  Chance &chance_;
  DiskHistory history_{disk_, allPaths(), kDirectories};

  // The first moments that answers may be from.
  Moment globalFloor_ = 0, fileFloor_ = 0, listingFloor_ = 0;
  // What was found out, by the inode that the directory was taken for and the name.
  struct Fetched {
    Moment when;
    Info info;
    bool clean; // the directory was what it was taken for
  };
  struct Listed {
    Moment when;
    Strings names;
    bool clean; // and was never confirmed by the memory of the last directory
  };
  std::map<std::pair<ino_t, std::string>, Fetched> fetched_;
  std::map<std::pair<ino_t, std::string>, int> types_;
  std::map<std::string, Listed> listings_;
  std::map<std::string, int> checked_;
};

} // namespace tesker::test
