// Flushes of what is very old, in a cache by directory.
#include "caching/FilerDirCache.h"
#include "tests/caching/CachingTest.h"

#include <algorithm>
#include <climits>
#include <utility>

namespace tesker::test {

class VeryOldDirsTest : public CachingTest {
protected:
  VeryOldDirsTest() {
    disk.addDirectory("/a");
    disk.tick(100);
    forgetAll();
  }

  // Writes its number down when it goes.
  class Noted {
  public:
    Noted(ino_t number, std::vector<ino_t> &gone) : number_(number), gone_(&gone) {}
    Noted(Noted &&other) noexcept
        : number_(other.number_), gone_(std::exchange(other.gone_, nullptr)) {}
    Noted &operator=(Noted &&other) noexcept {
      std::swap(number_, other.number_);
      std::swap(gone_, other.gone_);
      return *this;
    }
    ~Noted() {
      if (gone_ != nullptr)
        gone_->push_back(number_);
    }

  private:
    ino_t number_;
    std::vector<ino_t> *gone_;
  };

  // 25 directories stamped 100 seconds before the root.
  void makeOldEntries() {
    for (int i = 0; i < 25; ++i) {
      const std::string path = "/d" + std::to_string(i);
      disk.addDirectory(path);
      insert(path, "old"_ns);
      noted.insertDir(NSString::create(path), Noted(disk.peek(path, false)->inode, gone));
    }
    validateLater(100);
    insert("/", "new"_ns);
    noted.insertDir("/"_ns, Noted(disk.peek("/", false)->inode, gone));
  }

  void insert(const std::string &path, const NSString &value) {
    cache.insertDir(NSString::create(path), value);
  }
  NSString ofRoot() { return copied(cache.getDir("/"_ns)).value_or(nullptr); }

  FilerDirCache<NSString> cache{2};
  std::vector<ino_t> gone;
  FilerDirCache<Noted> noted{2};
};

TEST_F(VeryOldDirsTest, OneFlushRemovesTwentyOfTwentyFiveAndTheNextTheOtherFive) {
  makeOldEntries();
  EXPECT_EQ(cache.flushVeryOld(100), 0) << "an entry just as old as the age stays";
  EXPECT_EQ(cache.flushVeryOld(99), 20);
  EXPECT_EQ(FilerDirCachePeer::count(cache), 6U);
  EXPECT_EQ(cache.flushVeryOld(99), 5);
  EXPECT_EQ(cache.flushVeryOld(99), 0);
  EXPECT_EQ(ofRoot(), "new"_ns);
}

TEST_F(VeryOldDirsTest, EntriesAreFlushedInReverseOrderOfCollection) {
  makeOldEntries();
  std::vector<ino_t> collected;
  for (const DirFileUID &identity : FilerDirCachePeer::identities(noted))
    if (identity.inode != disk.peek("/", false)->inode)
      collected.push_back(identity.inode);
  collected.resize(20);
  std::ranges::reverse(collected);
  static_cast<void>(noted.flushVeryOld(99));
  EXPECT_EQ(gone, collected);
}

TEST_F(VeryOldDirsTest, AFlushForgetsTheLastDirectory) {
  makeOldEntries();
  static_cast<void>(ofRoot());
  ASSERT_EQ(FilerDirCachePeer::lastName(cache), "/"_ns);
  static_cast<void>(cache.flushVeryOld(99));
  EXPECT_FALSE(FilerDirCachePeer::lastName(cache)) << "though it was not flushed itself";
}

// The newest time is sought from 0 upwards.
TEST_F(VeryOldDirsTest, AgesOfEntriesFromBefore1970CountFrom1970) {
  validateLater((std::int64_t{1} << 32) - 50 - disk.now());
  insert("/a", "value"_ns);
  EXPECT_EQ(cache.flushVeryOld(50), 0);
  EXPECT_EQ(cache.flushVeryOld(49), 1);
}

TEST_F(VeryOldDirsTest, AgesAtTheEndsOfTheirRangeDoNotWrap) {
  makeOldEntries();
  EXPECT_EQ(cache.flushVeryOld(INT_MAX), 0);
  EXPECT_EQ(cache.flushVeryOld(INT_MIN), 20);
  EXPECT_EQ(cache.flushVeryOld(-1), 6) << "nothing is younger than that";
}

} // namespace tesker::test
