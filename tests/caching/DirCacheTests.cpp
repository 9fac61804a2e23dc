#include "caching/FilerDirCache.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

#include <algorithm>
#include <climits>

namespace tesker::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class DirCacheTest : public CachingTest {
protected:
  DirCacheTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/b");
    disk.addLink("/link", "/a");
    disk.tick(100); // the directories' last change is long ago
    forgetAll();
  }

  RefPtr<NSObject> get(std::string_view path) { return cache->getDir(*NSString::create(path)); }
  void insert(std::string_view path, RefPtr<NSObject> data) {
    cache->insertDir(*NSString::create(path), std::move(data));
  }
  std::string text(std::string_view path) { return textOf(as<NSString>(get(path))); }
  // Makes the cache and the stat cache forget which directory was the last.
  void displaceLast() {
    insert("/", nullptr);
    static_cast<void>(get("/"));
    displaceLastDirectory();
  }

  Ref<FilerDirCache> cache = FilerDirCache::initValidateWhen(2);
};

TEST_F(DirCacheTest, GivesBackWhatWasInsertedWithoutACall) {
  EXPECT_FALSE(get("/a"));
  const auto value = "value"_ns;
  insert("/a", value);
  disk.takeAllCalls();
  EXPECT_EQ(get("/a").get(), &*value);
  EXPECT_FALSE(get("/nothing/there"));
  disk.takeAllCalls();
  EXPECT_EQ(get("/a").get(), &*value);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(DirCacheTest, InsertingReplacesAndReleasesTheValueBefore) {
  const auto first = "first"_ns;
  insert("/a", first);
  EXPECT_EQ(first->retainCount(), 2U);
  insert("/a", "second"_ns);
  EXPECT_EQ(first->retainCount(), 1U);
  EXPECT_EQ(text("/a"), "second");
  EXPECT_EQ(FilerCachePeer::count(*cache), 1U);
}

TEST_F(DirCacheTest, TwoPathsToOneDirectoryShareAnEntry) {
  insert("/link", "value"_ns);
  EXPECT_EQ(text("/a"), "value");
  EXPECT_EQ(FilerCachePeer::count(*cache), 1U);
}

TEST_F(DirCacheTest, ADirectoryChangedSinceIsDroppedAfterAValidation) {
  insert("/a", "value"_ns);
  displaceLast();
  disk.tick();
  disk.addFile("/a/new");
  EXPECT_EQ(text("/a"), "value") << "nobody has looked since";
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a"), "(nil)");
  EXPECT_FALSE(std::ranges::count(FilerCachePeer::identities(*cache), DirFileUID{1, 2}));
}

TEST_F(DirCacheTest, ADirectoryNotChangedSinceIsConfirmedByOneStat) {
  insert("/a", "value"_ns);
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a"), "value");
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
  displaceLast();
  EXPECT_EQ(text("/a"), "value");
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
}

TEST_F(DirCacheTest, AChangeOfStatusCountsLikeOneOfContents) {
  insert("/a", "value"_ns);
  displaceLast();
  disk.tick();
  disk.setMode("/a", 0700);
  validateLater();
  EXPECT_EQ(text("/a"), "(nil)");
}

// The stamp is the moment of the last validation. A second change in its second would leave the
// change date as it is, so none is needed for the directory to count as changed.
TEST_F(DirCacheTest, ADirectoryChangedInTheStampsSecondCountsAsChangedAfterTheNextValidation) {
  disk.addFile("/a/first");
  forgetAll();
  insert("/a", "value"_ns);
  displaceLast();
  disk.addFile("/a/second");
  EXPECT_EQ(text("/a"), "value");
  displaceLast();
  validateLater(1);
  EXPECT_EQ(text("/a"), "(nil)");
}

TEST_F(DirCacheTest, ADirectoryLastChangedInTheStampsSecondCountsAsChangedWithoutAChange) {
  disk.addFile("/a/first");
  forgetAll();
  insert("/a", "value"_ns);
  displaceLast();
  validateLater(1);
  EXPECT_EQ(text("/a"), "(nil)");
}

// What the change test cannot see, as its header says.
TEST_F(DirCacheTest, ASecondChangeInASecondAfterTheStampsGoesUnseen) {
  disk.tick(50);
  disk.addFile("/a/first");
  insert("/a", "value"_ns);
  displaceLast();
  disk.addFile("/a/second");
  validateLater();
  EXPECT_EQ(text("/a"), "value");
}

TEST_F(DirCacheTest, TheLastDirectoryIsGivenAgainWithoutALook) {
  insert("/a", "value"_ns);
  EXPECT_EQ(text("/a"), "value");
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  disk.takeAllCalls();
  EXPECT_EQ(text("/a"), "value") << "not even a validation counts";
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  displaceLast();
  EXPECT_EQ(text("/a"), "(nil)");
}

TEST_F(DirCacheTest, TheMemoryIsNotUsedWhenSwitchedOff) {
  staticCacheEnabled = false;
  insert("/a", "value"_ns);
  EXPECT_EQ(text("/a"), "value");
  EXPECT_EQ(FilerCachePeer::lastName(*cache), nullptr);
  staticCacheEnabled = true;
  EXPECT_EQ(text("/a"), "value");
  EXPECT_TRUE(isEqual(FilerCachePeer::lastName(*cache), "/a"));
  staticCacheEnabled = false;
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  EXPECT_EQ(text("/a"), "(nil)");
  staticCacheEnabled = true;
}

TEST_F(DirCacheTest, ValidateWithoutACommonBitLeavesTheStamp) {
  const FilerTS before = FilerCachePeer::lastValidateDate(*cache);
  disk.tick();
  cache->validate(1 | 4);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(*cache), before);
  cache->validate(2 | 4);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(*cache), (FilerTS{before.time + 1, generation}));
}

TEST_F(DirCacheTest, ANewCacheIsStampedNow) {
  disk.tick(5);
  const auto made = FilerDirCache::initValidateWhen(1);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(*made), (FilerTS{1105, generation}));
}

TEST_F(DirCacheTest, ACacheIsInTheListForAsLongAsItLives) {
  const FilerCache *address = &*cache;
  EXPECT_THAT(manager().caches(), Contains(address));
  EXPECT_EQ(manager().caches().back(), address) << "appended";
  {
    const auto other = FilerDirCache::initValidateWhen(1);
    EXPECT_EQ(manager().caches().back(), &*other);
  }
  EXPECT_EQ(manager().caches().back(), address);
  cache = FilerDirCache::initValidateWhen(1);
  EXPECT_EQ(std::ranges::count(manager().caches(), address), address == &*cache ? 1 : 0);
}

TEST_F(DirCacheTest, ResetReleasesEverythingAndStampsTheCache) {
  const auto value = "value"_ns;
  insert("/a", value);
  static_cast<void>(get("/a"));
  disk.tick(3);
  cache->reset();
  EXPECT_EQ(value->retainCount(), 1U);
  EXPECT_EQ(FilerCachePeer::count(*cache), 0U);
  EXPECT_EQ(FilerCachePeer::lastName(*cache), nullptr);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(*cache), (FilerTS{1103, generation}));
  EXPECT_EQ(text("/a"), "(nil)");
}

TEST_F(DirCacheTest, ResetAndFlushLeaveTheRememberedPathStringHeld) {
  const auto path = "/a"_ns;
  for (const bool withReset : {true, false}) {
    cache->insertDir(*path, "value"_ns);
    static_cast<void>(cache->getDir(*path));
    if (withReset)
      cache->reset();
    else
      cache->flushDir(*path);
    EXPECT_EQ(FilerCachePeer::lastName(*cache), nullptr);
    EXPECT_EQ(FilerCachePeer::heldName(*cache), &*path);
  }
}

TEST_F(DirCacheTest, EntriesMadeAfterAResetAreStillGivenBack) {
  disk.tick(3);
  cache->reset();
  insert("/a", "value"_ns);
  displaceLast();
  EXPECT_EQ(text("/a"), "value") << "their stamp is older than the cache's, but nothing changed";
  disk.takeAllCalls();
  displaceLast();
  EXPECT_EQ(text("/a"), "value");
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
}

TEST_F(DirCacheTest, FlushDirAndRemoveDirDropTheDirectory) {
  insert("/a", "value"_ns);
  insert("/b", "other"_ns);
  cache->flushDir(*"/link"_ns);
  EXPECT_EQ(text("/a"), "(nil)");
  EXPECT_EQ(text("/b"), "other");
  cache->removeDir(*"/b"_ns);
  EXPECT_EQ(text("/b"), "(nil)");
}

TEST_F(DirCacheTest, FlushDirOfWhatCannotBeExaminedOrIsNotCachedDoesNothing) {
  insert("/a", "value"_ns);
  cache->flushDir(*"/nothing"_ns);
  cache->flushDir(*"/b"_ns);
  EXPECT_EQ(text("/a"), "value");
}

TEST_F(DirCacheTest, FlushDirSwallowsExceptions) {
  insert("/a", "value"_ns);
  displaceLast();
  emptyGlobalTable();
  disk.failCall(2, FakeDisk::Fault::Raise);
  cache->flushDir(*"/a"_ns);
  EXPECT_TRUE(disk.failed());
  EXPECT_EQ(text("/a"), "value");
}

TEST_F(DirCacheTest, NothingIsKeptForADirectoryThatCannotBeExamined) {
  insert("/nothing", "value"_ns);
  EXPECT_EQ(text("/nothing"), "(nil)");
  EXPECT_EQ(FilerCachePeer::count(*cache), 0U);
}

TEST_F(DirCacheTest, AnExceptionWhileInsertingLeavesNothingAndPasses) {
  const auto value = "value"_ns;
  for (std::size_t n = 1; n <= 2; ++n) {
    displaceLast();
    emptyGlobalTable();
    disk.failCall(n, FakeDisk::Fault::Raise);
    EXPECT_THROW(insert("/a", value), NSException);
    EXPECT_EQ(value->retainCount(), 1U);
    EXPECT_EQ(text("/a"), "(nil)");
  }
}

class VeryOldDirsTest : public DirCacheTest {
protected:
  ~VeryOldDirsTest() override { cache->reset(); }

  // Says when it goes.
  class Noted final : public NSObject {
  public:
    static Ref<Noted> create(std::vector<const NSObject *> &gone) {
      return allocate<Noted>(NSDefaultMallocZone(), gone);
    }

  private:
    friend NSObject;
    explicit Noted(std::vector<const NSObject *> &gone) : gone_(gone) {}
    ~Noted() override { gone_.push_back(this); }
    std::vector<const NSObject *> &gone_;
  };

  // 25 directories stamped 100 seconds before the root.
  void makeOldEntries() {
    for (int i = 0; i < 25; ++i) {
      const std::string path = "/d" + std::to_string(i);
      disk.addDirectory(path);
      insert(path, Noted::create(gone));
    }
    validateLater(100);
    insert("/", "new"_ns);
  }

  std::vector<const NSObject *> gone;
};

TEST_F(VeryOldDirsTest, OneFlushRemovesTwentyOfTwentyFiveAndTheNextTheOtherFive) {
  makeOldEntries();
  EXPECT_EQ(cache->flushVeryOld(100), 0) << "an entry just as old as the age stays";
  EXPECT_EQ(cache->flushVeryOld(99), 20);
  EXPECT_EQ(FilerCachePeer::count(*cache), 6U);
  EXPECT_EQ(cache->flushVeryOld(99), 5);
  EXPECT_EQ(cache->flushVeryOld(99), 0);
  EXPECT_EQ(text("/"), "new");
}

TEST_F(VeryOldDirsTest, EntriesAreFlushedInReverseOrderOfCollection) {
  makeOldEntries();
  auto collected = FilerCachePeer::data(*cache);
  std::erase(collected, get("/").get());
  collected.resize(20);
  std::ranges::reverse(collected);
  static_cast<void>(cache->flushVeryOld(99));
  EXPECT_EQ(gone, collected);
}

TEST_F(VeryOldDirsTest, AFlushForgetsTheLastDirectory) {
  makeOldEntries();
  static_cast<void>(cache->flushVeryOld(99));
  EXPECT_EQ(FilerCachePeer::lastName(*cache), nullptr);
}

// The newest time is sought from 0 upwards.
TEST_F(VeryOldDirsTest, AgesOfEntriesFromBefore1970CountFrom1970) {
  validateLater((std::int64_t{1} << 32) - 50 - disk.now());
  insert("/a", "value"_ns);
  EXPECT_EQ(cache->flushVeryOld(50), 0);
  EXPECT_EQ(cache->flushVeryOld(49), 1);
}

TEST_F(VeryOldDirsTest, AgesAtTheEndsOfTheirRangeDoNotWrap) {
  makeOldEntries();
  EXPECT_EQ(cache->flushVeryOld(INT_MAX), 0);
  EXPECT_EQ(cache->flushVeryOld(INT_MIN), 20);
  EXPECT_EQ(cache->flushVeryOld(-1), 6) << "nothing is younger than that";
}

} // namespace tesker::test
