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

// The most bytes that contentsOfFile takes from a file unless told otherwise: what the largest text
// that travels to a master has.
inline constexpr std::size_t kLargestContents = std::size_t{1} << 30;

// The bytes of a regular file; nothing when it cannot be opened or read, is no regular file, or
// holds more than the limit (errno says why; EFBIG for the last). A file that shrinks or grows
// meanwhile gives what there was to read.
[[nodiscard]] std::optional<std::string> contentsOfFile(const NSString &path,
                                                        std::size_t limit = kLargestContents);

// Writes the bytes to a new file beside the path and renames it over the path, so that readers
// see the old or the new contents, never a part. Mode 0666 less the umask. False and errno on
// failure; the path then is as it was and no other file is left.
[[nodiscard]] bool writeFileAtomically(const NSString &path, std::string_view bytes);

} // namespace tesker
