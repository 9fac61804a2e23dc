// FakeToolSupport.h - searches with the tool that misbehaves on demand.
#pragma once

#include "master/FinderMaster.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tesker::test {

// The programs lie beside the test.
std::string programPath(const std::string &name);

// A master whose tool misbehaves so, with a time-out that no test is meant to reach.
FinderMasterOptions fakeTool(std::chrono::nanoseconds timeout = std::chrono::seconds(100));
SearchOutcome searchWithFakeTool(const std::string &way, FinderMasterOptions options = fakeTool(),
                                 std::optional<std::string_view> previous = std::nullopt);

// Why the search failed, as it has to.
SearchFailure failureOf(const SearchOutcome &outcome);

// Whether this process has any.
bool hasChildren();

// Long enough for a tool to come to where it hangs.
inline constexpr std::chrono::seconds kTimeToHang{3};

} // namespace tesker::test
