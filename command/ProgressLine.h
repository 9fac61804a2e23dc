// ProgressLine.h - how far a search has come, on a terminal, for a person who waits.
#pragma once

#include "command/Output.h"
#include "master/SearchOutcome.h"
#include "platform/foundation/Deadline.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace tesker {

// "searching: 12 directories, 345 entries, 6 records: DIRECTORY", in at most so many columns: a
// long directory loses its middle (shortenedPath). The name is a display text.
[[nodiscard]] std::string progressText(const SearchProgress &progress, std::size_t columns);

// One line on standard error that goes away with this object, where standard error has a place for
// it (Diagnostics::statusColumns).
class ProgressLine {
public:
  // Nobody needs it for a search that is over at once.
  static constexpr std::chrono::milliseconds kTimeBefore{500};

  // Shown from the given time on. The diagnostics are borrowed.
  ProgressLine(Diagnostics &diagnostics, Deadline begin)
      : diagnostics_(diagnostics), begin_(begin) {}
  ~ProgressLine() { diagnostics_.status(""); }
  ProgressLine(const ProgressLine &) = delete;
  ProgressLine &operator=(const ProgressLine &) = delete;

  void show(const SearchProgress &progress);

private:
  Diagnostics &diagnostics_;
  Deadline begin_;
};

} // namespace tesker
