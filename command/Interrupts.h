// Interrupts.h - the signals that ask a search to stop.
//
// A search leaves nothing behind, so it is not to be ended half-way. While an object of this class
// lives, SIGINT, SIGTERM and SIGHUP (those that are not ignored) wait in a descriptor; afterwards
// they do what they always do, except the ones that take() has told of: endByTaken() does that. For
// a process with one thread.
#pragma once

#include "platform/foundation/Files.h"

#include <csignal>

namespace tesker {

class Interrupts {
public:
  Interrupts();
  // Lets the signals through that have come.
  ~Interrupts();
  Interrupts(const Interrupts &) = delete;
  Interrupts &operator=(const Interrupts &) = delete;

  // Readable when one of the signals has come.
  int descriptor() const { return descriptor_.number(); }
  // Takes what has come out of the descriptor. How many signals have been taken in the life of this
  // process.
  int take();
  // Ends the process by the first signal that was taken; does nothing where none was.
  static void endByTaken();

private:
  static int first_; // 0: none
  static int count_;
  sigset_t before_;
  FileDescriptor descriptor_;
};

} // namespace tesker
