// SearchCommand.h - list and dock: ask the tool, print its answers.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"

namespace tesker {

// Prints each answer to the output as it comes, and everything else to the diagnostics. Answers the
// exit status, errors of the output itself not counted.
ExitStatus searchCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

} // namespace tesker
