// FileTypeCache.h - what kind of thing a file is, remembered by directory and name.
//
// For each directory (known as in FilerCache.h) there is a table of types by file name; it goes
// when the directory changes, and only then: a file cannot become one of another type without its
// directory being written to. (A mount does not write to the directory that holds the mount point;
// that a directory has become one is seen after a reset or flush.) A type is found out from the
// cached attributes, and is as old as they are.
//
// What stands behind a link can change without the link's directory, so the types of links are
// never kept.
//
// Threading: one thread.
#pragma once

#include "caching/FilerDirCache.h"

namespace tesker {

class FileTypeCache final : public FilerDirCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  [[nodiscard]] static Ref<FileTypeCache> initValidateWhen(std::int32_t mask,
                                                           NSZone &zone = NSDefaultMallocZone());

  // One of
  //   "Directory"           a magic directory, or a directory reached through a link
  //   "DirectorySameDev"    a directory on the device of the one that holds it
  //   "DirectoryChangeDev"  a directory on another device
  //   "Regular"             a regular file
  //   "UnixDev"             a character or block device
  //   "Other"               anything else, what is not there and links that lead nowhere included
  // An exception out of the file-system layer passes, except where a link is followed (then the
  // type is "Other") or the device of dir is asked for (then it counts as device 0).
  [[nodiscard]] Ref<NSString> getInternalFileType(const NSString &dir, const NSString &file);

  // The same as 0, 1, 2, 3, 4 and 4. A file that is nil or "." is the directory itself, 0. Checks
  // the pair and logs a broken one (TeskerCheckDirFile).
  std::int32_t getFilerTypeDir(const NSString &dir, const NSString *file);

private:
  friend NSObject;
  using FilerDirCache::FilerDirCache;
};

} // namespace tesker
