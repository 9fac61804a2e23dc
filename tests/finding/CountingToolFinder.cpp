// The tool, with its system calls counted. At its end it writes one line to standard error:
// "calls: statAt N listings N opens N polls N".

#include "platform/foundation/NSLog.h"
#include "platform/foundation/OperatingSystem.h"
#include "tool/ToolFinderTool.h"

#include <cstdlib>
#include <string>

namespace {

using namespace tesker;

class Counter final : public OperatingSystem {
public:
  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    ++stats;
    return OperatingSystem::statAt(directory, name, followLinks, status);
  }
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    ++listings;
    return OperatingSystem::openDirectory(path);
  }
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    ++opens;
    return OperatingSystem::openAt(directory, path, flags, mode);
  }
  int poll(struct pollfd *descriptors, nfds_t count, int timeout) override {
    ++polls;
    return OperatingSystem::poll(descriptors, count, timeout);
  }
  std::size_t stats = 0, listings = 0, opens = 0, polls = 0;
};

Counter counter;

void writeCounts() {
  NSLog("calls: statAt %d listings %d opens %d polls %d",
        {std::to_string(counter.stats), std::to_string(counter.listings),
         std::to_string(counter.opens), std::to_string(counter.polls)});
}

} // namespace

int main() {
  const ScopedOperatingSystem scope(counter);
  std::atexit(writeCounts);
  NSTool = ToolFinderTool::create().leak();
  if (NSTool != nullptr)
    NSTool->run();
}
