// FinderNames.h - the names and numbers that tool and master agree on.
//
// docs/protocol.md says what they are for; docs/Tesker.ToolFinder.xml has the members of D-Bus.
#pragma once

#include <cstdint>
#include <string_view>

namespace tesker {

// The master's service, which the tool looks up; while it is there, the master lives.
inline constexpr std::string_view kMasterServiceName = "Miniapp_boot_port";

// The messages of the hand-over: each carries the port that its sender listens on.
inline constexpr std::uint32_t kToolPortMessage = 78;
inline constexpr std::uint32_t kMasterPortMessage = 79;

// The key of the answer to a request for dock paths, and what stands between neighbours of these.
inline constexpr std::string_view kDockKey = "Dock";
inline constexpr char kDockPathSeparator = '\0';

// What the objects and their members are called on D-Bus.
namespace bus_names {
inline constexpr const char *kRootPath = "/";
inline constexpr const char *kToolInterface = "Tesker.ToolFinder";
inline constexpr const char *kFindInSearchPath = "findAppsInSearchPath_previous_for_";
inline constexpr const char *kFindForDockPaths = "findAppsForDockPaths_previous_for_";
inline constexpr const char *kClientInterface = "Tesker.Client";
inline constexpr const char *kNoteLines = "noteLines_for_";
inline constexpr const char *kSelf = "self";
inline constexpr const char *kConnectionInterface = "Tesker.Connection";
inline constexpr const char *kCarry = "carry";
} // namespace bus_names

} // namespace tesker
