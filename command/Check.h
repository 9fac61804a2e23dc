// Check.h - every problem of one file or wrapper that describes applications.
//
// The parsers of a search read it while a judge listens, so that there is one set of rules: what
// they do not take is an error or a warning, and what they take is never an error. In this process;
// nothing here prints.
#pragma once

#include "command/CheckFindings.h"
#include "platform/foundation/Result.h"

#include <functional>
#include <optional>
#include <string>

namespace tesker {

enum class DescriptionKind { list, registry, header };

// Tells the findings, in the order of their places. Where no kind is named, the file's name or else
// its contents say what it is: a description, or something that is to be found in a search, with
// all that is below it. Fails with the errno where the file cannot be examined or opened, and says
// nothing then.
[[nodiscard]] Result<> checkFile(const std::string &path, std::optional<DescriptionKind> kind,
                                 const std::function<void(const Finding &)> &sink);

} // namespace tesker
