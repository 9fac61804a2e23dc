// WalkOptions.h - what a walk does only when it is asked to.
#pragma once

namespace tesker {

class ProgressMeter;
class RecordEncoder;
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
  // Takes each record when it is found, so that none of them stays in memory: the encoded text and
  // its distinct strings take a third of that. Borrowed. Nil: the walk's lines keep the records.
  RecordEncoder *encoder = nullptr;
};

} // namespace tesker
