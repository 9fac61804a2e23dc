// main.cpp - tesker-apps.
#include "command/Commands.h"

#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace {

// A descriptor that is missing must not become that of a file opened later. What is put in its
// place refuses to be written, so that lost output is seen.
void openMissingDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (::fcntl(descriptor, F_GETFD) < 0)
      (void)::open("/dev/null", O_RDONLY);
}

} // namespace

int main(int argumentCount, char **arguments) {
  using namespace tesker;
  openMissingDescriptors();
  std::signal(SIGPIPE, SIG_IGN);
  Output output(STDOUT_FILENO);
  Diagnostics diagnostics(STDERR_FILENO, Diagnostics::Level::normal);

  const auto parsed =
      parseArguments(std::vector<std::string>(arguments + 1, arguments + argumentCount));
  if (const auto *wanted = std::get_if<Arguments>(&parsed)) {
    diagnostics.setLevel(wanted->level);
    ExitStatus status = kFailed;
    try {
      status = runCommand(*wanted, output, diagnostics);
    } catch (const std::bad_alloc &) {
      diagnostics.error("there is not enough memory");
    }
    return statusWithOutput(status, output, diagnostics);
  }
  const Notice &notice = std::get<Notice>(parsed);
  if (notice.status == kDone)
    output.write(notice.text);
  else
    Output(STDERR_FILENO).write(notice.text);
  return statusWithOutput(notice.status, output, diagnostics);
}
