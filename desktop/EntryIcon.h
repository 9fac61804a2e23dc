// EntryIcon.h - the picture that a desktop shows for an entry.
#pragma once

#include "desktop/DesktopDirectories.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// How pictures end that are looked at.
inline constexpr std::array<std::string_view, 3> kIconSuffixes{".png", ".svg", ".xpm"};

// The path of the picture for what an entry has as its icon: a path, or a name that the theme on
// which all others stand has a picture for. Of several sizes that of 48 pixels, or what is nearest
// to it and larger. Nothing where there is no such regular file.
[[nodiscard]] std::optional<std::string> iconFileFor(const std::string &icon,
                                                     const DesktopDirectories &directories);

} // namespace tesker
