// The caches and a plain uncached model side by side, through random changes and requests.
//
// After every request this is checked, and nothing else is allowed:
//
//   asked now          the answer is the truth of this moment
//   the memories       the directory or file that was the last is given the very record again
//   directories        otherwise the answer was true at some moment since the last validation
//   files              otherwise the answer is that of a stat made since the last validation that
//                      reached the cache, for that name in what was taken for the same directory
//   links followed     the truth of this moment, behind a link record as above
//   types, listings    otherwise the answer is the one found out last, the directory is the same as
//                      in this cache's memory, or its entry was made since the validation, or
//                      its change date shows no change and is not in the second of the stamp
//
// Since the last validation means: since the first moment that has the validation's stamp, so that
// its own second counts. Where no directory has changed its path since then, the answer must also
// have been true for just that path: since the validation, or under the same change date.
#include "tests/caching/CachingTest.h"
#include "tests/caching/DiskHistory.h"
#include "tests/caching/RandomChanges.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>

namespace tesker::test {

namespace {

constexpr int kSteps = 100'000;
constexpr std::uint64_t kSeed = 20'240'229;

bool describes(const NSFileAttributes *info, const std::optional<FakeStatus> &status) {
  if (info == nullptr || !status)
    return info == nullptr && !status;
  DirFileUID identity;
  info->buildDirFileUID(identity);
  return identity == DirFileUID{status->device, status->inode} &&
         info->fullPermissions() == status->mode && info->_mtime() == status->modified &&
         info->_getLastChangeTime() == status->changed;
}

bool isSame(const NSFileAttributes *a, const NSFileAttributes *b) {
  if (a == nullptr || b == nullptr)
    return a == b;
  return a->areEqualUID(*b) && a->fullPermissions() == b->fullPermissions() &&
         a->_mtime() == b->_mtime() && a->_getLastChangeTime() == b->_getLastChangeTime();
}

bool isLink(const std::optional<FakeStatus> &status) { return status && S_ISLNK(status->mode); }

DirFileUID identityOf(const NSFileAttributes &info) {
  DirFileUID identity;
  info.buildDirFileUID(identity);
  return identity;
}

} // namespace

class RandomTest : public CachingTest {
protected:
  using Strings = std::vector<std::string>;

  // The memories, as they are.
  struct Memories {
    std::string dir; // empty for none
    RefPtr<NSFileAttributes> dirInfo;
    std::string fileDir, fileName;
    const NSFileAttributes *fileInfo;

    Memories()
        : dir(textOr(globalStatState().lastCacheDir.get())),
          dirInfo(globalStatState().lastCachedStat),
          fileDir(textOr(DirFileStatsCachePeer::lastDir())),
          fileName(textOr(DirFileStatsCachePeer::lastFile())),
          fileInfo(DirFileStatsCachePeer::lastInfo()) {}
    bool hasFile(const std::string &d, const std::string &f) const {
      return fileDir == d && fileName == f;
    }
    static std::string textOr(const NSString *string) {
      return string != nullptr ? std::string(string->bytes()) : std::string();
    }
  };

  RandomTest() {
    disk.tick(100);
    forgetAll();
    history.noteNewStamp();
    forgetFloors();
  }

  static std::uint64_t seedFromEnvironment() {
    const char *text = std::getenv("TESKER_SEED");
    return text != nullptr ? std::strtoull(text, nullptr, 10) : kSeed;
  }

  // Everything was just emptied: what is answered from now on is from now on.
  void forgetFloors() {
    globalFloor = fileFloor = listingFloor = history.now();
    fetched.clear();
    types.clear();
    listings.clear();
  }

  // What the cache took the directory for in the request just made: by its memory if it is there,
  // else by the record that the global stat cache has just given. Nothing when it has none.
  static std::optional<DirFileUID> takenFor(const FilerCache &cache, const std::string &dir) {
    if (Memories::textOr(FilerCachePeer::lastName(cache)) == dir)
      return FilerCachePeer::lastIdentity(cache);
    const Memories now;
    if (now.dir != dir || !now.dirInfo)
      return std::nullopt;
    return identityOf(*now.dirInfo);
  }

  // Whether the path of the directory has meant one thing since then, also to the cache.
  bool isUnconfused(const std::string &dir, Moment since, std::optional<DirFileUID> taken) const {
    const auto &target = history.current(dir).target;
    return history.lastMappingChange() <= since && target && taken &&
           *taken == DirFileUID{target->device, target->inode};
  }

  // Whether an entry with these dates may be used for a directory that now looks like that.
  static bool mayHold(const EntryDates &entry, const FilerTS &validated,
                      const NSFileAttributes *directory) {
    if (entry.stamp >= validated)
      return true;
    if (directory == nullptr || !entry.changed)
      return false;
    const auto date =
        static_cast<double>(std::max(directory->_mtime(), directory->_getLastChangeTime()));
    return date <= *entry.changed && date >= *entry.changed &&
           static_cast<std::int64_t>(date) != entry.stamp.time;
  }

  bool made(const Strings &calls, const std::string &call) const {
    return std::ranges::count(calls, call) > 0;
  }

  void step();
  void control();
  void request();
  void askDirectory(const std::string &dir, bool follow);
  void askFile(const std::string &dir, const std::string &file, bool follow);
  void checkFile(const Memories &before, const std::string &dir, const std::string &file,
                 const NSFileAttributes *itself, const Strings &calls);
  void askType(const std::string &dir, const std::string &file);
  void checkKnownType(const std::string &dir, const std::string &file, int type,
                      const std::string &lastName, const std::map<ino_t, EntryDates> &entries);
  int expectedType(const std::string &dir, const std::string &file, bool &kept);
  void askAccess(const std::string &dir, const std::string &file);
  void askListing(const std::string &dir);
  void checkFlush(int age);

  FilerCache &statsCache = CachingFileManagerPeer::stats();
  FileTypeCache &typesCache = CachingFileManagerPeer::types();
  ChildrenNamesCache &listingsCache = CachingFileManagerPeer::listings();

  std::uint64_t seed = seedFromEnvironment();
  Chance chance{seed};
  RandomChanges changes{disk, chance};
  DiskHistory history{disk, allPaths(), kDirectories};

  // The first moments that answers may be from.
  Moment globalFloor = 0, fileFloor = 0, listingFloor = 0;
  // What was found out, by the inode that the directory was taken for and the name.
  struct Fetched {
    Moment when;
    RefPtr<const NSFileAttributes> info;
    bool clean; // the directory was what it was taken for
  };
  struct Listed {
    Moment when;
    Strings names;
    bool clean; // and was never confirmed by the memory of the last directory
  };
  std::map<std::pair<ino_t, std::string>, Fetched> fetched;
  std::map<std::pair<ino_t, std::string>, int> types;
  std::map<std::string, Listed> listings;
  // How often each way of being answered was checked.
  std::map<std::string, int> checked;
};

void RandomTest::askDirectory(const std::string &dir, bool follow) {
  const Memories before;
  const auto path = NSString::create(dir);
  const auto info = follow ? manager()._privateStatDir(*path, nullptr)
                           : manager()._privateLstatDir(*path, nullptr);
  const auto calls = disk.takeCalls();
  if (before.dir == dir) {
    EXPECT_EQ(info.get(), before.dirInfo.get());
    EXPECT_TRUE(calls.empty());
    ++checked["last directory"];
    return;
  }
  const auto was = [&](auto predicate) { return history.wasTrue(dir, globalFloor, predicate); };
  bool allowed = was([&](const Truth &truth) {
    return describes(info.get(), truth.itself) && !(follow && isLink(truth.itself));
  });
  if (follow && was([](const Truth &truth) { return isLink(truth.itself); }))
    allowed =
        allowed || was([&](const Truth &truth) { return describes(info.get(), truth.target); });
  EXPECT_TRUE(allowed) << "never true since the validation";
  if (made(calls, "lstat " + dir) && !follow) {
    EXPECT_TRUE(describes(info.get(), history.current(dir).itself));
  }
  ++checked[calls.empty() ? "directory, cached" : "directory, asked"];
}

// The record of the file itself, which the attribute cache remembers as the last.
void RandomTest::checkFile(const Memories &before, const std::string &dir, const std::string &file,
                           const NSFileAttributes *itself, const Strings &calls) {
  const std::string path = dir + "/" + file;
  if (before.hasFile(dir, file)) {
    EXPECT_EQ(itself, before.fileInfo);
    ++checked["last file"];
    return;
  }
  const auto taken = takenFor(statsCache, dir);
  if (made(calls, "lstat " + path)) {
    EXPECT_TRUE(describes(itself, history.current(path).itself));
    if (taken)
      fetched[{taken->inode, file}] = {history.now(), RefPtr<const NSFileAttributes>(itself),
                                       isUnconfused(dir, history.now(), taken)};
    ++checked["file, asked"];
    return;
  }
  ASSERT_TRUE(taken) << "a file of a directory that has no entry was not asked for";
  const auto known = fetched.find({taken->inode, file});
  ASSERT_TRUE(known != fetched.end());
  EXPECT_TRUE(isSame(itself, known->second.info.get()));
  EXPECT_GE(known->second.when, fileFloor) << "older than the validation";
  ++checked["file, cached"];
  if (known->second.clean && isUnconfused(dir, fileFloor, taken)) {
    EXPECT_TRUE(history.wasTrue(
        path, fileFloor, [&](const Truth &truth) { return describes(itself, truth.itself); }));
    ++checked["file, cached, by its path"];
  }
}

void RandomTest::askFile(const std::string &dir, const std::string &file, bool follow) {
  const Memories before;
  const auto path = NSString::create(dir);
  const auto name = NSString::create(file);
  const auto info =
      follow ? manager()._privateStatDir(*path, &*name) : manager()._privateLstatDir(*path, &*name);
  const auto calls = disk.takeCalls();
  const Memories after;
  ASSERT_TRUE(after.hasFile(dir, file));
  checkFile(before, dir, file, after.fileInfo, calls);
  if (follow && after.fileInfo != nullptr && after.fileInfo->isLink()) {
    EXPECT_TRUE(made(calls, "stat " + dir + "/" + file));
    EXPECT_TRUE(describes(info.get(), history.current(dir + "/" + file).target));
    ++checked["link followed"];
    return;
  }
  EXPECT_EQ(info.get(), after.fileInfo);
  const auto again =
      follow ? manager()._privateStatDir(*path, &*name) : manager()._privateLstatDir(*path, &*name);
  EXPECT_EQ(again.get(), info.get());
  EXPECT_TRUE(disk.takeAllCalls().empty()) << "the same again is free";
}

// The type by the record that the attribute cache has just given; kept says whether it is kept.
int RandomTest::expectedType(const std::string &dir, const std::string &file, bool &kept) {
  const Memories now;
  const NSFileAttributes *info = now.fileInfo;
  kept = info == nullptr || !info->isLink();
  if (info == nullptr)
    return 4;
  if (info->isMagicDirectory())
    return 0;
  if (info->isLink()) {
    const auto &target = history.current(dir + "/" + file).target;
    return target && S_ISDIR(target->mode) ? 0 : target && S_ISREG(target->mode) ? 3 : 4;
  }
  if (info->isDirectory())
    return now.dir == dir && now.dirInfo ? 1 : 2; // all is on one device
  return info->isRegular() ? 3 : 4;
}

void RandomTest::checkKnownType(const std::string &dir, const std::string &file, int type,
                                const std::string &lastName,
                                const std::map<ino_t, EntryDates> &entries) {
  const auto taken = takenFor(typesCache, dir);
  ASSERT_TRUE(taken);
  const auto known = types.find({taken->inode, file});
  ASSERT_TRUE(known != types.end());
  EXPECT_EQ(type, known->second);
  if (lastName == dir) {
    ++checked["type, cached, last directory"];
    return;
  }
  const auto entry = entries.find(taken->inode);
  ASSERT_TRUE(entry != entries.end());
  EXPECT_TRUE(mayHold(entry->second, FilerCachePeer::lastValidateDate(typesCache),
                      Memories().dirInfo.get()))
      << "the directory has changed";
  ++checked["type, cached"];
}

void RandomTest::askType(const std::string &dir, const std::string &file) {
  const Memories before;
  const std::string lastName = Memories::textOr(FilerCachePeer::lastName(typesCache));
  std::map<ino_t, EntryDates> entries;
  for (const auto &identity : FilerCachePeer::identities(typesCache))
    entries[identity.inode] = *FilerCachePeer::dates(typesCache, identity);
  const int misses = FilerCachePeer::statistics(typesCache);
  const int type = manager().getFilerTypeDir(*NSString::create(dir), &*NSString::create(file));
  const auto calls = disk.takeCalls();
  if (FilerCachePeer::statistics(typesCache) == misses) {
    checkKnownType(dir, file, type, lastName, entries);
    return;
  }
  checkFile(before, dir, file, Memories().fileInfo, calls);
  bool kept = false;
  EXPECT_EQ(type, expectedType(dir, file, kept));
  const auto taken = takenFor(typesCache, dir);
  if (kept && taken)
    types[{taken->inode, file}] = type;
  ++checked["type, found out"];
}

void RandomTest::askAccess(const std::string &dir, const std::string &file) {
  const Memories before;
  const int mode = static_cast<int>(chance.below(8));
  const bool granted = manager().access(mode, *NSString::create(dir), &*NSString::create(file));
  const auto calls = disk.takeCalls();
  const NSFileAttributes *itself = Memories().fileInfo;
  checkFile(before, dir, file, itself, calls);
  const auto &target = history.current(dir + "/" + file).target;
  const bool link = itself != nullptr && itself->isLink();
  const bool there = link ? target.has_value() : itself != nullptr;
  const bool executable = there && ((link ? target->mode : itself->fullPermissions()) & 0111) != 0;
  const bool expected = (link && itself->isMagicDirectory()) || mode == 0 ||
                        (there && ((mode & 1) == 0 || executable));
  EXPECT_EQ(granted, expected);
  ++checked["access"];
}

void RandomTest::askListing(const std::string &dir) {
  const Memories before;
  const auto entry = FilerNameDirCachePeer::dates(listingsCache, dir);
  const auto names = manager().childrenForDirPath(*NSString::create(dir));
  const auto calls = disk.takeCalls();
  const auto &truth = history.current(dir);
  if (made(calls, "opendir " + dir)) {
    EXPECT_EQ(static_cast<bool>(names), truth.target && S_ISDIR(truth.target->mode));
    if (names) {
      EXPECT_EQ(textsOf(names), truth.names);
      listings[dir] = {history.now(), truth.names, true};
    }
    ++checked["listing, asked"];
    return;
  }
  ASSERT_TRUE(names && entry && listings.contains(dir));
  Listed &listed = listings[dir];
  EXPECT_EQ(textsOf(names), listed.names);
  const FilerTS validated = FilerCachePeer::lastValidateDate(listingsCache);
  EXPECT_TRUE(mayHold(*entry, validated, Memories().dirInfo.get())) << "the directory has changed";
  ++checked["listing, cached"];
  if (entry->stamp < validated && before.dir == dir)
    listed.clean = false;
  if (!listed.clean || history.lastMappingChange() > listed.when)
    return;
  const Moment since = history.beginOfDate(dir, std::min(globalFloor, listingFloor));
  EXPECT_TRUE(history.wasTrue(dir, since, [&](const Truth &then) {
    return then.names == listed.names;
  })) << "not even under an earlier change of the same second";
  ++checked["listing, cached, by its path"];
}

void RandomTest::request() {
  const std::string &dir = chance.oneOf(kDirectories);
  const std::string &file = chance.oneOf(kNames);
  switch (chance.below(8)) {
  case 0:
    askDirectory(dir, false);
    break;
  case 1:
    askDirectory(dir, true);
    break;
  case 2:
  case 3:
    askFile(dir, file, chance.oneIn(2));
    break;
  case 4:
    askAccess(dir, file);
    break;
  case 5:
  case 6:
    askType(dir, file);
    break;
  default:
    askListing(dir);
  }
}

// A flush removes no more than it says, and nothing that is young.
void RandomTest::checkFlush(int age) {
  const auto count = [this] {
    return globalStatState().globalTable.size() + FilerCachePeer::count(statsCache) +
           FilerCachePeer::count(typesCache) + FilerNameDirCachePeer::count(listingsCache);
  };
  const auto before = count();
  const int removed = manager().flushVeryOld(age);
  EXPECT_EQ(before - count(), static_cast<std::size_t>(removed));
  for (const auto &[path, entry] : globalStatState().globalTable)
    for (const auto &[otherPath, other] : globalStatState().globalTable)
      EXPECT_LE(other->lastCheck.time - entry->lastCheck.time, age);
}

// Everything but requests and changes.
void RandomTest::control() {
  switch (chance.below(10)) {
  case 0:
  case 1:
  case 2:
    disk.tick(static_cast<std::int64_t>(1 + chance.below(3)));
    history.noteNewStamp();
    break;
  case 3:
    manager().bumpGeneration();
    history.noteNewStamp();
    break;
  case 4:
  case 5:
  case 6: {
    const int mask = static_cast<int>(chance.below(8));
    manager().validate(mask);
    globalFloor = std::max(globalFloor, history.stampBegan());
    if ((mask & 6) != 0)
      fileFloor = std::max(fileFloor, history.stampBegan());
    if ((mask & 4) != 0)
      listingFloor = std::max(listingFloor, history.stampBegan());
    EXPECT_EQ(DirFileStatsCachePeer::lastDir(), nullptr);
    break;
  }
  case 7: {
    const std::string &dir = chance.oneOf(kDirectories);
    manager().flushDir(*NSString::create(dir));
    globalFloor = history.now();
    listings.erase(dir);
    break;
  }
  case 8:
    checkFlush(static_cast<int>(chance.below(6)));
    break;
  default:
    if (chance.oneIn(4)) {
      manager().reset();
      forgetFloors();
    } else {
      manager().flushChildrenNamesCache();
      listings.clear();
    }
  }
  disk.takeAllCalls();
}

void RandomTest::step() {
  const std::size_t kind = chance.below(100);
  if (kind < 15)
    control();
  else if (kind < 40) {
    changes.change();
    history.note();
  } else
    request();
}

TEST_F(RandomTest, EveryAnswerIsTrueOrAsStaleAsIsPromised) {
  int number = 0;
  while (number < kSteps && !HasFailure()) {
    ++number;
    step();
  }
  ASSERT_FALSE(HasFailure()) << "repeat with TESKER_SEED=" << seed << ", step " << number;
  // Nothing was left out by chance.
  for (const char *way :
       {"last directory", "directory, cached", "directory, asked", "last file", "file, cached",
        "file, cached, by its path", "file, asked", "link followed", "type, found out",
        "type, cached", "type, cached, last directory", "access", "listing, asked",
        "listing, cached", "listing, cached, by its path"})
    EXPECT_GE(checked[way], 100) << way;
}

} // namespace tesker::test
