// UsersAndGroups.h - the process's own ids, and users and groups by id.
//
// Answers are kept for the life of the process, in tables in the filer zone: later changes of the
// password and group databases are not seen.
#pragma once

#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/NSString.h"

#include <cstdint>

namespace tesker {

// What the functions here answer for an id that is not known.
inline constexpr std::int32_t kUnknownID = 0xFFFFFF;

// The process's user id (getuid), and that user's primary group; each fetched once.
std::int32_t cachedGetUID();
std::int32_t cachedGetGID();
// The user's primary group from the password database, kUnknownID when there is no such user.
std::int32_t getGIDForUID(std::int32_t uid);
// Whether the group is the process's primary or one of its first 16 supplementary groups.
bool isGIDInUserGroups(std::int32_t gid);
// The name, or the id in decimal when the database has none.
[[nodiscard]] NSString cachedGetUserName(std::int32_t uid);
[[nodiscard]] NSString cachedGetGroupName(std::int32_t gid);

// ---- where homes are, and whether a directory is one ----

// The user's home as a clean absolute path. Nil when there is no such user or no absolute home, and
// with the log line "Incorrect home for %@: %s" when the home holds "..".
[[nodiscard]] NSString homeDirectoryOfUser(const NSString &name);

// Whether the identity is that of the user's home directory; with currentOnly, only for the
// process's own user. The home is examined once, through fileManagerClass (the caching one, for
// those who have it), and kept for the life of the process or until it is forgotten.
bool isHomeDirectory(std::int32_t uid, const DirFileUID &identity, bool currentOnly,
                     NSFileManager &fileManagerClass);
// Forgets every home that isHomeDirectory looked up.
void forgetHomeDirectories();

} // namespace tesker
