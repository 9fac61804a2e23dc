// TSStatMethods.h - file attributes and the predicates over them.
//
// An NSFileAttributes object holds one stat(2) record. It never changes, so it is shared freely
// between callers and caches. All methods are plain questions without side effects. Attributes that
// could not be had are nil, which the caller has to ask for first.
#pragma once

#include "platform/foundation/NSDate.h"
#include "platform/foundation/NSObject.h"

#include <cstdint>
#include <sys/stat.h>

namespace tesker {

// What identifies a file across the system: the full device and inode numbers of the host.
struct DirFileUID {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const DirFileUID &) const = default;
};

class NSFileAttributes final : public NSObject {
public:
  [[nodiscard]] static Ref<NSFileAttributes> create(const struct stat &status,
                                                    NSZone &zone = NSDefaultMallocZone());

  bool isLink() const;
  bool isDirectory() const;
  bool isRegular() const;
  // A character or block device.
  bool isDevice() const;
  // A symbolic link whose own mode carries the sticky bit: a place that describing must not mount
  // or enter. Recognised on the link itself, never on what it points to.
  bool isMagicDirectory() const;
  // A directory or a magic directory; not an ordinary link to a directory.
  bool isNetDirectory() const;
  // Any of the three execute bits: the mode's low byte AND 0111 itself, not 1. 0 is false.
  std::uint8_t canExecute() const;

  // Same device and inode, compared in full.
  bool areEqualUID(const NSFileAttributes &other) const;
  bool isSameDevice(const NSFileAttributes &other) const;
  void buildDirFileUID(DirFileUID &identity) const;

  // The device number cut to 32 bits. For identity use areEqualUID or buildDirFileUID.
  std::int32_t _getStatDev() const;
  // The low 16 bits, sign-extended: user 65534 reads as -2, inode 70000 as 4464. Kept narrow
  // because that is how the layer's users compare them; the inode is therefore no unique key.
  std::int16_t _getUID() const;
  std::int16_t _getGID() const;
  std::int16_t _getINode() const;

  // Seconds since 1970, 32 bits: the last change of status, and of contents.
  std::int32_t _getLastChangeTime() const;
  std::int32_t _mtime() const;
  [[nodiscard]] Ref<NSDate> fileChangeDate() const;       // of the status
  [[nodiscard]] Ref<NSDate> fileModificationDate() const; // of the contents

  // The whole mode, type bits included.
  std::uint16_t fullPermissions() const;

private:
  friend NSObject;
  explicit NSFileAttributes(const struct stat &status);
  dev_t device_;
  ino_t inode_;
  uid_t user_;
  gid_t group_;
  std::int32_t modificationTime_;
  std::int32_t changeTime_;
  std::uint16_t mode_;
};

} // namespace tesker
