#include "platform/foundation/Files.h"

#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace tesker {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using test::TemporaryDirectory;
using testing::ElementsAre;

// What the file holds; fails the test when it cannot be read.
std::string contents(std::string_view path) {
  const Result<std::string> bytes = contentsOfFile(NSString::create(path));
  EXPECT_TRUE(bytes) << path << ": error " << bytes.error();
  return bytes ? *bytes : "";
}

// The errno of a read that must fail; 0 when it did not.
int readError(std::string_view path) { return contentsOfFile(NSString::create(path)).error(); }

TEST(ContentsOfFileTest, AFileComesThroughWhole) {
  const TemporaryDirectory directory;
  for (const std::size_t size : {0U, 1U, 65535U, 65536U, 65537U, 1000000U}) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<char>(i * 7);
    EXPECT_EQ(contents(directory.writeFile("f", bytes)), bytes) << size;
  }
}

TEST(ContentsOfFileTest, LinksAreFollowed) {
  const TemporaryDirectory directory;
  directory.writeFile("f", "text");
  EXPECT_EQ(contents(directory.makeLink("l", "f")), "text");
  EXPECT_EQ(readError(directory.makeLink("nowhere", "none")), ENOENT);
  EXPECT_EQ(readError(directory.makeLink("loop", "loop")), ELOOP);
}

TEST(ContentsOfFileTest, AMissingFileIsAnswered) {
  const TemporaryDirectory directory;
  EXPECT_EQ(readError(directory.path("none")), ENOENT);
  EXPECT_EQ(readError(""), ENOENT);
}

TEST(ContentsOfFileTest, APathWithANulInsideNamesNothing) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("f", "text");
  EXPECT_EQ(readError(file + "\0"s), ENOENT);
}

TEST(ContentsOfFileTest, ADirectoryIsNoFile) {
  const TemporaryDirectory directory;
  EXPECT_EQ(readError(directory.path()), EINVAL);
}

TEST(ContentsOfFileTest, AFifoWithoutAWriterIsNotWaitedFor) {
  const TemporaryDirectory directory;
  ASSERT_EQ(::mkfifo(directory.path("fifo").c_str(), 0600), 0);
  EXPECT_EQ(readError(directory.path("fifo")), EINVAL);
}

TEST(ContentsOfFileTest, ADeviceIsNoFile) { EXPECT_EQ(readError("/dev/zero"), EINVAL); }

TEST(ContentsOfFileTest, AFileLargerThanAnyTextIsRefusedWithoutReadingIt) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("sparse", "");
  ASSERT_EQ(::truncate(file.c_str(), off_t{1} << 40), 0);
  EXPECT_EQ(readError(file), EFBIG);
}

TEST(ContentsOfFileTest, AFileIsReadUpToTheLimitGiven) {
  const TemporaryDirectory directory;
  const NSString path = NSString::create(directory.writeFile("f", "12345678"));
  const Result<std::string> whole = contentsOfFile(path, 8);
  ASSERT_TRUE(whole);
  EXPECT_EQ(*whole, "12345678");
  EXPECT_EQ(contentsOfFile(path, 7).error(), EFBIG);
}

// Serves reads by a script: each is a text to give, or an error.
class ScriptedReads final : public OperatingSystem {
public:
  ssize_t readAt(int, void *buffer, std::size_t size, off_t offset) override {
    offsets.push_back(offset);
    if (endless) {
      std::memset(buffer, 'x', size);
      return static_cast<ssize_t>(size);
    }
    if (texts.empty()) {
      errno = error;
      return error == 0 ? 0 : -1;
    }
    const std::string text = texts.front();
    texts.erase(texts.begin());
    EXPECT_LE(text.size(), size);
    std::memcpy(buffer, text.data(), text.size());
    return static_cast<ssize_t>(text.size());
  }
  std::vector<std::string> texts;
  int error = 0;
  bool endless = false;
  std::vector<off_t> offsets;
};

class ScriptedContentsTest : public testing::Test {
protected:
  TemporaryDirectory directory;
  std::string file = directory.writeFile("f", "four");
  ScriptedReads system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(ScriptedContentsTest, AFileThatGrowsWhileItIsReadGivesWhatThereWasToRead) {
  system.texts = {"four", " and", " more"};
  EXPECT_EQ(contents(file), "four and more");
  EXPECT_THAT(system.offsets, ElementsAre(0, 4, 8, 13));
}

TEST_F(ScriptedContentsTest, AFileThatShrankGivesWhatThereWasToRead) {
  system.texts = {"fo"};
  EXPECT_EQ(contents(file), "fo");
}

TEST_F(ScriptedContentsTest, AnErrorInTheMiddleGivesNothingAndItsReason) {
  system.texts = {"four"};
  system.error = EIO;
  EXPECT_EQ(readError(file), EIO);
}

TEST_F(ScriptedContentsTest, AFileThatNeverEndsIsGivenUpAtTheLimit) {
  system.endless = true;
  EXPECT_EQ(contentsOfFile(NSString::create(file), 1000000).error(), EFBIG);
}

TEST(ContentsOfFileTest, AFileTakesFiveCalls) {
  const TemporaryDirectory directory;
  const std::string file = directory.writeFile("f", "text");
  test::CountingOperatingSystem system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(contents(file), "text");
  EXPECT_THAT(system.log, ElementsAre("open " + file, "statDescriptor " + file, "readAt " + file,
                                      "readAt " + file, "close " + file));
}

TEST(OpenRegularFileTest, TheDescriptorIsCloseOnExecAndTheStatusIsTheFiles) {
  const TemporaryDirectory directory;
  const Result<RegularFile> file = openRegularFile(directory.writeFile("f", "12345").c_str());
  ASSERT_TRUE(file);
  EXPECT_EQ(file->status.st_size, 5);
  EXPECT_NE(::fcntl(file->descriptor.number(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(OpenRegularFileTest, APathCanBeRelativeToAnOpenDirectory) {
  const TemporaryDirectory directory;
  directory.writeFile("d/f", "12345");
  const FileDescriptor folder(::open(directory.path("d").c_str(), O_RDONLY | O_CLOEXEC));
  const Result<RegularFile> file = openRegularFile("f", folder.number());
  ASSERT_TRUE(file);
  EXPECT_EQ(file->status.st_size, 5);
  EXPECT_EQ(openRegularFile("none", folder.number()).error(), ENOENT);
}

TEST(OpenRegularFileTest, NoDescriptorIsLeftOpenForWhatIsNoFile) {
  class Counting final : public OperatingSystem {
  public:
    int openAt(int directory, const char *path, int flags, mode_t mode) override {
      const int descriptor = OperatingSystem::openAt(directory, path, flags, mode);
      open_ += descriptor >= 0 ? 1 : 0;
      return descriptor;
    }
    int close(int descriptor) override {
      --open_;
      return OperatingSystem::close(descriptor);
    }
    int open_ = 0;
  };
  Counting system;
  const ScopedOperatingSystem inForce(system);
  EXPECT_EQ(openRegularFile("/dev/null").error(), EINVAL);
  EXPECT_EQ(openRegularFile("/").error(), EINVAL);
  EXPECT_EQ(system.open_, 0);
}

} // namespace
} // namespace tesker
