// CachingTest.h - the caches, empty, over a fake disk.
#pragma once

#include "caching/CachingFileManager.h"
#include "caching/DirFileStatEntry.h"
#include "caching/GlobalStatCache.h"
#include "paths/PathFunctions.h"
#include "tests/caching/Peers.h"
#include "tests/support/FakeDisk.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tesker::test {

class CachingTest : public ::testing::Test {
protected:
  using Calls = std::vector<std::string>;

  CachingTest() : inForce_(disk) {
    // The first entry of a process takes a page. Taken here, so that the calls of a test do not
    // depend on the tests that ran before it.
    freeDirFileStatEntry(newDirFileStatEntry());
    forgetAll();
  }
  ~CachingTest() override { forgetAll(); }

  // Empties the caches and every memory of a last directory or file. Validates, too.
  void forgetAll() {
    disk.failNone();
    manager().reset();
    manager().validate(7);
    globalStatState().lastCacheDir = nullptr;
    globalStatState().lastCachedStat = std::nullopt;
    disk.takeAllCalls();
  }

  // A validation of everything in a later second.
  void validateLater(std::int64_t seconds = 10) {
    disk.tick(seconds);
    manager().validate(7);
  }

  // Asks for another directory, which takes the place of the one remembered as the last.
  void displaceLastDirectory() {
    static_cast<void>(globalStat("/"));
    disk.takeAllCalls();
  }

  static CachingFileManager &manager() { return CachingFileManager::classObject(); }

  static std::optional<NSFileAttributes> globalStat(std::string_view path, bool follow = false) {
    return globalCachedDirStat(NSString::create(path), follow);
  }

  FakeDisk disk;
  LogCapture log;

private:
  ScopedOperatingSystem inForce_;
};

// What lends a value, as the value: nothing for null.
template <class Value> std::optional<Value> copied(const Value *lent) {
  return lent != nullptr ? std::optional(*lent) : std::nullopt;
}

// The inode of the record, 0 for none.
inline ino_t inodeOf(const std::optional<NSFileAttributes> &info) {
  return info ? info->buildDirFileUID().inode : 0;
}

} // namespace tesker::test
