// TSStatMethods.h - file attributes and the predicates over them.
//
// An NSFileAttributes is one stat(2) record. All methods are plain questions without side effects.
// Attributes that could not be had are nothing (std::optional).
#pragma once

#include <cstdint>
#include <sys/stat.h>

namespace tesker {

// What identifies a file across the system: the full device and inode numbers of the host.
struct DirFileUID {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const DirFileUID &) const = default;
};

class NSFileAttributes {
public:
  explicit NSFileAttributes(const struct stat &status)
      : device_(status.st_dev), inode_(status.st_ino), user_(status.st_uid), group_(status.st_gid),
        modificationTime_(static_cast<std::int32_t>(status.st_mtime)),
        changeTime_(static_cast<std::int32_t>(status.st_ctime)),
        mode_(static_cast<std::uint16_t>(status.st_mode)) {}
  bool operator==(const NSFileAttributes &) const = default;

  bool isLink() const { return S_ISLNK(mode_); }
  bool isDirectory() const { return S_ISDIR(mode_); }
  bool isRegular() const { return S_ISREG(mode_); }
  // A character or block device.
  bool isDevice() const { return S_ISCHR(mode_) || S_ISBLK(mode_); }
  // A symbolic link whose own mode carries the sticky bit: a place that describing must not mount
  // or enter. Recognised on the link itself, never on what it points to.
  bool isMagicDirectory() const { return isLink() && (mode_ & S_ISVTX) != 0; }
  // A directory or a magic directory; not an ordinary link to a directory.
  bool isNetDirectory() const { return isDirectory() || isMagicDirectory(); }
  // Any of the three execute bits: the mode's low byte AND 0111 itself, not 1. 0 is false.
  std::uint8_t canExecute() const { return static_cast<std::uint8_t>(mode_ & 0111); }

  // Same device and inode, compared in full.
  bool areEqualUID(const NSFileAttributes &other) const {
    return buildDirFileUID() == other.buildDirFileUID();
  }
  bool isSameDevice(const NSFileAttributes &other) const { return device_ == other.device_; }
  DirFileUID buildDirFileUID() const { return {device_, inode_}; }

  // The device number cut to 32 bits. For identity use areEqualUID or buildDirFileUID.
  std::int32_t _getStatDev() const { return static_cast<std::int32_t>(device_); }
  // Kept: the low 16 bits, sign-extended (user 65534 reads as -2, inode 70000 as 4464), for that is
  // how the layer's users compare them; the inode is therefore not a unique key.
  std::int16_t _getUID() const { return static_cast<std::int16_t>(user_); }
  std::int16_t _getGID() const { return static_cast<std::int16_t>(group_); }
  std::int16_t _getINode() const { return static_cast<std::int16_t>(inode_); }

  // Seconds since 1970, 32 bits: the last change of status, and of contents.
  std::int32_t _getLastChangeTime() const { return changeTime_; }
  std::int32_t _mtime() const { return modificationTime_; }
  std::int32_t fileChangeDate() const { return changeTime_; }             // of the status
  std::int32_t fileModificationDate() const { return modificationTime_; } // of the contents

  // The whole mode, type bits included.
  std::uint16_t fullPermissions() const { return mode_; }

private:
  dev_t device_;
  ino_t inode_;
  uid_t user_;
  gid_t group_;
  std::int32_t modificationTime_;
  std::int32_t changeTime_;
  std::uint16_t mode_;
};

} // namespace tesker
