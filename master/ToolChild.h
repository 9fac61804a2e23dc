// ToolChild.h - what the tool's process does between fork and exec. Internal to the master.
#pragma once

namespace tesker {

struct ToolStart {
  const char *program;
  char *const *arguments;
  char *const *variables;
  int log;   // what the program writes goes here
  int error; // and the number of what keeps it from being one, here
};

// Becomes the program, with a clean start (ToolProcess.h). When it cannot, writes the errno to
// start.error and ends with status 127. Another thread may have held any lock at the fork, and the
// OperatingSystem in force may be anybody's, so it calls only what is async-signal-safe, directly.
[[noreturn]] void becomeProgram(ToolStart start);

} // namespace tesker
