// InputFile.h - files named on the command line, read and written whole.
#pragma once

#include "platform/foundation/FileContents.h"

#include <string>
#include <string_view>

namespace tesker {

// All bytes of the file, which may be of any kind that can be read to an end; "-" is standard
// input. Fails with the errno; EFBIG when it has more than `longest` bytes.
[[nodiscard]] Result<std::string> readInput(const std::string &name,
                                            std::size_t longest = kLargestContents);

// Replaces the contents of a regular file (where the name is a link: of the file it leads to), or
// makes a new one; readers see the old or the new contents. Fails with the errno; EINVAL when the
// name stands for something other than a file, such as a device or a directory.
[[nodiscard]] Result<> saveFile(const std::string &name, std::string_view bytes);

// The name as a person is told it: a display text, or "standard input".
[[nodiscard]] std::string inputName(const std::string &name);
// "NAME: REASON" for an errno of the two functions here.
[[nodiscard]] std::string fileError(const std::string &name, int error);

} // namespace tesker
