#include "platform/foundation/ProgramStart.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace tesker {

// All of this runs between fork and exec, so nothing may be called that is not safe in the handler
// of a signal.

namespace {

void resetSignals() {
  struct sigaction standard {};
  standard.sa_handler = SIG_DFL;
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    ::sigaction(signal, &standard, nullptr); // those that cannot be changed need not be
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

// The input or nothing on standard input, the output on the two others, and beside them only the
// descriptor that the error goes to, which is moved.
bool arrangeDescriptors(int input, int output, int &error) {
  constexpr int kErrorDescriptor = STDERR_FILENO + 1;
  if (input < 0)
    input = ::open("/dev/null", O_RDONLY);
  if (input < 0 || ::dup2(input, STDIN_FILENO) < 0 || ::dup2(output, STDOUT_FILENO) < 0 ||
      ::dup2(output, STDERR_FILENO) < 0)
    return false;
  if (error != kErrorDescriptor && ::dup3(error, kErrorDescriptor, O_CLOEXEC) < 0)
    return false;
  error = kErrorDescriptor;
  // Whatever the process around this library has left open without close-on-exec.
  ::closefrom(kErrorDescriptor + 1);
  return true;
}

} // namespace

void becomeProgram(ProgramStart start) {
  if (start.ownSession)
    ::setsid();
  else
    ::setpgid(0, 0);
  resetSignals();
  if (arrangeDescriptors(start.input, start.output, start.error))
    ::execve(start.program, start.arguments, start.variables);
  const int error = errno;
  (void)!::write(start.error, &error, sizeof error);
  ::_exit(127);
}

} // namespace tesker
