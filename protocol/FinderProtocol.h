// FinderProtocol.h - the two objects that speak over the connection, and the names they agree on.
//
// The tool publishes a FinderRequests object; the master sends it one request and names its own
// client object, on which the tool calls back. The same two interfaces serve both sides: one
// implements what the other calls. docs/protocol.md has them as D-Bus sees them. The names and
// numbers of what comes before are in HandOver.h.
#pragma once

#include "platform/foundation/NSString.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tesker {

// How far a search has come.
struct FinderProgress {
  std::uint64_t directories = 0; // that it has entered
  std::uint64_t entries = 0;     // that it has seen in them
  std::uint64_t records = 0;
  NSString path;      // the search path
  NSString directory; // that is being searched; the search path before there is one
};
// So many bytes of each of the two paths travel: all of one that the system takes.
inline constexpr std::size_t kLongestProgressPath = 4096;

// The master's client object, as the tool sees it (or as a master implements it).
class FinderClient : public NSObject {
public:
  // The answer: the encoded records, or nil when they equal the previous text; and the key, which
  // is the path as it was requested or "Dock". One-way: nothing is waited for.
  virtual void noteLines(const NSString &text, const NSString &key) = 0;
  // Answers when everything sent before has been taken. Two-way: waits for the answer without a
  // time limit; an error reply or a lost connection ends the waiting.
  virtual void self() = 0;
  // How far the search has come, for a master that has asked for it. One-way, and not waited with:
  // what the channel has no room for at once is lost.
  virtual void noteProgress(const FinderProgress & /*progress*/) {}
  // The answer that follows is what was found until the tool was told to stop; only for a master
  // that has asked for such answers. One-way.
  virtual void noteStopped() {}
};

// The tool's root object. Both requests are one-way.
class FinderRequests {
public:
  virtual ~FinderRequests() = default;
  // One directory or application. previous is the last answer's text; nil when there is none.
  virtual void findAppsInSearchPath(const NSString &path, const NSString &previous,
                                    Ref<FinderClient> client) = 0;
  // Absolute paths with one NUL byte between neighbours, at most kMostDockPaths.
  virtual void findAppsForDockPaths(const NSString &paths, const NSString &previous,
                                    Ref<FinderClient> client) = 0;
};

// The key of the answer to a request for dock paths, and what stands between neighbours of these.
inline constexpr std::string_view kDockKey = "Dock";
inline constexpr char kDockPathSeparator = '\0';
// So many paths one request for dock paths may have: far more than a dock shows, and few enough
// that a list of nothing but separators costs neither memory nor a log line for each of its bytes.
// A request with more raises in the tool: nothing is answered.
inline constexpr std::size_t kMostDockPaths = 10000;
[[nodiscard]] inline std::size_t countOfDockPaths(std::string_view list) {
  return static_cast<std::size_t>(std::count(list.begin(), list.end(), kDockPathSeparator)) + 1;
}

// How the one line of its log begins in which a tool that is told to says how far it is confined,
// before it looks at the first file.
inline constexpr std::string_view kConfinementLine = "Tool: confinement: ";

// What a master asks the tool for in its environment, by these values of these variables.
namespace wishes {
inline constexpr const char *kProgress = "TESKER_PROGRESS";
inline constexpr const char *kReport = "1";
inline constexpr const char *kLinkCycles = "TESKER_LINK_CYCLES";
inline constexpr const char *kSkip = "skip";
// SIGTERM then has the tool answer with what it has found so far.
inline constexpr const char *kPartialAnswers = "TESKER_PARTIAL_ANSWERS";
inline constexpr const char *kGive = "1";
} // namespace wishes

// What the objects and their members are called on D-Bus (docs/Tesker.ToolFinder.xml).
namespace bus_names {
inline constexpr const char *kRootPath = "/";
inline constexpr const char *kToolInterface = "Tesker.ToolFinder";
inline constexpr const char *kFindInSearchPath = "findAppsInSearchPath_previous_for_";
inline constexpr const char *kFindForDockPaths = "findAppsForDockPaths_previous_for_";
inline constexpr const char *kClientInterface = "Tesker.Client";
inline constexpr const char *kNoteLines = "noteLines_for_";
inline constexpr const char *kSelf = "self";
inline constexpr const char *kNoteProgress = "noteProgress";
inline constexpr const char *kNoteStopped = "noteStopped";
inline constexpr const char *kConnectionInterface = "Tesker.Connection";
inline constexpr const char *kCarry = "carry";
} // namespace bus_names

} // namespace tesker
