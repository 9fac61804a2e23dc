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
    cache.insertDir(NSString::create(path), NSString::create(value));
  }
  // The value, nil for none.
  NSString text(std::string_view path) {
    return copied(cache.getDir(NSString::create(path))).value_or(nullptr);
  }

  FilerNameDirCache<NSString> cache{2};
};

TEST_F(NameDirCacheTest, TwoPathsToOneDirectoryDoNotShareAnEntry) {
  insert("/a", "one");
  EXPECT_FALSE(text("/link"));
  insert("/link", "two");
  EXPECT_EQ(text("/a"), "one"_ns);
  EXPECT_EQ(text("/link"), "two"_ns);
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 2U);
}

TEST_F(NameDirCacheTest, AValidEntryIsGivenWithoutACallAndWithoutAMemory) {
  insert("/a", "one");
  displaceLastDirectory();
  EXPECT_EQ(text("/a"), "one"_ns);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  EXPECT_FALSE(text("/a")) << "asked for last, and put to the test all the same";
}

TEST_F(NameDirCacheTest, InsertingReplacesTheValue) {
  insert("/a", "one");
  insert("/a", "two");
  EXPECT_EQ(text("/a"), "two"_ns);
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 1U);
}

TEST_F(NameDirCacheTest, AnUnchangedDirectoryIsConfirmedByOneStatAndAChangedOneDropped) {
  insert("/a", "one");
  insert("/b", "two");
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/b/new");
  validateLater();
  EXPECT_EQ(text("/a"), "one"_ns);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
  EXPECT_EQ(text("/a"), "one"_ns);
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
  EXPECT_FALSE(text("/b"));
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 1U);
}

TEST_F(NameDirCacheTest, EntriesAreStampedWithTheLastValidation) {
  disk.tick(5);
  insert("/a", "one");
  EXPECT_EQ(FilerNameDirCachePeer::dates(cache, "/a")->stamp, globalLastValidateDate);
  EXPECT_EQ(FilerNameDirCachePeer::dates(cache, "/a")->changed, 1000);
  validateLater();
  disk.tick(5);
  EXPECT_EQ(text("/a"), "one"_ns);
  EXPECT_EQ(FilerNameDirCachePeer::dates(cache, "/a")->stamp, globalLastValidateDate);
}

TEST_F(NameDirCacheTest, TheDirectoryIsExaminedBehindALink) {
  insert("/link", "one");
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  EXPECT_FALSE(text("/link"));
}

TEST_F(NameDirCacheTest, TheDateKeptIsThatOfTheDirectoryBehindALink) {
  disk.addFile("/a/new");
  validateLater();
  insert("/link", "one");
  displaceLastDirectory();
  validateLater();
  EXPECT_EQ(text("/link"), "one"_ns);
}

TEST_F(NameDirCacheTest, ADirectoryLastChangedInTheStampsSecondCountsAsChanged) {
  disk.addFile("/a/new");
  forgetAll();
  insert("/a", "one");
  displaceLastDirectory();
  validateLater(1);
  EXPECT_FALSE(text("/a"));
}

TEST_F(NameDirCacheTest, ADirectoryThatIsGoneIsDropped) {
  insert("/a", "one");
  displaceLastDirectory();
  disk.remove("/a");
  validateLater();
  EXPECT_FALSE(text("/a"));
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 0U);
}

TEST_F(NameDirCacheTest, AValueForADirectoryThatWasNeverThereHoldsUntilTheNextValidation) {
  insert("/nothing", "one");
  EXPECT_EQ(text("/nothing"), "one"_ns);
  displaceLastDirectory();
  validateLater();
  EXPECT_FALSE(text("/nothing"));
}

TEST_F(NameDirCacheTest, ADirectoryWhoseLookUpRaisesIsDropped) {
  insert("/a", "one");
  displaceLastDirectory();
  validateLater();
  disk.failCall(2, FakeDisk::Fault::raise);
  EXPECT_FALSE(text("/a"));
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 0U);
}

TEST_F(NameDirCacheTest, AnInsertionThatRaisesLeavesNoValueAndPasses) {
  for (const bool hadValue : {false, true}) {
    if (hadValue)
      insert("/a", "old");
    displaceLastDirectory();
    emptyGlobalTable();
    disk.failCall(2, FakeDisk::Fault::raise);
    try {
      insert("/a", "new");
      ADD_FAILURE() << "nothing was raised";
    } catch (const NSException &exception) {
      EXPECT_EQ(exception.reason(), "lstat /a");
    }
    EXPECT_EQ(FilerNameDirCachePeer::count(cache), 0U);
  }
}

TEST_F(NameDirCacheTest, FlushDirAndRemoveDirDropJustThePath) {
  insert("/a", "one");
  insert("/link", "two");
  insert("/b", "three");
  cache.flushDir("/a"_ns);
  cache.removeDir("/b"_ns);
  cache.flushDir("/nothing"_ns);
  EXPECT_FALSE(text("/a"));
  EXPECT_EQ(text("/link"), "two"_ns);
  EXPECT_FALSE(text("/b"));
}

TEST_F(NameDirCacheTest, ResetDropsEverythingAndStampsTheCache) {
  insert("/a", "one");
  disk.tick(3);
  cache.reset();
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 0U);
  EXPECT_EQ(FilerCachePeer::lastValidateDate(cache), (FilerTS{1103, generation}));
}

TEST_F(NameDirCacheTest, OneFlushRemovesTwentyOfTwentyFiveAndTheNextTheOtherFive) {
  for (int i = 0; i < 25; ++i)
    insert("/nothing" + std::to_string(i), "old");
  validateLater(100);
  insert("/a", "new");
  EXPECT_EQ(cache.flushVeryOld(100), 0);
  EXPECT_EQ(cache.flushVeryOld(99), 20);
  EXPECT_EQ(cache.flushVeryOld(99), 5);
  EXPECT_EQ(text("/a"), "new"_ns);
}

TEST_F(NameDirCacheTest, ACacheIsInTheListForAsLongAsItLives) {
  EXPECT_EQ(manager().caches().back(), &cache);
  const auto before = manager().caches().size();
  { const FilerNameDirCache<NSString> other(2); }
  EXPECT_EQ(manager().caches().size(), before);
}

} // namespace tesker::test
