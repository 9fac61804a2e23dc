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
    cache->insertDir(*NSString::create(dir), *NSString::create(file), NSString::create(value));
  }
  std::string text(std::string_view dir, std::string_view file) {
    return textOf(as<NSString>(cache->getDir(*NSString::create(dir), *NSString::create(file))));
  }
  // The dates of the entry of /a.
  EntryDates datesOfDirectory() {
    return FilerCachePeer::dates(*cache, {1, disk.peek("/a", false)->inode}).value_or(EntryDates{});
  }
  // And of the one of /a/f, the only one of the only directory.
  EntryDates datesOfFile() {
    const auto *table = as<DirectoryTable>(FilerCachePeer::data(*cache).at(0));
    const NamedEntry *entry = table->entryFor(*"f"_ns);
    return entry != nullptr ? FilerCachePeer::datesOf(*entry) : EntryDates{};
  }
  // Makes the caches forget which directory and file were the last.
  void displaceLast() {
    insert("/", "link", "elsewhere");
    static_cast<void>(text("/", "link"));
    displaceLastDirectory();
  }

  Ref<FilerFileCache> cache = FilerFileCache::initValidateWhen(2);
};

TEST_F(FileCacheTest, GivesBackWhatWasInsertedWithoutACall) {
  EXPECT_EQ(text("/a", "f"), "(nil)");
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  disk.takeAllCalls();
  EXPECT_EQ(text("/a", "f"), "one");
  EXPECT_EQ(text("/a", "g"), "two");
  EXPECT_EQ(text("/link", "g"), "two") << "the directory is known by its identity";
  EXPECT_EQ(text("/a", "h"), "(nil)");
  EXPECT_THAT(disk.takeCalls(), ElementsAre("lstat /link", "stat /link"));
}

TEST_F(FileCacheTest, InsertingReplacesTheValue) {
  insert("/a", "f", "one");
  insert("/a", "f", "two");
  EXPECT_EQ(text("/a", "f"), "two");
}

TEST_F(FileCacheTest, AFileNotChangedSinceIsConfirmed) {
  insert("/a", "f", "one");
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a", "f"), "one");
  disk.takeAllCalls();
  EXPECT_EQ(text("/a", "f"), "one");
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
  EXPECT_EQ(text("/a", "f"), "(nil)");
  EXPECT_EQ(text("/a", "g"), "two");
}

TEST_F(FileCacheTest, InsertingIntoAChangedDirectoryLeavesTheOtherFiles) {
  insert("/a", "g", "two");
  displaceLast();
  disk.tick();
  disk.addFile("/a/new");
  validateLater();
  insert("/a", "f", "one");
  EXPECT_EQ(text("/a", "g"), "two");
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
  cache->reset();
  forgetAll();
  insert("/a", "f", "one");
  globalStatState().lastCacheDir = nullptr;
  validateLater();
  disk.tick(5);
  EXPECT_EQ(text("/a", "f"), "one");
  EXPECT_EQ(datesOfFile().stamp, globalLastValidateDate) << "confirmed";
}

TEST_F(FileCacheTest, AFileChangedInTheStampsSecondCountsAsChanged) {
  disk.write("/a/f");
  forgetAll();
  insert("/a", "f", "one");
  displaceLast();
  validateLater(1);
  EXPECT_EQ(text("/a", "f"), "(nil)");
}

TEST_F(FileCacheTest, AFileThatIsGoneIsDropped) {
  insert("/a", "f", "one");
  displaceLast();
  disk.remove("/a/f");
  validateLater();
  EXPECT_EQ(text("/a", "f"), "(nil)");
}

TEST_F(FileCacheTest, AFileThatWasNeverThereIsDroppedToo) {
  insert("/a", "nothing", "one");
  EXPECT_EQ(text("/a", "nothing"), "one") << "valid for now";
  displaceLast();
  validateLater();
  EXPECT_EQ(text("/a", "nothing"), "(nil)") << "an absent record equals no date";
}

TEST_F(FileCacheTest, AFileWhoseLookUpRaisesIsDropped) {
  insert("/a", "f", "one");
  displaceLast();
  validateLater();
  static_cast<void>(globalStat("/a"));
  disk.takeAllCalls();
  disk.failCall(2, FakeDisk::Fault::Raise); // after the clock
  EXPECT_EQ(text("/a", "f"), "(nil)");
  EXPECT_TRUE(disk.failed());
  disk.failNone();
  EXPECT_EQ(text("/a", "f"), "(nil)");
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
    disk.failCall(2, FakeDisk::Fault::Raise); // after the clock
    try {
      insert("/a", "f", "new");
      ADD_FAILURE() << "nothing was raised";
    } catch (const NSException &exception) {
      EXPECT_EQ(exception.name(), FakeDisk::kRaisedName);
      EXPECT_EQ(exception.reason(), "lstat /a/f");
    }
    EXPECT_EQ(text("/a", "f"), "(nil)");
  }
}

TEST_F(FileCacheTest, RemovingOneFileLeavesTheOthers) {
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  cache->removeDir(*"/a"_ns, *"f"_ns);
  cache->removeDir(*"/a"_ns, *"nothing"_ns);
  cache->removeDir(*"/nothing"_ns, *"f"_ns);
  EXPECT_EQ(text("/a", "f"), "(nil)");
  EXPECT_EQ(text("/a", "g"), "two");
}

TEST_F(FileCacheTest, RemovingADirectoryDropsItsFiles) {
  insert("/a", "f", "one");
  insert("/a", "g", "two");
  cache->removeDir(*"/link"_ns);
  EXPECT_EQ(text("/a", "f"), "(nil)");
  EXPECT_EQ(text("/a", "g"), "(nil)");
}

TEST_F(FileCacheTest, NothingIsKeptInADirectoryThatCannotBeExamined) {
  insert("/nothing", "f", "one");
  EXPECT_EQ(text("/nothing", "f"), "(nil)");
  EXPECT_EQ(FilerCachePeer::count(*cache), 0U);
}

TEST_F(FileCacheTest, NamesAreCopied) {
  const auto name = NSMutableString::create("some name");
  cache->insertDir(*"/a"_ns, *name, "one"_ns);
  name->setString("another name");
  EXPECT_EQ(text("/a", "some name"), "one");
  EXPECT_EQ(text("/a", "another name"), "(nil)");
}

} // namespace tesker::test
