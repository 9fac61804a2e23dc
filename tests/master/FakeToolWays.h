// FakeToolWays.h - ways to misbehave, by their names in FAKE_TOOL.
#pragma once

#include <functional>
#include <map>
#include <string>

namespace tesker::fake_tool {

using Way = std::function<void()>;
using Ways = std::map<std::string, Way>;

// Of a tool as a process, and before and during the hand-over.
const Ways &hostileProcessWays();
// Of one that speaks to its master byte by byte.
const Ways &hostileBusWays();

} // namespace tesker::fake_tool
