#include "filesystem/UsersAndGroups.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

#include <cstdlib>
#include <new>

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class CachingFileManagerTest : public CachingTest {
protected:
  CachingFileManagerTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/a/sub");
    disk.addDirectory("/b");
    disk.addFile("/a/f");
    disk.addLink("/a/toSub", "sub");
    disk.addLink("/link", "/a");
    disk.tick(100);
    forgetAll();
  }
  ~CachingFileManagerTest() override { manager().registerIsWritableDeviceTeller(nullptr); }

  ino_t inode(std::string_view path) { return disk.peek(path, false)->inode; }
  bool may(int mode, std::string_view file) {
    return manager().access(mode, "/a"_ns, NSString::create(file));
  }
};

TEST_F(CachingFileManagerTest, InitializeRunsOnceAndMakesTheThreeCaches) {
  CachingFileManager &first = CachingFileManager::classObject();
  EXPECT_EQ(&CachingFileManager::classObject(), &first);
  const auto &caches = first.caches();
  ASSERT_EQ(caches.size(), 3U);
  EXPECT_NE(dynamic_cast<const DirFileStatsCache *>(caches[0]), nullptr);
  EXPECT_NE(dynamic_cast<const FileTypeCache *>(caches[1]), nullptr);
  EXPECT_NE(dynamic_cast<const ChildrenNamesCache *>(caches[2]), nullptr);
  for (const FilerCache *cache : caches)
    EXPECT_EQ(&cache->zone(), &filerZone());
}

// In a process of its own, where nothing has been asked yet.
TEST(CachingFileManagerFirstUseTest, CountsAsAValidation) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto useFirst = [] {
    FakeDisk disk;
    const ScopedOperatingSystem inForce(disk);
    const FilerTS before = globalLastValidateDate;
    static_cast<void>(CachingFileManager::classObject());
    std::_Exit(before == FilerTS{} && globalLastValidateDate == FilerTS{1000, 0} ? 0 : 1);
  };
  EXPECT_EXIT(useFirst(), ::testing::ExitedWithCode(0), "");
}

TEST_F(CachingFileManagerTest, NoFileOrDotIsTheDirectoryItself) {
  for (const NSString &file : {NSString(), "."_ns}) {
    forgetAll();
    EXPECT_EQ(inodeOf(manager()._privateLstatDir("/link"_ns, file)), inode("/link"));
    displaceLastDirectory();
    EXPECT_EQ(inodeOf(manager()._privateStatDir("/link"_ns, file)), inode("/a"));
  }
}

TEST_F(CachingFileManagerTest, FilesAreAnsweredFromTheAttributeCache) {
  EXPECT_EQ(inodeOf(manager()._privateLstatDir("/a"_ns, "toSub"_ns)), inode("/a/toSub"));
  EXPECT_EQ(inodeOf(manager()._privateStatDir("/a"_ns, "toSub"_ns)), inode("/a/sub"));
  disk.takeAllCalls();
  EXPECT_EQ(inodeOf(manager()._privateLstatDir("/a"_ns, "toSub"_ns)), inode("/a/toSub"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(CachingFileManagerTest, StatNoMountFollowsLinksButNotMagicDirectories) {
  disk.addLink("/a/magic", "sub", 01777);
  EXPECT_EQ(inodeOf(manager()._privateStatNoMountDir("/a"_ns, "toSub"_ns)), inode("/a/sub"));
  EXPECT_EQ(inodeOf(manager()._privateStatNoMountDir("/a"_ns, "magic"_ns)), inode("/a/magic"));
  EXPECT_EQ(inodeOf(manager()._privateStatNoMountDir("/a"_ns, "f"_ns)), inode("/a/f"));
  disk.takeAllCalls();
  EXPECT_EQ(inodeOf(manager()._privateStatNoMountDir("/a"_ns, "f"_ns)), inode("/a/f"));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty()) << "through the cached requests";
}

TEST_F(CachingFileManagerTest, InheritedRequestsAreCachedToo) {
  EXPECT_EQ(manager().getLModeDir("/a"_ns, "f"_ns), S_IFREG | 0644);
  EXPECT_TRUE(manager().isSameDir("/a"_ns, nullptr, "/"_ns, "link"_ns));
  EXPECT_EQ(manager().devnumForDir("/a"_ns, nullptr), 1);
  std::vector<NSFileAttributes> infos;
  EXPECT_TRUE(manager()._privateLStatDir("/a"_ns, false, false, infos));
  disk.takeAllCalls();
  EXPECT_EQ(manager().getLModeDir("/a"_ns, "f"_ns), S_IFREG | 0644);
  EXPECT_EQ(manager().devnumForDir("/a"_ns, nullptr), 1);
  EXPECT_TRUE(manager()._privateLStatDir("/a"_ns, false, false, infos));
  EXPECT_EQ(infos.size(), 6U);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(CachingFileManagerTest, AListingWithAVanishedEntryGivesNothingAndLeavesWhatWasAppended) {
  static_cast<void>(manager().childrenForDirPath("/a"_ns));
  disk.remove("/a/f");
  std::vector<NSFileAttributes> infos;
  EXPECT_FALSE(manager()._privateLStatDir("/a"_ns, false, false, infos));
  ASSERT_EQ(infos.size(), 1U);
  EXPECT_EQ(inodeOf(infos.front()), inode("/a/sub"));
}

TEST_F(CachingFileManagerTest, AListingWithAttributesThatRaisesGivesNothing) {
  std::vector<NSFileAttributes> infos;
  disk.failCall(1, FakeDisk::Fault::raise);
  EXPECT_FALSE(manager()._privateLStatDir("/a"_ns, false, false, infos)) << "the listing";
  EXPECT_TRUE(infos.empty());
  static_cast<void>(manager()._privateLstatDir("/a"_ns, "sub"_ns));
  static_cast<void>(manager().childrenForDirPath("/a"_ns));
  disk.failCall(2, FakeDisk::Fault::raise); // after the clock
  EXPECT_FALSE(manager()._privateLStatDir("/a"_ns, false, false, infos)) << "the second entry";
  EXPECT_EQ(infos.size(), 1U);
  disk.failCall(2, FakeDisk::Fault::badAlloc);
  EXPECT_THROW(static_cast<void>(manager()._privateLStatDir("/a"_ns, false, false, infos)),
               std::bad_alloc);
}

TEST_F(CachingFileManagerTest, FiltersDropDotNamesAndNamesThatEndInATilde) {
  for (const auto *name : {"/b/.hidden", "/b/notes~", "/b/~x", "/b/a.b", "/b/.both~"})
    disk.addFile(name);
  const auto names = [](bool dots, bool backups) {
    return manager().childrenForDirPath("/b"_ns, dots, backups);
  };
  EXPECT_THAT(names(false, false),
              Optional(ElementsAre(".hidden", "notes~", "~x", "a.b", ".both~")));
  EXPECT_THAT(names(true, false), Optional(ElementsAre("notes~", "~x", "a.b")));
  EXPECT_THAT(names(false, true), Optional(ElementsAre(".hidden", "~x", "a.b")));
  EXPECT_THAT(names(true, true), Optional(ElementsAre("~x", "a.b")));
  EXPECT_EQ(disk.takeCalls(), (Calls{"opendir /b", "lstat /b"})) << "all from one listing";
  EXPECT_TRUE(names(false, false)->at(2).isSameObjectAs(names(true, true)->front()))
      << "they are the cached strings";
}

TEST_F(CachingFileManagerTest, ADirectoryThatCannotBeListedHasNoNamesWithFiltersEither) {
  EXPECT_FALSE(manager().childrenForDirPath("/nothing"_ns, true, true));
  EXPECT_FALSE(manager().childrenForDirPath("/nothing"_ns, false, false));
}

TEST_F(CachingFileManagerTest, HasChildrenLooksAtTheCachedListing) {
  EXPECT_TRUE(manager().hasChildren("/a"_ns));
  EXPECT_FALSE(manager().hasChildren("/b"_ns));
  EXPECT_FALSE(manager().hasChildren("/nothing"_ns));
  disk.takeAllCalls();
  EXPECT_TRUE(manager().hasChildren("/a"_ns));
  EXPECT_FALSE(manager().hasChildren("/b"_ns)) << "an empty listing is a listing";
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

TEST_F(CachingFileManagerTest, BumpGenerationAdvancesTheCounter) {
  const auto before = generation;
  manager().bumpGeneration();
  EXPECT_EQ(generation, before + 1);
  manager().renameOld("/nothing"_ns, "/else"_ns);
  EXPECT_EQ(generation, before + 2) << "a failed rename does, too";
}

TEST_F(CachingFileManagerTest, MasksReachTheCachesTheyAreFor) {
  const auto stamps = [] {
    return std::vector<int>{
        FilerCachePeer::lastValidateDate(CachingFileManagerPeer::stats()).time,
        FilerCachePeer::lastValidateDate(CachingFileManagerPeer::types()).time,
        FilerCachePeer::lastValidateDate(CachingFileManagerPeer::listings()).time,
        globalLastValidateDate.time};
  };
  EXPECT_THAT(stamps(), ElementsAre(1100, 1100, 1100, 1100));
  disk.tick();
  manager().validate(1);
  EXPECT_THAT(stamps(), ElementsAre(1100, 1100, 1100, 1101));
  disk.tick();
  manager().validate(2);
  EXPECT_THAT(stamps(), ElementsAre(1102, 1102, 1100, 1102));
  disk.tick();
  manager().validate(4);
  EXPECT_THAT(stamps(), ElementsAre(1103, 1103, 1103, 1103));
}

TEST_F(CachingFileManagerTest, ValidateClearsTheLastDirectoryReference) {
  const auto path = "/a"_ns;
  lastDir = path;
  manager().validate(0);
  EXPECT_FALSE(lastDir);
  EXPECT_EQ(path.object()->retainCount(), 2U) << "path and the object just made";
}

TEST_F(CachingFileManagerTest, FlushDirOfOneDirectoryForgetsAllGlobalEntries) {
  static_cast<void>(globalStat("/a"));
  static_cast<void>(globalStat("/b"));
  static_cast<void>(manager().childrenForDirPath("/b"_ns));
  manager().flushDir("/a"_ns);
  EXPECT_EQ(globalEntry("/b"), nullptr);
  disk.takeAllCalls();
  static_cast<void>(manager().childrenForDirPath("/b"_ns));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty()) << "its listing is still there";
}

TEST_F(CachingFileManagerTest, FlushDirForgetsTheDirectoryInEveryCache) {
  static_cast<void>(manager().childrenForDirPath("/a"_ns));
  static_cast<void>(manager().getFilerTypeDir("/a"_ns, "f"_ns));
  manager().flushDir("/a"_ns);
  EXPECT_EQ(FilerDirCachePeer::count(CachingFileManagerPeer::stats()), 0U);
  EXPECT_EQ(FilerDirCachePeer::count(CachingFileManagerPeer::types()), 0U);
  EXPECT_EQ(FilerNameDirCachePeer::count(CachingFileManagerPeer::listings()), 0U);
}

TEST_F(CachingFileManagerTest, ResetEmptiesTheGlobalTableAndEveryCache) {
  static_cast<void>(manager().childrenForDirPath("/a"_ns));
  static_cast<void>(manager().getFilerTypeDir("/a"_ns, "f"_ns));
  manager().reset();
  EXPECT_TRUE(globalStatState().globalTable.empty());
  EXPECT_EQ(FilerDirCachePeer::count(CachingFileManagerPeer::stats()), 0U);
  EXPECT_EQ(FilerDirCachePeer::count(CachingFileManagerPeer::types()), 0U);
  EXPECT_EQ(FilerNameDirCachePeer::count(CachingFileManagerPeer::listings()), 0U);
}

TEST_F(CachingFileManagerTest, FlushChildrenNamesCacheForgetsTheListingsOnly) {
  static_cast<void>(manager().childrenForDirPath("/a"_ns));
  static_cast<void>(manager().getFilerTypeDir("/a"_ns, "f"_ns));
  manager().flushChildrenNamesCache();
  EXPECT_EQ(FilerNameDirCachePeer::count(CachingFileManagerPeer::listings()), 0U);
  EXPECT_EQ(FilerDirCachePeer::count(CachingFileManagerPeer::types()), 1U);
  EXPECT_NE(globalEntry("/a"), nullptr);
}

// By then another directory may be at the path than the one that was last looked at.
TEST_F(CachingFileManagerTest, FlushDirFlushesTheDirectoryThatIsAtThePathNow) {
  disk.addFile("/b/f");
  static_cast<void>(globalStat("/a"));
  static_cast<void>(manager()._privateLstatDir("/b"_ns, "f"_ns));
  disk.setMode("/b/f", 0600);
  disk.move("/a", "/old");
  disk.move("/b", "/a");
  manager().flushDir("/a"_ns);
  displaceLastDirectory();
  EXPECT_EQ(manager().getLModeDir("/a"_ns, "f"_ns), S_IFREG | 0600);
}

TEST_F(CachingFileManagerTest, FlushVeryOldAddsUpAllCaches) {
  static_cast<void>(manager().childrenForDirPath("/a"_ns));      // a listing
  static_cast<void>(manager().getFilerTypeDir("/a"_ns, "f"_ns)); // a type, attributes
  validateLater(100);                                            // and a global entry
  static_cast<void>(manager().childrenForDirPath("/b"_ns));
  static_cast<void>(manager().getFilerTypeDir("/b"_ns, "nothing"_ns));
  EXPECT_EQ(manager().flushVeryOld(100), 0);
  EXPECT_EQ(manager().flushVeryOld(50), 4);
  EXPECT_EQ(manager().flushVeryOld(50), 0);
}

// Says when it is flushed.
class FlushNoted final : public FilerCache {
public:
  explicit FlushNoted(std::vector<const FilerCache *> &flushed)
      : FilerCache(1, NSDefaultMallocZone()), flushed_(flushed) {}
  void flushDir(const NSString &) override {}
  std::int32_t flushVeryOld(std::int32_t age) override {
    flushed_.push_back(this);
    return age;
  }

private:
  std::vector<const FilerCache *> &flushed_;
};

TEST_F(CachingFileManagerTest, FlushVeryOldGoesFromTheNewestCacheToTheOldest) {
  std::vector<const FilerCache *> flushed;
  const FlushNoted first(flushed);
  const FlushNoted second(flushed);
  EXPECT_EQ(manager().flushVeryOld(30), 60);
  EXPECT_THAT(flushed, ElementsAre(&second, &first));
}

TEST_F(CachingFileManagerTest, FlushVeryOldForgetsTheHomeDirectories) {
  disk.users.push_back({"joe", 4711, 100, "/a"});
  const DirFileUID home{1, inode("/a")};
  EXPECT_TRUE(isHomeDirectory(4711, home, false, manager()));
  EXPECT_TRUE(isHomeDirectory(4711, home, false, manager()));
  disk.users.back().home = "/b";
  EXPECT_TRUE(isHomeDirectory(4711, home, false, manager())) << "found out once";
  static_cast<void>(manager().flushVeryOld(1000));
  EXPECT_FALSE(isHomeDirectory(4711, home, false, manager()));
  EXPECT_TRUE(isHomeDirectory(4711, {1, inode("/b")}, false, manager()));
}

TEST_F(CachingFileManagerTest, HomesAreLookedUpThroughTheCaches) {
  disk.users.push_back({"jane", 4712, 100, "/a"});
  static_cast<void>(globalStat("/a", true));
  disk.takeAllCalls();
  EXPECT_TRUE(isHomeDirectory(4712, {1, inode("/a")}, false, manager()));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("getpwuid 4712", "getpwnam jane"));
}

// Access, by the super-user; AccessAsUserTests.cpp has the ordinary ones.

class TellerDouble final : public IsWritableDeviceTeller {
public:
  bool isWritableDeviceFor(const NSString &) override { return answer; }
  bool isWritableDeviceForDir(const NSString &dir, const NSString &file) override {
    asked.push_back(std::string(dir.bytes()) + " " + (file ? std::string(file.bytes()) : "(nil)"));
    return answer;
  }
  bool answer = true;
  std::vector<std::string> asked;
};

TEST_F(CachingFileManagerTest, AccessModeZeroOfAMissingFileIsGranted) {
  EXPECT_TRUE(may(0, "nothing"));
  EXPECT_FALSE(may(4, "nothing"));
}

TEST_F(CachingFileManagerTest, TheSuperUserMayReadAFileOfMode000) {
  disk.setMode("/a/f", 0);
  EXPECT_TRUE(may(4, "f"));
  EXPECT_TRUE(may(2, "f"));
  EXPECT_TRUE(may(6, "f"));
}

TEST_F(CachingFileManagerTest, TheSuperUserMayExecuteOnlyWhereATripletHasIt) {
  EXPECT_FALSE(may(1, "f"));
  EXPECT_FALSE(may(5, "f"));
  for (const mode_t mode : {0100U, 0010U, 0001U}) {
    disk.setMode("/a/f", mode);
    forgetAll();
    EXPECT_TRUE(may(1, "f")) << mode;
    EXPECT_TRUE(may(7, "f")) << mode;
  }
}

TEST_F(CachingFileManagerTest, OnlyTheExecuteBitOfAModeCountsForTheSuperUser) {
  EXPECT_TRUE(may(8, "f")) << "a bit that no triplet has";
  EXPECT_TRUE(may(8 | 4, "f"));
  EXPECT_TRUE(may(~1, "f"));
  EXPECT_FALSE(may(8 | 1, "f"));
  EXPECT_TRUE(may(8 | 1, "sub"));
  EXPECT_FALSE(may(8, "nothing"));
}

TEST_F(CachingFileManagerTest, AccessFollowsLinks) {
  EXPECT_TRUE(may(1, "toSub"));
  disk.addLink("/a/dangling", "nowhere");
  EXPECT_FALSE(may(4, "dangling"));
}

// The memory of the last directory answers the second question of the two, unfollowed.
TEST_F(CachingFileManagerTest, AccessToALinkThatIsTheDirectoryItselfIsJudgedByTheLink) {
  disk.setMode("/a", 0600);
  static_cast<void>(cachedGetUID()); // asked for once in a process
  disk.takeAllCalls();
  EXPECT_TRUE(manager().access(1, "/link"_ns, nullptr));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /link"));
}

TEST_F(CachingFileManagerTest, AMagicDirectoryMayAlwaysBeUsed) {
  disk.addLink("/a/magic", "nowhere", 01777);
  TellerDouble teller;
  teller.answer = false;
  manager().registerIsWritableDeviceTeller(&teller);
  EXPECT_TRUE(may(7, "magic"));
  EXPECT_THAT(teller.asked, IsEmpty());
}

TEST_F(CachingFileManagerTest, ATellerMayVetoWritingAndIsAskedForNothingElse) {
  TellerDouble teller;
  manager().registerIsWritableDeviceTeller(&teller);
  EXPECT_TRUE(may(2, "f"));
  teller.answer = false;
  EXPECT_FALSE(may(2, "f"));
  EXPECT_FALSE(may(6, "f"));
  EXPECT_TRUE(may(4, "f"));
  EXPECT_FALSE(manager().access(2, "/a"_ns, nullptr));
  EXPECT_THAT(teller.asked, ElementsAre("/a f", "/a f", "/a f", "/a (nil)"));
}

TEST_F(CachingFileManagerTest, ATellerIsAskedAboutAFileThatIsNotThereToo) {
  TellerDouble teller;
  manager().registerIsWritableDeviceTeller(&teller);
  EXPECT_FALSE(may(2, "nothing"));
  EXPECT_THAT(teller.asked, ElementsAre("/a nothing"));
}

TEST_F(CachingFileManagerTest, AccessNeverRaises) {
  static_cast<void>(may(4, "f")); // the user's id is known from here on
  for (const auto fault : {FakeDisk::Fault::raise, FakeDisk::Fault::badAlloc})
    for (std::size_t n = 1; n <= 4; ++n) {
      forgetAll();
      disk.failCall(n, fault);
      EXPECT_FALSE(may(0, "toSub"));
      EXPECT_TRUE(disk.failed()) << "call " << n;
    }
}

} // namespace tesker::test
