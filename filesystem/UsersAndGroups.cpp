#include "filesystem/UsersAndGroups.h"

#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <memory_resource>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace tesker {

namespace {

// Tables keyed by an id. The keys are the ids moved by kUnknownID, which keeps id 0 apart from a
// null key; they are wide enough for the sum.
template <class Value> using IDTable = std::pmr::unordered_map<std::int64_t, Value>;

std::int64_t keyFor(std::int32_t id) { return std::int64_t{id} + kUnknownID; }

// Never destroyed: objects and tables of the filer zone live as long as the process.
template <class Value> IDTable<Value> &newTable() { return *new IDTable<Value>(&filerZone()); }

// The value kept for the id; looked up the first time.
template <class Value, class Lookup>
Value cached(IDTable<Value> &table, std::int32_t id, Lookup lookup) {
  const auto known = table.find(keyFor(id));
  if (known != table.end())
    return known->second;
  return table.emplace(keyFor(id), lookup()).first->second;
}

NSString nameOrDecimal(const std::optional<std::string> &name, std::int32_t id) {
  return NSString::create(name ? *name : std::to_string(id), filerZone());
}

// The first of the process's supplementary groups, as many as the list has room for. The system
// fills in all groups or none, so they are fetched whole.
std::vector<gid_t> fetchGroups() {
  constexpr std::size_t kRoom = 16;
  OperatingSystem &system = OperatingSystem::current();
  std::vector<gid_t> groups(
      static_cast<std::size_t>(std::max(0, system.supplementaryGroups(nullptr, 0))));
  const int count = system.supplementaryGroups(groups.data(), static_cast<int>(groups.size()));
  groups.resize(std::min({static_cast<std::size_t>(std::max(0, count)), groups.size(), kRoom}));
  return groups;
}

} // namespace

std::int32_t cachedGetUID() {
  static std::int32_t uid = kUnknownID;
  if (uid == kUnknownID)
    uid = static_cast<std::int32_t>(OperatingSystem::current().userId());
  return uid;
}

std::int32_t cachedGetGID() {
  static std::int32_t gid = kUnknownID;
  if (gid == kUnknownID)
    gid = getGIDForUID(cachedGetUID());
  return gid;
}

std::int32_t getGIDForUID(std::int32_t uid) {
  static auto &groups = newTable<std::int32_t>();
  return cached(groups, uid, [uid] {
    const auto user = OperatingSystem::current().userWithId(static_cast<uid_t>(uid));
    return user ? static_cast<std::int32_t>(user->gid) : kUnknownID;
  });
}

bool isGIDInUserGroups(std::int32_t gid) {
  if (gid == cachedGetGID())
    return true;
  static auto &groups = *new std::vector<gid_t>();
  // Kept: a user without supplementary groups leaves the list empty: it is fetched again each time.
  if (groups.empty())
    groups = fetchGroups();
  return std::find(groups.rbegin(), groups.rend(), static_cast<gid_t>(gid)) != groups.rend();
}

NSString cachedGetUserName(std::int32_t uid) {
  static auto &names = newTable<NSString>();
  return cached(names, uid, [uid] {
    const auto user = OperatingSystem::current().userWithId(static_cast<uid_t>(uid));
    return nameOrDecimal(user ? std::optional(user->name) : std::nullopt, uid);
  });
}

NSString cachedGetGroupName(std::int32_t gid) {
  static auto &names = newTable<NSString>();
  return cached(names, gid, [gid] {
    return nameOrDecimal(OperatingSystem::current().groupNameWithId(static_cast<gid_t>(gid)), gid);
  });
}

namespace {

// Identities of homes by user id. Kept: here without the offset of the other tables' keys.
std::pmr::unordered_map<std::int32_t, DirFileUID> &homes() {
  static auto &table = *new std::pmr::unordered_map<std::int32_t, DirFileUID>(&filerZone());
  return table;
}

// The identity of the user's home, {0, 0} when it is not known.
DirFileUID identityOfHome(std::int32_t uid, NSFileManager &fileManagerClass) {
  DirFileUID identity;
  const NSString home = homeDirectoryOfUser(cachedGetUserName(uid));
  if (!home)
    return identity;
  try {
    if (const auto attributes = fileManagerClass._privateStatDir(home, nullptr))
      identity = attributes->buildDirFileUID();
  } catch (const NSException &) {
    // Not known, then.
  }
  return identity;
}

} // namespace

NSString homeDirectoryOfUser(const NSString &name) {
  // The database would be asked for the part before the NUL, another user.
  if (name.bytes().find('\0') != std::string_view::npos)
    return nullptr;
  const auto user = OperatingSystem::current().userWithName(std::string(name.bytes()));
  if (!user || !user->home || !user->home->starts_with('/'))
    return nullptr;
  const auto components = TeskerSplitPathIntoCleanComponents(NSString::create(*user->home));
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
