// main.cpp - tesker-read-ahead: a master starts it beside a tool that waits for its disk,
// and tells it on standard input what is searched (parsing/ReadAheadHints.h). It ends with the
// master's end of that, and when nothing has come for a while. It takes no notice of its arguments,
// and has nothing to say.

#include "ahead/ReadAhead.h"
#include "platform/foundation/Files.h"

#include <array>
#include <cstdlib>
#include <new>
#include <unistd.h>

namespace {

// A tool that goes on tells more often; one that does not is not helped by more reading.
constexpr int kLongestSilence = 30'000; // milliseconds

void serve() {
  using namespace tesker;
  openMissingStandardDescriptors();
  OperatingSystem &system = OperatingSystem::current();
  ReadAhead &readAhead = *new ReadAhead; // its threads are not waited for: a disk may not answer
  std::array<char, 16384> bytes;
  for (;;) {
    pollfd waiting{STDIN_FILENO, POLLIN, 0};
    if (system.poll(&waiting, 1, kLongestSilence) <= 0)
      return;
    const ssize_t got = system.read(STDIN_FILENO, bytes.data(), bytes.size());
    if (got <= 0)
      return;
    readAhead.take({bytes.data(), static_cast<std::size_t>(got)});
  }
}

} // namespace

int main() {
  try {
    serve();
  } catch (const std::bad_alloc &) { // a hint was missed, and the tool does without
  }
  std::_Exit(EXIT_SUCCESS);
}
