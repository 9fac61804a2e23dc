// SearchInPoll.cpp - an example of FinderSearch: several searches in a plain poll(2) loop.
//
//   tesker-search-in-poll TOOL DIR...
//
// Searches all directories at a time, and prints the applications of each when its search ends. A
// line on standard input gives everything up that is still under way.
#include "examples/PrintedOutcome.h"
#include "master/FinderSearch.h"

#include <cstdio>
#include <memory>
#include <poll.h>
#include <unistd.h>
#include <vector>

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: %s TOOL DIR...\n", argv[0]);
    return 2;
  }
  int status = 0;
  std::vector<std::unique_ptr<tesker::FinderSearch>> searches;
  for (int i = 2; i < argc; ++i) {
    auto started = tesker::FinderSearch::start(
        {.tool = argv[1]}, {.argument = argv[i]},
        [&status](const tesker::SearchOutcome &outcome) { status |= print(outcome); });
    if (auto *search = std::get_if<std::unique_ptr<tesker::FinderSearch>>(&started)) {
      searches.push_back(std::move(*search));
    } else {
      std::fprintf(stderr, "%s\n", std::get<tesker::SearchFailure>(started).reason.c_str());
      status = 1;
    }
  }

  pollfd input{STDIN_FILENO, POLLIN, 0};
  while (!searches.empty()) {
    std::vector<pollfd> waiting{input};
    for (const auto &search : searches)
      waiting.push_back({search->descriptor(), POLLIN, 0});
    ::poll(waiting.data(), waiting.size(), -1);
    if (waiting[0].revents != 0) {
      input.fd = -1; // once is enough
      for (const auto &search : searches)
        search->cancel();
    }
    for (std::size_t i = 0; i < searches.size(); ++i)
      if (waiting[i + 1].revents != 0)
        searches[i]->dispatch();
    std::erase_if(searches, [](const auto &search) { return search->hasEnded(); });
  }
  return status;
}
