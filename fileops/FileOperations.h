// FileOperations.h - removing, packing and compressing by the system's own programs.
//
// Every operation runs one or two programs as child processes, waits until all of them have ended,
// and answers whether everything was done. The programs are named by the user defaults "rm", "tar",
// "compress" and "uncompress" (filesystem/BuiltInDefaults.h), read at every call; without a value
// the operation fails with a log line. Nothing adds or takes off a suffix: callers name every input
// and output file.
//
// All arguments are paths as C strings, any bytes, never nil; relative ones start at the working
// directory unless said otherwise. A child counts as successful when it ended by itself with status
// 0. What goes wrong is logged through NSLog, by a child too (then straight to standard error); the
// programs' own messages go to standard error. A child that cannot do its part ends with status
// 127; one whose program cannot be executed logs "Cannot exec %s: %s" first. A failed fork is
// logged as "Cannot fork: %s" and counts as a child that failed.
//
// Children inherit the environment and the caller's open descriptors, and start with SIGPIPE at its
// default even where the caller ignores it.
//
// Output files are made with mode 0666 less the umask. What is there already is emptied, links
// followed; what it held is lost. But an output is refused, as one that cannot be created, before
// any child is started and with nothing changed, when it is
//   the source, or a file in the tree that the source is, by any path, symbolic or hard link;
//   neither a regular file nor a device: a directory, a socket, a FIFO that nobody reads.
//
// Callers must neither ignore SIGCHLD nor wait for children that are not theirs, or operations
// count as failed.
#pragma once

namespace tesker {

// Removes the file or the whole tree: rm -rf PATH. What the program says is the answer, so a path
// that names nothing counts as removed. On failure some of the tree may be gone.
[[nodiscard]] bool destroyFile(const char *path);

// Packs and compresses a file or tree: tar cf - NAME, in the source's directory, into
// compress -f -c, into the output file. The source path has to hold a "/" and to be shorter than
// 1024 bytes, else it is refused with a log line. No child is started when the output cannot be
// created. On failure the output is removed, whatever it was before: a symbolic link itself, not
// what it leads to; a device stays. Logs
// "cannot create '%s':", "cannot create pipe: %s", "Cannot chdir to %s: %s" (and tar runs all the
// same) and "Error while executing %s" for each program that failed.
[[nodiscard]] bool compressFile(const char *sourcePath, const char *outputFile);

// The reverse: uncompress -c reading the archive, into tar xpf -, in the target directory. On
// failure what was extracted stays. Logs "cannot create '%s':" when the archive cannot be opened,
// "cannot create pipe: %s", "Cannot chdir to %s: %s" (and nothing is extracted) and
// "Error while executing %s".
[[nodiscard]] bool uncompressFile(const char *archive, const char *targetDirectory);

// Compresses one file: compress -c from the input file into the output file. A file that would not
// shrink (status 2 of the program) is a failure, logged as
// "%s is already as compressed as it can get". The output file stays on failure. Logs
// "cannot open '%s' for reading:" (and no output file is made) and "cannot open '%s' for writing:".
[[nodiscard]] bool compressZFile(const char *inputFile, const char *outputFile);

// The reverse, with uncompress -c; status 2 means nothing special here.
[[nodiscard]] bool uncompressZFile(const char *inputFile, const char *outputFile);

// Packs a file or tree: tar cf ARCHIVE NAME, in the source's directory; a source without a "/" is
// in the working directory. A relative archive path starts at the source's directory. A source path
// of 1024 bytes or more is refused with a log line. On failure whatever the program made of the
// archive stays. Logs "cannot create '%s':" for an archive that is refused, and
// "Cannot chdir to %s: %s" (and nothing is packed).
[[nodiscard]] bool archiveTarFile(const char *sourcePath, const char *archive);

// The reverse: tar xpf ARCHIVE, in the target directory, where a relative archive path starts too.
// On failure what was extracted stays. Logs "Cannot chdir to %s: %s" (and nothing is extracted).
[[nodiscard]] bool unarchiveTarFile(const char *archive, const char *targetDirectory);

// Interrupts the operation that is under way in this process: its programs are sent the signal and
// no further one is started. It still waits for them, cleans up, logs and answers as it does when
// they fail by themselves. False, with nothing done, when no operation is under way, or when it has
// made and started nothing yet. Later operations are not concerned.
//
// The library handles no signals. A program that a signal is to end, but not half-way, calls this
// in its handler and ends when the operation has answered, or at once when this answers false. It
// is async-signal-safe and leaves errno alone. Children forget the caller's handlers at once.
[[nodiscard]] bool interruptFileOperation(int signal);

} // namespace tesker
