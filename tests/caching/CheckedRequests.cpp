#include "tests/caching/CheckedRequests.h"

#include <algorithm>

namespace tesker::test {

namespace {

bool describes(const Info &info, const std::optional<FakeStatus> &status) {
  if (!info || !status)
    return !info && !status;
  return info->buildDirFileUID() == DirFileUID{status->device, status->inode} &&
         info->fullPermissions() == status->mode && info->_mtime() == status->modified &&
         info->_getLastChangeTime() == status->changed;
}

bool isLink(const std::optional<FakeStatus> &status) { return status && S_ISLNK(status->mode); }

bool made(const std::vector<std::string> &calls, const std::string &call) {
  return std::ranges::count(calls, call) > 0;
}

// What the cache took the directory for in the request just made: by its memory if it is there,
// else by the record that the global stat cache has just given. Nothing when it has none.
template <class Value>
std::optional<DirFileUID> takenFor(const FilerDirCache<Value> &cache, const std::string &dir) {
  if (FilerDirCachePeer::lastName(cache) == dir)
    return FilerDirCachePeer::lastIdentity(cache);
  const Memories now;
  if (now.dir != dir || !now.dirInfo)
    return std::nullopt;
  return now.dirInfo->buildDirFileUID();
}

// Whether an entry with these dates may be used for a directory that now looks like that.
bool mayHold(const EntryDates &entry, const FilerTS &validated, const Info &directory) {
  if (entry.stamp >= validated)
    return true;
  if (!directory || !entry.changed)
    return false;
  const auto date = std::max(directory->_mtime(), directory->_getLastChangeTime());
  return date == *entry.changed && date != entry.stamp.time;
}

std::vector<std::string> textsOf(const Names &names) {
  std::vector<std::string> texts;
  for (const NSString &name : names)
    texts.emplace_back(name.bytes());
  return texts;
}

} // namespace

void CheckedRequests::noteValidation(int mask) {
  globalFloor_ = std::max(globalFloor_, history_.stampBegan());
  if ((mask & 6) != 0)
    fileFloor_ = std::max(fileFloor_, history_.stampBegan());
  if ((mask & 4) != 0)
    listingFloor_ = std::max(listingFloor_, history_.stampBegan());
}

void CheckedRequests::noteFlush(const std::string &dir) {
  globalFloor_ = history_.now();
  listings_.erase(dir);
}

void CheckedRequests::noteReset() {
  globalFloor_ = fileFloor_ = listingFloor_ = history_.now();
  fetched_.clear();
  types_.clear();
  listings_.clear();
}

// Whether the path of the directory has meant one thing since then, also to the cache.
bool CheckedRequests::isUnconfused(const std::string &dir, Moment since,
                                   std::optional<DirFileUID> taken) const {
  const auto &target = history_.current(dir).target;
  return history_.lastMappingChange() <= since && target && taken &&
         *taken == DirFileUID{target->device, target->inode};
}

void CheckedRequests::askDirectory(const std::string &dir, bool follow) {
  const Memories before;
  const auto path = NSString::create(dir);
  const auto info =
      follow ? manager()._privateStatDir(path, nullptr) : manager()._privateLstatDir(path, nullptr);
  const auto calls = disk_.takeCalls();
  if (before.dir == dir) {
    EXPECT_EQ(info, before.dirInfo);
    EXPECT_TRUE(calls.empty());
    ++checked_["last directory"];
    return;
  }
  const auto was = [&](auto predicate) { return history_.wasTrue(dir, globalFloor_, predicate); };
  bool allowed = was([&](const Truth &truth) {
    return describes(info, truth.itself) && !(follow && isLink(truth.itself));
  });
  if (follow && was([](const Truth &truth) { return isLink(truth.itself); }))
    allowed = allowed || was([&](const Truth &truth) { return describes(info, truth.target); });
  EXPECT_TRUE(allowed) << "never true since the validation";
  if (made(calls, "lstat " + dir) && !follow) {
    EXPECT_TRUE(describes(info, history_.current(dir).itself));
  }
  ++checked_[calls.empty() ? "directory, cached" : "directory, asked"];
}

// The record of the file itself, which the attribute cache remembers as the last.
void CheckedRequests::checkFile(const Memories &before, const std::string &dir,
                                const std::string &file, const Info &itself, const Strings &calls) {
  const std::string path = dir + "/" + file;
  if (before.hasFile(dir, file)) {
    EXPECT_EQ(itself, before.fileInfo);
    EXPECT_FALSE(made(calls, "lstat " + path));
    ++checked_["last file"];
    return;
  }
  const auto taken = takenFor(CachingFileManagerPeer::stats(), dir);
  if (made(calls, "lstat " + path)) {
    EXPECT_TRUE(describes(itself, history_.current(path).itself));
    if (taken)
      fetched_[{taken->inode, file}] = {history_.now(), itself,
                                        isUnconfused(dir, history_.now(), taken)};
    ++checked_["file, asked"];
    return;
  }
  ASSERT_TRUE(taken) << "a file of a directory that has no entry was not asked for";
  const auto known = fetched_.find({taken->inode, file});
  ASSERT_TRUE(known != fetched_.end());
  EXPECT_EQ(itself, known->second.info);
  EXPECT_GE(known->second.when, fileFloor_) << "older than the validation";
  ++checked_["file, cached"];
  if (known->second.clean && isUnconfused(dir, fileFloor_, taken)) {
    EXPECT_TRUE(history_.wasTrue(
        path, fileFloor_, [&](const Truth &truth) { return describes(itself, truth.itself); }));
    ++checked_["file, cached, by its path"];
  }
}

void CheckedRequests::askFile(const std::string &dir, const std::string &file, bool follow) {
  const Memories before;
  const auto path = NSString::create(dir);
  const auto name = NSString::create(file);
  const auto ask = [&] {
    return follow ? manager()._privateStatDir(path, name) : manager()._privateLstatDir(path, name);
  };
  const auto info = ask();
  const auto calls = disk_.takeCalls();
  const Memories after;
  ASSERT_TRUE(after.hasFile(dir, file));
  checkFile(before, dir, file, after.fileInfo, calls);
  if (follow && after.fileInfo && after.fileInfo->isLink()) {
    EXPECT_TRUE(made(calls, "stat " + dir + "/" + file));
    EXPECT_TRUE(describes(info, history_.current(dir + "/" + file).target));
    ++checked_["link followed"];
    return;
  }
  EXPECT_EQ(info, after.fileInfo);
  EXPECT_EQ(ask(), info);
  EXPECT_TRUE(disk_.takeAllCalls().empty()) << "the same again is free";
}

// The type by the record that the attribute cache has just given; kept says whether it is kept.
int CheckedRequests::expectedType(const std::string &dir, const std::string &file, bool &kept) {
  const Memories now;
  const Info &info = now.fileInfo;
  kept = !info || !info->isLink();
  if (!info)
    return 4;
  if (info->isMagicDirectory())
    return 0;
  if (info->isLink()) {
    const auto &target = history_.current(dir + "/" + file).target;
    return target && S_ISDIR(target->mode) ? 0 : target && S_ISREG(target->mode) ? 3 : 4;
  }
  if (info->isDirectory())
    return now.dir == dir && now.dirInfo ? 1 : 2; // all is on one device
  return info->isRegular() ? 3 : 4;
}

void CheckedRequests::checkKnownType(const std::string &dir, const std::string &file, int type,
                                     const std::string &lastName,
                                     const std::map<ino_t, EntryDates> &entries) {
  const FileTypeCache &cache = CachingFileManagerPeer::types();
  const auto taken = takenFor(cache, dir);
  ASSERT_TRUE(taken);
  const auto known = types_.find({taken->inode, file});
  ASSERT_TRUE(known != types_.end());
  EXPECT_EQ(type, known->second);
  if (lastName == dir) {
    ++checked_["type, cached, last directory"];
    return;
  }
  const auto entry = entries.find(taken->inode);
  ASSERT_TRUE(entry != entries.end());
  EXPECT_TRUE(mayHold(entry->second, FilerCachePeer::lastValidateDate(cache), Memories().dirInfo))
      << "the directory has changed";
  ++checked_["type, cached"];
}

void CheckedRequests::askType(const std::string &dir, const std::string &file) {
  const FileTypeCache &cache = CachingFileManagerPeer::types();
  const Memories before;
  const std::string lastName(FilerDirCachePeer::lastName(cache).bytes());
  std::map<ino_t, EntryDates> entries;
  for (const auto &identity : FilerDirCachePeer::identities(cache))
    entries[identity.inode] = *FilerDirCachePeer::dates(cache, identity);
  const int misses = FilerCachePeer::statistics(cache);
  const int type = manager().getFilerTypeDir(NSString::create(dir), NSString::create(file));
  const auto calls = disk_.takeCalls();
  if (FilerCachePeer::statistics(cache) == misses) {
    checkKnownType(dir, file, type, lastName, entries);
    return;
  }
  checkFile(before, dir, file, Memories().fileInfo, calls);
  bool kept = false;
  EXPECT_EQ(type, expectedType(dir, file, kept));
  const auto taken = takenFor(cache, dir);
  if (kept && taken)
    types_[{taken->inode, file}] = type;
  ++checked_["type, found out"];
}

void CheckedRequests::askAccess(const std::string &dir, const std::string &file) {
  const Memories before;
  const int mode = static_cast<int>(chance_.below(8));
  const bool granted = manager().access(mode, NSString::create(dir), NSString::create(file));
  const auto calls = disk_.takeCalls();
  const Info itself = Memories().fileInfo;
  checkFile(before, dir, file, itself, calls);
  const auto &target = history_.current(dir + "/" + file).target;
  const bool link = itself && itself->isLink();
  const bool there = link ? target.has_value() : itself.has_value();
  const bool executable = there && ((link ? target->mode : itself->fullPermissions()) & 0111) != 0;
  const bool expected = (link && itself->isMagicDirectory()) || mode == 0 ||
                        (there && ((mode & 1) == 0 || executable));
  EXPECT_EQ(granted, expected);
  ++checked_["access"];
}

void CheckedRequests::askListing(const std::string &dir) {
  const ChildrenNamesCache &cache = CachingFileManagerPeer::listings();
  const Memories before;
  const auto entry = FilerNameDirCachePeer::dates(cache, dir);
  const auto names = manager().childrenForDirPath(NSString::create(dir));
  const auto calls = disk_.takeCalls();
  const auto &truth = history_.current(dir);
  if (made(calls, "opendir " + dir)) {
    EXPECT_EQ(names.has_value(), truth.target && S_ISDIR(truth.target->mode));
    if (names) {
      EXPECT_EQ(textsOf(*names), truth.names);
      listings_[dir] = {history_.now(), truth.names, true};
    }
    ++checked_["listing, asked"];
    return;
  }
  ASSERT_TRUE(names && entry && listings_.contains(dir));
  Listed &listed = listings_[dir];
  EXPECT_EQ(textsOf(*names), listed.names);
  const FilerTS validated = FilerCachePeer::lastValidateDate(cache);
  EXPECT_TRUE(mayHold(*entry, validated, Memories().dirInfo)) << "the directory has changed";
  ++checked_["listing, cached"];
  if (entry->stamp < validated && before.dir == dir)
    listed.clean = false;
  if (!listed.clean || history_.lastMappingChange() > listed.when)
    return;
  const Moment since = history_.beginOfDate(dir, std::min(globalFloor_, listingFloor_));
  EXPECT_TRUE(history_.wasTrue(dir, since, [&](const Truth &then) {
    return then.names == listed.names;
  })) << "not even under an earlier change of the same second";
  ++checked_["listing, cached, by its path"];
}

} // namespace tesker::test
