// PathFunctions.h - directory/file pairs, joining, splitting and normalising paths.
//
// A file is named by an absolute directory path `dir` and, optionally, one name inside it, `file`.
//   dir    never nil, never empty, begins with "/"; only the root ends in "/"
//   file   nil (the directory itself) or a non-empty name without "/"; "." is accepted by the
//          joining functions as a second way of saying the directory itself
// Clean components are strings: element 0 is "" and stands for the root, each further element is
// one name, never empty, "." or "..". So "/" is (""), and "/a/b" is ("", a, b).
//
// Nothing here raises. Bad input is logged to the system log and answered with nil or nothing, or
// carried on with. Paths are bytes.
#pragma once

#include "platform/foundation/NSString.h"
#include "platform/foundation/NSZone.h"

#include <cstddef>
#include <memory_resource>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unordered_set>
#include <vector>

namespace tesker {

// Size in bytes of every path buffer, the terminating NUL included (MAXPATHLEN).
inline constexpr std::size_t kPathBufferSize = 1024;
using PathBuffer = char[kPathBufferSize];

using Components = std::vector<NSString>;

struct DirFile {
  NSString dir;
  NSString file;
};

// Whether the file of a pair means the directory itself: nil or ".".
[[nodiscard]] bool namesDirectoryItself(const NSString &file);

// Logs "*** checkDirFile invariant broken for '%s','%s'" when the pair breaks the rules above; nil
// prints as empty text.
void TeskerCheckDirFile(const NSString &dir, const NSString &file);

// Checks the pair and writes its full path, NUL-terminated, into the buffer: (/usr, a) is
// "/usr/a", (/usr, nil) is "/usr", but (/usr, ".") is "/usr/", and a nil dir counts as the root. A
// path that does not fit, or that holds a NUL, leaves "": the system call after it fails like any
// other.
void TeskerSetCPath(PathBuffer &buffer, const NSString &dir, const NSString &file);
// Whether the path of a pair without a NUL fits into such a buffer.
[[nodiscard]] bool fitsCPath(const NSString &dir, const NSString &file);

// The full path as the one string whose bytes stand for it while the process lives
// (isSameObjectAs); dir itself when file is nil or ".". The pair is not checked.
[[nodiscard]] NSString TeskerCatDirFile(const NSString &dir, const NSString &file);

// Checks the pair and sets out to its full path; a nil or "." file gives dir, without a slash.
void TeskerSetCatDirFile(std::string &out, const NSString &dir, const NSString &file);

// Any absolute path as a pair: "/" is ("/", nil), "/a//b/./c/" is ("/a/b", "c"). Both are nil, and
// the path is logged, when it is relative, empty or holds "..".
[[nodiscard]] DirFile TeskerNormalizePathIntoDirFile(const NSString &path);

// Clean components of an absolute path: empty pieces and "." are dropped. Nothing and
// "*** Incorrect path: '%s'" when it is relative, empty or holds "..", which is never resolved.
[[nodiscard]] std::optional<Components> TeskerSplitPathIntoCleanComponents(const NSString &path);

// The same for a pair, but stricter: "." is refused too ("*** Incorrect dir: '%s'"), and a file
// that is ".", ".." or holds "/" ("*** Incorrect file: '%s'"). An empty file is appended as it is.
[[nodiscard]] std::optional<Components> TeskerSplitDirFileIntoCleanComponents(const NSString &dir,
                                                                              const NSString &file);

// The path of clean components: "/" for one element, "" for none.
[[nodiscard]] NSString TeskerJoinComponents(const Components &components);

// The pair's two halves. Both log "*** Incorrect components: %s" and give nil for a null pointer,
// which prints as "(null)", or no components, "()"; the root's file is nil.
[[nodiscard]] NSString TeskerDirForCleanComponents(const Components *components);
[[nodiscard]] NSString TeskerFileForCleanComponents(const Components *components);

// True when a is a strict prefix of b, element by element.
[[nodiscard]] bool TeskerIsRootOf(const Components &a, const Components &b);

// The set of all paths that TeskerCatDirFile joined; made at first use in the filer zone, grows for
// the life of the process.
using StringSet = std::pmr::unordered_set<NSString, StringKeyHash, StringKeyEqual>;
[[nodiscard]] StringSet &globalDirNameSet();

// Status of the path itself, a final symbolic link not followed. False and errno on failure.
[[nodiscard]] bool fileStat(const NSString &path, struct stat &status);

// Called with the path concerned right after a system call of the file-system layer failed; does
// nothing. It is the one place where such failures can be intercepted (a breakpoint, a probe).
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the layer's users know it by.
void _UNIX_ERROR(const NSString &path);

// ---- the memory zone of the file-system layer, "File Caching" ----
//
// Directory listings and their names, the joined paths, the user tables and the caches are in it.

// Made at the first call with a start size and granule of one page; the same zone ever after.
NSZone &filerZone();

} // namespace tesker
