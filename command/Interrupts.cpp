#include "command/Interrupts.h"

#include <sys/signalfd.h>

namespace tesker {

namespace {

bool isIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

Interrupts::Interrupts() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (!isIgnored(signal))
      ::sigaddset(&signals, signal);
  ::sigprocmask(SIG_BLOCK, &signals, &before_);
  descriptor_ = FileDescriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

Interrupts::~Interrupts() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

} // namespace tesker
