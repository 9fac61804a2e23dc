#include "caching/DirFileStatEntry.h"
#include "caching/DirFileStatsCache.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

#include <cerrno>
#include <unistd.h>

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class FileStatsCacheTest : public CachingTest {
protected:
  FileStatsCacheTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/a/sub");
    disk.addFile("/a/f");
    disk.addFile("/a/g");
    disk.addLink("/a/link", "f");
    disk.tick(100);
    forgetAll();
  }

  std::optional<NSFileAttributes> lstat(std::string_view file) {
    return cache.lstatDir("/a"_ns, NSString::create(file));
  }
  std::optional<NSFileAttributes> stat(std::string_view file) {
    return cache.statDir("/a"_ns, NSString::create(file));
  }
  ino_t inode(std::string_view path) { return disk.peek(path, false)->inode; }

  DirFileStatsCache &cache = CachingFileManagerPeer::stats();
};

TEST_F(FileStatsCacheTest, TheFirstLookUpAsksOnceAndTheSecondNot) {
  EXPECT_EQ(inodeOf(lstat("f")), inode("/a/f"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a", "lstat /a/f"));
  EXPECT_EQ(inodeOf(lstat("g")), inode("/a/g"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a/g"));
  EXPECT_EQ(inodeOf(lstat("f")), inode("/a/f")) << "out of the table";
  EXPECT_EQ(inodeOf(lstat("f")), inode("/a/f")) << "out of the memory";
  EXPECT_EQ(inodeOf(stat("g")), inode("/a/g")) << "no link, so nothing to follow";
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(FileStatsCacheTest, AValidationIsFollowedByOneStatForEachFile) {
  static_cast<void>(lstat("f"));
  static_cast<void>(lstat("g"));
  disk.setMode("/a/f", 0600);
  validateLater();
  disk.takeAllCalls();
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0600);
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0600);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a/f"));
  static_cast<void>(lstat("g"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a/g"));
}

TEST_F(FileStatsCacheTest, AChangeInTheValidationsSecondGoesUnseenUntilTheNext) {
  static_cast<void>(lstat("f"));
  disk.setMode("/a/f", 0600);
  manager().validate(7);
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0644);
  manager().bumpGeneration();
  manager().validate(7);
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0600) << "the generation tells them apart";
}

TEST_F(FileStatsCacheTest, AValidationThatIsNotForTheCacheLeavesItsEntriesFresh) {
  static_cast<void>(lstat("f"));
  disk.setMode("/a/f", 0600);
  disk.tick();
  manager().validate(1);
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0644);
  manager().validate(4);
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0600);
}

TEST_F(FileStatsCacheTest, AFailureIsRememberedUntilTheNextValidation) {
  EXPECT_FALSE(lstat("late"));
  static_cast<void>(lstat("f"));
  disk.addFile("/a/late");
  disk.takeAllCalls();
  EXPECT_FALSE(lstat("late"));
  EXPECT_FALSE(stat("late"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  validateLater();
  EXPECT_TRUE(lstat("late"));
}

TEST_F(FileStatsCacheTest, ADirectoryThatChangedLosesAllItsEntries) {
  const auto records = recordsInUse();
  static_cast<void>(lstat("f"));
  static_cast<void>(lstat("g"));
  EXPECT_EQ(recordsInUse(), records + 2);
  disk.tick();
  disk.addFile("/a/new");
  static_cast<void>(cache.lstatDir("/"_ns, "a"_ns));
  static_cast<void>(cache.lstatDir("/"_ns, "b"_ns));
  validateLater();
  EXPECT_EQ(recordsInUse(), records + 3) << "f, g, a; of b there is none";
  static_cast<void>(lstat("g"));
  EXPECT_EQ(recordsInUse(), records + 2) << "f is gone";
}

TEST_F(FileStatsCacheTest, ASubdirectoryAlsoFillsTheGlobalStatCacheWithTheSameStamp) {
  disk.tick(5);
  const auto info = lstat("sub");
  ASSERT_NE(globalEntry("/a/sub"), nullptr);
  EXPECT_EQ(globalEntry("/a/sub")->statInfo, info);
  EXPECT_EQ(globalEntry("/a/sub")->lastCheck, (FilerTS{1105, generation}));
  EXPECT_THAT(disk.takeAllCalls(), ElementsAre("time", "lstat /a", "time", "lstat /a/sub"));
  EXPECT_EQ(globalStat("/a/sub"), info);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(FileStatsCacheTest, FilesAndLinksDoNotFillTheGlobalStatCache) {
  static_cast<void>(lstat("f"));
  static_cast<void>(lstat("link"));
  disk.addLink("/a/magic", "nothing", 01777);
  static_cast<void>(lstat("magic"));
  EXPECT_EQ(globalEntry("/a/f"), nullptr);
  EXPECT_EQ(globalEntry("/a/link"), nullptr);
  EXPECT_EQ(globalEntry("/a/magic"), nullptr);
}

TEST_F(FileStatsCacheTest, ALinkIsFollowedAgainOnEveryCall) {
  EXPECT_EQ(inodeOf(stat("link")), inode("/a/f"));
  disk.takeAllCalls();
  EXPECT_EQ(inodeOf(stat("link")), inode("/a/f"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("stat /a/link"));
  EXPECT_EQ(inodeOf(stat("link")), inode("/a/f"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("stat /a/link"));
  EXPECT_EQ(inodeOf(lstat("link")), inode("/a/link"));
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST_F(FileStatsCacheTest, AMagicDirectoryIsFollowedLikeAnyLink) {
  disk.addLink("/a/magic", "f", 01777);
  EXPECT_TRUE(lstat("magic")->isMagicDirectory());
  EXPECT_EQ(inodeOf(stat("magic")), inode("/a/f"));
}

TEST_F(FileStatsCacheTest, AFollowedRecordLivesAsLongAsItsEntry) {
  const auto records = recordsInUse();
  static_cast<void>(stat("link"));
  EXPECT_EQ(recordsInUse(), records + 2) << "of the link and of what it leads to";
  static_cast<void>(stat("link"));
  EXPECT_EQ(recordsInUse(), records + 2) << "replaced by a newer one";
  manager().reset();
  EXPECT_EQ(recordsInUse(), records);
}

TEST_F(FileStatsCacheTest, ANewLinkRecordForgetsTheFollowedOne) {
  const auto records = recordsInUse();
  static_cast<void>(stat("link"));
  validateLater();
  static_cast<void>(lstat("link"));
  EXPECT_EQ(recordsInUse(), records + 1);
}

TEST_F(FileStatsCacheTest, TheLastFileIsForgottenByAValidationOfAnyMask) {
  static_cast<void>(lstat("f"));
  EXPECT_EQ(DirFileStatsCachePeer::lastFile(), "f"_ns);
  cache.validate(0);
  EXPECT_FALSE(DirFileStatsCachePeer::lastDir());
  EXPECT_FALSE(DirFileStatsCachePeer::lastFile());
  EXPECT_FALSE(DirFileStatsCachePeer::lastInfo());
}

TEST_F(FileStatsCacheTest, TheLastFileSurvivesResetAndFlushes) {
  const auto last = lstat("f");
  disk.setMode("/a/f", 0600);
  manager().reset();
  manager().flushDir("/a"_ns);
  disk.takeAllCalls();
  EXPECT_EQ(lstat("f"), last);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  static_cast<void>(lstat("g"));
  EXPECT_EQ(lstat("f")->fullPermissions(), S_IFREG | 0600);
}

TEST_F(FileStatsCacheTest, AFileThatIsNotThereIsTheLastFileToo) {
  static_cast<void>(lstat("late"));
  EXPECT_EQ(DirFileStatsCachePeer::lastFile(), "late"_ns);
  disk.addFile("/a/late");
  manager().reset();
  disk.takeAllCalls();
  EXPECT_FALSE(lstat("late"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(FileStatsCacheTest, AnAnswerOutOfTheTableIsTheLastFileToo) {
  const auto info = lstat("f");
  static_cast<void>(lstat("g"));
  static_cast<void>(lstat("f"));
  EXPECT_EQ(DirFileStatsCachePeer::lastFile(), "f"_ns);
  EXPECT_EQ(DirFileStatsCachePeer::lastInfo(), info);
}

TEST_F(FileStatsCacheTest, TheLastFileIsKnownByItsBytes) {
  static_cast<void>(cache.lstatDir("/a"_ns, "f"_ns));
  manager().reset(); // so that only the memory can answer
  disk.takeAllCalls();
  EXPECT_EQ(inodeOf(cache.lstatDir("/a"_ns, "f"_ns)), inode("/a/f"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty()) << "other strings of the same bytes";
  EXPECT_EQ(inodeOf(cache.lstatDir("/a"_ns, "g"_ns)), inode("/a/g"));
  disk.addDirectory("/b");
  EXPECT_FALSE(cache.lstatDir("/b"_ns, "g"_ns));
  EXPECT_EQ(inodeOf(cache.lstatDir("/a"_ns, "g"_ns)), inode("/a/g"));
}

TEST_F(FileStatsCacheTest, Inconsistency1IsReportedForALinkWhoseDirectoryWasFlushed) {
  static_cast<void>(lstat("link"));
  manager().flushDir("/a"_ns);
  EXPECT_EQ(inodeOf(stat("link")), inode("/a/f")) << "answered all the same";
  EXPECT_THAT(log.logged, ElementsAre("statDir: Inconsistency 1 /a/link"));
}

TEST_F(FileStatsCacheTest, Inconsistency2IsReportedForALinkWhoseEntryIsMissing) {
  static_cast<void>(lstat("link"));
  manager().reset();
  // Brings the table back without the link, and then the link as the last file.
  static_cast<void>(lstat("f"));
  DirFileStatsCache other(1);
  static_cast<void>(other.lstatDir("/a"_ns, "link"_ns));
  EXPECT_EQ(inodeOf(stat("link")), inode("/a/f"));
  EXPECT_THAT(log.logged, ElementsAre("statDir: Inconsistency 2 /a/link"));
}

TEST_F(FileStatsCacheTest, FilesInADirectoryThatCannotBeExaminedAreAskedForEveryTime) {
  const auto dir = "/nothing"_ns;
  EXPECT_FALSE(cache.lstatDir(dir, "f"_ns));
  EXPECT_FALSE(cache.lstatDir(dir, "g"_ns));
  disk.takeAllCalls();
  EXPECT_FALSE(cache.lstatDir(dir, "f"_ns));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /nothing/f"));
  EXPECT_EQ(FilerDirCachePeer::count(cache), 0U);
}

TEST_F(FileStatsCacheTest, MissesAreCountedAndResetZeroesThem) {
  static_cast<void>(lstat("f"));
  static_cast<void>(lstat("f"));
  static_cast<void>(stat("link"));
  EXPECT_EQ(FilerCachePeer::statistics(cache), 3) << "two files and a link followed";
  manager().reset();
  EXPECT_EQ(FilerCachePeer::statistics(cache), 0);
}

// Entries and their pages.

class FileStatEntryTest : public FileStatsCacheTest {
protected:
  // Uses up what is on the free list, so that the next entry takes a page.
  FileStatEntryTest() {
    disk.takeAllCalls();
    while (disk.takeAllCalls().empty())
      taken.push_back(newDirFileStatEntry());
    for (std::size_t i = 1; i < perPage; ++i)
      taken.push_back(newDirFileStatEntry());
  }
  ~FileStatEntryTest() override {
    for (const auto handle : taken)
      freeDirFileStatEntry(handle);
  }

  const std::size_t pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t perPage = pageSize / 20;
  std::vector<DirFileStatHandle> taken;
};

TEST_F(FileStatEntryTest, APageOf4096BytesGives204EntriesOf20Bytes) {
  EXPECT_EQ(sizeof(DirFileStatEntry), 20U);
  EXPECT_EQ(std::size_t{4096} / sizeof(DirFileStatEntry), 204U);
  const auto pages = nbDirFileStatEntryPages;
  for (std::size_t i = 0; i < perPage; ++i)
    taken.push_back(newDirFileStatEntry());
  EXPECT_EQ(nbDirFileStatEntryPages, pages + 1);
  EXPECT_THAT(disk.takeAllCalls(), ElementsAre("mmap " + std::to_string(pageSize)));
  taken.push_back(newDirFileStatEntry());
  EXPECT_EQ(nbDirFileStatEntryPages, pages + 2);
}

TEST_F(FileStatEntryTest, TheEntryCarvedLastIsHandedOutFirst) {
  const auto first = newDirFileStatEntry();
  const auto second = newDirFileStatEntry();
  taken.insert(taken.end(), {first, second});
  EXPECT_EQ(first - second, 20U);
  EXPECT_EQ(first % pageSize, (perPage - 1) * 20);
}

TEST_F(FileStatEntryTest, AFreedEntryIsHandedOutNextAndCleared) {
  const auto handle = newDirFileStatEntry();
  const auto info = NSFileManager::classObject()._privateLstatDir("/a"_ns, nullptr);
  const auto records = recordsInUse();
  dirFileStatEntry(handle).lstatInfo = info;
  dirFileStatEntry(handle).statInfo = info;
  EXPECT_EQ(recordsInUse(), records + 2);
  freeDirFileStatEntry(handle);
  EXPECT_EQ(recordsInUse(), records);
  taken.push_back(newDirFileStatEntry());
  EXPECT_EQ(taken.back(), handle);
  EXPECT_FALSE(dirFileStatEntry(handle).lstatInfo.record());
  EXPECT_FALSE(dirFileStatEntry(handle).statInfo.record());
}

TEST_F(FileStatEntryTest, NoMemoryIsReportedAsNewDirFileStatEntry1And2) {
  disk.failCall(1, FakeDisk::Fault::error, ENOMEM);
  EXPECT_EQ(newDirFileStatEntry(), 0U);
  EXPECT_THAT(log.logged, ElementsAre("newDirFileStatEntry 1", "newDirFileStatEntry 2"));
  taken.push_back(newDirFileStatEntry());
  EXPECT_NE(taken.back(), 0U) << "it is tried again";
}

TEST_F(FileStatEntryTest, WithoutMemoryForAnEntryTheAnswerIsGivenAndNotKept) {
  static_cast<void>(globalStat("/a"));
  disk.takeAllCalls();
  disk.failCall(3, FakeDisk::Fault::error, ENOMEM); // after the clock and the stat
  EXPECT_EQ(inodeOf(stat("link")), inode("/a/f"));
  EXPECT_THAT(log.logged, ElementsAre("newDirFileStatEntry 1", "newDirFileStatEntry 2",
                                      "statDir: Inconsistency 2 /a/link"));
  static_cast<void>(lstat("g"));
  disk.takeAllCalls();
  EXPECT_EQ(inodeOf(lstat("link")), inode("/a/link"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a/link"));
}

TEST_F(FileStatEntryTest, APageThatRaisesLeavesNoEntryForTheFile) {
  for (const auto fault : {FakeDisk::Fault::raise, FakeDisk::Fault::badAlloc}) {
    static_cast<void>(globalStat("/a"));
    disk.takeAllCalls();
    disk.failCall(3, fault);
    EXPECT_ANY_THROW(static_cast<void>(lstat("f")));
    EXPECT_TRUE(disk.failed());
    disk.takeAllCalls();
  }
  EXPECT_EQ(inodeOf(lstat("f")), inode("/a/f"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a/f", "mmap " + std::to_string(pageSize)));
}

TEST_F(FileStatEntryTest, HandlesOfRecordsAreGivenToTheNextOnes) {
  const auto info = NSFileManager::classObject()._privateLstatDir("/a"_ns, nullptr);
  const auto other = NSFileManager::classObject()._privateLstatDir("/a/f"_ns, nullptr);
  const auto records = recordsInUse();
  RecordHandle nothing;
  EXPECT_FALSE(nothing.record());
  nothing = std::optional<NSFileAttributes>();
  EXPECT_FALSE(nothing.record());
  EXPECT_EQ(recordsInUse(), records);
  RecordHandle first;
  first = info;
  RecordHandle second;
  second = other;
  EXPECT_EQ(first.record(), info);
  EXPECT_EQ(second.record(), other);
  EXPECT_EQ(recordsInUse(), records + 2);
  const auto slot = first.slot();
  first = std::nullopt;
  EXPECT_EQ(recordsInUse(), records + 1);
  RecordHandle third(std::move(second));
  EXPECT_EQ(third.record(), other);
  EXPECT_EQ(recordsInUse(), records + 1);
  third = info;
  EXPECT_EQ(third.record(), info) << "replaced in its slot";
  EXPECT_EQ(recordsInUse(), records + 1);
  const auto level = NSDefaultMallocZone().bytesInUse();
  for (int i = 0; i < 10'000; ++i) {
    RecordHandle next;
    next = other;
    EXPECT_EQ(next.slot(), slot);
    EXPECT_EQ(next.record(), other);
  }
  EXPECT_EQ(NSDefaultMallocZone().bytesInUse(), level);
}

} // namespace tesker::test
