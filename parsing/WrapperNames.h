// WrapperNames.h - how wrappers, and the files in them that say something, are called.
#pragma once

#include "filesystem/TextFunctions.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tesker {

// What the name of a directory that is an application ends in, behind the dot.
inline constexpr std::array<std::string_view, 3> kWrapperSuffixes = {"app", "debug", "profile"};

inline bool isWrapperSuffix(std::string_view suffix) {
  return std::ranges::find(kWrapperSuffixes, suffix) != kWrapperSuffixes.end();
}

// Whether a name in a wrapper is that of a wrapper in it, or of an executable that is as good.
inline bool isNestedWrapperName(std::string_view name) {
  const std::string_view suffix = suffixOf(name);
  return suffix == "tool" || suffix == "bundle";
}

// How descriptions are called, and the folder that has them.
inline constexpr std::string_view kInfoListName = "Info-quorvale.plist";
inline constexpr std::string_view kRegistryName = "registry.table";
inline constexpr std::string_view kResourcesName = "Resources";

// Kept: in a wrapper of the file browser's own, the resources are read as a wrapper once more.
inline bool hasWrapperInResources(std::string_view wrapperName) {
  return wrapperName.find("Tesker") != std::string_view::npos;
}

} // namespace tesker
