#include "fileops/ChildSteps.h"

#include "fileops/ChildProcess.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr int kCannotBegin = 127;

// Writes all pieces, as one line where the system takes them at once.
void writeToStandardError(struct iovec *piece, int count) {
  while (count > 0) {
    const ssize_t result = ::writev(STDERR_FILENO, piece, count);
    if (result < 0 && errno == EINTR)
      continue;
    if (result <= 0)
      return;
    auto written = static_cast<std::size_t>(result);
    for (; count > 0 && written >= piece->iov_len; ++piece, --count)
      written -= piece->iov_len;
    if (count > 0) {
      piece->iov_base = static_cast<char *>(piece->iov_base) + written;
      piece->iov_len -= written;
    }
  }
}

struct iovec pieceOf(std::string_view text) {
  return {const_cast<char *>(text.data()), text.size()};
}

// NSLog for a child: each "%s" of the format stands for the next text, and a line feed follows. A
// format has at most two.
void logInChild(std::string_view format, const char *first, const char *second = "") {
  std::array<struct iovec, 6> pieces;
  int count = 0;
  for (const char *argument : {first, second}) {
    const std::size_t place = format.find("%s");
    if (place == std::string_view::npos)
      break;
    pieces[static_cast<std::size_t>(count++)] = pieceOf(format.substr(0, place));
    pieces[static_cast<std::size_t>(count++)] = pieceOf(argument);
    format.remove_prefix(place + 2);
  }
  pieces[static_cast<std::size_t>(count++)] = pieceOf(format);
  pieces[static_cast<std::size_t>(count++)] = pieceOf("\n");
  writeToStandardError(pieces.data(), count);
}

// What aboveStandardDescriptors does, which is not for children.
int movedAboveStandardDescriptors(int descriptor) {
  if (descriptor < 0 || descriptor > STDERR_FILENO)
    return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  ::close(descriptor);
  return moved;
}

int openOrEnd(const char *path, int flags, const char *message) {
  int descriptor;
  do
    descriptor = ::open(path, flags | O_CLOEXEC, 0666);
  while (descriptor < 0 && errno == EINTR);
  descriptor = movedAboveStandardDescriptors(descriptor);
  if (descriptor < 0) {
    logInChild(message, path);
    ::_exit(kCannotBegin);
  }
  return descriptor;
}

} // namespace

const char *errorText(int error) {
  const char *text = ::strerrordesc_np(error);
  return text != nullptr ? text : "Unknown error";
}

void forgetHandlers() {
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN &&
        action.sa_handler != SIG_DFL)
      ::signal(signal, SIG_DFL);
  }
  // An ignored signal stays ignored over exec. A program whose reader has gone is to end by
  // SIGPIPE rather than go on writing to nobody, even where the caller ignores the signal.
  ::signal(SIGPIPE, SIG_DFL);
}

void useAsStandard(int descriptor, int standard) {
  // The new one is not close-on-exec: it is what the program is to find.
  if (::dup2(descriptor, standard) < 0)
    ::_exit(kCannotBegin);
}

bool changeDirectory(const char *directory) {
  if (::chdir(directory) == 0)
    return true;
  logInChild("Cannot chdir to %s: %s", directory, errorText(errno));
  return false;
}

void changeDirectoryOrEnd(const char *directory) {
  if (!changeDirectory(directory))
    ::_exit(kCannotBegin);
}

// Kept: this line ends in a colon, without a reason, like the other one.
int openInputOrEnd(const char *path) {
  return openOrEnd(path, O_RDONLY, "cannot open '%s' for reading:");
}

int createOutputOrEnd(const char *path) {
  return openOrEnd(path, O_WRONLY | O_CREAT | O_TRUNC, kCannotOpenForWriting);
}

void execute(const Command &command) {
  ::execv(command.program(), command.argumentVector());
  logInChild("Cannot exec %s: %s", command.program(), errorText(errno));
  ::_exit(kCannotBegin);
}

} // namespace tesker
