#include "caching/FilerFileCache.h"
#include "platform/foundation/NSException.h"
#include "tests/caching/CachingTest.h"

namespace tesker::test {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FileCacheTest : public CachingTest {
protected:
  FileCacheTest() {
    disk.addDirectory("/a");
    disk.addFile("/a/f");
    disk.addFile("/a/g");
    disk.addLink("/link", "/a");
    disk.tick(100);
    forgetAll();
  }

  void insert(std::string_view dir, std::string_view file, std::string_view value) {
    cache.insertDir(NSString::create(dir), NSString::create(file), NSString::create(value));
  }
  // The value, nil for none.
  NSString text(std::string_view dir, std::string_view file) {
    return copied(cache.getDir(NSString::create(dir), NSString::create(file))).value_or(nullptr);
  }
  DirFileUID identityOf(std::string_view path) { return {1, disk.peek(path, false)->inode}; }
  // The dates of the entry of /a.
  EntryDates datesOfDirectory() {
    return FilerDirCachePeer::dates(cache, identityOf("/a")).value_or(EntryDates{});
  }
  // And of the one of /a/f, the only one of the only directory.
  EntryDates datesOfFile() {
    auto tables = FilerDirCachePeer::data(cache);
    const auto *entry = tables.at(0)->entryFor("f"_ns);
    return entry != nullptr ? EntryDates{entry->stamp, entry->changeTime} : EntryDates{};
  }
  // Makes the caches forget which directory and file were the last.
  void displaceLast() {
    insert("/", "link", "elsewhere");
    static_cast<void>(text("/", "link"));
    displaceLastDirectory();
  }

  FilerFileCache<NSString> cache{2};
};

TEST_F(FileCacheTest, GivesBackWhatWasInsertedWithoutACall) {
  EXPECT_FALSE(text("/a", "f"));
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  disk.takeAllCalls();
  EXPECT_EQ(text("/a", "f"), "one"_ns);
  EXPECT_EQ(text("/a", "g"), "two"_ns);
  EXPECT_EQ(text("/link", "g"), "two"_ns) << "the directory is known by its identity";
  EXPECT_FALSE(text("/a", "h"));
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /link", "stat /link"));
}

TEST_F(FileCacheTest, InsertingReplacesTheValue) {
  insert("/a", "f", "one");
  insert("/a", "f", "two");
  EXPECT_EQ(text("/a", "f"), "two"_ns);
}

TEST_F(FileCacheTest, AFileNotChangedSinceIsConfirmed) {
  insert("/a", "f", "one");
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a", "f"), "one"_ns);
  disk.takeAllCalls();
  EXPECT_EQ(text("/a", "f"), "one"_ns);
  EXPECT_THAT(disk.takeCalls(), IsEmpty());
}

TEST_F(FileCacheTest, AFileChangedSinceIsDroppedAndTheOthersOfTheDirectoryAreNot) {
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  displaceLast();
  disk.tick();
  disk.write("/a/f");
  disk.addFile("/a/new"); // the directory changes, too
  validateLater();
  EXPECT_FALSE(text("/a", "f"));
  EXPECT_EQ(text("/a", "g"), "two"_ns);
}

TEST_F(FileCacheTest, AFileIsExaminedBehindALink) {
  disk.addDirectory("/b");
  disk.addLink("/b/toF", "/a/f");
  validateLater();
  insert("/b", "toF", "one");
  displaceLast();
  disk.tick();
  disk.write("/a/f");
  validateLater();
  EXPECT_FALSE(text("/b", "toF"));
}

TEST_F(FileCacheTest, InsertingIntoAChangedDirectoryLeavesTheOtherFiles) {
  insert("/a", "g", "two");
  displaceLast();
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  insert("/a", "f", "one");
  EXPECT_EQ(text("/a", "g"), "two"_ns);
}

TEST_F(FileCacheTest, TheEntryOfAChangedDirectoryGetsTheNewDate) {
  insert("/a", "f", "one");
  displaceLast();
  disk.tick(5);
  disk.addFile("/a/new");
  validateLater();
  static_cast<void>(text("/a", "f"));
  EXPECT_EQ(datesOfDirectory().stamp, globalLastValidateDate);
  EXPECT_EQ(datesOfDirectory().changed, 1105);
}

TEST_F(FileCacheTest, EntriesAreStampedWithTheLastValidation) {
  disk.tick(5);
  insert("/a", "f", "one");
  EXPECT_EQ(datesOfFile().stamp, globalLastValidateDate) << "inserted";
  EXPECT_EQ(datesOfFile().changed, 1000);
  cache.reset();
  forgetAll();
  insert("/a", "f", "one");
  globalStatState().lastCacheDir = nullptr;
  validateLater();
  disk.tick(5);
  EXPECT_EQ(text("/a", "f"), "one"_ns);
  EXPECT_EQ(datesOfFile().stamp, globalLastValidateDate) << "confirmed";
}

TEST_F(FileCacheTest, AFileChangedInTheStampsSecondCountsAsChanged) {
  disk.write("/a/f");
  forgetAll();
  insert("/a", "f", "one");
  displaceLast();
  validateLater(1);
  EXPECT_FALSE(text("/a", "f"));
}

TEST_F(FileCacheTest, AFileThatIsGoneIsDropped) {
  insert("/a", "f", "one");
  displaceLast();
  disk.remove("/a/f");
  validateLater();
  EXPECT_FALSE(text("/a", "f"));
}

TEST_F(FileCacheTest, AFileThatWasNeverThereIsDroppedToo) {
  insert("/a", "nothing", "one");
  EXPECT_EQ(text("/a", "nothing"), "one"_ns) << "valid for now";
  displaceLast();
  validateLater();
  EXPECT_FALSE(text("/a", "nothing")) << "an absent record equals no date";
}

TEST_F(FileCacheTest, AFileWhoseLookUpRaisesIsDropped) {
  insert("/a", "f", "one");
  displaceLast();
  validateLater();
  static_cast<void>(globalStat("/a"));
  disk.takeAllCalls();
  disk.failCall(2, FakeDisk::Fault::raise); // after the clock
  EXPECT_FALSE(text("/a", "f"));
  EXPECT_TRUE(disk.failed());
  disk.failNone();
  EXPECT_FALSE(text("/a", "f"));
}

TEST_F(FileCacheTest, AnInsertionThatRaisesLeavesNoValueAndPasses) {
  for (const bool hadValue : {false, true}) {
    displaceLast();
    if (hadValue)
      insert("/a", "f", "old");
    displaceLast();
    validateLater();
    static_cast<void>(globalStat("/a"));
    disk.takeAllCalls();
    disk.failCall(2, FakeDisk::Fault::raise); // after the clock
    try {
      insert("/a", "f", "new");
      ADD_FAILURE() << "nothing was raised";
    } catch (const NSException &exception) {
      EXPECT_EQ(exception.name(), FakeDisk::kRaisedName);
      EXPECT_EQ(exception.reason(), "lstat /a/f");
    }
    EXPECT_FALSE(text("/a", "f"));
  }
}

TEST_F(FileCacheTest, RemovingOneFileLeavesTheOthers) {
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  cache.removeDir("/a"_ns, "f"_ns);
  cache.removeDir("/a"_ns, "nothing"_ns);
  cache.removeDir("/nothing"_ns, "f"_ns);
  EXPECT_FALSE(text("/a", "f"));
  EXPECT_EQ(text("/a", "g"), "two"_ns);
}

TEST_F(FileCacheTest, RemovingADirectoryDropsItsFiles) {
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  cache.removeDir("/link"_ns);
  EXPECT_FALSE(text("/a", "f"));
  EXPECT_FALSE(text("/a", "g"));
}

TEST_F(FileCacheTest, NothingIsKeptInADirectoryThatCannotBeExamined) {
  insert("/nothing", "f", "one");
  EXPECT_FALSE(text("/nothing", "f"));
  EXPECT_EQ(FilerDirCachePeer::count(cache), 0U);
}

TEST_F(FileCacheTest, NamesAreCopied) {
  {
    const auto name = NSString::create("some name");
    cache.insertDir("/a"_ns, name, "one"_ns);
  }
  EXPECT_EQ(text("/a", "some name"), "one"_ns);
  EXPECT_FALSE(text("/a", "another name"));
}

} // namespace tesker::test
