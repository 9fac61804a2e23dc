// DirFileStatsCache.h - the attributes of files, remembered by directory and name.
//
// For each directory (known as in FilerCache.h) there is a table by file name; it goes when the
// directory changes. Each entry also has a stamp of its own and is asked for anew after a
// validation, for a file changes without its directory. A failure is remembered like an answer.
// Files in a directory that cannot be examined are asked for every time.
//
// Only what describes a file itself is answered from memory. Where a link leads can change without
// the link or its directory, so that is asked anew every time.
//
// In front of the tables stands a memory of the one file asked for last, one for the process. It
// goes with a validation of any mask. A reset or a flush leaves it: until the next validation it
// may give the answer that they were meant to remove, and where that is a link whose entry is gone,
// statDir reports it ("statDir: Inconsistency 1 %@/%@") and answers all the same.
//
// Threading: one thread.
#pragma once

#include "caching/FilerDirCache.h"

namespace tesker {

class DirFileStatsCache final : public FilerDirCache {
public:
  // A new cache that takes part in validations with a bit of the mask.
  [[nodiscard]] static Ref<DirFileStatsCache>
  initValidateWhen(std::int32_t mask, NSZone &zone = NSDefaultMallocZone());

  // The attributes of the file itself, and of what it leads to; nil when they cannot be had. An
  // exception out of the file-system layer passes, and nothing is kept of that request.
  [[nodiscard]] RefPtr<NSFileAttributes> lstatDir(const NSString &dir, const NSString &file);
  [[nodiscard]] RefPtr<NSFileAttributes> statDir(const NSString &dir, const NSString &file);

  void validate(std::int32_t mask) override;

private:
  friend NSObject;
  friend struct DirFileStatsCachePeer; // for tests
  using FilerDirCache::FilerDirCache;

  // The memory of the last file.
  struct LastFile {
    RefPtr<NSString> LSlastDir;
    RefPtr<NSString> LSlastFile;
    RefPtr<NSFileAttributes> LSlastInfo;

    bool isFor(const NSString &dir, const NSString &file) const;
    void remember(const NSString &dir, const NSString &file, RefPtr<NSFileAttributes> info);
  };
  static LastFile &lastFile();
};

} // namespace tesker
