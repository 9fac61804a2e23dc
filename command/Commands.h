// Commands.h - what tesker-apps does.
//
// Each command prints data to the output and everything else to the diagnostics, and answers the
// exit status, errors of the output itself not counted. Threading: one thread, the process's only.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"

namespace tesker {

ExitStatus searchCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);
ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);
ExitStatus encodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

// The command that the arguments ask for.
ExitStatus runCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

// The status once the output is flushed: an output that cannot be written is an error, and makes
// the status of what went well kFailed.
ExitStatus statusWithOutput(ExitStatus status, Output &output, Diagnostics &diagnostics);

} // namespace tesker
