#include "desktop/DesktopDirectories.h"

#include "command/DesktopPlaces.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <algorithm>

namespace tesker {

namespace {

void append(std::vector<std::string> &directories, std::string_view directory) {
  while (directory.size() > 1 && directory.ends_with('/'))
    directory.remove_suffix(1);
  if (directory.starts_with('/') && std::ranges::find(directories, directory) == directories.end())
    directories.emplace_back(directory);
}

void appendAll(std::vector<std::string> &directories, std::string_view list) {
  for (const std::string_view directory : piecesOf(list, ':'))
    append(directories, directory);
}

std::string configurationDirectory() {
  std::string given = environmentValue("XDG_CONFIG_HOME").value_or("");
  return given.starts_with('/') ? given : homeDirectory().value_or("") + "/.config";
}

} // namespace

std::optional<DesktopDirectories> desktopDirectories() {
  const std::optional<std::string> own = userDataDirectory();
  if (!own)
    return std::nullopt;
  DesktopDirectories directories;
  append(directories.data, *own);
  directories.own = directories.data.front();
  appendAll(directories.data,
            environmentValue("XDG_DATA_DIRS").value_or("/usr/local/share:/usr/share"));
  append(directories.configuration, configurationDirectory());
  appendAll(directories.configuration, environmentValue("XDG_CONFIG_DIRS").value_or("/etc/xdg"));
  for (const std::string_view desktop :
       piecesOf(environmentValue("XDG_CURRENT_DESKTOP").value_or(""), ':'))
    if (!desktop.empty() && desktop.find('/') == std::string_view::npos)
      directories.desktops.emplace_back(desktop);
  return directories;
}

} // namespace tesker
