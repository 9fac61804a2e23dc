// CodecCommands.h - decode and encode: between encoded text and what people and programs read.
//
// Both print data to the output and everything else to the diagnostics, and answer the exit status,
// errors of the output itself not counted.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"

namespace tesker {

ExitStatus decodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);
ExitStatus encodeCommand(const Arguments &arguments, Output &output, Diagnostics &diagnostics);

} // namespace tesker
