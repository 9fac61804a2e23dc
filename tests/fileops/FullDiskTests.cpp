// No room left: a limit on the size of files stands for the end of the disk, once as the signal
// that ends the writer and once as the error that it is told; /dev/full is a disk without any room.
#include "tests/fileops/FileOperationsTest.h"

#include <csignal>
#include <random>
#include <sys/resource.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr rlim_t kLimit = 64 * 1024;

std::string noise(std::size_t size) {
  std::mt19937 generator(7);
  std::string bytes(size, '\0');
  for (char &byte : bytes)
    byte = static_cast<char>(generator());
  return bytes;
}

class FullDisk : public FileOperationsTest, public testing::WithParamInterface<bool> {
protected:
  FullDisk() {
    ::getrlimit(RLIMIT_FSIZE, &limitBefore_);
    handlerBefore_ = std::signal(SIGXFSZ, GetParam() ? SIG_DFL : SIG_IGN);
  }
  ~FullDisk() override {
    leaveRoom();
    std::signal(SIGXFSZ, handlerBefore_);
  }
  void leaveNoRoom() const { setLimit(kLimit); }
  void leaveRoom() const { setLimit(limitBefore_.rlim_cur); }
  void setLimit(rlim_t limit) const {
    const struct rlimit limits { limit, limitBefore_.rlim_max };
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limits), 0);
  }

  const std::string noise_ = noise(4 * kLimit);
  const std::string source_ = directory_.writeFile("in/source", noise_);
  const std::string output_ = path("output");

private:
  struct rlimit limitBefore_ {};
  void (*handlerBefore_)(int) = nullptr;
};
INSTANTIATE_TEST_SUITE_P(AsSignalOrError, FullDisk, testing::Bool(), [](const auto &parameter) {
  return std::string(parameter.param ? "signal" : "error");
});

TEST_P(FullDisk, compressFileRemovesTheOutputAndNothingElse) {
  const StandardErrorCapture quiet;
  leaveNoRoom();
  EXPECT_FALSE(compressFile(source_.c_str(), output_.c_str()));
  EXPECT_THAT(log_.logged, testing::Contains("Error while executing /usr/bin/compress"));
  EXPECT_FALSE(exists(output_));
  EXPECT_EQ(contents(source_), noise_);
}

TEST_P(FullDisk, uncompressFileKeepsTheArchiveAndWhatWasExtracted) {
  directory_.writeFile("in/small", "fits");
  ASSERT_TRUE(compressFile(path("in").c_str(), output_.c_str()));
  const std::string archive = contents(output_);
  directory_.makeDirectory("target");
  const StandardErrorCapture quiet;
  leaveNoRoom();
  EXPECT_FALSE(uncompressFile(output_.c_str(), path("target").c_str()));
  EXPECT_THAT(log_.logged, testing::Contains("Error while executing /usr/bin/tar"));
  leaveRoom();
  EXPECT_EQ(contents(output_), archive);
  EXPECT_EQ(contents(path("target/in/source")), noise_.substr(0, kLimit));
}

TEST_P(FullDisk, compressZFileKeepsThePartThatWasWritten) {
  const StandardErrorCapture quiet;
  leaveNoRoom();
  EXPECT_FALSE(compressZFile(source_.c_str(), output_.c_str()));
  EXPECT_EQ(contents(output_).size(), kLimit);
  EXPECT_EQ(contents(source_), noise_);
  EXPECT_THAT(log_.logged, IsEmpty());
}

TEST_P(FullDisk, uncompressZFileKeepsThePartThatWasWritten) {
  const std::string z = path("source.Z");
  (void)compressZFile(source_.c_str(), z.c_str()); // noise does not shrink
  const std::string compressed = contents(z);
  const StandardErrorCapture quiet;
  leaveNoRoom();
  EXPECT_FALSE(uncompressZFile(z.c_str(), output_.c_str()));
  EXPECT_EQ(contents(output_), noise_.substr(0, kLimit));
  EXPECT_EQ(contents(z), compressed);
}

TEST_P(FullDisk, archiveTarFileKeepsThePartThatWasWritten) {
  const StandardErrorCapture quiet;
  leaveNoRoom();
  EXPECT_FALSE(archiveTarFile(source_.c_str(), output_.c_str()));
  EXPECT_EQ(contents(output_).size(), kLimit);
  EXPECT_EQ(contents(source_), noise_);
}

TEST_P(FullDisk, unarchiveTarFileKeepsTheArchiveAndWhatWasExtracted) {
  ASSERT_TRUE(archiveTarFile(source_.c_str(), output_.c_str()));
  const std::string archive = contents(output_);
  directory_.makeDirectory("target");
  const StandardErrorCapture quiet;
  leaveNoRoom();
  EXPECT_FALSE(unarchiveTarFile(output_.c_str(), path("target").c_str()));
  EXPECT_EQ(contents(output_), archive);
  EXPECT_EQ(contents(path("target/source")), noise_.substr(0, kLimit));
}

TEST_P(FullDisk, aDeviceWithoutRoomIsAFailure) {
  const StandardErrorCapture quiet;
  EXPECT_FALSE(compressZFile(source_.c_str(), "/dev/full"));
  EXPECT_FALSE(archiveTarFile(source_.c_str(), "/dev/full"));
  EXPECT_TRUE(exists("/dev/full"));
  EXPECT_EQ(contents(source_), noise_);
}

} // namespace
