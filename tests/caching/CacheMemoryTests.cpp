// What the caches hold on to, and give back.
#include "tests/caching/CachingTest.h"

#include <utility>

namespace tesker::test {

using ::testing::IsEmpty;

class CacheMemoryTest : public CachingTest {
protected:
  CacheMemoryTest() {
    for (int d = 0; d < 3; ++d) {
      const std::string dir = "/d" + std::to_string(d);
      disk.addDirectory(dir);
      disk.addDirectory(dir + "/sub");
      for (int f = 0; f < 300; ++f)
        disk.addFile(dir + "/file" + std::to_string(f));
    }
    disk.tick(100);
    forgetAll();
  }

  void fill() {
    for (int d = 0; d < 3; ++d) {
      const auto dir = NSString::create("/d" + std::to_string(d));
      const auto names = manager().childrenForDirPath(dir);
      for (const NSString &file : *names) {
        static_cast<void>(manager()._privateStatDir(dir, file));
        static_cast<void>(manager().getFilerTypeDir(dir, file));
      }
    }
  }
};

TEST_F(CacheMemoryTest, MemoryReturnsToItsLevelAfterAReset) {
  // Once for what stays for the life of the process, joined paths for example.
  fill();
  forgetAll();
  const auto level = filerZone().bytesInUse();
  for (int i = 0; i < 3; ++i) {
    fill();
    EXPECT_GT(filerZone().bytesInUse(), level + 900U * 20U);
    forgetAll();
    EXPECT_EQ(filerZone().bytesInUse(), level);
  }
}

TEST_F(CacheMemoryTest, TheGlobalTableGivesAllItsMemoryBack) {
  const auto level = filerZone().bytesInUse();
  for (int i = 0; i < 1000; ++i)
    static_cast<void>(globalStat("/nothing" + std::to_string(i)));
  EXPECT_GT(filerZone().bytesInUse(), level);
  forgetAll();
  EXPECT_EQ(filerZone().bytesInUse(), level);
}

TEST_F(CacheMemoryTest, PagesOfEntriesAreUsedAgain) {
  fill();
  const auto pages = nbDirFileStatEntryPages;
  EXPECT_GE(pages, 5) << "900 entries at 204 to a page";
  for (int i = 0; i < 3; ++i) {
    forgetAll();
    fill();
    EXPECT_EQ(nbDirFileStatEntryPages, pages);
  }
}

// Otherwise a walk would go through memory in no order from then on.
TEST_F(CacheMemoryTest, AfterAResetFilesGetTheEntriesAndSlotsThatTheyHadBefore) {
  const auto dir = "/d0"_ns;
  disk.addLink("/d0/link", "sub");
  disk.addFile("/d0/last");
  validateLater();
  const auto filled = [&] {
    std::vector<std::pair<const void *, std::uint32_t>> places;
    const auto names = manager().childrenForDirPath(dir);
    for (const NSString &file : *names) {
      static_cast<void>(manager()._privateStatDir(dir, file));
      const auto *entry = CachingFileManagerPeer::stats().getDir(dir)->find(file);
      places.emplace_back(entry, entry->lstatInfo.slot());
      places.emplace_back(entry, entry->statInfo.slot()); // of the link alone
    }
    return places;
  };
  const auto before = filled();
  ASSERT_EQ(before.size(), 2 * 303U);
  manager().reset();
  manager().validate(7);
  EXPECT_EQ(filled(), before);
  disk.tick();
  disk.addFile("/d0/new"); // the directory changes
  disk.remove("/d0/new");
  static_cast<void>(manager()._privateLstatDir("/"_ns, "d1"_ns)); // in place of the last directory
  static_cast<void>(manager()._privateLstatDir("/"_ns, "d2"_ns));
  validateLater();
  displaceLastDirectory();
  EXPECT_EQ(filled(), before);
}

TEST_F(CacheMemoryTest, WarmLookUpsMakeNoSystemCall) {
  fill();
  disk.takeAllCalls();
  fill();
  EXPECT_THAT(disk.takeAllCalls(), IsEmpty());
}

} // namespace tesker::test
