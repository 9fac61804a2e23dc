// ExportedTypes.h - MIME types for the file extensions that the MIME database does not know.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace tesker {

// What all of them begin with.
inline constexpr std::string_view kExportedTypes = "application/x-tesker-";

// The type for an extension: its lower-case letters and digits, and other bytes as "_" and two
// digits. Nothing for one that no glob can name: with a character that a glob takes for something
// else, a control character, or bytes that are not UTF-8.
[[nodiscard]] std::optional<std::string> exportedTypeFor(std::string_view extension);

// The package for the MIME database that has a type for each of the extensions, which have one.
[[nodiscard]] std::string mimePackageFor(const std::set<std::string> &extensions);

} // namespace tesker
