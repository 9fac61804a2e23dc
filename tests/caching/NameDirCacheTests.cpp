#include "caching/FilerNameDirCache.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class NameDirCacheTest : public CachingTest {
protected:
  NameDirCacheTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/b");
    disk.addLink("/link", "/a");
    disk.tick(100);
    forgetAll();
  }

  void insert(std::string_view path, std::string_view value) {
    cache->insertDir(*NSString::create(path), NSString::create(value));
  }
  std::string text(std::string_view path) {
    return textOf(as<NSString>(cache->getDir(*NSString::create(path))));
  }

  Ref<FilerNameDirCache> cache = FilerNameDirCache::initValidateWhen(2);
};

TEST_F(NameDirCacheTest, TwoPathsToOneDirectoryDoNotShareAnEntry) {
  insert("/a", "one");
  EXPECT_EQ(text("/link"), "(nil)");
  insert("/link", "two");
  EXPECT_EQ(text("/a"), "one");
  EXPECT_EQ(text("/link"), "two");
  EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 2U);
  EXPECT_EQ(FilerCachePeer::count(*cache), 0U) << "the table by identity is not used";
}

TEST_F(NameDirCacheTest, AValidEntryIsGivenWithoutACallAndWithoutAMemory) {
  insert("/a", "one");
  displaceLastDirectory();
  EXPECT_EQ(text("/a"), "one");
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  EXPECT_EQ(FilerCachePeer::lastName(*cache), nullptr);
}

TEST_F(NameDirCacheTest, InsertingReplacesTheValue) {
  insert("/a", "one");
  insert("/a", "two");
  EXPECT_EQ(text("/a"), "two");
  EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 1U);
}

TEST_F(NameDirCacheTest, AnUnchangedDirectoryIsConfirmedByOneStatAndAChangedOneDropped) {
  insert("/a", "one");
  insert("/b", "two");
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/b/new");
  validateLater();
  EXPECT_EQ(text("/a"), "one");
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
  EXPECT_EQ(text("/a"), "one");
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
  EXPECT_EQ(text("/b"), "(nil)");
  EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 1U);
}

TEST_F(NameDirCacheTest, EntriesAreStampedWithTheLastValidation) {
  disk.tick(5);
  insert("/a", "one");
  EXPECT_EQ(FilerNameDirCachePeer::dates(*cache, "/a")->stamp, globalLastValidateDate);
  EXPECT_EQ(FilerNameDirCachePeer::dates(*cache, "/a")->changed, 1000);
  validateLater();
  disk.tick(5);
  EXPECT_EQ(text("/a"), "one");
  EXPECT_EQ(FilerNameDirCachePeer::dates(*cache, "/a")->stamp, globalLastValidateDate);
}

TEST_F(NameDirCacheTest, TheDirectoryIsExaminedBehindALink) {
  insert("/link", "one");
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  EXPECT_EQ(text("/link"), "(nil)");
}

TEST_F(NameDirCacheTest, ADirectoryLastChangedInTheStampsSecondCountsAsChanged) {
  disk.addFile("/a/new");
  forgetAll();
  insert("/a", "one");
  displaceLastDirectory();
  validateLater(1);
  EXPECT_EQ(text("/a"), "(nil)");
}

TEST_F(NameDirCacheTest, ADirectoryThatIsGoneIsDropped) {
  insert("/a", "one");
  displaceLastDirectory();
  disk.remove("/a");
  validateLater();
  EXPECT_EQ(text("/a"), "(nil)");
  EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 0U);
}

TEST_F(NameDirCacheTest, AValueForADirectoryThatWasNeverThereHoldsUntilTheNextValidation) {
  insert("/nothing", "one");
  EXPECT_EQ(text("/nothing"), "one");
  displaceLastDirectory();
  validateLater();
  EXPECT_EQ(text("/nothing"), "(nil)");
}

TEST_F(NameDirCacheTest, ADirectoryWhoseLookUpRaisesIsDropped) {
  insert("/a", "one");
  displaceLastDirectory();
  validateLater();
  disk.failCall(2, FakeDisk::Fault::Raise);
  EXPECT_EQ(text("/a"), "(nil)");
  EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 0U);
}

TEST_F(NameDirCacheTest, AnInsertionThatRaisesLeavesNoValueAndPasses) {
  for (const bool hadValue : {false, true}) {
    if (hadValue)
      insert("/a", "old");
    displaceLastDirectory();
    emptyGlobalTable();
    disk.failCall(2, FakeDisk::Fault::Raise);
    try {
      insert("/a", "new");
      ADD_FAILURE() << "nothing was raised";
    } catch (const NSException &exception) {
      EXPECT_EQ(exception.reason(), "lstat /a");
    }
    EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 0U);
  }
}

TEST_F(NameDirCacheTest, FlushDirAndRemoveDirDropJustThePath) {
  insert("/a", "one");
  insert("/link", "two");
  insert("/b", "three");
  cache->flushDir(*"/a"_ns);
  cache->removeDir(*"/b"_ns);
  cache->flushDir(*"/nothing"_ns);
  EXPECT_EQ(text("/a"), "(nil)");
  EXPECT_EQ(text("/link"), "two");
  EXPECT_EQ(text("/b"), "(nil)");
}

TEST_F(NameDirCacheTest, ResetDropsEverythingAndStampsTheCache) {
  insert("/a", "one");
  disk.tick(3);
  cache->reset();
  EXPECT_EQ(FilerNameDirCachePeer::count(*cache), 0U);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(*cache), (FilerTS{1103, generation}));
}

TEST_F(NameDirCacheTest, OneFlushRemovesTwentyOfTwentyFiveAndTheNextTheOtherFive) {
  for (int i = 0; i < 25; ++i)
    insert("/nothing" + std::to_string(i), "old");
  validateLater(100);
  insert("/a", "new");
  EXPECT_EQ(cache->flushVeryOld(100), 0);
  EXPECT_EQ(cache->flushVeryOld(99), 20);
  EXPECT_EQ(cache->flushVeryOld(99), 5);
  EXPECT_EQ(text("/a"), "new");
}

TEST_F(NameDirCacheTest, ACacheIsInTheListForAsLongAsItLives) {
  EXPECT_EQ(manager().caches().back(), &*cache);
  const auto before = manager().caches().size();
  { const auto other = FilerNameDirCache::initValidateWhen(2); }
  EXPECT_EQ(manager().caches().size(), before);
}

} // namespace tesker::test
