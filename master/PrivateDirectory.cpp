#include "master/PrivateDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace tesker {

PrivateDirectory::PrivateDirectory() {
  const char *runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime == nullptr || runtime[0] != '/' || !makeUnder(runtime))
    makeUnder("/tmp");
}

bool PrivateDirectory::makeUnder(const std::string &parent) {
  std::string path = parent + "/tesker-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) {
    error_ = errno;
    return false;
  }
  path_ = std::move(path);
  error_ = 0;
  return true;
}

PrivateDirectory::~PrivateDirectory() {
  // As a rule it is empty, and removing it then needs no descriptor, of which there may be none.
  if (path_.empty() || ::rmdir(path_.c_str()) == 0)
    return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

} // namespace tesker
