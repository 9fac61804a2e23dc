#include "catalog/DependencyWalk.h"

#include "filesystem/DirectoryListing.h"
#include "parsing/WrapperNames.h"
#include "platform/foundation/KeyedHash.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <utility>

namespace tesker {

namespace {

constexpr int kMostLinks = 40; // in one path, as the system has it

// What happens to names; to files that were removed and are open still, nobody cares. A watch keeps
// what others have asked it for.
constexpr std::uint32_t kNames = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB |
                                 IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR | IN_DONT_FOLLOW |
                                 IN_EXCL_UNLINK | IN_MASK_ADD;
// And to what is in files: more than anybody wants to hear of a directory such as /tmp or /var/log
// that is merely on the way.
constexpr std::uint32_t kNamesAndContents = kNames | IN_MODIFY | IN_CLOSE_WRITE;

// What there is no search of either. That it is not there, or not ours, is known by the directory
// above.
bool isOutOfReach(int error) {
  return error == EACCES || error == ENOENT || error == ENOTDIR || error == ELOOP ||
         error == ENAMETOOLONG;
}

std::string parentOf(const std::string &path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

std::string_view nameOf(std::string_view path) { return path.substr(path.rfind('/') + 1); }

// Takes the next name but "." off a path; empty at its end.
std::string takeName(std::string &rest) {
  for (;;) {
    const std::size_t start = std::min(rest.find_first_not_of('/'), rest.size());
    const std::size_t end = std::min(rest.find('/', start), rest.size());
    std::string name = rest.substr(start, end - start);
    rest.erase(0, end);
    if (name != ".")
      return name;
  }
}

// Without empty names and "."; empty where it cannot be searched.
std::string cleanPath(std::string_view path) {
  if (!path.starts_with('/') || path.find('\0') != std::string_view::npos)
    return {};
  std::string clean;
  std::string rest(path);
  for (std::string name = takeName(rest); !name.empty(); name = takeName(rest)) {
    if (name == "..")
      return {};
    clean.append("/").append(name);
  }
  return clean;
}

std::optional<std::string> targetOf(const std::string &link) {
  std::array<char, PATH_MAX> target;
  const ssize_t length =
      OperatingSystem::current().readLink(link.c_str(), target.data(), target.size());
  if (length < 0)
    return std::nullopt;
  return std::string(target.data(), static_cast<std::size_t>(length));
}

bool mayBeDirectory(unsigned char type) {
  return type == DT_DIR || type == DT_LNK || type == DT_UNKNOWN;
}

} // namespace

DependencyWalk::DependencyWalk(int watches, std::string_view searchPath)
    : watches_(watches), searchPath_(cleanPath(searchPath)) {}

Result<bool> DependencyWalk::advance(const Deadline &deadline) {
  do {
    if (searchPath_.empty() && !listing_ && pending_.empty())
      return true;
    step();
    if (failure_ != 0)
      return Failure{failure_};
  } while (!deadline.passed());
  return false;
}

void DependencyWalk::step() {
  if (!searchPath_.empty()) {
    const std::string path = std::exchange(searchPath_, {});
    if (const auto place = follow("/", path, false))
      enter(*place, nameOf(path), isWrapperSuffix(suffixOf(nameOf(path))));
  } else if (listing_)
    listPiece();
  else {
    const Pending next = std::move(pending_.back());
    pending_.pop_back();
    meet(next);
  }
}

void DependencyWalk::meet(const Pending &pending) {
  const std::string_view name = nameOf(pending.path);
  const bool isWrapper = pending.as != As::entry || isWrapperSuffix(suffixOf(name));
  if (pending.isDirectory)
    return enter({pending.path, pending.above}, name, isWrapper);
  if (const auto place = follow(parentOf(pending.path), std::string(name), false))
    enter(*place, name, isWrapper);
}

void DependencyWalk::enter(const Place &place, std::string_view name, bool isWrapper) {
  const std::size_t path = keyedHash(place.path);
  if (!entered_.insert(isWrapper ? keyedHash(path, keyedHash(name)) : path).second)
    return;
  const int watch = watched(place.path, place.above, kNamesAndContents);
  if (watch == Dependencies::kNoWatch)
    return;
  dependencies.addInterest(watch, isWrapper ? Dependencies::Interest::everything
                                            : Dependencies::Interest::entries);
  FileDescriptor directory(OperatingSystem::current().open(
      place.path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK));
  if (directory)
    listing_ = Listing{std::move(directory), place.path, std::string(name), watch, isWrapper};
  else if (!isOutOfReach(errno))
    failure_ = errno;
}

void DependencyWalk::listPiece() {
  alignas(dirent64) std::array<char, 32768> entries;
  const ssize_t got = OperatingSystem::current().readEntries(listing_->descriptor.number(),
                                                             entries.data(), entries.size());
  if (got <= 0) {
    failure_ = got < 0 && errno != ENOENT ? errno : 0; // it may have been removed
    listing_.reset();
    return;
  }
  for (std::size_t at = 0; at < static_cast<std::size_t>(got);) {
    const auto *entry = reinterpret_cast<const dirent64 *>(entries.data() + at);
    at += entry->d_reclen;
    const std::string_view name = entry->d_name;
    if (!mayBeDirectory(entry->d_type) || name == "." || name == "..")
      continue;
    if (listing_->isWrapper)
      listedInWrapper(name, entry->d_type);
    else if (!NameFilter{.dots = true, .backups = true}.leavesOut(name))
      pend(name, As::entry, entry->d_type == DT_DIR);
  }
}

void DependencyWalk::pend(std::string_view name, As as, bool isDirectory) {
  pending_.push_back({joinedPath(listing_->path, name), as, isDirectory, listing_->watch});
}

void DependencyWalk::listedInWrapper(std::string_view name, unsigned char type) {
  const std::string &wrapper = listing_->path;
  const std::string_view wrapperName = listing_->name;
  if (isNestedWrapperName(name))
    pend(name, As::nested, type == DT_DIR);
  if (name == wrapperName.substr(0, wrapperName.rfind('.'))) // a folder may describe, too
    follow(wrapper, joinedPath(std::string(name), kResourcesName).append("/").append(kInfoListName),
           true);
  if (name == kRegistryName)
    follow(wrapper, std::string(name), true);
  if (name != kInfoListName && name != kResourcesName)
    return;
  if (const auto folder = follow(wrapper, std::string(name), true))
    for (const std::string_view description : {kInfoListName, kRegistryName})
      follow(folder->path, std::string(description), true);
  if (name == kResourcesName && hasWrapperInResources(wrapperName))
    pend(name, As::wrapper, type == DT_DIR);
}

std::optional<DependencyWalk::Place> DependencyWalk::follow(std::string directory, std::string rest,
                                                            bool everything) {
  int links = 0;
  int above = Dependencies::kNoWatch;
  while (failure_ == 0) {
    const std::string name = takeName(rest);
    if (name.empty()) {
      dependencies.places.add(directory);
      return Place{directory, above};
    }
    if (name == "..") {
      directory = parentOf(directory);
      above = Dependencies::kNoWatch;
      continue;
    }
    above = watched(directory, above, kNames);
    dependencies.await(above, name, everything);
    const std::string path = joinedPath(directory, name);
    const auto mode = modeOf(path, above);
    if (mode && S_ISDIR(*mode)) {
      directory = path;
      continue;
    }
    dependencies.places.add(path);
    if (mode && S_ISREG(*mode))
      watched(directory, above, kNamesAndContents);
    const auto target =
        mode && S_ISLNK(*mode) && ++links <= kMostLinks ? targetOf(path) : std::nullopt;
    if (!target)
      return std::nullopt;
    rest.insert(0, "/").insert(0, *target);
    if (target->starts_with('/'))
      directory = "/";
    above = Dependencies::kNoWatch;
  }
  return std::nullopt;
}

std::optional<mode_t> DependencyWalk::modeOf(const std::string &path, int above) {
  struct stat status {};
  if (OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), false, status) == 0)
    return status.st_mode;
  const bool isOfSearchPath = entered_.empty();
  if (!isOutOfReach(errno))
    failure_ = errno;
  else if (errno == ENOENT && isOfSearchPath && above == Dependencies::kNoWatch)
    failure_ = EACCES; // what is to come there cannot be awaited
  return std::nullopt;
}

int DependencyWalk::watched(const std::string &directory, int above, std::uint32_t events) {
  if (directory == lastWatched_ && (lastEvents_ & events) == events)
    return lastWatch_;
  const int watch = OperatingSystem::current().addWatch(watches_, directory.c_str(), events);
  if (watch < 0) {
    failure_ = isOutOfReach(errno) ? failure_ : errno;
    return Dependencies::kNoWatch;
  }
  if (above != Dependencies::kNoWatch)
    dependencies.add(watch, above, nameOf(directory));
  else
    dependencies.add(watch, above, directory == "/" ? "" : directory);
  lastWatched_ = directory;
  lastEvents_ = events;
  lastWatch_ = watch;
  return watch;
}

} // namespace tesker
