#include "desktop/EntryIcon.h"

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>

namespace tesker {

namespace {

// Below a data directory, the best first. %: the icon's name.
constexpr std::array<const char *, 13> kPlaces{"/icons/hicolor/48x48/apps/%.png",
                                               "/icons/hicolor/64x64/apps/%.png",
                                               "/icons/hicolor/72x72/apps/%.png",
                                               "/icons/hicolor/96x96/apps/%.png",
                                               "/icons/hicolor/128x128/apps/%.png",
                                               "/icons/hicolor/scalable/apps/%.svg",
                                               "/icons/hicolor/256x256/apps/%.png",
                                               "/icons/hicolor/512x512/apps/%.png",
                                               "/icons/hicolor/32x32/apps/%.png",
                                               "/icons/hicolor/24x24/apps/%.png",
                                               "/pixmaps/%.png",
                                               "/pixmaps/%.svg",
                                               "/pixmaps/%.xpm"};

bool isIcon(const std::string &file) {
  struct stat status {};
  return std::ranges::any_of(kIconSuffixes,
                             [&](std::string_view suffix) { return file.ends_with(suffix); }) &&
         OperatingSystem::current().statAt(AT_FDCWD, file.c_str(), true, status) == 0 &&
         S_ISREG(status.st_mode);
}

// Kept: a name may have a suffix, which it should not; desktops take it away.
std::string iconNameOf(const std::string &icon) {
  for (const std::string_view suffix : kIconSuffixes)
    if (icon.ends_with(suffix))
      return icon.substr(0, icon.size() - suffix.size());
  return icon;
}

} // namespace

std::optional<std::string> iconFileFor(const std::string &icon,
                                       const DesktopDirectories &directories) {
  if (icon.empty())
    return std::nullopt;
  if (icon.front() == '/')
    return isIcon(icon) ? std::optional(icon) : std::nullopt;
  if (icon.find('/') != std::string::npos)
    return std::nullopt;
  const std::string name = iconNameOf(icon);
  for (const std::string &directory : directories.data)
    for (const std::string_view place : kPlaces) {
      const std::size_t mark = place.find('%');
      std::string file = directory;
      file.append(place.substr(0, mark)).append(name).append(place.substr(mark + 1));
      if (isIcon(file))
        return file;
    }
  return std::nullopt;
}

} // namespace tesker
