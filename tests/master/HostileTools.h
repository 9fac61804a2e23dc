// HostileTools.h - a table of tools that mean no good, and how a search with each of them ends.
#pragma once

#include "master/SearchOutcome.h"

#include <optional>
#include <ostream>
#include <vector>

namespace tesker::test {

enum class Ending {
  answered,
  cannotSearch,
  noHandOver,
  toolDied,
  timedOut,
  protocolBroken,
  malformedAnswer,
  connectionLost,
  cancelled,
};

Ending endingOf(const SearchOutcome &outcome);
// In words.
const char *nameOf(Ending ending);

// What a search with the tool leaves: processes in sessions of their own, which do not end with the
// tool, and directories nested deeper than a master clears.
enum class Leaves { nothing, processes, deepDirectories };

// One of the ways of tesker-fake-tool.
struct HostileToolKind {
  const char *way;
  Ending ending; // unless the deadline is earlier
  Leaves leaves = Leaves::nothing;
  long mebibytes = 256;                 // that the master's process may need for it
  std::optional<Ending> otherwise = {}; // where it depends on who is quicker

  bool admits(Ending given) const { return given == ending || given == otherwise; }
};

inline void PrintTo(const HostileToolKind &tool, std::ostream *stream) { *stream << tool.way; }

const std::vector<HostileToolKind> &hostileTools();

} // namespace tesker::test
