// Output.h - what the command writes and reads: data to standard output, diagnostics to standard
// error, and files named on the command line.
//
// Nothing that fails to be written is passed over: the first error is kept, to be asked for at the
// end. Where nobody reads any longer, the command ends. Descriptors are borrowed.
#pragma once

#include "command/Problems.h"
#include "command/Terminal.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"

#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// Thrown by a write when the reader of a pipe or socket is gone. It ends a command as SIGPIPE ends
// other programs, but what the command holds (a tool, temporary files) is cleaned up on the way.
struct ReaderGone {};

// Data, buffered. After an error everything further is dropped; write and flush throw ReaderGone.
class Output {
public:
  explicit Output(int descriptor) : descriptor_(descriptor) {}
  ~Output() { writeOut(); }
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;

  void write(std::string_view bytes);
  void flush();
  // 0, or the errno of the first write that failed.
  int error() const { return error_; }
  // Whether nothing has been written yet, not even to the buffer.
  bool isUntouched() const { return untouched_; }

  // What can be shown where it goes; nothing but plain lines until it is said.
  const Terminal &terminal() const { return terminal_; }
  void setTerminal(const Terminal &terminal) { terminal_ = terminal; }

private:
  void writeOut();
  void endWithoutReader() const;
  int descriptor_;
  int error_ = 0;
  bool untouched_ = true;
  Terminal terminal_;
  std::string buffer_;
};

// What is said about the work, one line each. Names inside the texts have to be display texts.
// Errors are kept as well, for the answer of a command that is asked for JSON.
class Diagnostics {
public:
  enum class Level { quiet, normal, verbose };
  Diagnostics(int descriptor, Level level, const char *program = "tesker-apps")
      : descriptor_(descriptor), level_(level), program_(program) {}

  void setLevel(Level level) { level_ = level; }
  // "tesker-apps: TEXT", always; or another program's name.
  void error(std::string_view text);
  // "tesker-apps: PATH: TEXT", always; the path is bytes, and what is said of its place, if
  // anything, stands behind it.
  void errorAt(const std::string &path, std::string_view text, const std::string &place = {});
  // The same of a file named on the command line, for an errno of the functions below.
  void fileError(const std::string &name, int error);
  // The same, unless quiet.
  void note(std::string_view text);
  // "ToolFinder: TEXT", one line (any bytes) of the tool's own log; only when verbose.
  void toolLine(std::string_view bytes);
  bool verbose() const { return level_ == Level::verbose; }

  // A text of one line, for a person who waits: it stands there until the next one, or a line,
  // takes its place; an empty one only takes it away. Nothing where there are no statusColumns, and
  // where the terminal takes nothing at the moment.
  void status(std::string_view text);
  // How many columns such a text may have: 0 unless standard error is a terminal that says how wide
  // it is and moves its cursor, this process is not in its background, and the level is not quiet.
  std::size_t statusColumns() const;
  // What has gone wrong so far.
  const Problems &problems() const { return problems_; }
  // Keeps a line of the tool's log, too; nothing is printed.
  void keepLogLine(const std::optional<std::string> &path, const std::string &line) {
    problems_.addLogLine({path, line});
  }

private:
  void line(std::string_view who, std::string_view text);
  void keep(const std::optional<std::string> &path, std::string_view text);
  int descriptor_;
  Level level_;
  const char *program_;
  bool hasStatus_ = false;
  Problems problems_;
};

// ---- files named on the command line, read and written whole ----

// All bytes of the file, which may be of any kind that can be read to an end; "-" is standard
// input. Fails with the errno; EFBIG when it has more than `longest` bytes, ETIMEDOUT when it has
// not come to an end by the deadline, as a FIFO that nobody writes never does.
[[nodiscard]] Result<std::string> readInput(const std::string &name,
                                            std::size_t longest = kLargestContents,
                                            std::optional<Deadline> deadline = std::nullopt);

// Replaces the contents of a regular file (where the name is a link: of the file it leads to), or
// makes a new one; readers see the old or the new contents. Fails with the errno; EINVAL when the
// name stands for something other than a file, such as a device or a directory.
[[nodiscard]] Result<> saveFile(const std::string &name, std::string_view bytes);

// The name as a person is told it: a display text, or "standard input".
[[nodiscard]] std::string inputName(const std::string &name);
// "NAME: REASON" for an errno of the two functions here.
[[nodiscard]] std::string fileError(const std::string &name, int error);

} // namespace tesker
