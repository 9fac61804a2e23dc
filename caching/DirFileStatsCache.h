// DirFileStatsCache.h - the attributes of files, remembered by directory and name.
//
// For each directory (known as in FilerDirCache.h) there is a table by file name; it goes when the
// directory changes. Each entry also has a stamp of its own and is asked for again after a
// validation, for a file changes without its directory. A failure is remembered like an answer.
// Files in a directory that cannot be examined are asked for every time.
//
// Kept: only what describes a file itself is answered from memory. Where a link leads can change
// without the link or its directory, so that is asked again every time.
//
// In front of the tables stands a memory of the one file asked for last, one for the process. It
// goes with a validation of any mask. Kept: a reset or a flush leaves it. Until the next validation
// it may give the answer that they were meant to remove, and where that is a link whose entry is
// gone, statDir reports it ("statDir: Inconsistency 1 %@/%@" without a table, 2 without the entry)
// and answers all the same.
#pragma once

#include "caching/DirFileStatEntry.h"
#include "caching/FilerDirCache.h"
#include "caching/NameTable.h"

namespace tesker {

// The files of one directory.
class DirFileStatsTable {
public:
  explicit DirFileStatsTable(NSZone &zone) : names_(zone) {}

  // The file's entry; null when there is none.
  DirFileStatEntry *find(const NSString &file);
  // Makes or replaces the file's entry; what a link leads to is forgotten. Nothing is kept when
  // there is no memory for an entry.
  void set(const NSString &file, const FilerTS &stamp, const std::optional<NSFileAttributes> &info);

private:
  // A file's entry, and the slot that its record had at first. In a large table, read in no order,
  // both have to come from memory; known together, they come at the same time.
  struct Known {
    DirFileStatHandle entry;
    std::uint32_t firstSlot;
  };
  NameTable<Known> names_;
  DirFileStatEntries entries_;
};

class DirFileStatsCache final : public FilerDirCache<DirFileStatsTable> {
public:
  using FilerDirCache::FilerDirCache;

  // The attributes of the file itself, and of what it leads to; nothing when they cannot be had. An
  // exception out of the file-system layer passes, and nothing is kept of that request.
  [[nodiscard]] std::optional<NSFileAttributes> lstatDir(const NSString &dir, const NSString &file);
  [[nodiscard]] std::optional<NSFileAttributes> statDir(const NSString &dir, const NSString &file);

  void validate(std::int32_t mask) override;

private:
  friend struct DirFileStatsCachePeer; // for tests

  // The memory of the last file.
  struct LastFile {
    NSString LSlastDir;
    NSString LSlastFile;
    std::optional<NSFileAttributes> LSlastInfo;

    bool isFor(const NSString &dir, const NSString &file) const {
      // The file first: over one directory it is what differs.
      return LSlastFile == file && LSlastDir == dir;
    }
    const std::optional<NSFileAttributes> &remember(const NSString &dir, const NSString &file,
                                                    const std::optional<NSFileAttributes> &info);
  };
  static LastFile &lastFile();
};

} // namespace tesker
