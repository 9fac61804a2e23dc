// Check.h - every problem of one file or wrapper that describes applications.
//
// The parsers of a search read it while a judge listens, so that there is one set of rules: what
// they do not take is an error or a warning, and what they take is never an error. Nothing here
// prints.
#pragma once

#include "command/CheckFindings.h"
#include "platform/foundation/Result.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

enum class DescriptionKind { list, registry, header };

struct CheckAnswer {
  std::vector<Finding> findings; // each once, in the order of their places
  int error = 0; // the errno where the file could not be examined or opened; 0 where it could
  std::optional<std::string> failure; // why the check did not come to its end, as a phrase
};

// Where no kind is named, the file's name or else its contents say what it is: a description, or
// something that is to be found in a search, with all that is below it. The file is read in a
// confined child (ConfinedChild.h); what was found until that failed is kept.
[[nodiscard]] CheckAnswer check(const std::string &path, std::optional<DescriptionKind> kind,
                                std::chrono::nanoseconds timeout);

// The same in this process. The findings are told as they are made, in any order, some of them
// twice. Fails with the errno where the file cannot be examined or opened, and says nothing then.
[[nodiscard]] Result<> checkFile(const std::string &path, std::optional<DescriptionKind> kind,
                                 const std::function<void(const Finding &)> &sink);

// The findings on the text of a header that is to stand at the path.
[[nodiscard]] std::vector<Finding> checkHeader(std::string_view text, const std::string &path);

} // namespace tesker
