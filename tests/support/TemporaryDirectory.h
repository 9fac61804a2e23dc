// TemporaryDirectory.h - a directory of its own for one test, removed with all that is in it.
#pragma once

#include "platform/foundation/NSString.h"

#include <string>
#include <string_view>
#include <sys/types.h>

namespace tesker::test {

class TemporaryDirectory {
public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory &) = delete;
  TemporaryDirectory &operator=(const TemporaryDirectory &) = delete;

  const std::string &path() const { return path_; }
  NSString string() const { return NSString::create(path_); }
  // The full path of a name inside.
  std::string path(std::string_view name) const;
  NSString string(std::string_view name) const { return NSString::create(path(name)); }

  // Each makes the missing directories above, and throws std::system_error on failure. Modes are
  // exact, whatever the umask.
  std::string writeFile(std::string_view name, std::string_view bytes, mode_t mode = 0644) const;
  std::string makeDirectory(std::string_view name, mode_t mode = 0755) const;
  std::string makeLink(std::string_view name, std::string_view target) const;

private:
  std::string path_;
};

} // namespace tesker::test
