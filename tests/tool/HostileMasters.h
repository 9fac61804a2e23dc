// HostileMasters.h - masters made by hand, and a table of those that mean no good.
//
// For programs that also have ToolUnderTest.cpp: the masters meet the real tool.
#pragma once

#include "tests/tool/ToolUnderTest.h"

#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

// A master by hand: does what its maker says, and then goes.
class HandMadeMaster {
public:
  // The hand-over; from then on there are the two channels.
  void handOver();
  // The same, and the authentication.
  void authenticate();
  // Says everything, or as much as the tool takes; what the tool says meanwhile is read, or not.
  void say(std::string_view bytes, bool reads = true);
  void drain() const;
  // Waits until the tool says something more.
  void awaitWord() const;
  // Gives up all that leads to the tool.
  void leave();

  MasterInSteps steps;
  FileDescriptor fromTool, toTool;
};

// The bytes of a request for the applications of a dock list.
std::string dockRequest(std::string_view paths);

// A master that goes while the tool searches may be missed by the search, or by the answer.
inline constexpr int kEitherStatus = -1;

struct HostileMasterKind {
  const char *name;
  std::function<void(HandMadeMaster &)> deed;
  int exitStatus = 0; // of the tool

  // Whether the tool may end so.
  bool admits(int status) const {
    return exitStatus == kEitherStatus ? status == 0 || status == 255 : status == exitStatus;
  }
};

inline void PrintTo(const HostileMasterKind &master, std::ostream *stream) {
  *stream << master.name;
}

const std::vector<HostileMasterKind> &hostileMasters();

// Starts the tool, lets the master do its deed and go, and waits for the tool's end: its exit
// status.
int exitStatusFacing(const HostileMasterKind &hostile);

} // namespace tesker::test
