// KeptFiles.h - files that a program keeps for its person: the directories above them, and their
// locks.
#pragma once

#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"

#include <string>

namespace tesker {

// Makes the directories above the path that are missing, for this user alone. Fails with the errno.
[[nodiscard]] Result<> makeDirectoriesAbove(const std::string &path);

// Opens the file, which is made where it is missing, with an exclusive lock of it: for as long as
// the descriptor is open. What is replaced meanwhile needs a file of its own for that. Fails with
// the errno, EWOULDBLOCK when another process holds the lock at the deadline.
[[nodiscard]] Result<FileDescriptor> openLocked(const std::string &path, const Deadline &deadline);

} // namespace tesker
