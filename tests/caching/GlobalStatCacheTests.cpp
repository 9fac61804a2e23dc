#include "tests/caching/CachingTest.h"

#include <cerrno>
#include <climits>

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class GlobalStatCacheTest : public CachingTest {
protected:
  GlobalStatCacheTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/b");
    disk.addLink("/link", "/a");
  }
};

TEST_F(GlobalStatCacheTest, NilDirIsReportedAndAnsweredWithNothing) {
  static_cast<void>(globalStat("/a"));
  disk.takeAllCalls();
  EXPECT_FALSE(globalCachedDirStat(nullptr, true));
  EXPECT_THAT(log.logged, ElementsAre("globalCachedDirStat: nil dir"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, TheFirstLookUpAsksOnceAndTheSecondNot) {
  EXPECT_EQ(inodeOf(globalStat("/a")), disk.peek("/a", false)->inode);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
  EXPECT_EQ(inodeOf(globalStat("/b")), disk.peek("/b", false)->inode);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /b"));
  EXPECT_EQ(inodeOf(globalStat("/a")), disk.peek("/a", false)->inode) << "out of the table";
  EXPECT_EQ(inodeOf(globalStat("/a")), disk.peek("/a", false)->inode) << "out of the memory";
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, FollowingALinkCostsOneMoreCallOnce) {
  EXPECT_EQ(inodeOf(globalStat("/link", true)), disk.peek("/a", false)->inode);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /link", "stat /link"));
  displaceLastDirectory();
  EXPECT_EQ(inodeOf(globalStat("/link", true)), disk.peek("/a", false)->inode);
  displaceLastDirectory();
  EXPECT_EQ(inodeOf(globalStat("/link", false)), disk.peek("/link", false)->inode);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, UnfollowedThenFollowedBothGiveTheUnfollowedRecord) {
  const auto unfollowed = globalStat("/link", false);
  disk.takeAllCalls();
  const auto followed = globalStat("/link", true);
  EXPECT_EQ(followed, unfollowed);
  EXPECT_TRUE(followed->isLink());
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, FollowedThenUnfollowedBothGiveTheFollowedRecord) {
  const auto followed = globalStat("/link", true);
  EXPECT_EQ(globalStat("/link", false), followed);
  EXPECT_TRUE(followed->isDirectory());
}

TEST_F(GlobalStatCacheTest, AValidationLeavesTheLastDirectoryAloneAndNoOther) {
  static_cast<void>(globalStat("/b"));
  const auto last = globalStat("/a");
  disk.tick();
  disk.setMode("/a", 0700);
  disk.setMode("/b", 0700);
  validateLater();
  disk.takeAllCalls();
  EXPECT_EQ(globalStat("/a"), last);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  EXPECT_EQ(globalStat("/b")->fullPermissions(), S_IFDIR | 0700);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /b"));
}

TEST_F(GlobalStatCacheTest, ResetAndFlushesLeaveTheLastDirectoryAlone) {
  const auto last = globalStat("/a");
  disk.setMode("/a", 0700);
  manager().reset();
  manager().flushDir("/a"_ns);
  manager().flushVeryOld(0);
  disk.takeAllCalls();
  EXPECT_EQ(globalStat("/a"), last);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, AnAnswerOutOfTheTableIsRememberedAsTheLastToo) {
  const auto info = globalStat("/a");
  displaceLastDirectory();
  static_cast<void>(globalStat("/a"));
  EXPECT_EQ(globalStatState().lastCacheDir, "/a"_ns);
  EXPECT_EQ(globalStatState().lastCachedStat, info);
}

TEST_F(GlobalStatCacheTest, TheLastDirectoryIsKnownByItsBytes) {
  static_cast<void>(globalCachedDirStat("/a"_ns, false));
  disk.takeAllCalls();
  EXPECT_EQ(inodeOf(globalCachedDirStat("/a"_ns, false)), disk.peek("/a", false)->inode);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty()) << "another string of the same bytes";
  EXPECT_EQ(inodeOf(globalCachedDirStat("/b"_ns, false)), disk.peek("/b", false)->inode);
}

TEST_F(GlobalStatCacheTest, AnEntryOfTheValidationsSecondAndGenerationIsValid) {
  static_cast<void>(globalStat("/a"));
  displaceLastDirectory();
  disk.setMode("/a", 0700);
  manager().validate(0);
  disk.takeAllCalls();
  EXPECT_EQ(globalStat("/a")->fullPermissions(), S_IFDIR | 0755) << "the change goes unseen";
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, AnEntryOfTheValidationsSecondWithASmallerGenerationIsStale) {
  static_cast<void>(globalStat("/a"));
  displaceLastDirectory();
  manager().bumpGeneration();
  manager().validate(0);
  disk.takeAllCalls();
  static_cast<void>(globalStat("/a"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
}

TEST_F(GlobalStatCacheTest, ANewGenerationAloneMakesNothingStale) {
  static_cast<void>(globalStat("/a"));
  displaceLastDirectory();
  manager().bumpGeneration();
  static_cast<void>(globalStat("/a"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, AnEntryIsAsOldAsTheMomentBeforeItsStatCall) {
  disk.tick(5);
  static_cast<void>(globalStat("/a"));
  EXPECT_THAT(disk.takeAllCalls(), ElementsAre("time", "lstat /a"));
  EXPECT_EQ(globalEntry("/a")->lastCheck, (FilerTS{1005, generation}));
}

TEST_F(GlobalStatCacheTest, AFailureIsRememberedUntilTheNextValidation) {
  EXPECT_FALSE(globalStat("/late"));
  displaceLastDirectory();
  disk.addDirectory("/late");
  EXPECT_FALSE(globalStat("/late"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  displaceLastDirectory();
  validateLater();
  EXPECT_TRUE(globalStat("/late"));
}

TEST_F(GlobalStatCacheTest, AFailureOfTheLastDirectoryIsGivenAgainAlsoAfterAValidation) {
  EXPECT_FALSE(globalStat("/late"));
  disk.addDirectory("/late");
  validateLater();
  disk.takeAllCalls();
  EXPECT_FALSE(globalStat("/late"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, ARefreshForgetsWhereALinkLed) {
  static_cast<void>(globalStat("/link", true));
  displaceLastDirectory();
  disk.remove("/link");
  disk.addLink("/link", "/b");
  validateLater();
  EXPECT_EQ(inodeOf(globalStat("/link", true)), disk.peek("/b", false)->inode);
}

TEST_F(GlobalStatCacheTest, CannotFollowLinkIsLoggedForALinkThatLeadsNowhere) {
  disk.addLink("/dangling", "/nothing");
  EXPECT_FALSE(globalStat("/dangling", true));
  EXPECT_THAT(log.logged, ElementsAre("Cannot follow link: /dangling"));
}

TEST_F(GlobalStatCacheTest, CannotFollowLinkIsLoggedForALinkToAFileAndTheRecordIsKept) {
  disk.addFile("/file");
  disk.addLink("/toFile", "/file");
  EXPECT_TRUE(globalStat("/toFile", true)->isRegular());
  displaceLastDirectory();
  EXPECT_TRUE(globalStat("/toFile", true)->isRegular());
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  EXPECT_THAT(log.logged, ElementsAre("Cannot follow link: /toFile"));
}

TEST_F(GlobalStatCacheTest, NothingIsLoggedForALinkToADirectoryOrAnUnfollowedOne) {
  disk.addLink("/dangling", "/nothing");
  EXPECT_TRUE(globalStat("/dangling", false)->isLink());
  static_cast<void>(globalStat("/link", true));
  EXPECT_THAT(log.logged, IsEmpty());
}

TEST_F(GlobalStatCacheTest, RealStatCallsAreCounted) {
  const auto before = globalStatState().globalNbStats;
  static_cast<void>(globalStat("/link", true));
  displaceLastDirectory();
  static_cast<void>(globalStat("/link", true));
  EXPECT_EQ(globalStatState().globalNbStats - before, 3) << "one of them for the root";
}

TEST_F(GlobalStatCacheTest, ARefreshThatRaisesLeavesNoEntry) {
  static_cast<void>(globalStat("/a"));
  displaceLastDirectory();
  const auto remembered = globalStatState().lastCachedStat;
  validateLater();
  disk.failCall(2, FakeDisk::Fault::raise);
  try {
    static_cast<void>(globalStat("/a"));
    ADD_FAILURE() << "nothing was raised";
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), FakeDisk::kRaisedName);
    EXPECT_EQ(exception.reason(), "lstat /a");
  }
  EXPECT_EQ(globalEntry("/a"), nullptr);
  EXPECT_EQ(globalStatState().lastCachedStat, remembered) << "the memory is untouched";
  EXPECT_EQ(globalStatState().lastCacheDir, "/"_ns);
}

TEST_F(GlobalStatCacheTest, FollowingAValidEntryThatRaisesRemovesIt) {
  static_cast<void>(globalStat("/link", false));
  displaceLastDirectory();
  disk.failCall(1, FakeDisk::Fault::raise);
  EXPECT_THROW(static_cast<void>(globalStat("/link", true)), NSException);
  EXPECT_EQ(globalEntry("/link"), nullptr);
}

TEST_F(GlobalStatCacheTest, FillMakesAnEntryWithTheGivenStamp) {
  const auto offered = NSFileManager::classObject()._privateLstatDir("/a"_ns, nullptr);
  disk.takeAllCalls();
  fillGlobalCachedDirLStat("/a"_ns, offered, FilerTS{1000, generation});
  EXPECT_EQ(globalStat("/a"), offered);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(GlobalStatCacheTest, FillReplacesAnEntryThatLedNowhereYet) {
  static_cast<void>(globalStat("/link", false));
  displaceLastDirectory();
  disk.setOwner("/link", 5, 5);
  const auto offered = NSFileManager::classObject()._privateLstatDir("/link"_ns, nullptr);
  fillGlobalCachedDirLStat("/link"_ns, offered, FilerTS{1003, 9});
  EXPECT_EQ(globalEntry("/link")->statInfo, offered);
  EXPECT_EQ(globalEntry("/link")->lastCheck, (FilerTS{1003, 9}));
  EXPECT_EQ(globalStatState().lastCacheDir, "/"_ns) << "what is offered was not asked for";
}

TEST_F(GlobalStatCacheTest, FillChangesNothingWhereTheLinksTargetIsKnown) {
  static_cast<void>(globalStat("/link", true));
  const auto *entry = globalEntry("/link");
  const auto statInfo = entry->statInfo;
  const auto stamp = entry->lastCheck;
  disk.setOwner("/link", 5, 5);
  const auto offered = NSFileManager::classObject()._privateLstatDir("/link"_ns, nullptr);
  fillGlobalCachedDirLStat("/link"_ns, offered, FilerTS{2000, 9});
  EXPECT_EQ(entry->statInfo, statInfo);
  EXPECT_EQ(entry->lastCheck, stamp) << "not even the stamp";
}

TEST_F(GlobalStatCacheTest, FlushVeryOldOfAnEmptyTableRemovesNothing) {
  EXPECT_EQ(flushVeryOldGlobal(0), 0);
}

TEST_F(GlobalStatCacheTest, FlushVeryOldZeroKeepsTheNewestSecondOnly) {
  static_cast<void>(globalStat("/link"));
  disk.tick();
  static_cast<void>(globalStat("/a"));
  static_cast<void>(globalStat("/b"));
  disk.tick(1000);
  EXPECT_EQ(flushVeryOldGlobal(0), 1) << "measured against the newest entry, not the clock";
  EXPECT_EQ(globalEntry("/link"), nullptr);
  EXPECT_NE(globalEntry("/a"), nullptr);
  EXPECT_NE(globalEntry("/b"), nullptr);
}

TEST_F(GlobalStatCacheTest, AnEntryJustAsOldAsTheAgeStays) {
  static_cast<void>(globalStat("/a"));
  disk.tick(30);
  static_cast<void>(globalStat("/b"));
  EXPECT_EQ(flushVeryOldGlobal(30), 0);
  EXPECT_EQ(flushVeryOldGlobal(29), 1);
  EXPECT_EQ(globalEntry("/a"), nullptr);
}

TEST_F(GlobalStatCacheTest, OneFlushRemovesAllVeryOldEntriesHoweverMany) {
  for (int i = 0; i < 25; ++i)
    static_cast<void>(globalStat("/nothing" + std::to_string(i)));
  disk.tick(100);
  static_cast<void>(globalStat("/a"));
  EXPECT_EQ(flushVeryOldGlobal(99), 25) << "the limit of the directory caches does not hold here";
  EXPECT_EQ(globalStatState().globalTable.size(), 1U);
}

TEST_F(GlobalStatCacheTest, AgesAndTimesAtTheEndsOfTheirRangeDoNotWrap) {
  static_cast<void>(globalStat("/a"));
  fillGlobalCachedDirLStat("/past"_ns, std::nullopt, FilerTS{INT_MIN, 0});
  EXPECT_EQ(flushVeryOldGlobal(INT_MAX), 1);
  EXPECT_EQ(flushVeryOldGlobal(INT_MIN), 1) << "nothing is younger than that";
}

// The newest time is sought from 0 upwards.
TEST_F(GlobalStatCacheTest, AgesOfEntriesFromBefore1970CountFrom1970) {
  fillGlobalCachedDirLStat("/past"_ns, std::nullopt, FilerTS{-50, 0});
  EXPECT_EQ(flushVeryOldGlobal(50), 0);
  EXPECT_EQ(flushVeryOldGlobal(49), 1);
}

TEST_F(GlobalStatCacheTest, APathWithANulNamesNothing) {
  EXPECT_FALSE(globalStat(std::string_view("/a\0", 3)));
  EXPECT_TRUE(globalStat("/a"));
}

} // namespace tesker::test
