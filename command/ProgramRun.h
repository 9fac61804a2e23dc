// ProgramRun.h - what our programs have around what they do: what their owner may have left out,
// the signals, and an output of which all is written.
#pragma once

#include "command/Arguments.h"
#include "command/Output.h"

#include <functional>
#include <string>
#include <vector>

namespace tesker {

// What the program does for the words behind its name.
using ProgramRun = std::function<ExitStatus(const std::vector<std::string> &words, Output &output,
                                            Diagnostics &diagnostics)>;

// The exit status of the process, for main to return; signals that were taken end it instead, as
// does an output that nobody reads any more. The name stands before what is said of errors.
[[nodiscard]] int runProgram(const char *name, int count, char **words, const ProgramRun &run);

// Help and versions are data, usage errors are not. The notice's status.
[[nodiscard]] ExitStatus print(const Notice &notice, Output &output);

} // namespace tesker
