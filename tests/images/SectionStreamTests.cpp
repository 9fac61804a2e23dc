// Reading a section to its end, and what that costs.
#include "platform/images/MachOImage.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tesker::test {
namespace {

std::string everyByte(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>(i % 256);
  return bytes;
}

// A system that gives one byte at a time.
class SlowSystem final : public OperatingSystem {
public:
  ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
    return OperatingSystem::readAt(descriptor, buffer, std::min<std::size_t>(size, 1), offset);
  }
};

TEST(SectionStream, GivesEveryByteAsZeroTo255) {
  const std::string bytes = iconImage(kI386, everyByte(256)).bytes();
  MemoryImage image = imageOf(bytes);
  auto stream = QXGetStreamOnSectionForBestArchitecture(image, "__ICON", "__header");
  ASSERT_TRUE(stream);
  for (int i = 0; i < 256; ++i)
    EXPECT_EQ(stream->next(), i);
  EXPECT_EQ(stream->next(), SectionStream::kEnd);
  EXPECT_EQ(stream->next(), SectionStream::kEnd);
}

TEST(SectionStream, EndsWithItsSectionAndNotWithTheFile) {
  const std::string bytes = MachOBuilder(kPowerPC)
                                .section("__ICON", "__header", "abc")
                                .section("__ICON", "__services", "def")
                                .bytes();
  EXPECT_EQ(sectionText(bytes), "abc");
}

TEST(SectionStream, KnowsWhereItsNextByteStands) {
  const std::string bytes = everyByte(40'000);
  MemoryImage image = imageOf(bytes);
  SectionStream stream(image, {100, 20'000});
  for (std::uint64_t at = 100; at < 20'100; ++at) {
    ASSERT_EQ(stream.offset(), at);
    EXPECT_EQ(stream.next(), static_cast<int>(at % 256));
  }
  EXPECT_EQ(stream.next(), SectionStream::kEnd);
  EXPECT_EQ(stream.offset(), 20'100U);
}

TEST(SectionStream, RefillsItsBuffer) {
  for (const std::size_t size : {16383U, 16384U, 16385U, 100000U}) {
    const std::string text = everyByte(size);
    EXPECT_EQ(sectionText(iconImage(kI386, text).bytes()), text);
  }
}

TEST(SectionStream, ReadsAFileLikeMemory) {
  const TemporaryDirectory directory;
  const std::string text = everyByte(50000);
  const std::string path =
      directory.writeFile("f", fatFile({{kI386, iconImage(kI386, text).bytes()}}));
  auto image = openImage(path);
  ASSERT_TRUE(image);
  EXPECT_EQ(sectionText(*image), text);
}

TEST(SectionStream, ReadsAFileThatComesInSmallParts) {
  const TemporaryDirectory directory;
  const std::string path =
      directory.writeFile("f", fatFile({{kI386, iconImage(kI386, "text").bytes()}}));
  SlowSystem system;
  const ScopedOperatingSystem inForce(system);
  auto image = openImage(path);
  ASSERT_TRUE(image);
  EXPECT_EQ(sectionText(*image), "text");
}

TEST(SectionStream, EndsEarlyInAnImageThatHasBecomeShorter) {
  const std::string bytes = fatFile({{kPowerPC, iconImage(kPowerPC, "ppc").bytes()},
                                     {kI386, iconImage(kI386, "0123456789abcdef").bytes()}});
  for (std::size_t left = 0; left <= bytes.size(); ++left) {
    ShrunkImage image(bytes, left);
    const std::string text = sectionText(image);
    const std::string whole = "0123456789abcdef";
    EXPECT_TRUE(text == "(none)" || text == whole.substr(0, text.size())) << left << ": " << text;
  }
}

TEST(SectionStream, StaysAtItsEndWhenTheFileGrowsAgain) {
  const TemporaryDirectory directory;
  const std::string bytes = iconImage(kI386, everyByte(40000)).bytes();
  const std::string path = directory.writeFile("f", bytes);
  auto image = openImage(path);
  auto stream = QXGetStreamOnSectionForBestArchitecture(*image, "__ICON", "__header");
  ASSERT_TRUE(stream);
  ASSERT_EQ(stream->next(), 0);
  std::filesystem::resize_file(path, 10000);
  int last = 0;
  for (int byte = last; byte != SectionStream::kEnd; byte = stream->next())
    last = byte;
  directory.writeFile("f", bytes);
  EXPECT_EQ(stream->next(), SectionStream::kEnd);
}

class Cost : public ::testing::Test {
protected:
  // The reads that opening the file, and looking for all three sections in it, take.
  std::size_t readsFor(const std::string &path) {
    CountingOperatingSystem system;
    const ScopedOperatingSystem inForce(system);
    auto image = openImage(path);
    EXPECT_TRUE(image);
    for (const char *section : {"__services", "__request", "__header"})
      texts_.push_back(sectionText(*image, "__ICON", section));
    return system.count("readAt");
  }
  std::string sparseFile(const std::string &name, const std::string &start, off_t size) {
    const std::string path = directory_.writeFile(name, start);
    EXPECT_EQ(::truncate(path.c_str(), size), 0);
    return path;
  }

  const ScopedHostCpu host_{"i386"};
  const TemporaryDirectory directory_;
  std::vector<std::string> texts_;
  static constexpr off_t kTenGigabytes = 10'000'000'000;
};

TEST_F(Cost, OfASmallThinExecutableIsOneRead) {
  EXPECT_EQ(readsFor(directory_.writeFile("f", iconImage(kI386, "text").bytes())), 1U);
  EXPECT_EQ(texts_.back(), "text");
}

TEST_F(Cost, OfAFatExecutableIsOneReadMore) {
  EXPECT_EQ(
      readsFor(directory_.writeFile("f", fatFile({{kPowerPC, iconImage(kPowerPC, "ppc").bytes()},
                                                  {kI386, iconImage(kI386, "text").bytes()}}))),
      2U);
  EXPECT_EQ(texts_.back(), "text");
}

TEST_F(Cost, OfAScriptIsOneRead) {
  EXPECT_EQ(readsFor(directory_.writeFile("f", "#!/bin/sh\n" + std::string(100000, '#'))), 1U);
}

TEST_F(Cost, OfAHugeFileWithHolesIsAFewReads) {
  EXPECT_EQ(readsFor(sparseFile("zeros", "", kTenGigabytes)), 1U);
  EXPECT_EQ(readsFor(sparseFile("thin", iconImage(kI386, "text").bytes(), kTenGigabytes)), 1U);
  EXPECT_EQ(texts_.back(), "text");
}

TEST_F(Cost, OfAnImageFarInsideAHugeFileIsAFewReads) {
  const std::string image = iconImage(kI386, "far away").bytes();
  const std::string fat =
      MachOBuilder({{kPowerPC, iconImage(kPowerPC, "ppc").bytes()}, {kI386, image}})
          .word(at::kFirstRecord + kFatRecord + at::kRecordOffset, 0xfffff000)
          .bytes();
  const std::string path = sparseFile("f", fat, kTenGigabytes);
  const FileDescriptor file(OperatingSystem::current().open(path.c_str(), O_WRONLY));
  ASSERT_EQ(::pwrite(file.number(), image.data(), image.size(), 0xfffff000),
            static_cast<ssize_t>(image.size()));
  EXPECT_LE(readsFor(path), 3U);
  EXPECT_EQ(texts_.back(), "far away");
}

TEST_F(Cost, OfBillionsOfAnnouncedCommandsInAHoleIsAFewReads) {
  const std::string image = iconImage(kI386, "text").bytes();
  const std::string hostile = MachOBuilder(kI386)
                                  .word(at::kNumberOfCommands, 0xffffffff)
                                  .word(at::kSizeOfCommands, 0xffffffff)
                                  .bytes();
  EXPECT_LE(readsFor(sparseFile("f", hostile, kTenGigabytes)), 4U);
  EXPECT_EQ(texts_.back(), "(none)");
}

TEST_F(Cost, OfBillionsOfAnnouncedRecordsInAHoleIsOneRead) {
  const std::string hostile("\xca\xfe\xba\xbe\xff\xff\xff\xff", 8);
  EXPECT_EQ(readsFor(sparseFile("f", hostile, off_t{1} << 37)), 1U);
  EXPECT_EQ(texts_.back(), "(none)");
}

} // namespace
} // namespace tesker::test
