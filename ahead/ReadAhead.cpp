#include "ahead/ReadAhead.h"

#include "ahead/AheadReader.h"
#include "platform/foundation/Text.h"

#include <new>
#include <string>
#include <system_error>

namespace tesker {

AheadTask taskOfSearchPath(std::string_view path, std::uint32_t number) {
  return {.kind = AheadTask::Kind::path,
          .order = AheadQueue::orderBelow("", number),
          .path = std::string(withoutSlashesAtItsEnd(path)),
          .first = number};
}

ReadAhead::ReadAhead()
    : hints_({.searchPath = [this](std::string_view path) { addSearchPath(path); },
              .progress =
                  [this](std::uint64_t entries, std::string_view directory) {
                    queue_.reached(entries, directory);
                  }}) {
  try {
    while (threads_.size() < kThreads)
      threads_.emplace_back([this] { work(); });
  } catch (const std::system_error &) { // with fewer it takes longer
  }
}

ReadAhead::~ReadAhead() {
  queue_.end();
  for (std::thread &thread : threads_)
    thread.join();
}

// The tool leaves out a relative path, too.
void ReadAhead::addSearchPath(std::string_view path) {
  AheadTask task = taskOfSearchPath(path, searchPaths_++);
  if (path.starts_with('/'))
    (void)queue_.add(task);
}

void ReadAhead::work() {
  AheadReader reader(queue_);
  while (const auto task = queue_.next())
    try {
      reader.read(*task);
    } catch (const std::bad_alloc &) { // that one is left to the tool
    }
}

} // namespace tesker
