// StopRequest.h - asks a walk to end early, from a signal handler for example.
#pragma once

#include <csignal>

namespace tesker {

class StopRequest {
public:
  // Async-signal-safe.
  void ask() { asked_ = 1; }
  bool isAsked() const { return asked_ != 0; }

  // ---- for the walk ----

  // Something is left out, since it was asked.
  void obey() { obeyed_ = true; }
  bool wasObeyed() const { return obeyed_; }

private:
  volatile std::sig_atomic_t asked_ = 0;
  bool obeyed_ = false;
};

} // namespace tesker
