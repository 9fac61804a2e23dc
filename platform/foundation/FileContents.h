// FileContents.h - whole files in and out.
#pragma once

#include "platform/foundation/FileDescriptor.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/Result.h"

#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace tesker {

struct RegularFile {
  FileDescriptor descriptor;
  struct stat status;
};

// Opens a file for reading that must be a regular one, without waiting for a writer of a FIFO and
// without taking a terminal. The path is relative to the directory descriptor. Fails with the
// errno; EINVAL when it is not a regular file.
[[nodiscard]] Result<RegularFile> openRegularFile(const char *path, int directory = AT_FDCWD);

// The most bytes that contentsOfFile takes from a file unless told otherwise: what the largest text
// that travels to a master has.
inline constexpr std::size_t kLargestContents = std::size_t{1} << 30;

// The bytes of a regular file. Fails with the errno when it cannot be opened or read or is not a
// regular file, with EFBIG when it holds more than the limit. A file that shrinks or grows
// meanwhile gives what there was to read.
[[nodiscard]] Result<std::string> contentsOfFile(const NSString &path,
                                                 std::size_t limit = kLargestContents);

// Writes the bytes to a new file beside the path and renames it over the path, so that readers
// see the old or the new contents, never a part. Mode 0666 less the umask. On failure the path is
// as it was and no other file is left.
[[nodiscard]] Result<> writeFileAtomically(const NSString &path, std::string_view bytes);

} // namespace tesker
