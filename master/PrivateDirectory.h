// PrivateDirectory.h - a directory of one's own for as long as it is needed.
// Internal to the master.
#pragma once

#include "platform/foundation/Result.h"

#include <string>
#include <utility>

namespace tesker {

// A new directory with mode 0700 under $XDG_RUNTIME_DIR, or under /tmp where that is unset or
// refuses. Removed at the end, with all that is in it. Moves, never copies.
class PrivateDirectory {
public:
  // Fails with the errno.
  [[nodiscard]] static Result<PrivateDirectory> create();
  PrivateDirectory(PrivateDirectory &&other) noexcept : path_(std::exchange(other.path_, {})) {}
  PrivateDirectory &operator=(PrivateDirectory &&other) noexcept {
    path_.swap(other.path_);
    return *this;
  }
  PrivateDirectory(const PrivateDirectory &) = delete;
  PrivateDirectory &operator=(const PrivateDirectory &) = delete;
  ~PrivateDirectory();

  const std::string &path() const { return path_; }

private:
  explicit PrivateDirectory(std::string path) : path_(std::move(path)) {}
  [[nodiscard]] static Result<PrivateDirectory> createUnder(const std::string &parent);

  std::string path_; // empty when it has been moved from
};

} // namespace tesker
