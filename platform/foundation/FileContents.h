// FileContents.h - whole files in and out.
#pragma once

#include "platform/foundation/NSString.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace tesker {

// Opens a file for reading that must be a regular one, without waiting for a writer of a FIFO and
// without taking a terminal. Negative and errno when it cannot be opened; EINVAL when it is no
// regular file. The caller owns the descriptor. The status is that of the opened file.
[[nodiscard]] int openRegularFile(const char *path, struct stat &status);

// The bytes of a regular file; nothing when it cannot be opened or read, or is no regular file
// (errno says why). A file that shrinks meanwhile gives what there was to read.
[[nodiscard]] std::optional<std::string> contentsOfFile(const NSString &path);

// Writes the bytes to a new file beside the path and renames it over the path, so that readers
// see the old or the new contents, never a part. Mode 0666 less the umask. False and errno on
// failure; the path then is as it was and no other file is left.
[[nodiscard]] bool writeFileAtomically(const NSString &path, std::string_view bytes);

} // namespace tesker
