// ProgramStart.h - how a child process becomes a program, from its fork on.
//
// The child gets a clean start: nothing on standard input unless something is given, standard
// output and error in one place, no other descriptor of its parent, no blocked or ignored signal,
// and a process group of its own.
#pragma once

namespace tesker {

struct ProgramStart {
  const char *program;    // a path, which is not searched for
  char *const *arguments; // the program's name first
  char *const *variables;
  int input = -1;          // becomes standard input; -1: nothing is there
  int output;              // becomes standard output and error
  int error;               // the writing end of a pipe; see becomeProgram
  bool ownSession = false; // without a terminal, so that none ends it
};

// To be called in a child right after its fork, with all signals held. Where the program cannot be
// executed, the errno (an int) goes into the pipe and the child ends; where it is executed, the
// pipe is closed without a word. Another thread may have held any lock at the fork, and the
// OperatingSystem in force may be anybody's, so it calls only what is async-signal-safe, directly.
[[noreturn]] void becomeProgram(ProgramStart start);

} // namespace tesker
