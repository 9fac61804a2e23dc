#include "catalog/Dependencies.h"

#include "filesystem/DirectoryListing.h"
#include "parsing/WrapperNames.h"
#include "platform/foundation/OperatingSystem.h"

#include <fcntl.h>
#include <sys/inotify.h>

namespace tesker {

namespace {

bool isPassedOver(std::string_view name) {
  return NameFilter{.dots = true, .backups = true}.leavesOut(name);
}

// A bit of the directory stands for these in place of awaited names, of which each wrapper would
// have some.
bool isInDescriptions(std::string_view name) {
  return name == kInfoListName || name == kRegistryName || name == kResourcesName;
}

} // namespace

void Dependencies::add(int watch, int above, std::string_view name) {
  directories_.try_emplace(watch, Directory{std::string(name), above});
}

void Dependencies::addInterest(int watch, Interest interest) {
  if (watch == kNoWatch)
    return;
  auto &interests = directories_.at(watch).interests;
  interests = static_cast<std::uint8_t>(interests | static_cast<std::uint8_t>(interest));
}

void Dependencies::await(int watch, std::string_view name, bool everything) {
  if (watch == kNoWatch)
    return;
  const Directory &directory = directories_.at(watch);
  if (directory.has(Interest::everything) ||
      (!everything && directory.has(Interest::entries) && !isPassedOver(name)))
    return;
  if (everything && isInDescriptions(name))
    return addInterest(watch, Interest::descriptions);
  bool &awaitsEverything = awaited_[{watch, std::string(name)}];
  awaitsEverything = awaitsEverything || everything;
}

bool Dependencies::mayChangeBy(const WatchEvent &event) const {
  const auto found = directories_.find(event.watch);
  if (found == directories_.end())
    return false;
  const Directory &directory = found->second;
  if (event.name.empty() || directory.has(Interest::everything) ||
      (directory.has(Interest::descriptions) && isInDescriptions(event.name)))
    return true;
  const auto awaited = awaited_.find({event.watch, std::string(event.name)});
  if (awaited != awaited_.end() && awaited->second)
    return true;
  const bool isEntry = directory.has(Interest::entries) && !isPassedOver(event.name);
  return (isEntry || awaited != awaited_.end()) && mayBeApplication(directory, event);
}

// What is made or written without being executable is worth nothing until its mode changes, which
// is an event of its own.
bool Dependencies::mayBeApplication(const Directory &directory, const WatchEvent &event) const {
  constexpr std::uint32_t kWorthALook = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE;
  if ((event.what & IN_ALL_EVENTS & ~kWorthALook) != 0)
    return true;
  const auto path = pathOf(directory);
  if (!path)
    return true;
  struct stat status {};
  const std::string entry = *path + "/" + std::string(event.name);
  if (OperatingSystem::current().statAt(AT_FDCWD, entry.c_str(), false, status) != 0)
    return true;
  return NSFileAttributes(status).canExecute() != 0;
}

std::optional<std::string> Dependencies::pathOf(const Directory &directory) const {
  std::string path = directory.name;
  for (int above = directory.above; above != kNoWatch;) {
    const auto found = directories_.find(above);
    if (found == directories_.end() || path.size() > 4096) // longer than any path: a circle
      return std::nullopt;
    path.insert(0, "/").insert(0, found->second.name);
    above = found->second.above;
  }
  return path;
}

std::optional<int> Dependencies::takeOne() {
  if (directories_.empty())
    return std::nullopt;
  const int watch = directories_.begin()->first;
  directories_.erase(directories_.begin());
  return watch;
}

} // namespace tesker
