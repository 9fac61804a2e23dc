// Commands.h - what each command of tesker-apps does.
//
// All print data to the output and everything else to the diagnostics, and answer the exit status,
// errors of the output itself not counted.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"

namespace tesker {

// list and dock: asks the tool, and prints each answer as it comes.
ExitStatus searchCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

// Between encoded text and what people and programs read.
ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);
ExitStatus encodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

} // namespace tesker
