// FinderMaster.h - the master's side of a search: start the tool, ask it once, take its answer.
//
//   tesker::FinderMaster master({.tool = "/usr/libexec/tesker/ToolFinder"});
//   const tesker::SearchOutcome outcome = master.findAppsInSearchPath("/Applications");
//   if (const auto *answer = std::get_if<tesker::SearchAnswer>(&outcome.result))
//     use(answer->records);
//
// Every search starts a tool process of its own and offers it the service in a private bootstrap
// directory, so that searches never meet one another or a running desktop. A search waits for the
// tool, but never longer than the time-out: whatever the tool does, and whether or not it could be
// executed yet, at that time it is killed. When a search returns, the process is reaped and every
// descriptor and file it needed is gone. Two seconds more may pass where the kernel or a process
// that traces the tool keeps it from being reaped, which is then left to this process's end, and
// two where the tool has left files without end in its private directory.
//
// A lack of memory is a failed search (cannotSearch, "out of memory"), never an exception and never
// the end of this process. What onLogLine or onProgress throws leaves the search once nothing of it
// is left.
//
// Threading: one thread, whose environment must not change meanwhile. A SIGCHLD handler that reaps
// every child takes the tool's exit status away, which then counts as unknown; a process that
// leaves SIGPIPE alone should ignore it.
#pragma once

#include "master/FinderMasterOptions.h"
#include "master/SearchOutcome.h"

#include <optional>
#include <string_view>
#include <utility>

namespace tesker {

class FinderMaster {
public:
  explicit FinderMaster(FinderMasterOptions options) : options_(std::move(options)) {}

  // The applications of one directory, or one application. The path goes to the tool as it is; it
  // should be absolute. previous: the text of the last answer, when there is one.
  [[nodiscard]] SearchOutcome
  findAppsInSearchPath(std::string_view path,
                       std::optional<std::string_view> previous = std::nullopt) const;
  // The applications among absolute paths with one NUL byte between neighbours; more than 10000
  // are refused (cannotSearch).
  [[nodiscard]] SearchOutcome
  findAppsForDockPaths(std::string_view paths,
                       std::optional<std::string_view> previous = std::nullopt) const;

private:
  FinderMasterOptions options_;
};

} // namespace tesker
