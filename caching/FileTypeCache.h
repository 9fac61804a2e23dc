// FileTypeCache.h - what kind of thing a file is, remembered by directory and name.
//
// For each directory (known as in FilerDirCache.h) there is a table of types by file name; it goes
// when the directory changes, and only then: a file cannot become one of another type without its
// directory being written to. (A mount does not write to the directory that holds the mount point;
// that a directory has become one is seen after a reset or flush.) A type is found out from the
// cached attributes, and is as old as they are. That there is no such file is a type, too.
//
// Kept: the types of links and of magic directories are found out every time, for what stands
// behind a link can change without the link's directory.
#pragma once

#include "caching/FilerDirCache.h"
#include "caching/NameTable.h"

#include <cstdint>

namespace tesker {

enum class FileType : std::uint8_t {
  directory,          // "Directory": a magic directory, or a directory reached through a link
  directorySameDev,   // "DirectorySameDev": a directory on the device of the one that holds it
  directoryChangeDev, // "DirectoryChangeDev": a directory on another device
  regular,            // "Regular": a regular file
  unixDev,            // "UnixDev": a character or block device
  other               // "Other": anything else, what is not there and dangling links included
};

// The types by file name.
using FileTypeTable = NameTable<FileType>;

class FileTypeCache final : public FilerDirCache<FileTypeTable> {
public:
  using FilerDirCache::FilerDirCache;

  // The type as the text above, one string object for all files of a type. An exception out of the
  // file-system layer passes, except where a link is followed (then the type is "Other") or the
  // device of dir is asked for (then it counts as device 0).
  [[nodiscard]] NSString getInternalFileType(const NSString &dir, const NSString &file);

  // The same as 0, 1, 2, 3, 4 and, for "Other", 4 again. A file that is nil or "." is the directory
  // itself, 0. Checks the pair and logs a broken one (TeskerCheckDirFile).
  std::int32_t getFilerTypeDir(const NSString &dir, const NSString &file);

private:
  FileType typeOf(const NSString &dir, const NSString &file);
};

} // namespace tesker
