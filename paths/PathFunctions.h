// PathFunctions.h - directory/file pairs, joining, splitting and normalising paths.
//
// A file is named by an absolute directory path `dir` and, optionally, one name inside it, `file`.
//   dir    never nil, never empty, begins with "/"; only the root ends in "/"
//   file   nil (the directory itself) or a non-empty name without "/"; "." is accepted by the
//          joining functions as a second way of saying the directory itself
// Clean components are an array of strings: element 0 is "" and stands for the root, each further
// element is one name, never empty, "." or "..". So "/" is (""), and "/a/b" is ("", a, b).
//
// Nothing here raises. Bad input is logged to the system log and answered with nil, or carried on
// with. Paths are bytes. Threading: one thread.
#pragma once

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSSet.h"
#include "platform/foundation/NSString.h"

#include <cstddef>
#include <sys/stat.h>

namespace tesker {

// Size in bytes of every path buffer, the terminating NUL included (MAXPATHLEN).
inline constexpr std::size_t kPathBufferSize = 1024;
using PathBuffer = char[kPathBufferSize];

// Logs "*** checkDirFile invariant broken for '%s','%s'" when the pair breaks the rules above; nil
// prints as empty text.
void TeskerCheckDirFile(const NSString *dir, const NSString *file);

// Checks the pair and writes its full path, NUL-terminated, into the buffer: (/usr, a) is
// "/usr/a", (/usr, nil) is "/usr", but (/usr, ".") is "/usr/", and a nil dir counts as the root. A
// path that does not fit, or that holds a NUL, leaves "": the system call after it fails like any
// other.
void TeskerSetCPath(PathBuffer &buffer, const NSString *dir, const NSString *file);

// The full path as the one shared string object that stands for it while the process lives; dir
// itself when file is nil or ".". The pair is not checked.
[[nodiscard]] Ref<NSString> TeskerCatDirFile(const NSString &dir, const NSString *file);

// Checks the pair and sets out to its full path; a nil or "." file gives dir, without a slash.
void TeskerSetCatDirFile(NSMutableString &out, const NSString *dir, const NSString *file);

// Any absolute path as a pair: "/" is ("/", nil), "/a//b/./c/" is ("/a/b", "c"). Both are nil, and
// the path is logged, when it is relative, empty or holds "..".
void TeskerNormalizePathIntoDirFile(const NSString &path, RefPtr<NSString> &dir,
                                    RefPtr<NSString> &file);

// Clean components of an absolute path: empty pieces and "." are dropped. Nil and
// "*** Incorrect path: '%s'" when it is relative, empty or holds "..", which is never resolved.
[[nodiscard]] RefPtr<NSMutableArray> TeskerSplitPathIntoCleanComponents(const NSString &path);

// The same for a pair, but stricter: "." is refused too ("*** Incorrect dir: '%s'"), and a file
// that is ".", ".." or holds "/" ("*** Incorrect file: '%s'"). An empty file is appended as it is.
[[nodiscard]] RefPtr<NSMutableArray> TeskerSplitDirFileIntoCleanComponents(const NSString &dir,
                                                                           const NSString *file);

// The path of clean components: "/" for one element, "" for none.
[[nodiscard]] Ref<NSString> TeskerJoinComponents(const NSArray &components);

// The pair's two halves. Both log "*** Incorrect components: %s" and give nil for nil or no
// components; the root's file is nil.
[[nodiscard]] RefPtr<NSString> TeskerDirForCleanComponents(const NSArray *components);
[[nodiscard]] RefPtr<NSString> TeskerFileForCleanComponents(const NSArray *components);

// True when a is a strict prefix of b, element by element.
[[nodiscard]] bool TeskerIsRootOf(const NSArray &a, const NSArray &b);

// The set of all paths that TeskerCatDirFile joined; made at first use in the filer zone, grows for
// the life of the process.
[[nodiscard]] NSMutableSet &globalDirNameSet();

// Status of the path itself, a final symbolic link not followed. False and errno on failure.
[[nodiscard]] bool fileStat(const NSString &path, struct stat &status);

// Called with the path concerned right after a system call of the file-system layer failed; does
// nothing. It is the one place where such failures can be intercepted (a breakpoint, a probe).
// NOLINTNEXTLINE(bugprone-reserved-identifier): the name that the layer's users know it by.
void _UNIX_ERROR(const NSString &path);

} // namespace tesker
