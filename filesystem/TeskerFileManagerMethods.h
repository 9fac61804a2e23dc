// TeskerFileManagerMethods.h - the file manager: status, listings, permissions, renames.
//
// The methods that the described system sends to the file-manager class are virtual methods of a
// class object, one for each class that lives as long as the process. They send their own inner
// requests through `this`, so a subclass that answers status and listings from a cache serves the
// inherited methods too. `fileManagerClass` arguments are references to such an object.
//
// Nothing here raises by itself; failures are answers. A path with a NUL inside names nothing.
#pragma once

#include "filesystem/TSStatMethods.h"
#include "platform/foundation/NSString.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tesker {

// Vetoes write access for whole devices (read-only media behind a writable mount, say).
class IsWritableDeviceTeller {
public:
  virtual ~IsWritableDeviceTeller() = default;
  virtual bool isWritableDeviceFor(const NSString &path) = 0;
  virtual bool isWritableDeviceForDir(const NSString &dir, const NSString &file) = 0;
};

// The names in a directory, in its own order.
using Names = std::vector<NSString>;

class NSFileManager {
public:
  NSFileManager(const NSFileManager &) = delete;
  NSFileManager &operator=(const NSFileManager &) = delete;

  // The class object of NSFileManager itself: every request asks the system.
  static NSFileManager &classObject();

  // What the default file manager answers: attributes of a path (nothing when it cannot be
  // examined), and whether something is there, links followed.
  [[nodiscard]] std::optional<NSFileAttributes> fileAttributesAtPath(const NSString &path,
                                                                     bool traverseLink);
  [[nodiscard]] bool fileExistsAtPath(const NSString &path);

  // What access(2) grants to the real user; full paths.
  bool _fileCanBeReadAtPath(const NSString &path);
  bool _fileCanBeExecutedAtPath(const NSString &path);
  bool fileCanBeReadExecutedAtPath(const NSString &path);
  // False only for EACCES, EROFS and EPERM: a missing file answers true.
  bool fileCanBeWriteExecutedAtPath(const NSString &path);
  // A registered teller may veto. Takes the path's plain byte string, unlike the others.
  bool fileCanBeReadWritedExecutedAtPath(const NSString &path);

  // mkdir(2) with the mode (octal permission bits, less the umask). The outcome is not reported:
  // callers that must know look afterwards.
  void createDirectoryAtPath(const NSString &path, mode_t permissions);
  // chmod(2); false on failure.
  [[nodiscard]] bool changePermissions(mode_t mode, const NSString &path);
  // Sets the bits of mask to those of mode, leaving the others of oldMode. With autoSetExec, on a
  // directory, read permission always comes with search permission. True without a system call
  // when nothing changes.
  [[nodiscard]] bool changePermissions(mode_t mode, mode_t mask, const NSString &path,
                                       mode_t oldMode, bool autoSetExec);
  // rename(2). Advances `generation` whether or not it succeeded.
  void renameOld(const NSString &oldPath, const NSString &newPath);
  // The mode of the path itself, links not followed; 0 when it cannot be had.
  mode_t getDirectoryLinkPermissions(const NSString &path);

  // Attributes of dir/file (nil file: of dir), or nothing: a final link itself, and what it leads
  // to.
  [[nodiscard]] virtual std::optional<NSFileAttributes> _privateLstatDir(const NSString &dir,
                                                                         const NSString &file);
  [[nodiscard]] virtual std::optional<NSFileAttributes> _privateStatDir(const NSString &dir,
                                                                        const NSString &file);
  // Follows links, except magic directories, which are described as links.
  [[nodiscard]] std::optional<NSFileAttributes> _privateStatNoMountDir(const NSString &dir,
                                                                       const NSString &file);
  // The names as childrenForDirPath gives them, and the attributes of each appended to infos in the
  // same order. Nothing when the directory cannot be listed, when an entry vanished meanwhile, and
  // when a subclass raises; what was appended stays.
  [[nodiscard]] std::optional<Names> _privateLStatDir(const NSString &dir, bool filterDots,
                                                      bool filterBackups,
                                                      std::vector<NSFileAttributes> &infos);
  // fullPermissions of the attributes; 0 when there are none.
  std::uint16_t getLModeDir(const NSString &dir, const NSString &file);
  std::uint16_t getModeDir(const NSString &dir, const NSString &file);
  // _getStatDev of the attributes; 0 when there are none.
  std::int32_t devnumForLDir(const NSString &dir, const NSString &file);
  std::int32_t devnumForDir(const NSString &dir, const NSString &file);

  // The names in the directory, in the order in which it yields them, without "." and "..".
  // filterDots leaves out names that begin with ".", filterBackups those that end in "~". Nothing
  // when the directory cannot be opened. The strings are in the filer zone.
  [[nodiscard]] virtual std::optional<Names>
  childrenForDirPath(const NSString &dirPath, bool filterDots, bool filterBackups);
  [[nodiscard]] std::optional<Names> childrenForDirPath(const NSString &dirPath);

  // Borrowed, not owned; nil clears it. Shared by all classes.
  void registerIsWritableDeviceTeller(IsWritableDeviceTeller *teller);
  // False only when the file system refuses the name itself (EINVAL, ENAMETOOLONG).
  bool isLegalNameDir(const NSString &path);
  // Whether both lead to the same file (device and inode), links followed; false when either
  // cannot be examined.
  bool isSameDir(const NSString &dir, const NSString &otherDir);
  bool isSameDir(const NSString &dir, const NSString &file, const NSString &otherDir,
                 const NSString &otherFile);

  // The zone of listings and caches, "File Caching".
  NSZone &filerZone();

protected:
  NSFileManager() = default;
  ~NSFileManager() = default;
  static IsWritableDeviceTeller *isWritableDeviceTeller();
};

// The generation counter: advanced by every rename attempt and by those who changed the file system
// in another way; part of every cache's time stamp. Wraps.
extern std::uint32_t generation;

} // namespace tesker
