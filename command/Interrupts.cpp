#include "command/Interrupts.h"

#include <sys/signalfd.h>
#include <unistd.h>

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

int Interrupts::first_ = 0;
int Interrupts::count_ = 0;

int Interrupts::take() {
  signalfd_siginfo signal{};
  while (::read(descriptor_.number(), &signal, sizeof signal) == sizeof signal) {
    if (++count_ == 1)
      first_ = static_cast<int>(signal.ssi_signo);
  }
  return count_;
}

void Interrupts::endByTaken() {
  if (count_ == 0)
    return;
  std::signal(first_, SIG_DFL);
  ::raise(first_);
}

Interrupts::~Interrupts() { ::sigprocmask(SIG_SETMASK, &before_, nullptr); }

} // namespace tesker
