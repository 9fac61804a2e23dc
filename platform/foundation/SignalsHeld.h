// SignalsHeld.h - signals that wait, as around a fork, where a handler must not run in the child.
#pragma once

#include <csignal>

namespace tesker {

// While one lives, no signal reaches the calling thread. A child made meanwhile has them held, too,
// and lets them through itself: hence past the OperatingSystem. The calls cannot fail.
class SignalsHeld {
public:
  SignalsHeld() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsHeld() { letThrough(); }
  SignalsHeld(const SignalsHeld &) = delete;
  SignalsHeld &operator=(const SignalsHeld &) = delete;

  // Ends it early.
  void letThrough() const { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
  sigset_t before_;
};

} // namespace tesker
