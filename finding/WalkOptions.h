// WalkOptions.h - what a walk does only when it is asked to.
#pragma once

namespace tesker {

class ProgressMeter;

struct WalkOptions {
  // Leaves out a directory that it is in already, and logs that, in a line that begins with
  // kSkippedLinkLine. Costs no system call.
  bool skipsLinkCycles = false;
  // Is told how far the walk has come (ProgressMeter.h); borrowed. Nil: nobody asks.
  ProgressMeter *progress = nullptr;
};

} // namespace tesker
