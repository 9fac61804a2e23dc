#include "command/Output.h"

#include "command/DisplayText.h"
#include "platform/foundation/OperatingSystem.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <poll.h>
#include <unistd.h>
#include <utility>

namespace tesker {

namespace {

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

// The cursor goes to the line's beginning, and the line is emptied.
constexpr std::string_view kEraseLine = "\r\x1b[K";

// Writes all of the bytes as writeAll does, but waits for room where another program has made the
// terminal or pipe that is shared with it non-blocking. Answers 0, or the errno of the write that
// failed.
int writeWaiting(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written =
        OperatingSystem::current().write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EAGAIN) {
      pollfd room{descriptor, POLLOUT, 0};
      (void)OperatingSystem::current().poll(&room, 1, -1);
      continue;
    }
    if (written < 0)
      return errno;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

// Waits until there is something to read, or an end. A FIFO that was opened without waiting has
// neither before somebody has opened it to write.
Result<> waitForInput(int descriptor, const std::optional<Deadline> &deadline) {
  pollfd input{descriptor, POLLIN, 0};
  const int timeout = deadline ? deadline->pollTimeout() : -1;
  if (OperatingSystem::current().poll(&input, 1, timeout) < 0)
    return Failure{errno};
  // Also when there is always something: what never ends is not read for ever.
  if (deadline && deadline->passed())
    return Failure{ETIMEDOUT};
  return {};
}

Result<std::string> readToEnd(int descriptor, std::size_t longest,
                              const std::optional<Deadline> &deadline) {
  std::string bytes;
  std::array<char, 65536> piece;
  for (;;) {
    if (const Result<> ready = waitForInput(descriptor, deadline); !ready)
      return ready.failure();
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
      continue;
    if (count < 0)
      return Failure{errno};
    if (count == 0)
      return bytes;
    if (bytes.size() + static_cast<std::size_t>(count) > longest)
      return Failure{EFBIG};
    bytes.append(piece.data(), static_cast<std::size_t>(count));
  }
}

// Whether something can be written without waiting: not while a person has stopped the terminal.
bool hasRoom(int descriptor) {
  pollfd room{descriptor, POLLOUT, 0};
  return OperatingSystem::current().poll(&room, 1, 0) > 0 && (room.revents & POLLOUT) != 0;
}

std::string reasonOf(int error) {
  switch (error) {
  case EINVAL:
    return "not a regular file";
  case ETIMEDOUT:
    return "timed out";
  default:
    return std::strerror(error);
  }
}

} // namespace

void Output::write(std::string_view bytes) {
  untouched_ = untouched_ && bytes.empty();
  if (buffer_.size() + bytes.size() > kBufferSize)
    flush();
  if (error_ != 0)
    return;
  if (bytes.size() <= kBufferSize) {
    buffer_ += bytes;
    return;
  }
  error_ = writeWaiting(descriptor_, bytes);
  endWithoutReader();
}

void Output::flush() {
  writeOut();
  endWithoutReader();
}

void Output::writeOut() {
  if (error_ == 0)
    error_ = writeWaiting(descriptor_, buffer_);
  buffer_.clear();
}

void Output::endWithoutReader() const {
  if (error_ == EPIPE)
    throw ReaderGone();
}

void Diagnostics::line(std::string_view who, std::string_view text) {
  std::string whole(std::exchange(hasStatus_, false) ? kEraseLine : "");
  whole += who;
  whole += ": ";
  whole += text;
  whole += '\n';
  // Nothing can be said when the place to say it is gone.
  (void)writeWaiting(descriptor_, whole);
}

void Diagnostics::error(std::string_view text) {
  line(program_, text);
  keep(std::nullopt, text);
}

void Diagnostics::errorAt(const std::string &path, std::string_view text,
                          const std::string &place) {
  line(program_, (path.empty() ? "''" : displayText(path)) + place + ": " + std::string(text));
  keep(path, text);
}

// An error that says that memory is lacking has been said all the same.
void Diagnostics::keep(const std::optional<std::string> &path, std::string_view text) {
  try {
    problems_.addError({path, std::string(text)});
  } catch (const std::bad_alloc &) {
  }
}

void Diagnostics::fileError(const std::string &name, int error) {
  if (name == "-")
    this->error("standard input: " + reasonOf(error));
  else
    errorAt(name, reasonOf(error));
}

void Diagnostics::note(std::string_view text) {
  if (level_ != Level::quiet)
    line(program_, text);
}

void Diagnostics::status(std::string_view text) {
  if (text.empty() && !hasStatus_)
    return;
  if (!text.empty() && (statusColumns() == 0 || !hasRoom(descriptor_)))
    return;
  (void)writeWaiting(descriptor_, std::string(kEraseLine).append(text));
  hasStatus_ = !text.empty();
}

std::size_t Diagnostics::statusColumns() const {
  const auto terminal = environmentValue("TERM");
  const pid_t foreground = ::tcgetpgrp(descriptor_); // -1 of a terminal that does not control this
  if (level_ == Level::quiet || !terminal || terminal == "dumb" ||
      (foreground >= 0 && foreground != ::getpgrp()))
    return 0;
  const std::size_t columns = terminalAt(descriptor_, ColourChoice::never).columns;
  return columns == 0 ? 0 : columns - 1; // behind the last one some go to the next line
}

void Diagnostics::toolLine(std::string_view bytes) {
  if (level_ == Level::verbose)
    line("ToolFinder", displayText(bytes));
}

Result<std::string> readInput(const std::string &name, std::size_t longest,
                              std::optional<Deadline> deadline) {
  if (name == "-")
    return readToEnd(STDIN_FILENO, longest, deadline);
  const FileDescriptor file(
      OperatingSystem::current().open(name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!file)
    return Failure{errno};
  return readToEnd(file.number(), longest, deadline);
}

Result<> saveFile(const std::string &name, std::string_view bytes) {
  std::string target = name;
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, name.c_str(), true, status) == 0) {
    if (!S_ISREG(status.st_mode))
      return Failure{EINVAL};
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(name.c_str(), nullptr),
                                                           &std::free);
    if (real == nullptr)
      return Failure{errno};
    target = real.get();
  }
  return writeFileAtomically(NSString::create(target), bytes);
}

std::string inputName(const std::string &name) {
  return name == "-" ? "standard input" : displayText(name);
}

std::string fileError(const std::string &name, int error) {
  return inputName(name) + ": " + reasonOf(error);
}

} // namespace tesker
