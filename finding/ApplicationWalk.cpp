#include "finding/ApplicationWalk.h"

#include "filesystem/TeskerFileManagerMethods.h"
#include "filesystem/TextFunctions.h"
#include "parsing/AppWrapperParser.h"
#include "parsing/IconHeaderParser.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tesker {

namespace {

// What the name of a directory that is an application ends in, behind the dot.
constexpr std::array<std::string_view, 3> kWrapperSuffixes = {"app", "debug", "profile"};

bool isWrapperSuffix(std::string_view suffix) {
  return std::ranges::find(kWrapperSuffixes, suffix) != kWrapperSuffixes.end();
}

// Whether the entry is a directory that is not an application itself.
bool isWalked(const Entry &entry) {
  return entry.attributes.isDirectory() && !isWrapperSuffix(suffixOf(entry.file.bytes()));
}

// Whether there is anything to find out about an entry: the others are not applications.
bool isWorthJudging(const NSFileAttributes &attributes) {
  return attributes.isLink() || attributes.canExecute() != 0;
}

} // namespace

void ApplicationWalk::doForPaths(const std::vector<NSString> &paths) {
  for (const NSString &path : paths)
    if (!isFull_)
      doForPath(path);
}

void ApplicationWalk::doForPath(const NSString &path) {
  const auto [dir, file] = TeskerNormalizePathIntoDirFile(path);
  if (!file) // of which a list may have many; of the others it is asked below
    checkMasterStillAlive_();
  const auto entry = file ? followed(dir, file) : std::nullopt;
  // What is walked is the path as it was given, and one with a NUL inside names nothing.
  const bool hasNul = path.bytes().find('\0') != std::string_view::npos;
  if (entry && !(hasNul && isWalked(*entry)))
    doForPathInfo(*entry);
}

std::optional<Entry> ApplicationWalk::followed(const NSString &dir, const NSString &file) const {
  checkMasterStillAlive_();
  try {
    if (const auto attributes = NSFileManager::classObject()._privateStatDir(dir, file))
      return Entry{dir, file, *attributes};
  } catch (const NSException &) { // as for one that is not there
  }
  return std::nullopt;
}

void ApplicationWalk::doForPathInfo(const Entry &entry) {
  NSZone &zone = NSDefaultMallocZone();
  if (entry.attributes.canExecute() == 0)
    return;
  if (isWalked(entry))
    walkDirectory(entry.dir.stringByAppendingPathComponent(entry.file.bytes()));
  else if (entry.attributes.isDirectory())
    add(parseAppWrapper(NSFileManager::classObject(), entry, zone));
  else
    add(parseApp(entry, zone));
}

void ApplicationWalk::walkDirectory(const NSString &path) {
  struct Found {
    std::size_t index;
    NSFileAttributes attributes;
  };
  checkMasterStillAlive_();
  auto listing = DirectoryListing::read(path, {.dots = true, .backups = true});
  std::vector<Found> found;
  found.reserve(16);
  for (std::size_t i = 0; listing && i < listing->count(); ++i) {
    const auto attributes = listing->attributes(i);
    if (!attributes) // it vanished, and the directory counts as one that cannot be listed
      return;
    if (isWorthJudging(*attributes))
      found.push_back({i, *attributes});
  }
  for (const auto &[index, attributes] : found)
    if (!isFull_)
      doForListed(path, *listing, index, attributes);
}

void ApplicationWalk::doForListed(const NSString &path, DirectoryListing &listing,
                                  std::size_t index, const NSFileAttributes &attributes) {
  const NSString file = NSString::create(listing.name(index));
  // Closed before the walk goes on elsewhere: its depth is not to be bounded by descriptors.
  if (attributes.isLink() || attributes.isDirectory())
    listing.close();
  try {
    if (!attributes.isLink())
      doForPathInfo({path, file, attributes, listing.descriptor()});
    else if (const auto entry = followed(path, file))
      doForPathInfo(*entry);
  } catch (const NSException &) { // skips this entry only
  }
}

void ApplicationWalk::add(std::optional<Records> found) {
  if (!found)
    return;
  for (TKLine &line : *found) {
    line.keepDescriptions();
    const std::size_t length = line.textLength();
    isFull_ = lines_.size() == bounds_.records || length > bounds_.text - textLength_;
    if (isFull_)
      return;
    textLength_ += length;
    lines_.push_back(std::move(line));
  }
}

} // namespace tesker
