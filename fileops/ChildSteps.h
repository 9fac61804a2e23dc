// ChildSteps.h - what a child does between fork and exec.
//
// Other threads may have held any lock when the child was forked, so everything here makes
// async-signal-safe calls only: no allocation, no lock, no stream. Whatever it works on was made
// before the fork, and system calls go past the OperatingSystem. Log lines go to standard error as
// NSLog writes them.
#pragma once

namespace tesker {

class Command;

// The text for an errno. Safe in a child: it is neither made nor translated.
[[nodiscard]] const char *errorText(int error);

// Gives signals that the caller handles, and SIGPIPE, their default effect.
void forgetHandlers();

// Makes the descriptor the child's standard one of that number (STDIN_FILENO, STDOUT_FILENO).
void useAsStandard(int descriptor, int standard);

// False when the directory cannot be made the working one, logged as "Cannot chdir to %s: %s".
[[nodiscard]] bool changeDirectory(const char *directory);
// The same, and the child ends with status 127 on failure.
void changeDirectoryOrEnd(const char *directory);

// Kept: the line ends in a colon, without the reason that should follow it; readers of the log know
// it so.
inline constexpr const char *kCannotOpenForWriting = "cannot open '%s' for writing:";

// Opens a file for reading, or creates it (or empties it) for writing, as a close-on-exec
// descriptor beyond the three standard ones. On failure "cannot open '%s' for reading:" or "cannot
// open '%s' for writing:" is logged, and the child ends with status 127.
[[nodiscard]] int openInputOrEnd(const char *path);
[[nodiscard]] int createOutputOrEnd(const char *path);

// Executes the program. When it cannot be executed, logs "Cannot exec %s: %s" and ends the child
// with status 127.
[[noreturn]] void execute(const Command &command);

} // namespace tesker
