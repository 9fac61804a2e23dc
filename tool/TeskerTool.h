// TeskerTool.h - the frame of a tool process: its connection to the master, run and end.
//
// One object in a process, NSTool; it lives until the process ends. Whatever fails is only logged
// (system log): the master is never told, and sees the process end.
#pragma once

#include "protocol/NSConnection.h"

namespace tesker {

class TeskerTool : public NSObject, public FinderRequests {
public:
  // Connects to the master (newSlave()), makes this object the connection's root object and NSTool,
  // puts the defaults domain "Tesker" first in the search list and registers the built-in defaults.
  // False, with none of that done, when the connection could not be made.
  [[nodiscard]] bool init();

  // Serves the master until the run loop ends. An exception that leaves the run loop is logged as
  // "TeskerTool [%d] exception" with the process id, and ends it.
  void run();

  // Logs that one has ended the tool's work, as run() does.
  static void logException();

  // Waits until the client has answered self(), and ends the process with status 0.
  [[noreturn]] virtual void terminate(FinderClient &client);

  // Returns while the master's service lives; otherwise logs "Tool: bootstrap port died: %d;
  // exiting" with the look-up's status and ends the process with status 255.
  void checkMasterStillAlive() const;

private:
  RefPtr<NSConnection> connection_;
};

// The tool object of the process; nil until it is connected. It is never released.
extern TeskerTool *NSTool;

} // namespace tesker
