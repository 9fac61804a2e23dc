// PrivateDirectory.h - a directory of one's own for as long as it is needed.
// Internal to the master.
#pragma once

#include <string>

namespace tesker {

// A new directory with mode 0700 under $XDG_RUNTIME_DIR, or under /tmp where that is unset or
// refuses. Removed at the end, with all that is in it.
class PrivateDirectory {
public:
  PrivateDirectory();
  ~PrivateDirectory();
  PrivateDirectory(const PrivateDirectory &) = delete;
  PrivateDirectory &operator=(const PrivateDirectory &) = delete;

  // Empty when it could not be made; error() is the errno then, and 0 otherwise.
  const std::string &path() const { return path_; }
  int error() const { return error_; }

private:
  bool makeUnder(const std::string &parent);
  std::string path_;
  int error_ = 0;
};

} // namespace tesker
