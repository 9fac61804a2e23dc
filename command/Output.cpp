#include "command/Output.h"

#include "command/DisplayText.h"
#include "platform/foundation/OperatingSystem.h"

#include <cerrno>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

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

} // namespace

void Output::write(std::string_view bytes) {
  if (buffer_.size() + bytes.size() > kBufferSize)
    flush();
  if (error_ != 0)
    return;
  if (bytes.size() > kBufferSize)
    error_ = writeWaiting(descriptor_, bytes);
  else
    buffer_ += bytes;
}

void Output::flush() {
  if (error_ == 0)
    error_ = writeWaiting(descriptor_, buffer_);
  buffer_.clear();
}

std::size_t Output::terminalColumns() const {
  struct winsize size {};
  return ::isatty(descriptor_) == 1 && ::ioctl(descriptor_, TIOCGWINSZ, &size) == 0 ? size.ws_col
                                                                                    : 0;
}

void Diagnostics::line(std::string_view who, std::string_view text) {
  std::string whole(who);
  whole += ": ";
  whole += text;
  whole += '\n';
  // Nothing can be said when the place to say it is gone.
  (void)writeWaiting(descriptor_, whole);
}

void Diagnostics::error(std::string_view text) { line("tesker-apps", text); }

void Diagnostics::note(std::string_view text) {
  if (level_ != Level::quiet)
    line("tesker-apps", text);
}

void Diagnostics::toolLine(std::string_view bytes) {
  if (level_ == Level::verbose)
    line("ToolFinder", displayText(bytes));
}

} // namespace tesker
