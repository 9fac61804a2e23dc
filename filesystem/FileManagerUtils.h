// FileManagerUtils.h - users and groups, suffixes, property-list files, error texts.
//
// Plain functions over process-wide tables that are filled at first use and kept for the life of
// the process, in the filer zone: later changes of the password and group databases are not seen.
// Threading: one thread.
#pragma once

#include "filesystem/TSStatMethods.h"
#include "filesystem/TeskerFileManagerMethods.h"
#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/NSString.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

namespace tesker {

// What the id functions answer for an id that is not known.
inline constexpr std::int32_t kUnknownID = 0xFFFFFF;

// The name of the exception that _ERROR raises.
inline constexpr const char *TeskerGenericFilerException = "TeskerGenericFilerException";

// The process's user id (getuid), and that user's primary group; each fetched once.
std::int32_t cachedGetUID();
std::int32_t cachedGetGID();
// The user's primary group from the password database, kUnknownID when there is no such user.
std::int32_t getGIDForUID(std::int32_t uid);
// Whether the group is the process's primary or one of its first 16 supplementary groups.
bool isGIDInUserGroups(std::int32_t gid);
// The name, or the id in decimal when the database has none.
[[nodiscard]] Ref<NSString> cachedGetUserName(std::int32_t uid);
[[nodiscard]] Ref<NSString> cachedGetGroupName(std::int32_t gid);

// The user's home as a clean absolute path. Nil when there is no such user or no absolute home, and
// with the log line "Incorrect home for %@: %s" when the home holds "..".
[[nodiscard]] RefPtr<NSString> homeDirectoryOfUser(const NSString &name);
// Whether the identity is that of the user's home directory; with currentOnly, only for the
// process's own user. The home is examined once, through fileManagerClass (the caching one, for
// those who have it).
bool isHomeDirectory(std::int32_t uid, const DirFileUID &identity, bool currentOnly,
                     NSFileManager &fileManagerClass);
// Forgets every home that isHomeDirectory looked up.
void forgetHomeDirectories();

// The text after the last "."; nil for nil, without a dot, and when the dot is the last character.
// A leading dot counts: ".profile" has the suffix "profile".
[[nodiscard]] RefPtr<NSString> getSuffix(const NSString *name);
// The text before the last "."; nil for nil and without a dot (not the name itself).
[[nodiscard]] RefPtr<NSString> strip(const NSString *name);

// Scans a decimal number from the substring of length bytes at start. When there is one it is
// stored, and the answer is the length of the whole scanned text (not just of the digits);
// otherwise the answer is 0 and result is left alone. Raises NSRangeException when the range leaves
// the string.
int scanIntFromIString(const NSString &string, std::size_t start, std::size_t length, int &result);

// Writes the bytes atomically; false when that failed.
[[nodiscard]] bool writeStringToPath(const NSString &path, const NSString &string);
// A strings file in and out. Nil when the file cannot be read, is larger than
// kLargestPropertyListFile or is malformed.
[[nodiscard]] RefPtr<NSDictionary> readOldStylePList(const NSString &path);
[[nodiscard]] bool writeOldStylePList(const NSString &path, const NSDictionary &list);

// The text to show for the current errno: the system's own, translated by the resource "errno" of
// type "strings" of the main bundle. "Unknown error" for a number that the C library has no text
// for. A missing resource or entry is logged once.
[[nodiscard]] Ref<NSString> TeskerErrno();

// Logs a broken assumption; the caller carries on. The message is a format, see NSLog.h.
void TeskerBug(std::string_view message, std::initializer_list<std::string_view> arguments = {});
// Raises TeskerGenericFilerException with the reason.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the layer's users know it by.
[[noreturn]] void _ERROR(const NSString &reason);

// Callbacks of tables whose records begin with a string: hash and equality of that string.
struct hashStringKey {
  template <class Record> std::size_t operator()(const Record *record) const {
    return record->key->hash();
  }
};
struct isEqualStringKey {
  template <class Record> bool operator()(const Record *a, const Record *b) const {
    return a->key->isEqualToString(*b->key);
  }
};

} // namespace tesker
