// Children.h - the processes that searches must not leave behind.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace tesker::soak {

// From here on, whatever a child leaves becomes a child of this process.
void adoptOrphans();

// Waits until no child is left, but not longer than that, and reaps those that have ended. Gives
// what is wrong: a child that lives on, which is then killed, and one that leads a process group,
// as a tool does, and was not reaped. With mayBeLeft all are killed, and nothing is wrong about
// any.
std::vector<std::string>
settleChildren(bool mayBeLeft, std::chrono::milliseconds atMost = std::chrono::seconds(10));

} // namespace tesker::soak
