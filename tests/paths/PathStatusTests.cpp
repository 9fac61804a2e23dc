#include "paths/PathFunctions.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace tesker::test {
namespace {

TEST(FileStat, DescribesAFile) {
  const TemporaryDirectory directory;
  const NSString path = NSString::create(directory.writeFile("file", "12345", 0640));
  struct stat status {};
  ASSERT_TRUE(fileStat(path, status));
  EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0640});
  EXPECT_EQ(status.st_size, 5);
}

TEST(FileStat, DescribesADanglingLinkItself) {
  const TemporaryDirectory directory;
  const NSString path = NSString::create(directory.makeLink("dangling", "nowhere"));
  struct stat status {};
  ASSERT_TRUE(fileStat(path, status));
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST(FileStat, FailsForAMissingFile) {
  const TemporaryDirectory directory;
  struct stat status {};
  EXPECT_FALSE(fileStat(directory.string("missing"), status));
  EXPECT_EQ(errno, ENOENT);
}

TEST(FileStat, FailsForAPathWithANulAsForAMissingFile) {
  struct stat status {};
  EXPECT_FALSE(fileStat("/\0tmp"_ns, status));
  EXPECT_EQ(errno, ENOENT);
}

TEST(FileStat, TakesOneCall) {
  const TemporaryDirectory directory;
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  struct stat status {};
  EXPECT_TRUE(fileStat(directory.string(), status));
  EXPECT_EQ(system.log, std::vector{"statAt " + directory.path() + " nofollow"});
}

TEST(UnixError, LeavesTheErrorNumberAlone) {
  errno = EACCES;
  _UNIX_ERROR("/path"_ns);
  EXPECT_EQ(errno, EACCES);
}

} // namespace
} // namespace tesker::test
