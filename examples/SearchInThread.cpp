// SearchInThread.cpp - an example of FinderMaster: a search in a thread of its own.
//
//   tesker-search-in-thread TOOL DIR
//
// For a host without an event loop, or one that would rather wait elsewhere. The search is given up
// through a pipe, which is the one thing that another thread may do to it; here, when a line comes
// on standard input before the answer does.
#include "examples/PrintedOutcome.h"
#include "master/FinderMaster.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <future>
#include <poll.h>
#include <unistd.h>

int main(int argc, char **argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s TOOL DIR\n", argv[0]);
    return 2;
  }
  std::array<int, 2> cancelling{};
  std::array<int, 2> ending{};
  if (::pipe2(cancelling.data(), O_CLOEXEC) != 0 || ::pipe2(ending.data(), O_CLOEXEC) != 0) {
    std::perror("pipe2");
    return 1;
  }
  std::future<tesker::SearchOutcome> search = std::async(std::launch::async, [&] {
    const tesker::FinderMaster master({.tool = argv[1], .cancelDescriptor = cancelling[0]});
    tesker::SearchOutcome outcome = master.findAppsInSearchPath(argv[2]);
    ::close(ending[1]);
    return outcome;
  });

  std::array<pollfd, 2> waiting{{{STDIN_FILENO, POLLIN, 0}, {ending[0], POLLIN, 0}}};
  ::poll(waiting.data(), waiting.size(), -1);
  ::close(cancelling[1]); // now its other end is readable
  return print(search.get());
}
