#include "caching/FileTypeCache.h"

#include "caching/CachingFileManager.h"
#include "caching/NameTable.h"
#include "paths/PathFunctions.h"

namespace tesker {

namespace {

constexpr std::uint16_t kTypeMask = 0xF000;
constexpr std::uint16_t kCharacterDevice = 0x2000;
constexpr std::uint16_t kDirectory = 0x4000;
constexpr std::uint16_t kBlockDevice = 0x6000;
constexpr std::uint16_t kRegular = 0x8000;

// The types by file name.
class FileTypeTable final : public NSObject {
public:
  [[nodiscard]] static Ref<FileTypeTable> create(NSZone &zone) {
    return allocate<FileTypeTable>(zone, zone);
  }

  NameTable<Ref<NSString>> entries;

private:
  friend NSObject;
  explicit FileTypeTable(NSZone &zone) : entries(zone) {}
};

// The type strings, each one object for all files.
struct Types {
  Ref<NSString> directory = NSString::create("Directory", filerZone());
  Ref<NSString> directorySameDev = NSString::create("DirectorySameDev", filerZone());
  Ref<NSString> directoryChangeDev = NSString::create("DirectoryChangeDev", filerZone());
  Ref<NSString> regular = NSString::create("Regular", filerZone());
  Ref<NSString> unixDev = NSString::create("UnixDev", filerZone());
  Ref<NSString> other = NSString::create("Other", filerZone());
};

const Types &types() {
  static const auto &strings = *new Types;
  return strings;
}

std::uint16_t typeBits(const RefPtr<NSFileAttributes> &info) {
  return info ? info->fullPermissions() & kTypeMask : std::uint16_t{0};
}

const Ref<NSString> &typeOfFile(std::uint16_t bits) {
  switch (bits) {
  case kCharacterDevice:
  case kBlockDevice:
    return types().unixDev;
  case kRegular:
    return types().regular;
  default:
    return types().other;
  }
}

Ref<NSString> typeBehindLink(const NSString &dir, const NSString &file) {
  try {
    const auto bits = typeBits(CachingFileManager::classObject()._privateStatDir(dir, &file));
    return bits == kDirectory ? types().directory : typeOfFile(bits);
  } catch (...) {
    return types().other;
  }
}

Ref<NSString> typeOfDirectory(const NSString &dir, const NSFileAttributes &info) {
  std::int32_t device = 0;
  try {
    device = CachingFileManager::classObject().devnumForDir(dir, nullptr);
  } catch (...) {
    // Device 0 then, which makes the directory look like a mount point.
  }
  return device == info._getStatDev() ? types().directorySameDev : types().directoryChangeDev;
}

} // namespace

Ref<FileTypeCache> FileTypeCache::initValidateWhen(std::int32_t mask, NSZone &zone) {
  return allocate<FileTypeCache>(zone, mask, zone);
}

Ref<NSString> FileTypeCache::getInternalFileType(const NSString &dir, const NSString &file) {
  const auto table = ensureTable<FileTypeTable>(dir);
  if (const Ref<NSString> *known = table->entries.find(file))
    return *known;
  countMiss();
  const auto info = CachingFileManager::classObject()._privateLstatDir(dir, &file);
  if (info && info->isMagicDirectory())
    return types().directory;
  if (info && info->isLink())
    return typeBehindLink(dir, file);
  auto type =
      info && info->isDirectory() ? typeOfDirectory(dir, *info) : typeOfFile(typeBits(info));
  table->entries.insert(file, type);
  return type;
}

std::int32_t FileTypeCache::getFilerTypeDir(const NSString &dir, const NSString *file) {
  TeskerCheckDirFile(&dir, file);
  if (file == nullptr || tesker::isEqual(file, "."))
    return 0;
  const auto type = getInternalFileType(dir, *file);
  constexpr std::string_view kNumbered[] = {"Directory", "DirectorySameDev", "DirectoryChangeDev",
                                            "Regular"};
  std::int32_t number = 0;
  for (const auto name : kNumbered) {
    if (tesker::isEqual(&*type, name))
      return number;
    ++number;
  }
  return number;
}

} // namespace tesker
