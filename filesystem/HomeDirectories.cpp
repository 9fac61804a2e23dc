// Home directories: where they are, and whether a directory is one.
#include "filesystem/FileManagerUtils.h"

#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"

#include <memory_resource>
#include <string>
#include <unordered_map>

namespace tesker {

namespace {

// Identities of homes by user id, here without the offset of the other tables' keys.
std::pmr::unordered_map<std::int32_t, DirFileUID> &homes() {
  static auto &table = *new std::pmr::unordered_map<std::int32_t, DirFileUID>(&filerZone());
  return table;
}

// The identity of the user's home, {0, 0} when it is not known.
DirFileUID identityOfHome(std::int32_t uid, NSFileManager &fileManagerClass) {
  DirFileUID identity;
  const auto home = homeDirectoryOfUser(*cachedGetUserName(uid));
  if (!home)
    return identity;
  try {
    if (const auto attributes = fileManagerClass._privateStatDir(*home, nullptr))
      attributes->buildDirFileUID(identity);
  } catch (const NSException &) {
    // Not known, then.
  }
  return identity;
}

} // namespace

RefPtr<NSString> homeDirectoryOfUser(const NSString &name) {
  // The database would be asked for the part before the NUL, another user.
  if (name.bytes().find('\0') != std::string_view::npos)
    return nullptr;
  const auto user = OperatingSystem::current().userWithName(std::string(name.bytes()));
  if (!user || !user->home || !user->home->starts_with('/'))
    return nullptr;
  const auto components = TeskerSplitPathIntoCleanComponents(*NSString::create(*user->home));
  if (components)
    return TeskerJoinComponents(*components);
  NSLog("Incorrect home for %@: %s", {name.bytes(), *user->home});
  return nullptr;
}

bool isHomeDirectory(std::int32_t uid, const DirFileUID &identity, bool currentOnly,
                     NSFileManager &fileManagerClass) {
  if (currentOnly && uid != cachedGetUID())
    return false;
  const auto known = homes().find(uid);
  if (known != homes().end())
    return known->second == identity;
  const DirFileUID home = identityOfHome(uid, fileManagerClass);
  homes().insert_or_assign(uid, home);
  return home == identity;
}

void forgetHomeDirectories() { homes().clear(); }

} // namespace tesker
