// ExportedIcon.h - where the icon of an application goes in the person's icon theme.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesker {

struct ExportedIcon {
  std::string file;   // in a wrapper
  std::string folder; // in the theme: "48x48/apps"
  std::string suffix; // ".png"
};

// The icon of that name in the directory that the program lies in, or in its Resources. Nothing
// where there is none in a form that every desktop shows: PNG and SVG.
[[nodiscard]] std::optional<ExportedIcon> exportedIcon(const std::string &program,
                                                       const std::string &icon);

// The folder for a PNG: that of the largest usual size that its picture has at least. Nothing when
// the bytes are not the beginning of one, or it is smaller than all.
[[nodiscard]] std::optional<std::string> folderForPNG(std::string_view bytes);

} // namespace tesker
