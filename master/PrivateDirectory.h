// PrivateDirectory.h - the directory that a tool meets its master in. Internal to the master.
#pragma once

#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <optional>
#include <string>
#include <utility>

namespace tesker {

// A new directory with mode 0700 under $XDG_RUNTIME_DIR, or under /tmp where that is unset or
// refuses. Removed at the end, with all that is in it as far as two seconds go and as it is not
// nested deeper than 32 directories. Moves, never copies.
//
// While its maker lives it is locked (flock(2)), and the lock ends with the process whatever ends
// that. So what a killed process has left can be told from what is in use, and the next one that
// makes a directory beside it removes it.
class PrivateDirectory {
public:
  // How many of the names beside a new directory are looked at for what was left, and how many
  // directories are removed: many more than there should be, and few enough not to be noticed.
  static constexpr int kMostNamesSeen = 10'000;
  static constexpr int kMostRemoved = 32;

  // Fails with the errno.
  [[nodiscard]] static Result<PrivateDirectory> create();
  PrivateDirectory(PrivateDirectory &&other) noexcept
      : path_(std::exchange(other.path_, {})), bootstrapPath_(std::move(other.bootstrapPath_)),
        lock_(std::move(other.lock_)) {}
  PrivateDirectory &operator=(PrivateDirectory &&other) noexcept {
    path_.swap(other.path_);
    bootstrapPath_.swap(other.bootstrapPath_);
    std::swap(lock_, other.lock_);
    return *this;
  }
  PrivateDirectory(const PrivateDirectory &) = delete;
  PrivateDirectory &operator=(const PrivateDirectory &) = delete;
  ~PrivateDirectory();

  // Removes it and what is in it, until that time has passed. Whether that is done, or nothing more
  // can be done about it.
  bool remove(const Deadline &pause);

  const std::string &path() const { return path_; }
  // A place for a service's own directory in it, which is not made yet: a service locks that
  // itself.
  const std::string &bootstrapPath() const { return bootstrapPath_; }

private:
  // Of a directory that is not made yet.
  explicit PrivateDirectory(std::string path)
      : path_(std::move(path)), bootstrapPath_(path_ + "/bootstrap") {}
  [[nodiscard]] static Result<PrivateDirectory> createUnder(const std::string &parent);

  // Empty when it has been moved from, and once it is removed. Both are there beforehand, since
  // removing the directory must not ask for memory.
  std::string path_;
  std::string bootstrapPath_;
  FileDescriptor lock_;
  std::optional<Deadline> timeToRemove_; // once that has begun
};

} // namespace tesker
