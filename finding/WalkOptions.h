// WalkOptions.h - what a walk does only when it is asked to.
#pragma once

namespace tesker {

class ProgressMeter;
class StopRequest;

struct WalkOptions {
  // Leaves out a directory that it is in already, and logs that, in a line that begins with
  // kSkippedLinkLine. Costs no system call.
  bool skipsLinkCycles = false;
  // Is told how far the walk has come (ProgressMeter.h); borrowed. Nil: nobody asks.
  ProgressMeter *progress = nullptr;
  // Ends the walk early when it is asked to (StopRequest.h), with what it has; borrowed. Nil: it
  // goes to its end.
  StopRequest *stop = nullptr;
};

} // namespace tesker
