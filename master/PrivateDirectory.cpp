#include "master/PrivateDirectory.h"

#include "platform/foundation/OperatingSystem.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace tesker {

Result<PrivateDirectory> PrivateDirectory::create() {
  const auto runtime = environmentValue("XDG_RUNTIME_DIR");
  if (runtime && runtime->starts_with('/'))
    if (auto made = createUnder(*runtime))
      return made;
  return createUnder("/tmp");
}

Result<PrivateDirectory> PrivateDirectory::createUnder(const std::string &parent) {
  std::string path = parent + "/tesker-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr)
    return Failure{errno};
  return PrivateDirectory(std::move(path));
}

PrivateDirectory::~PrivateDirectory() {
  // As a rule it is empty, and removing it then needs no descriptor, of which there may be none.
  if (path_.empty() || ::rmdir(path_.c_str()) == 0)
    return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

} // namespace tesker
