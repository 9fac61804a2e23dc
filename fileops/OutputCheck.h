// OutputCheck.h - whether an operation may write into a file without losing what it is to read.
#pragma once

#include <string>

namespace tesker {

// Whether the output may be cut and written while the source is read. It may when it is not there
// yet, and when it is a device, a pipe that somebody reads or a regular file, links followed, but
// not one of these:
//   the source, by whatever name, or what the source leads to where that is a symbolic link;
//   the source's own entry, a link that would be removed with the output;
//   a file in the tree that the source is, by whatever name. A file of several names is looked for
//   in the whole tree; what cannot be listed may hold it.
// A pipe that nobody reads would keep the operation waiting, a socket cannot be opened, and a
// directory cannot be written.
// Only looks, and logs nothing. Relative paths start at the working directory.
[[nodiscard]] bool mayBeOutput(const std::string &output, const std::string &source);

} // namespace tesker
