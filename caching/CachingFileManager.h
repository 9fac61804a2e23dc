// CachingFileManager.h - the file manager that answers from the caches.
//
// A file manager whose status requests and listings are remembered; the inherited methods ask
// through them and are served as well. Answers may be as old as the last validate(), and in some
// cases older. What each cache promises, and where that is less than one might hope, is said in
//
//   FilerCache.h         what a validation is worth within its own second
//   GlobalStatCache.h    directories themselves
//   DirFileStatsCache.h  files in directories
//   FileTypeCache.h      types
//   FilerNameDirCache.h  listings
//
// How to use it: call validate() at the points from which fresh answers are wanted; after changing
// the file system call flushDir() for the directory concerned, and bumpGeneration() before a
// validation in the same second. A rename through the file manager bumps the generation by itself.
//
// The masks of a validation: bit 2 reaches the attribute and type caches, bit 4 those and the
// listings. The global stat cache is validated whatever the mask.
//
// Lifetime: the class object and its caches live as long as the process, in the filer zone; they
// are made at the first call of classObject().
#pragma once

#include "caching/DirFileStatsCache.h"
#include "caching/FileTypeCache.h"
#include "caching/FilerNameDirCache.h"
#include "filesystem/TeskerFileManagerMethods.h"

#include <cstdint>
#include <memory_resource>
#include <optional>
#include <vector>

namespace tesker {

// A directory that a user of the caches keeps until the next validation, which clears it. Nothing
// in the system sets it.
extern NSString lastDir;

class CachingFileManager final : public NSFileManager {
public:
  // The class object; runs initialize once, before the first caller gets it.
  static CachingFileManager &classObject();

  // Advances the generation: what is remembered from now on counts as newer than what was
  // remembered earlier in the same second.
  void bumpGeneration();
  // Every living cache, oldest first; borrowed.
  const std::pmr::vector<FilerCache *> &caches() const { return FilerCache::living(); }

  // A file that is nil or "." is the directory itself. What is inherited asks through these two and
  // childrenForDirPath: _privateStatNoMountDir, _privateLStatDir and the rest.
  [[nodiscard]] std::optional<NSFileAttributes> _privateLstatDir(const NSString &dir,
                                                                 const NSString &file) override;
  [[nodiscard]] std::optional<NSFileAttributes> _privateStatDir(const NSString &dir,
                                                                const NSString &file) override;
  // Whether the process's user may use the file as the bits of mode say (4 read, 2 write, 1
  // execute), judged from the cached attributes. A magic directory may always be used, and mode 0
  // is always granted, also for a file that is not there. Only one triplet counts: an owner who is
  // refused by the owner's bits does not get through by the group's or the others'. The super-user
  // is refused only execution, where no triplet has it. A registered teller may veto writing. Kept:
  // never raises; any exception, whatever it is, is a no.
  bool access(int mode, const NSString &dir, const NSString &file);

  // See FileTypeCache.h.
  std::int32_t getFilerTypeDir(const NSString &dir, const NSString &file);

  // See NSFileManager. The names are the cached strings.
  [[nodiscard]] std::optional<Names> childrenForDirPath(const NSString &dirPath, bool filterDots,
                                                        bool filterBackups) override;
  using NSFileManager::childrenForDirPath;
  // Whether the directory has a child; false when it cannot be listed.
  bool hasChildren(const NSString &path);

  // Begins a new epoch: what was remembered before is checked at its next use.
  void validate(std::int32_t mask);
  // Forgets everything but the memories of the last directory and the last file. Best followed by
  // a validate(): until then a directory last changed in the second of the validation before is
  // found changed at every use and not cached (FilerCache.h).
  void reset();
  // Forgets what is cached for the directory. Kept: and all of the global stat cache; other paths
  // may lead to the same directory or through it, and the table cannot tell which.
  void flushDir(const NSString &path);
  // Removes what is more than age seconds older than the newest of its kind, at most kLargestFlush
  // entries of each directory cache (of the global stat cache, all), and forgets the home
  // directories. Answers how many entries were removed.
  std::int32_t flushVeryOld(std::int32_t age);
  // Forgets all listings.
  void flushChildrenNamesCache();

private:
  friend struct CachingFileManagerPeer; // for tests
  CachingFileManager();
  static CachingFileManager &initialize();
  bool isAccessible(int mode, const NSString &dir, const NSString &file);

  DirFileStatsCache dirFileStatsCache_;
  FileTypeCache fileTypeCache_;
  ChildrenNamesCache childrenNamesCache_;
};

} // namespace tesker
