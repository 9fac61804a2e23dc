// MountTable.h - what is mounted where, and what of that has changed. Internal to the catalog.
//
// A mount changes what directories there are without any event of theirs. The system has a table
// of all mounts, /proc/self/mountinfo, and says when there is something new in it (proc(5)).
#pragma once

#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <string>
#include <utility>
#include <vector>

namespace tesker {

class MountTable {
public:
  // As it is now. Fails with the errno.
  [[nodiscard]] static Result<MountTable> open();

  // Exceptional (EPOLLPRI) at the first poll after a change, and only then.
  int descriptor() const { return wakes_.number(); }
  // Where something was mounted, or no longer is, or is mounted otherwise, since the last time;
  // however often the descriptor was polled. Fails with the errno: anything may have changed.
  [[nodiscard]] Result<std::vector<std::string>> takeChanged();

private:
  MountTable(FileDescriptor wakes, FileDescriptor table)
      : wakes_(std::move(wakes)), table_(std::move(table)) {}
  [[nodiscard]] Result<std::vector<std::string>> readLines() const;

  // A change is told once for each open file: the host's polls must not take it from here.
  FileDescriptor wakes_;
  FileDescriptor table_;
  std::vector<std::string> lines_; // sorted
};

} // namespace tesker
