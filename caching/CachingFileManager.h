// CachingFileManager.h - the file manager that answers from the caches.
//
// A file manager whose status requests and listings are remembered; the inherited methods ask
// through them and are served as well. Nothing is watched: answers are as old as the last
// validate(), or older, where this is said.
//
// How to use it: call validate() at the points from which fresh answers are wanted; after changing
// the file system call flushDir() for the directory concerned, and bumpGeneration() before a
// validation in the same second. A rename through the file manager bumps the generation by itself.
//
// What is good for how long, and weaker than one might hope:
//
//   - Attributes are asked for again after a validation; listings and the types of files when the
//     directory's change date has changed at a validation. (A mount does not change it.) Where a
//     link to a file leads is asked for every time. A failure is remembered like an answer.
//   - Moments and change dates have whole seconds. What was remembered in the second of a
//     validation, even before it, counts as fresh, unless the generation was bumped in between; and
//     a change can hide behind an earlier one of its second.
//   - The directory that was asked for last is taken as it was then until another one is asked for,
//     whatever happens meanwhile, validations included, and whether or not a link is followed. The
//     file that was asked for last is forgotten by a validation, but by no reset or flush.
//
// The masks of a validation: bit 2 reaches the attributes and types of files, bit 4 those and the
// listings. Directories themselves are validated whatever the mask.
//
// Lifetime: the class object and its caches live as long as the process, what they remember in the
// filer zone; they are made at the first call of classObject().
#pragma once

#include "filesystem/TeskerFileManagerMethods.h"

#include <cstdint>
#include <memory>
#include <memory_resource>
#include <optional>
#include <vector>

namespace tesker {

class FilerCache;

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
  // Every living cache, oldest first; borrowed. For the library's own caches and for anyone looking
  // with a debugger: what a cache can do is not public.
  const std::pmr::vector<FilerCache *> &caches() const;

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

  // What kind of thing the file is: 0 the directory itself (a file that is nil or "."), a magic
  // directory, or a directory reached through a link; 1 a directory on the device of dir, 2 one on
  // another device; 3 a regular file; 4 anything else, what is not there and dangling links
  // included. Links are followed. Logs a pair that TeskerCheckDirFile finds broken.
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
  // found changed at every use and not cached.
  void reset();
  // Forgets what is cached for the directory and the files in it. Kept: and the attributes of all
  // directories themselves; other paths may lead to the same directory or through it, and nothing
  // tells which.
  void flushDir(const NSString &path);
  // Removes what is more than age seconds older than the newest of its kind, at most 20
  // directories' entries of each cache (of directories themselves, all), and forgets the home
  // directories. Answers how many entries were removed.
  std::int32_t flushVeryOld(std::int32_t age);
  // Forgets all listings.
  void flushChildrenNamesCache();

private:
  struct Caches;

  CachingFileManager();
  ~CachingFileManager() = delete; // the class object stays
  static CachingFileManager &initialize();
  bool isAccessible(int mode, const NSString &dir, const NSString &file);

  const std::unique_ptr<Caches> caches_;
};

} // namespace tesker
