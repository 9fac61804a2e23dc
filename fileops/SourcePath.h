// SourcePath.h - where to run tar, and what to give it, for the path of a source.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tesker {

struct SourcePath {
  std::string directory; // never empty: "/" for what stands directly in the root
  std::string baseName;  // what follows the last "/"; empty when nothing does
};

// What a path without any "/" means.
enum class WithoutSlash { isRefused, inWorkingDirectory };

// Splits the path at its last "/". Nothing, and a log line, when the path does not fit a path
// buffer (1024 bytes with its NUL), when it has no "/" and that is refused, and when it has none
// and the working directory cannot be found.
[[nodiscard]] std::optional<SourcePath> splitSourcePath(std::string_view path,
                                                        WithoutSlash withoutSlash);

} // namespace tesker
