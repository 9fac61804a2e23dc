#include "platform/images/ImageSource.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace tesker::test {
namespace {

std::string readText(ImageSource &image, std::uint64_t offset, std::size_t length) {
  std::string text(length, '?');
  text.resize(image.read(offset, std::as_writable_bytes(std::span(text))));
  return text;
}

std::string patterned(std::size_t size) {
  std::string bytes(size, '\0');
  for (std::size_t i = 0; i < size; ++i)
    bytes[i] = static_cast<char>((i * 7 + i / 251) % 256);
  return bytes;
}

TEST(MemoryImage, ReadsInsideAndNothingBeyond) {
  const std::string bytes = "abcdef";
  MemoryImage image(std::as_bytes(std::span(bytes)));
  EXPECT_EQ(image.size(), 6U);
  EXPECT_EQ(readText(image, 1, 3), "bcd");
  EXPECT_EQ(readText(image, 4, 100), "ef");
  EXPECT_EQ(readText(image, 6, 1), "");
  EXPECT_EQ(readText(image, UINT64_MAX, 1), "");
}

TEST(MemoryImage, ReadsNothingOfAnEmptyImage) {
  MemoryImage image({});
  EXPECT_EQ(readText(image, 0, 10), "");
}

TEST(ImageSource, ReadsExactlyOrNot) {
  const std::string bytes = "abcdef";
  MemoryImage image(std::as_bytes(std::span(bytes)));
  std::array<std::byte, 4> buffer;
  EXPECT_TRUE(image.readExactly(2, buffer));
  EXPECT_EQ(buffer.back(), std::byte{'f'});
  EXPECT_FALSE(image.readExactly(3, buffer));
  EXPECT_TRUE(image.readExactly(6, std::span(buffer).first(0)));
}

TEST(FileImage, HasTheBytesOfTheFileAtEveryOffsetAndLength) {
  const TemporaryDirectory directory;
  const std::string bytes = patterned(20000);
  auto image = openImage(directory.writeFile("f", bytes));
  ASSERT_TRUE(image);
  EXPECT_EQ(image->size(), bytes.size());
  for (const std::size_t length : {1UL, 28UL, 4095UL, 4096UL, 4097UL, 9000UL})
    for (std::size_t offset = 0; offset < bytes.size(); offset += 997) {
      std::string text(std::min(length, bytes.size() - offset), '?');
      ASSERT_TRUE(image->readExactly(offset, std::as_writable_bytes(std::span(text))));
      EXPECT_EQ(text, bytes.substr(offset, length)) << offset << "+" << length;
    }
  EXPECT_EQ(readText(*image, bytes.size(), 1), "");
  EXPECT_EQ(readText(*image, UINT64_MAX, 1), "");
}

TEST(FileImage, KeepsItsFirstBytesAndThePieceReadLast) {
  const TemporaryDirectory directory;
  const std::string path = directory.writeFile("f", patterned(20000));
  CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  auto image = openImage(path);
  ASSERT_TRUE(image);
  EXPECT_EQ(system.count("open"), 1U);
  EXPECT_EQ(system.count("statDescriptor"), 1U);
  EXPECT_EQ(system.count("readAt"), 1U);
  readText(*image, 0, 28);
  readText(*image, 4000, 96);
  EXPECT_EQ(system.count("readAt"), 1U);
  readText(*image, 10000, 28);
  readText(*image, 10028, 100);
  readText(*image, 0, 8);
  readText(*image, 10200, 68);
  EXPECT_EQ(system.count("readAt"), 2U);
}

TEST(FileImage, StaysAtTheLengthThatItHadWhenItWasOpened) {
  const TemporaryDirectory directory;
  const std::string path = directory.writeFile("f", "12345");
  auto image = openImage(path);
  ASSERT_TRUE(image);
  directory.writeFile("f", patterned(9000));
  EXPECT_EQ(image->size(), 5U);
  EXPECT_EQ(readText(*image, 0, 100), "12345");
  EXPECT_EQ(readText(*image, 5, 100), "");
}

TEST(FileImage, GivesShortReadsWhenTheFileHasBecomeShorter) {
  const TemporaryDirectory directory;
  const std::string path = directory.writeFile("f", patterned(20000));
  auto image = openImage(path);
  ASSERT_TRUE(image);
  std::filesystem::resize_file(path, 10010);
  EXPECT_EQ(readText(*image, 10000, 28).size(), 10U);
  EXPECT_EQ(readText(*image, 15000, 28), "");
  std::array<std::byte, 28> buffer;
  EXPECT_FALSE(image->readExactly(10000, buffer));
}

TEST(FileImage, ReadsNothingWhereReadingFails) {
  const TemporaryDirectory directory;
  struct stat status {};
  status.st_size = 5;
  FileImage image(
      {FileDescriptor(::open(directory.writeFile("f", "12345").c_str(), O_WRONLY)), status});
  EXPECT_EQ(readText(image, 0, 5), "");
}

TEST(FileImage, OpensAnEmptyFileWithoutReading) {
  const TemporaryDirectory directory;
  const std::string path = directory.writeFile("f", "");
  CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  auto image = openImage(path);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->size(), 0U);
  EXPECT_EQ(readText(*image, 0, 1), "");
  EXPECT_EQ(system.count("readAt"), 0U);
}

TEST(FileImage, IsNothingWhereThereIsNoRegularFile) {
  const TemporaryDirectory directory;
  EXPECT_FALSE(openImage(directory.path("missing")));
  EXPECT_FALSE(openImage(""));
  EXPECT_FALSE(openImage(directory.makeDirectory("directory")));
  EXPECT_FALSE(openImage(directory.makeLink("dangling", "missing")));
  EXPECT_FALSE(openImage("/dev/null"));
  EXPECT_FALSE(openImage("/dev/zero"));
}

TEST(FileImage, DoesNotWaitForTheWriterOfAFifo) {
  const TemporaryDirectory directory;
  makeFifo(directory.path("fifo"));
  EXPECT_FALSE(openImage(directory.path("fifo")));
}

TEST(FileImage, IsNothingForASocket) {
  const TemporaryDirectory directory;
  makeSocket(directory.path("socket"));
  EXPECT_FALSE(openImage(directory.path("socket")));
}

TEST(FileImage, FollowsALinkToAFile) {
  const TemporaryDirectory directory;
  directory.writeFile("f", "12345");
  EXPECT_TRUE(openImage(directory.makeLink("link", "f")));
}

TEST(FileImage, ClosesItsDescriptorAndKeepsItFromOtherPrograms) {
  const TemporaryDirectory directory;
  const std::string path = directory.writeFile("f", "12345");
  const std::size_t before = openDescriptors();
  {
    const int next = ::dup(STDIN_FILENO);
    ::close(next);
    auto image = openImage(path);
    ASSERT_TRUE(image);
    EXPECT_EQ(openDescriptors(), before + 1);
    EXPECT_EQ(::fcntl(next, F_GETFD), FD_CLOEXEC);
  }
  EXPECT_EQ(openDescriptors(), before);
  EXPECT_FALSE(openImage(directory.path()));
  EXPECT_EQ(openDescriptors(), before);
}

} // namespace
} // namespace tesker::test
