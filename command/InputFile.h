// InputFile.h - files named on the command line, read and written whole.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// No answer is longer, so nothing longer is read.
inline constexpr std::size_t kLongestInput = std::size_t{1} << 30;

// All bytes of the file, which may be of any kind that can be read to an end; "-" is standard
// input. Nothing and errno when it cannot be read; EFBIG when it has more than `longest` bytes.
std::optional<std::string> readInput(const std::string &name, std::size_t longest = kLongestInput);

// The same name as a person is told it: a display text, or "standard input".
std::string inputName(const std::string &name);
// "NAME: REASON" for an errno of the two functions here.
std::string fileError(const std::string &name, int error);

// Replaces the contents of a regular file (where the name is a link: of the file it leads to), or
// makes a new one; readers see the old or the new contents. False and errno on failure; EINVAL when
// the name stands for something other than a file, such as a device or a directory.
[[nodiscard]] bool saveFile(const std::string &name, std::string_view bytes);

} // namespace tesker
