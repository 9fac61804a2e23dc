// TreeSnapshot.h - all that an archive has to keep of a tree, for comparing.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <sys/types.h>

namespace tesker::test {

struct TreeEntry {
  mode_t mode;          // type and permissions
  nlink_t links;        // of anything but a directory
  std::string contents; // of a file, or what a link points to

  bool operator==(const TreeEntry &) const = default;
};

void PrintTo(const TreeEntry &entry, std::ostream *out);

// By the path below the directory; "" is the directory itself.
using TreeSnapshot = std::map<std::string, TreeEntry>;
TreeSnapshot snapshotOf(const std::string &directory);

} // namespace tesker::test
