#include "caching/FileTypeCache.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;

class FileTypeCacheTest : public CachingTest {
protected:
  FileTypeCacheTest() {
    disk.addDirectory("/a");
    disk.addDirectory("/a/sub");
    disk.addFile("/a/f");
    disk.addSpecial("/a/char", S_IFCHR);
    disk.addSpecial("/a/block", S_IFBLK);
    disk.addSpecial("/a/fifo", S_IFIFO);
    disk.addSpecial("/a/socket", S_IFSOCK);
    disk.addDirectory("/a/mount");
    disk.mountOn("/a/mount", 77);
    disk.addLink("/a/toSub", "sub");
    disk.addLink("/a/toFile", "f");
    disk.addLink("/a/toChar", "char");
    disk.addLink("/a/toFifo", "fifo");
    disk.addLink("/a/dangling", "nothing");
    disk.addLink("/a/magic", "nothing", 01777);
    disk.tick(100);
    forgetAll();
  }

  NSString type(std::string_view file) {
    return cache.getInternalFileType("/a"_ns, NSString::create(file));
  }
  int number(std::string_view file) {
    return cache.getFilerTypeDir("/a"_ns, NSString::create(file));
  }

  // Has the attributes of files asked for again, but keeps the types.
  static void forgetAttributes() {
    CachingFileManagerPeer::stats().reset();
    CachingFileManagerPeer::stats().validate(0); // the memory of the last file
  }

  FileTypeCache &cache = CachingFileManagerPeer::types();
};

TEST_F(FileTypeCacheTest, TypesOfFilesThemselves) {
  const std::vector<std::tuple<const char *, const char *, int>> expected = {
      {"f", "Regular", 3},           {"char", "UnixDev", 4}, {"block", "UnixDev", 4},
      {"fifo", "Other", 4},          {"socket", "Other", 4}, {"nothing", "Other", 4},
      {"sub", "DirectorySameDev", 1}};
  for (const auto &[file, name, code] : expected) {
    EXPECT_EQ(type(file), NSString::create(name)) << file;
    EXPECT_EQ(number(file), code) << file;
    disk.takeAllCalls();
    EXPECT_EQ(number(file), code) << file;
    EXPECT_THAT(disk.takeAllCalls(), IsEmpty()) << file;
  }
}

TEST_F(FileTypeCacheTest, AllFilesOfATypeShareOneString) {
  EXPECT_TRUE(type("fifo").isSameObjectAs(type("socket")));
  EXPECT_TRUE(type("f").isSameObjectAs(type("toFile")));
}

TEST_F(FileTypeCacheTest, AMountPointIsDirectoryChangeDevAndASubdirectoryDirectorySameDev) {
  EXPECT_EQ(type("mount"), "DirectoryChangeDev"_ns);
  EXPECT_EQ(number("mount"), 2);
  EXPECT_EQ(type("sub"), "DirectorySameDev"_ns);
  EXPECT_EQ(number("sub"), 1);
}

TEST_F(FileTypeCacheTest, ADanglingLinkIsOtherAndALinkToADirectoryIsDirectory) {
  EXPECT_EQ(type("dangling"), "Other"_ns);
  EXPECT_EQ(number("dangling"), 4);
  EXPECT_EQ(type("toSub"), "Directory"_ns);
  EXPECT_EQ(number("toSub"), 0);
}

TEST_F(FileTypeCacheTest, ALinkIsOfTheTypeOfItsTarget) {
  EXPECT_EQ(type("toFile"), "Regular"_ns);
  EXPECT_EQ(number("toChar"), 4);
  EXPECT_EQ(type("toChar"), "UnixDev"_ns);
  EXPECT_EQ(type("toFifo"), "Other"_ns);
}

TEST_F(FileTypeCacheTest, TypesOfLinksAreFoundOutAgainEachTime) {
  EXPECT_EQ(type("toSub"), "Directory"_ns);
  disk.takeAllCalls();
  EXPECT_EQ(type("toSub"), "Directory"_ns);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("stat /a/toSub"));
  disk.remove("/a/sub");
  EXPECT_EQ(type("toSub"), "Other"_ns);
}

TEST_F(FileTypeCacheTest, AMagicDirectoryIsDirectoryAndNotEntered) {
  EXPECT_EQ(type("magic"), "Directory"_ns);
  EXPECT_EQ(number("magic"), 0);
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a", "lstat /a/magic"));
}

TEST_F(FileTypeCacheTest, AMagicDirectoryIsFoundOutAgainEachTime) {
  EXPECT_EQ(type("magic"), "Directory"_ns);
  disk.remove("/a/magic");
  disk.addFile("/a/magic");
  forgetAttributes();
  EXPECT_EQ(type("magic"), "Regular"_ns) << "the type was not kept";
}

TEST_F(FileTypeCacheTest, TheTypeOfAFileThatIsNotThereIsKept) {
  EXPECT_EQ(type("late"), "Other"_ns);
  disk.addFile("/a/late");
  forgetAttributes();
  disk.takeAllCalls();
  EXPECT_EQ(type("late"), "Other"_ns);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  EXPECT_EQ(FilerCachePeer::statistics(cache), 1);
}

TEST_F(FileTypeCacheTest, TheDeviceIsThatOfTheDirectoryBehindALink) {
  disk.addDirectory("/a/mount/sub");
  disk.addLink("/link", "/a/mount");
  ASSERT_EQ(disk.peek("/a/mount/sub", false)->device, 77U);
  // From here on the cache's own memory finds the directory, the attributes are known, and the
  // memory of the last directory, which does not tell links from what they lead to, has another.
  static_cast<void>(cache.getInternalFileType("/link"_ns, "nothing"_ns));
  static_cast<void>(cache.getInternalFileType("/link"_ns, "nothing"_ns));
  static_cast<void>(manager()._privateLstatDir("/link"_ns, "sub"_ns));
  displaceLastDirectory();
  EXPECT_EQ(cache.getInternalFileType("/link"_ns, "sub"_ns), "DirectorySameDev"_ns);
}

TEST_F(FileTypeCacheTest, NoFileOrDotIsTheDirectoryItselfAndDoesNotTouchTheCache) {
  EXPECT_EQ(cache.getFilerTypeDir("/a"_ns, nullptr), 0);
  EXPECT_EQ(cache.getFilerTypeDir("/nothing"_ns, "."_ns), 0);
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  EXPECT_EQ(FilerDirCachePeer::count(cache), 0U);
}

TEST_F(FileTypeCacheTest, ABrokenPairIsLogged) {
  EXPECT_EQ(cache.getFilerTypeDir("/a"_ns, "sub/f"_ns), 4);
  EXPECT_THAT(log.syslogged, ElementsAre("*** checkDirFile invariant broken for '/a','sub/f'"));
}

TEST_F(FileTypeCacheTest, ABrokenPairIsLoggedAlsoForTheDirectoryItself) {
  EXPECT_EQ(cache.getFilerTypeDir("a"_ns, "."_ns), 0);
  EXPECT_THAT(log.syslogged, ElementsAre("*** checkDirFile invariant broken for 'a','.'"));
}

TEST_F(FileTypeCacheTest, ATypeOutlivesAValidationAsLongAsTheDirectoryIsUnchanged) {
  static_cast<void>(type("f"));
  displaceLastDirectory();
  validateLater();
  static_cast<void>(cache.getInternalFileType("/"_ns, "a"_ns));
  disk.takeAllCalls();
  EXPECT_EQ(type("f"), "Regular"_ns);
  EXPECT_THAT(disk.takeCalls(), IsEmpty()) << "the directory was looked at a moment ago";
}

TEST_F(FileTypeCacheTest, ATypeGoesWhenTheDirectoryChanges) {
  EXPECT_EQ(type("f"), "Regular"_ns);
  disk.tick();
  disk.remove("/a/f");
  disk.addDirectory("/a/f");
  EXPECT_EQ(type("f"), "Regular"_ns);
  static_cast<void>(cache.getInternalFileType("/"_ns, "a"_ns));
  static_cast<void>(cache.getInternalFileType("/"_ns, "a"_ns));
  validateLater();
  EXPECT_EQ(type("f"), "DirectorySameDev"_ns);
}

TEST_F(FileTypeCacheTest, AnExceptionWhileALinkIsFollowedMakesItOther) {
  static_cast<void>(manager()._privateLstatDir("/a"_ns, "toFile"_ns));
  disk.takeAllCalls();
  disk.failCall(1, FakeDisk::Fault::raise);
  EXPECT_EQ(type("toFile"), "Other"_ns);
  EXPECT_EQ(type("toFile"), "Regular"_ns) << "not kept";
}

TEST_F(FileTypeCacheTest, AnExceptionWhileTheDirectorysDeviceIsReadMakesItAMountPoint) {
  static_cast<void>(manager()._privateLstatDir("/a"_ns, "sub"_ns));
  cache.insertDir("/a"_ns, std::nullopt);
  static_cast<void>(type("f")); // the cache's own memory finds the directory from here on
  displaceLastDirectory();
  emptyGlobalTable();
  disk.failCall(2, FakeDisk::Fault::raise);
  EXPECT_EQ(type("sub"), "DirectoryChangeDev"_ns);
  EXPECT_TRUE(disk.failed());
}

TEST_F(FileTypeCacheTest, AnExceptionWhileTheFileIsExaminedPassesAndNothingIsKept) {
  static_cast<void>(type("f"));
  disk.takeAllCalls();
  disk.failCall(2, FakeDisk::Fault::raise);
  EXPECT_THROW(static_cast<void>(type("sub")), NSException);
  EXPECT_EQ(type("sub"), "DirectorySameDev"_ns);
}

TEST_F(FileTypeCacheTest, AnExceptionWhileTheTableIsStoredPasses) {
  disk.failCall(2, FakeDisk::Fault::raise);
  EXPECT_THROW(static_cast<void>(type("f")), NSException);
  EXPECT_EQ(FilerDirCachePeer::count(cache), 0U);
  EXPECT_EQ(type("f"), "Regular"_ns);
}

TEST_F(FileTypeCacheTest, MissesAreCounted) {
  static_cast<void>(type("f"));
  static_cast<void>(type("f"));
  static_cast<void>(type("toFile"));
  static_cast<void>(type("toFile"));
  EXPECT_EQ(FilerCachePeer::statistics(cache), 3);
  EXPECT_EQ(FilerCachePeer::statistics(CachingFileManagerPeer::stats()), 4)
      << "it asks the attribute cache: about two files, and twice where the link leads";
}

class ChildrenNamesCacheTest : public CachingTest {
protected:
  ChildrenNamesCacheTest() {
    disk.addDirectory("/a");
    disk.addFile("/a/one");
    disk.addFile("/a/two");
    disk.addLink("/link", "/a");
    disk.tick(100);
    forgetAll();
  }
  std::optional<Names> names(std::string_view path) {
    return copied(cache.childrenNamesFor(NSString::create(path)));
  }
  ChildrenNamesCache &cache = CachingFileManagerPeer::listings();
};

TEST_F(ChildrenNamesCacheTest, ADirectoryIsListedOnce) {
  EXPECT_THAT(names("/a"), Optional(ElementsAre("one", "two")));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("opendir /a", "lstat /a"));
  EXPECT_THAT(names("/a"), Optional(ElementsAre("one", "two")));
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
  EXPECT_EQ(FilerCachePeer::statistics(cache), 1);
}

TEST_F(ChildrenNamesCacheTest, TheSameArrayIsGivenAgain) {
  const Names *first = cache.childrenNamesFor("/a"_ns);
  EXPECT_EQ(cache.childrenNamesFor("/a"_ns), first);
  EXPECT_NE(cache.childrenNamesFor("/link"_ns), first) << "known by path";
}

TEST_F(ChildrenNamesCacheTest, AChangedDirectoryIsListedAgainAfterAValidation) {
  EXPECT_THAT(names("/a"), Optional(ElementsAre("one", "two")));
  displaceLastDirectory();
  disk.tick();
  disk.addFile("/a/three");
  EXPECT_THAT(names("/a"), Optional(ElementsAre("one", "two")));
  validateLater();
  EXPECT_THAT(names("/a"), Optional(ElementsAre("one", "two", "three")));
}

TEST_F(ChildrenNamesCacheTest, AnUnchangedDirectoryCostsOneStatAfterAValidation) {
  static_cast<void>(names("/a"));
  displaceLastDirectory();
  validateLater();
  disk.takeAllCalls();
  EXPECT_THAT(names("/a"), Optional(ElementsAre("one", "two")));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /a"));
}

TEST_F(ChildrenNamesCacheTest, ADirectoryThatCannotBeListedIsAskedForEveryTime) {
  EXPECT_FALSE(names("/nothing"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("opendir /nothing", "lstat /nothing"));
  EXPECT_EQ(FilerNameDirCachePeer::count(cache), 1U) << "kept, but not as a listing";
  EXPECT_FALSE(names("/nothing"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("opendir /nothing"));
}

TEST_F(ChildrenNamesCacheTest, TheCallsOfAFirstListing) {
  static_cast<void>(names("/a"));
  EXPECT_THAT(disk.takeAllCalls(),
              ElementsAre("opendir /a", "readdir /a", "readdir /a", "readdir /a", "readdir /a",
                          "readdir /a", "time", "lstat /a"));
}

} // namespace tesker::test
