#include "finding/ApplicationWalk.h"

#include "filesystem/TeskerFileManagerMethods.h"
#include "filesystem/TextFunctions.h"
#include "finding/ProgressMeter.h"
#include "finding/StopRequest.h"
#include "parsing/AppWrapperParser.h"
#include "parsing/IconHeaderParser.h"
#include "parsing/WrapperNames.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NearWords.h"

#include <algorithm>
#include <string_view>

namespace tesker {

namespace {

// Whether the entry is a directory that is not an application itself.
bool isWalked(const Entry &entry) {
  return entry.attributes.isDirectory() && !isWrapperSuffix(suffixOf(entry.file.bytes()));
}

// Whether there is anything to find out about an entry: the others are not applications.
bool isWorthJudging(const NSFileAttributes &attributes) {
  return attributes.isLink() || attributes.canExecute() != 0;
}

// What has no execute permission.
void judgeAsPassedOver(const NSFileAttributes &attributes) {
  giveVerdict([&] {
    return Remark{.code = attributes.isDirectory() ? JudgementCode::notSearchable
                          : attributes.isRegular() ? JudgementCode::notExecutable
                                                   : JudgementCode::specialFile};
  });
}

// The names that a walk goes through. The others are read only to be told of.
std::optional<DirectoryListing> listed(const NSString &path) {
  constexpr NameFilter kFilter{.dots = true, .backups = true};
  if (Judge::current() != nullptr)
    if (const auto all = DirectoryListing::read(path, {}))
      for (std::size_t i = 0; i < all->count(); ++i)
        if (kFilter.leavesOut(all->name(i)))
          judged(path, all->name(i), [&] {
            giveVerdict(all->name(i).starts_with('.') ? JudgementCode::dotName
                                                      : JudgementCode::backupName);
          });
  return DirectoryListing::read(path, kFilter);
}

struct Found {
  std::size_t index;
  NSFileAttributes attributes;
};

// Adds those of some entries that are worth judging. False, with the verdict, when one has
// vanished: the directory counts as one that cannot be listed.
bool findAmong(const DirectoryListing &listing, std::size_t first, std::size_t end, bool isJudged,
               std::vector<Found> &found) {
  for (std::size_t i = first; i < end; ++i) {
    const auto attributes = listing.attributes(i);
    if (!attributes) {
      giveVerdict([&] {
        return Remark{.code = JudgementCode::vanished, .detail = std::string(listing.name(i))};
      });
      return false;
    }
    if (!isWorthJudging(*attributes) && !isJudged)
      continue;
    if (found.empty()) // as often nothing is
      found.reserve(16);
    found.push_back({i, *attributes});
  }
  return true;
}

// Its suffix may be a slip away from a wrapper's.
void judgeAsSearched(const NSString &path) {
  const std::string_view near = nearestWord(suffixOf(path.bytes()), kWrapperSuffixes);
  if (!near.empty())
    remark([&] { return Remark{.code = JudgementCode::nearSuffix, .detail = std::string(near)}; });
  giveVerdict(JudgementCode::searched);
}

} // namespace

void ApplicationWalk::doForPaths(const std::vector<NSString> &paths) {
  for (const NSString &path : paths)
    if (!isFull_ && !hasToStop())
      doForPath(path);
}

bool ApplicationWalk::hasToStop() {
  if (stop_ == nullptr || !stop_->isAsked())
    return false;
  stop_->obey();
  return true;
}

void ApplicationWalk::doForPath(const NSString &path) {
  judged(nullptr, path.bytes(), [&] {
    const auto [dir, file] = TeskerNormalizePathIntoDirFile(path);
    if (progress_ != nullptr)
      progress_->begins(path);
    if (!file) // of which a list may have many; of the others it is asked below
      checkMasterStillAlive_();
    const auto entry = file ? followed(dir, file, JudgementCode::notThere) : std::nullopt;
    // What is walked is the path as it was given, and one with a NUL inside names nothing.
    const bool hasNul = path.bytes().find('\0') != std::string_view::npos;
    if (entry && !(hasNul && isWalked(*entry)))
      doForPathInfo(*entry);
    else
      giveVerdict(JudgementCode::notThere); // or it has one
  });
}

std::optional<Entry> ApplicationWalk::followed(const NSString &dir, const NSString &file,
                                               JudgementCode otherwise) const {
  checkMasterStillAlive_();
  try {
    if (const auto attributes = NSFileManager::classObject()._privateStatDir(dir, file))
      return Entry{dir, file, *attributes};
  } catch (const NSException &) { // as for one that is not there
  }
  giveVerdictOfFailure(otherwise);
  return std::nullopt;
}

void ApplicationWalk::doForPathInfo(const Entry &entry) {
  NSZone &zone = NSDefaultMallocZone();
  if (entry.attributes.canExecute() == 0) {
    judgeAsPassedOver(entry.attributes);
    return;
  }
  if (isWalked(entry))
    return walkDirectory(entry);
  if (progress_ != nullptr)
    progress_->examines(entry.dir, records_);
  if (entry.attributes.isDirectory()) {
    // What a wrapper's links lead back to is a wrapper again only within it.
    WayDown wayInWrapper;
    add(parseAppWrapper(NSFileManager::classObject(), entry, zone,
                        skipsLinkCycles_ ? &wayInWrapper : nullptr));
  } else
    add(parseApp(entry, zone));
}

void ApplicationWalk::walkDirectory(const Entry &directory) {
  // Without a link on the way no directory is above itself, even where a file system gives several
  // of them one number.
  if (skipsLinkCycles_ && linksOnTheWay_ > 0 && way_.leadsBack(directory))
    return;
  const WayDown::Step step(skipsLinkCycles_ ? &way_ : nullptr, directory);
  const NSString path = directory.dir.stringByAppendingPathComponent(directory.file.bytes());
  checkMasterStillAlive_();
  if (progress_ != nullptr)
    progress_->enters(path, records_);
  auto listing = listed(path);
  if (!listing)
    return giveVerdictOfFailure(JudgementCode::vanished, JudgementCode::notSearchable);
  const bool isJudged = Judge::current() != nullptr; // asked once: most entries are not worth it
  std::vector<Found> found;
  for (std::size_t next = 0; next < listing->count();) {
    const std::size_t first = next;
    next = std::min(first + ProgressMeter::kEntriesBetween, listing->count());
    if (!findAmong(*listing, first, next, isJudged, found))
      return;
    if (hasToStop())
      break;
    if (progress_ != nullptr)
      progress_->counts(next - first);
  }
  for (const Found &entry : found) {
    const auto judgeIt = [&] { doForListed(path, *listing, entry.index, entry.attributes); };
    if (isJudged)
      judged(path, listing->name(entry.index), judgeIt);
    else
      judgeIt();
  }
  if (isJudged)
    judgeAsSearched(path);
}

void ApplicationWalk::doForListed(const NSString &path, DirectoryListing &listing,
                                  std::size_t index, const NSFileAttributes &attributes) {
  if (isFull_ || hasToStop())
    return giveVerdict(JudgementCode::limitsReached);
  const NSString file = NSString::create(listing.name(index));
  // Closed before the walk goes on elsewhere: its depth is not to be bounded by descriptors.
  if (attributes.isLink() || attributes.isDirectory())
    listing.close();
  linksOnTheWay_ += attributes.isLink() ? 1 : 0;
  try {
    if (!attributes.isLink())
      doForPathInfo({path, file, attributes, listing.descriptor()});
    else if (const auto entry = followed(path, file, JudgementCode::danglingLink))
      doForPathInfo(*entry);
  } catch (const NSException &exception) { // skips this entry only
    giveVerdict([&] { return failed(exception); });
  }
  linksOnTheWay_ -= attributes.isLink() ? 1 : 0;
}

void ApplicationWalk::add(std::optional<Records> found) {
  if (!found)
    return;
  const std::size_t before = records_;
  for (TKLine &line : *found) {
    const std::size_t length = line.keepDescriptions();
    isFull_ = records_ == bounds_.records || length > bounds_.text - textLength_;
    if (isFull_) {
      remark([] { return Remark{.code = JudgementCode::limitsReached}; });
      break;
    }
    textLength_ += length;
    ++records_;
    if (encoder_ != nullptr)
      encoder_->add(line);
    else
      lines_.push_back(std::move(line));
  }
  countRecords(records_ - before);
}

} // namespace tesker
