// HostLoop.h - a search in the event loop of a host, as small as one can be.
#pragma once

#include "master/FinderSearch.h"

#include <chrono>
#include <memory>
#include <optional>
#include <poll.h>
#include <string>

namespace tesker::test {

class HostLoop {
public:
  // Begins the search, or fails the test.
  void start(FinderMasterOptions options, const FinderSearchRequest &request);
  // With the tool that misbehaves so.
  void startFakeTool(const std::string &way, FinderMasterOptions options);

  FinderSearch &search() { return *search_; }
  // Also while it is told its end.
  void destroySearch() { search_.reset(); }
  // Whether the search wants to be dispatched; waits for it so long.
  bool isReady(std::chrono::milliseconds time = {}) const;
  void dispatch();
  // Dispatches until there is nothing to do at the moment, or the search has ended.
  void runUntilQuiet();
  // Dispatches until the search has ended.
  void runToEnd();

  int ends = 0;
  int dispatches = 0;
  bool destroysSearchAtEnd = false;
  std::optional<SearchOutcome> outcome;

private:
  std::unique_ptr<FinderSearch> search_;
};

} // namespace tesker::test
