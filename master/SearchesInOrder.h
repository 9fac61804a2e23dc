// SearchesInOrder.h - many searches, some at a time, and their outcomes in order.
#pragma once

#include "master/FinderSearch.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace tesker {

// A search that is to be made. What its request lends has to live until it has begun.
struct SearchTask {
  FinderMasterOptions options; // its cancelDescriptor is not looked at
  FinderSearchRequest request;
};

// What becomes of those that are under way.
enum class SearchControl {
  goOn,
  stop,   // FinderSearch::stop(), and no other begins
  cancel, // FinderSearch::cancel(), and no other begins
};

struct SearchesInOrderOptions {
  // How many searches are under way at a time, at least 1. So many more, at most, have ended and
  // wait for one before them.
  std::size_t jobs = 1;
  // When this descriptor, which is borrowed, is readable, control() is asked: it has to see to it
  // that the descriptor is not readable any more. -1: never.
  int controlDescriptor = -1;
  std::function<SearchControl()> control = {};
  // Called with each outcome, in the order of the tasks; what it answers is whether to go on.
  std::function<bool(std::size_t task, SearchOutcome &outcome)> take;
};

// Makes the searches, each within its own time-out from its own beginning. One that fails does not
// keep the others from being made. Blocks until all have ended, or take() or control() have ended
// it: then those under way end first, and after take() has answered false without a word. What it
// throws, and what callbacks of the tasks throw, leaves this function once no search is left.
void searchInOrder(const std::vector<SearchTask> &tasks, const SearchesInOrderOptions &options);

} // namespace tesker
