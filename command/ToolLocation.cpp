#include "command/ToolLocation.h"

#include "platform/foundation/OperatingSystem.h"

#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace tesker {

std::string toolBesideThisProgram() {
  std::error_code ignored;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
  const std::string installed = (folder / TESKER_TOOL_FROM_PROGRAMS).lexically_normal();
  if (OperatingSystem::current().access(installed.c_str(), F_OK) == 0)
    return installed;
  return folder / "ToolFinder";
}

} // namespace tesker
