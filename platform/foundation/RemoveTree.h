// RemoveTree.h - removes a directory with all that is in it.
#pragma once

#include "platform/foundation/Deadline.h"
#include "platform/foundation/Result.h"

#include <string>

namespace tesker {

// How many directories deep a tree is removed.
inline constexpr int kDeepestRemoved = 32;

// As far as it goes until the deadline, and without asking for memory; links in it are removed, not
// followed. Fails with the errno where something is left.
Result<> removeTree(const std::string &path, const Deadline &deadline);

} // namespace tesker
