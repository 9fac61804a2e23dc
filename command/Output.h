// Output.h - what the command writes and reads: data to standard output, diagnostics to standard
// error, and files named on the command line.
//
// Nothing that fails to be written is passed over: the first error is kept, to be asked for at the
// end. Where nobody reads any longer, the command ends. Descriptors are borrowed.
#pragma once

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
  // Columns of the terminal that is written to; 0 when it is not a terminal or does not say.
  std::size_t terminalColumns() const;

private:
  void writeOut();
  void endWithoutReader() const;
  int descriptor_;
  int error_ = 0;
  std::string buffer_;
};

// What is said about the work, one line each. Names inside the texts have to be display texts.
class Diagnostics {
public:
  enum class Level { quiet, normal, verbose };
  Diagnostics(int descriptor, Level level) : descriptor_(descriptor), level_(level) {}

  void setLevel(Level level) { level_ = level; }
  // "tesker-apps: TEXT", always.
  void error(std::string_view text);
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

private:
  void line(std::string_view who, std::string_view text);
  int descriptor_;
  Level level_;
  bool hasStatus_ = false;
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
