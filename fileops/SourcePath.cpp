#include "fileops/SourcePath.h"

#include "fileops/ChildSteps.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <unistd.h>

namespace tesker {

namespace {

std::optional<SourcePath> inWorkingDirectory(std::string_view baseName) {
  PathBuffer directory;
  if (::getcwd(directory, sizeof directory) == nullptr) {
    NSLog("Cannot find the working directory of '%s': %s", {baseName, errorText(errno)});
    return std::nullopt;
  }
  return SourcePath{directory, std::string(baseName)};
}

} // namespace

std::optional<SourcePath> splitSourcePath(std::string_view path, WithoutSlash withoutSlash) {
  if (path.size() >= kPathBufferSize) {
    NSLog("The source path is longer than %d bytes: '%s'",
          {std::to_string(kPathBufferSize - 1), path});
    return std::nullopt;
  }
  const std::size_t slash = path.rfind('/');
  if (slash != std::string_view::npos)
    return SourcePath{std::string(slash == 0 ? "/" : path.substr(0, slash)),
                      std::string(path.substr(slash + 1))};
  if (withoutSlash == WithoutSlash::inWorkingDirectory)
    return inWorkingDirectory(path);
  NSLog("The source path has no directory before its name: '%s'", {path});
  return std::nullopt;
}

} // namespace tesker
