// The caches and a plain uncached model side by side (CheckedRequests.h), through random changes
// and requests.
#include "tests/caching/CheckedRequests.h"

#include <cstdlib>

namespace tesker::test {

namespace {

constexpr int kSteps = 100'000;
constexpr std::uint64_t kSeed = 20'240'229;

std::uint64_t seedFromEnvironment() {
  const char *text = std::getenv("TESKER_SEED");
  return text != nullptr ? std::strtoull(text, nullptr, 10) : kSeed;
}

} // namespace

class RandomTest : public CachingTest {
protected:
  RandomTest() {
    disk.tick(100);
    forgetAll();
    requests.history().noteNewStamp();
    requests.noteReset();
  }

  void step();
  void control();
  void request();
  void checkFlush(int age);

  std::uint64_t seed = seedFromEnvironment();
  Chance chance{seed};
  RandomChanges changes{disk, chance};
  CheckedRequests requests{disk, chance};
};

void RandomTest::request() {
  const std::string &dir = chance.oneOf(kDirectories);
  const std::string &file = chance.oneOf(kNames);
  switch (chance.below(8)) {
  case 0:
    requests.askDirectory(dir, false);
    break;
  case 1:
    requests.askDirectory(dir, true);
    break;
  case 2:
  case 3:
    requests.askFile(dir, file, chance.oneIn(2));
    break;
  case 4:
    requests.askAccess(dir, file);
    break;
  case 5:
  case 6:
    requests.askType(dir, file);
    break;
  default:
    requests.askListing(dir);
  }
}

// A flush removes no more than it says, and nothing that is young.
void RandomTest::checkFlush(int age) {
  const auto count = [] {
    return globalStatState().globalTable.size() +
           FilerDirCachePeer::count(CachingFileManagerPeer::stats()) +
           FilerDirCachePeer::count(CachingFileManagerPeer::types()) +
           FilerNameDirCachePeer::count(CachingFileManagerPeer::listings());
  };
  const auto before = count();
  const int removed = manager().flushVeryOld(age);
  EXPECT_EQ(before - count(), static_cast<std::size_t>(removed));
  for (const auto &[path, entry] : globalStatState().globalTable)
    for (const auto &[otherPath, other] : globalStatState().globalTable)
      EXPECT_LE(other.lastCheck.time - entry.lastCheck.time, age);
}

// Everything but requests and changes.
void RandomTest::control() {
  switch (chance.below(10)) {
  case 0:
  case 1:
  case 2:
    disk.tick(static_cast<std::int64_t>(1 + chance.below(3)));
    requests.history().noteNewStamp();
    break;
  case 3:
    manager().bumpGeneration();
    requests.history().noteNewStamp();
    break;
  case 4:
  case 5:
  case 6: {
    const int mask = static_cast<int>(chance.below(8));
    manager().validate(mask);
    requests.noteValidation(mask);
    EXPECT_FALSE(DirFileStatsCachePeer::lastDir());
    break;
  }
  case 7: {
    const std::string &dir = chance.oneOf(kDirectories);
    manager().flushDir(NSString::create(dir));
    requests.noteFlush(dir);
    break;
  }
  case 8:
    checkFlush(static_cast<int>(chance.below(6)));
    break;
  default:
    if (chance.oneIn(4)) {
      manager().reset();
      requests.noteReset();
    } else {
      manager().flushChildrenNamesCache();
      requests.noteListingsForgotten();
    }
  }
  disk.takeAllCalls();
}

void RandomTest::step() {
  const std::size_t kind = chance.below(100);
  if (kind < 15)
    control();
  else if (kind < 40) {
    changes.change();
    requests.history().note();
  } else
    request();
}

TEST_F(RandomTest, EveryAnswerIsTrueOrAsStaleAsIsPromised) {
  int number = 0;
  while (number < kSteps && !HasFailure()) {
    ++number;
    step();
  }
  ASSERT_FALSE(HasFailure()) << "repeat with TESKER_SEED=" << seed << ", step " << number;
  // Nothing was left out by chance.
  for (const char *way :
       {"last directory", "directory, cached", "directory, asked", "last file", "file, cached",
        "file, cached, by its path", "file, asked", "link followed", "type, found out",
        "type, cached", "type, cached, last directory", "access", "listing, asked",
        "listing, cached", "listing, cached, by its path"})
    EXPECT_GE(requests.checked(way), 100) << way;
}

} // namespace tesker::test
