#include "filesystem/PropertyListFiles.h"
#include "platform/foundation/PropertyList.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/Texts.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace tesker::test {
namespace {

std::string contents(const std::string &path) {
  std::ostringstream bytes;
  bytes << std::ifstream(path, std::ios::binary).rdbuf();
  return bytes.str();
}

std::size_t entries(const TemporaryDirectory &directory) {
  const std::filesystem::directory_iterator all(directory.path());
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(WriteStringToPath, WritesTheBytesAndLeavesNoOtherFile) {
  const TemporaryDirectory directory;
  const auto path = directory.string("file");
  EXPECT_TRUE(writeStringToPath(path, "\xff\0\n"_ns));
  EXPECT_EQ(contents(directory.path("file")), std::string("\xff\0\n", 3));
  EXPECT_TRUE(writeStringToPath(path, ""_ns));
  EXPECT_EQ(contents(directory.path("file")), "");
  EXPECT_EQ(entries(directory), 1u);
}

TEST(WriteStringToPath, FailsWithoutTouchingWhatIsThere) {
  const TemporaryDirectory directory;
  const std::string inner = directory.makeDirectory("inner", 0755);
  directory.writeFile("inner/file", "old");
  ASSERT_EQ(::chmod(directory.path().c_str(), 0755), 0);
  ASSERT_EQ(::chmod(inner.c_str(), 0555), 0);
  inOrdinaryUsersChild(
      [&] { EXPECT_FALSE(writeStringToPath(NSString::create(inner + "/file"), "new"_ns)); });
  EXPECT_EQ(contents(inner + "/file"), "old");
  EXPECT_FALSE(writeStringToPath(directory.string("no/such/file"), "x"_ns));
  EXPECT_FALSE(writeStringToPath(NSString::create(inner), "x"_ns)); // a directory
  EXPECT_FALSE(writeStringToPath("/tmp/\0x"_ns, "x"_ns));
}

TEST(ReadOldStylePList, ReadsAStringsFile) {
  const TemporaryDirectory directory;
  const auto path =
      NSString::create(directory.writeFile("list", "a = b; \"c d\" = (e, f); alone;\n"));
  const auto list = readOldStylePList(path);
  ASSERT_TRUE(list);
  EXPECT_EQ(list->count(), 3u);
  EXPECT_EQ(list->stringForKey("a"), "b"_ns);
  EXPECT_TRUE(list->objectForKey("c d")->isEqual(*arrayOf({"e", "f"})));
  EXPECT_EQ(list->stringForKey("alone"), "alone"_ns);
}

TEST(ReadOldStylePList, IsNilForAFileThatCannotBeRead) {
  const TemporaryDirectory directory;
  EXPECT_FALSE(readOldStylePList(directory.string("missing")));
  EXPECT_FALSE(readOldStylePList(directory.string()));
}

TEST(ReadOldStylePList, IsNilForAFileThatIsTooLarge) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("large", "a = b;");
  std::filesystem::resize_file(file, kLargestPropertyListFile + 1);
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_FALSE(readOldStylePList(NSString::create(file)));
  EXPECT_EQ(system.count("readAt"), 0u);
}

TEST(ReadOldStylePList, IsNilForMalformedText) {
  const TemporaryDirectory directory;
  EXPECT_FALSE(readOldStylePList(NSString::create(directory.writeFile("a", "a = ;"))));
  EXPECT_FALSE(readOldStylePList(NSString::create(directory.writeFile("b", "{ a = b; }"))));
}

TEST(WriteOldStylePList, WritesWhatReadsBackEqual) {
  const TemporaryDirectory directory;
  const auto path = directory.string("list");
  const auto list = NSDictionary::create();
  list->setObjectForKey("a \"quoted\"\nvalue \xff"_ns, "a key;"_ns);
  list->setObjectForKey(arrayOf({"", "x y"}), "array"_ns);
  ASSERT_TRUE(writeOldStylePList(path, *list));
  const auto back = readOldStylePList(path);
  ASSERT_TRUE(back);
  EXPECT_TRUE(back->isEqual(*list)) << contents(directory.path("list"));
}

TEST(WriteOldStylePList, FailsWhereTheFileCannotBeMade) {
  EXPECT_FALSE(writeOldStylePList("/no/such/directory/list"_ns, *NSDictionary::create()));
}

} // namespace
} // namespace tesker::test
