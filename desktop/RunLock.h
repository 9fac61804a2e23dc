// RunLock.h - has one run of a verb at a time work on what it makes.
#pragma once

#include "desktop/Reports.h"
#include "platform/foundation/Files.h"

#include <optional>
#include <string>

namespace tesker {

// Takes the lock of PATH.lock for as long as the descriptor is open, and makes that file and what
// is missing of the directories above it. Another run is waited for. Nothing when it could not be
// had, which is reported.
[[nodiscard]] std::optional<FileDescriptor> lockFor(const std::string &path, Reports &reports);

} // namespace tesker
