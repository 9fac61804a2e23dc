#include "filesystem/TSStatMethods.h"

namespace tesker {

namespace {

constexpr unsigned kTypeMask = 0xF000;
constexpr unsigned kDirectory = 0x4000;
constexpr unsigned kRegular = 0x8000;
constexpr unsigned kLink = 0xA000;
constexpr unsigned kCharacterDevice = 0x2000;
constexpr unsigned kBlockDevice = 0x6000;
constexpr unsigned kStickyBit = 0x0200;
constexpr unsigned kExecuteBits = 0x49;

} // namespace

NSFileAttributes::NSFileAttributes(const struct stat &status)
    : device_(status.st_dev), inode_(status.st_ino), user_(status.st_uid), group_(status.st_gid),
      modificationTime_(static_cast<std::int32_t>(status.st_mtime)),
      changeTime_(static_cast<std::int32_t>(status.st_ctime)),
      mode_(static_cast<std::uint16_t>(status.st_mode)) {}

Ref<NSFileAttributes> NSFileAttributes::create(const struct stat &status, NSZone &zone) {
  return allocate<NSFileAttributes>(zone, status);
}

bool NSFileAttributes::isLink() const { return (mode_ & kTypeMask) == kLink; }

bool NSFileAttributes::isDirectory() const { return (mode_ & kTypeMask) == kDirectory; }

bool NSFileAttributes::isRegular() const { return (mode_ & kTypeMask) == kRegular; }

bool NSFileAttributes::isDevice() const {
  const unsigned type = mode_ & kTypeMask;
  return type == kCharacterDevice || type == kBlockDevice;
}

bool NSFileAttributes::isMagicDirectory() const {
  return (mode_ & (kTypeMask | kStickyBit)) == (kLink | kStickyBit);
}

bool NSFileAttributes::isNetDirectory() const { return isDirectory() || isMagicDirectory(); }

std::uint8_t NSFileAttributes::canExecute() const {
  return static_cast<std::uint8_t>(mode_ & kExecuteBits);
}

bool NSFileAttributes::areEqualUID(const NSFileAttributes &other) const {
  return isSameDevice(other) && inode_ == other.inode_;
}

bool NSFileAttributes::isSameDevice(const NSFileAttributes &other) const {
  return device_ == other.device_;
}

void NSFileAttributes::buildDirFileUID(DirFileUID &identity) const { identity = {device_, inode_}; }

std::int32_t NSFileAttributes::_getStatDev() const { return static_cast<std::int32_t>(device_); }

std::int16_t NSFileAttributes::_getUID() const { return static_cast<std::int16_t>(user_); }

std::int16_t NSFileAttributes::_getGID() const { return static_cast<std::int16_t>(group_); }

std::int16_t NSFileAttributes::_getINode() const { return static_cast<std::int16_t>(inode_); }

std::int32_t NSFileAttributes::_getLastChangeTime() const { return changeTime_; }

std::int32_t NSFileAttributes::_mtime() const { return modificationTime_; }

Ref<NSDate> NSFileAttributes::fileChangeDate() const {
  return NSDate::dateWithTimeIntervalSince1970(changeTime_);
}

Ref<NSDate> NSFileAttributes::fileModificationDate() const {
  return NSDate::dateWithTimeIntervalSince1970(modificationTime_);
}

std::uint16_t NSFileAttributes::fullPermissions() const { return mode_; }

} // namespace tesker
