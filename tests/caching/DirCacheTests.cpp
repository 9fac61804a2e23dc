#include "caching/FilerDirCache.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

#include <algorithm>
#include <utility>

namespace tesker::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// How many strings share these bytes, this one included.
unsigned holders(const NSString &string) { return string.object()->retainCount() - 1; }

class DirCacheTest : public CachingTest {
protected:
  DirCacheTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/b");
    disk.addLink("/link", "/a");
    disk.tick(100); // the directories' last change is long ago
    forgetAll();
  }

  void insert(std::string_view path, std::optional<NSString> data) {
    cache.insertDir(NSString::create(path), std::move(data));
  }
  // The value, nil for none.
  NSString text(std::string_view path) {
    return copied(cache.getDir(NSString::create(path))).value_or(nullptr);
  }
  // Makes the cache and the stat cache forget which directory was the last.
  void displaceLast() {
    insert("/", std::nullopt);
    static_cast<void>(text("/"));
    displaceLastDirectory();
  }

  FilerDirCache<NSString> cache{2};
};

TEST_F(DirCacheTest, GivesBackWhatWasInsertedWithoutACall) {
  EXPECT_FALSE(text("/a"));
  const auto value = "value"_ns;
  insert("/a", value);
  disk.takeAllCalls();
  EXPECT_TRUE(text("/a").isSameObjectAs(value));
  EXPECT_FALSE(text("/nothing/there"));
  disk.takeAllCalls();
  EXPECT_TRUE(text("/a").isSameObjectAs(value));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(DirCacheTest, InsertingReplacesAndReleasesTheValueBefore) {
  const auto first = "first"_ns;
  insert("/a", first);
  EXPECT_EQ(holders(first), 2U);
  insert("/a", "second"_ns);
  EXPECT_EQ(holders(first), 1U);
  EXPECT_EQ(text("/a"), "second"_ns);
  EXPECT_EQ(FilerDirCachePeer::count(cache), 1U);
}

TEST_F(DirCacheTest, TwoPathsToOneDirectoryShareAnEntry) {
  insert("/link", "value"_ns);
  EXPECT_EQ(text("/a"), "value"_ns);
  EXPECT_EQ(FilerDirCachePeer::count(cache), 1U);
}

TEST_F(DirCacheTest, ADirectoryChangedSinceIsDroppedAfterAValidation) {
  insert("/a", "value"_ns);
  displaceLast();
  disk.tick();
  disk.addFile("/a/new");
  EXPECT_EQ(text("/a"), "value"_ns) << "nobody has looked since";
  displaceLast();
  validateLater();
  EXPECT_FALSE(text("/a"));
  EXPECT_FALSE(std::ranges::count(FilerDirCachePeer::identities(cache), DirFileUID{1, 2}));
}

TEST_F(DirCacheTest, ADirectoryNotChangedSinceIsConfirmedByOneStat) {
  insert("/a", "value"_ns);
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a"), "value"_ns);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
  displaceLast();
  EXPECT_EQ(text("/a"), "value"_ns);
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
}

TEST_F(DirCacheTest, AConfirmedDirectoryIsNotComparedAgainUntilTheNextValidation) {
  insert("/a", "value"_ns);
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a"), "value"_ns);
  disk.tick();
  disk.addFile("/a/new");
  displaceLast();
  emptyGlobalTable(); // the new change date would be seen
  EXPECT_EQ(text("/a"), "value"_ns);
  displaceLast();
  validateLater();
  EXPECT_FALSE(text("/a"));
}

TEST_F(DirCacheTest, AChangeOfStatusCountsLikeOneOfContents) {
  insert("/a", "value"_ns);
  displaceLast();
  disk.tick();
  disk.setMode("/a", 0700);
  validateLater();
  EXPECT_FALSE(text("/a"));
}

// The stamp is the moment of the last validation. A second change in its second would leave the
// change date as it is, so none is needed for the directory to count as changed.
TEST_F(DirCacheTest, ADirectoryChangedInTheStampsSecondCountsAsChangedAfterTheNextValidation) {
  disk.addFile("/a/first");
  forgetAll();
  insert("/a", "value"_ns);
  displaceLast();
  disk.addFile("/a/second");
  EXPECT_EQ(text("/a"), "value"_ns);
  displaceLast();
  validateLater(1);
  EXPECT_FALSE(text("/a"));
}

TEST_F(DirCacheTest, ADirectoryLastChangedInTheStampsSecondCountsAsChangedWithoutAChange) {
  disk.addFile("/a/first");
  forgetAll();
  insert("/a", "value"_ns);
  displaceLast();
  validateLater(1);
  EXPECT_FALSE(text("/a"));
}

// What the change test cannot see, as its header says.
TEST_F(DirCacheTest, ASecondChangeInASecondAfterTheStampsGoesUnseen) {
  disk.tick(50);
  disk.addFile("/a/first");
  insert("/a", "value"_ns);
  displaceLast();
  disk.addFile("/a/second");
  validateLater();
  EXPECT_EQ(text("/a"), "value"_ns);
}

TEST_F(DirCacheTest, TheLastDirectoryIsGivenAgainWithoutALook) {
  insert("/a", "value"_ns);
  EXPECT_EQ(text("/a"), "value"_ns);
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  disk.takeAllCalls();
  EXPECT_EQ(text("/a"), "value"_ns) << "not even a validation counts";
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  displaceLast();
  EXPECT_FALSE(text("/a"));
}

TEST_F(DirCacheTest, OnlyALookUpThatFindsADirectoryMakesItTheLast) {
  insert("/a", "value"_ns);
  EXPECT_FALSE(FilerDirCachePeer::lastName(cache));
  static_cast<void>(text("/a"));
  EXPECT_EQ(FilerDirCachePeer::lastName(cache), "/a"_ns);
  static_cast<void>(text("/b"));
  EXPECT_EQ(FilerDirCachePeer::lastName(cache), "/a"_ns);
}

TEST_F(DirCacheTest, DirectoriesWhoseIdentitiesHashAlikeAreToldApart) {
  insert("/a", "value"_ns);
  struct stat record {};
  record.st_mode = S_IFDIR | 0755;
  record.st_dev = disk.peek("/a", false)->inode; // the two the other way round
  record.st_ino = disk.peek("/a", false)->device;
  fillGlobalCachedDirLStat("/other"_ns, NSFileAttributes(record), globalLastValidateDate);
  EXPECT_FALSE(text("/other"));
}

TEST_F(DirCacheTest, TheMemoryIsNotUsedWhenSwitchedOff) {
  staticCacheEnabled = false;
  insert("/a", "value"_ns);
  EXPECT_EQ(text("/a"), "value"_ns);
  EXPECT_FALSE(FilerDirCachePeer::lastName(cache));
  staticCacheEnabled = true;
  EXPECT_EQ(text("/a"), "value"_ns);
  EXPECT_EQ(FilerDirCachePeer::lastName(cache), "/a"_ns);
  staticCacheEnabled = false;
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  EXPECT_FALSE(text("/a"));
  staticCacheEnabled = true;
}

TEST_F(DirCacheTest, ValidateWithoutACommonBitLeavesTheStamp) {
  const FilerTS before = FilerCachePeer::lastValidateDate(cache);
  disk.tick();
  cache.validate(1 | 4);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(cache), before);
  cache.validate(2 | 4);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(cache), (FilerTS{before.time + 1, generation}));
}

TEST_F(DirCacheTest, ANewCacheIsStampedNow) {
  disk.tick(5);
  const FilerDirCache<NSString> made(1);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(made), (FilerTS{1105, generation}));
}

TEST_F(DirCacheTest, ACacheIsInTheListForAsLongAsItLives) {
  const FilerCache *first = &cache;
  EXPECT_THAT(manager().caches(), Contains(first));
  EXPECT_EQ(manager().caches().back(), first) << "appended";
  auto second = std::make_optional<FilerDirCache<NSString>>(1);
  const FilerCache *address = &*second;
  {
    const FilerDirCache<NSString> third(1);
    EXPECT_EQ(manager().caches().back(), &third);
  }
  EXPECT_EQ(manager().caches().back(), address);
  second.reset();
  EXPECT_THAT(manager().caches(), Not(Contains(address)));
  EXPECT_EQ(manager().caches().back(), first);
}

TEST_F(DirCacheTest, ResetReleasesEverythingAndStampsTheCache) {
  const auto value = "value"_ns;
  insert("/a", value);
  static_cast<void>(text("/a"));
  disk.tick(3);
  cache.reset();
  EXPECT_EQ(holders(value), 1U);
  EXPECT_EQ(FilerDirCachePeer::count(cache), 0U);
  EXPECT_FALSE(FilerDirCachePeer::lastName(cache));
  EXPECT_EQ(FilerCachePeer::lastValidateDate(cache), (FilerTS{1103, generation}));
  EXPECT_FALSE(text("/a"));
}

TEST_F(DirCacheTest, ResetAndFlushLeaveTheRememberedPathStringHeld) {
  const auto path = "/a"_ns;
  for (const bool withReset : {true, false}) {
    cache.insertDir(path, "value"_ns);
    static_cast<void>(cache.getDir(path));
    if (withReset)
      cache.reset();
    else
      cache.flushDir(path);
    EXPECT_FALSE(FilerDirCachePeer::lastName(cache));
    EXPECT_TRUE(FilerDirCachePeer::heldName(cache).isSameObjectAs(path));
  }
}

TEST_F(DirCacheTest, EntriesMadeAfterAResetAreStillGivenBack) {
  disk.tick(3);
  cache.reset();
  insert("/a", "value"_ns);
  displaceLast();
  EXPECT_EQ(text("/a"), "value"_ns) << "their stamp is older than the cache's, but nothing changed";
  disk.takeAllCalls();
  displaceLast();
  EXPECT_EQ(text("/a"), "value"_ns);
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
}

TEST_F(DirCacheTest, FlushDirAndRemoveDirDropTheDirectory) {
  insert("/a", "value"_ns);
  insert("/b", "other"_ns);
  cache.flushDir("/link"_ns);
  EXPECT_FALSE(text("/a"));
  EXPECT_EQ(text("/b"), "other"_ns);
  cache.removeDir("/b"_ns);
  EXPECT_FALSE(text("/b"));
}

TEST_F(DirCacheTest, FlushDirOfWhatCannotBeExaminedOrIsNotCachedDoesNothing) {
  insert("/a", "value"_ns);
  cache.flushDir("/nothing"_ns);
  cache.flushDir("/b"_ns);
  EXPECT_EQ(text("/a"), "value"_ns);
}

TEST_F(DirCacheTest, FlushDirSwallowsExceptions) {
  insert("/a", "value"_ns);
  displaceLast();
  emptyGlobalTable();
  disk.failCall(2, FakeDisk::Fault::raise);
  cache.flushDir("/a"_ns);
  EXPECT_TRUE(disk.failed());
  EXPECT_EQ(text("/a"), "value"_ns);
}

TEST_F(DirCacheTest, NothingIsKeptForADirectoryThatCannotBeExamined) {
  insert("/nothing", "value"_ns);
  EXPECT_FALSE(text("/nothing"));
  EXPECT_EQ(FilerDirCachePeer::count(cache), 0U);
}

TEST_F(DirCacheTest, AnExceptionWhileInsertingLeavesNothingAndPasses) {
  const auto value = "value"_ns;
  for (std::size_t n = 1; n <= 2; ++n) {
    displaceLast();
    emptyGlobalTable();
    disk.failCall(n, FakeDisk::Fault::raise);
    EXPECT_THROW(insert("/a", value), NSException);
    EXPECT_EQ(holders(value), 1U);
    EXPECT_FALSE(text("/a"));
  }
}

} // namespace tesker::test
