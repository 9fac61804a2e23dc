#include "platform/foundation/FileDescriptor.h"

#include <gmock/gmock.h>

#include <vector>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileDescriptorTest : public testing::Test {
protected:
  // Notes what is closed in place of closing it, so that any number serves as a descriptor.
  class NotingClose final : public OperatingSystem {
  public:
    int close(int descriptor) override {
      closed.push_back(descriptor);
      return 0;
    }
    std::vector<int> closed;
  };

  NotingClose system;
  ScopedOperatingSystem inForce{system};
};

TEST_F(FileDescriptorTest, ADescriptorIsClosedOnceWhenItsOwnerGoes) {
  {
    const FileDescriptor file(1001);
    EXPECT_TRUE(file);
    EXPECT_EQ(file.get(), 1001);
  }
  EXPECT_THAT(system.closed, ElementsAre(1001));
}

TEST_F(FileDescriptorTest, DescriptorZeroIsOwnedToo) {
  {
    const FileDescriptor file(0);
    EXPECT_TRUE(file);
  }
  EXPECT_THAT(system.closed, ElementsAre(0));
}

TEST_F(FileDescriptorTest, NoDescriptorIsNotClosed) {
  {
    const FileDescriptor none;
    const FileDescriptor failed(-1);
    EXPECT_FALSE(none);
    EXPECT_FALSE(failed);
  }
  EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(FileDescriptorTest, MovingHandsTheDescriptorOver) {
  {
    FileDescriptor first(1001);
    const FileDescriptor second(std::move(first));
    EXPECT_FALSE(first); // NOLINT(bugprone-use-after-move): what is left is what is asked.
    EXPECT_EQ(second.get(), 1001);
    EXPECT_THAT(system.closed, IsEmpty());
  }
  EXPECT_THAT(system.closed, ElementsAre(1001));
}

TEST_F(FileDescriptorTest, AssigningClosesTheFormerDescriptor) {
  FileDescriptor file(1001);
  file = FileDescriptor(1002);
  EXPECT_THAT(system.closed, ElementsAre(1001));
  EXPECT_EQ(file.get(), 1002);
}

TEST_F(FileDescriptorTest, AssigningToItselfKeepsTheDescriptor) {
  FileDescriptor file(1001);
  FileDescriptor &same = file;
  file = std::move(same);
  EXPECT_THAT(system.closed, IsEmpty());
  EXPECT_EQ(file.get(), 1001);
}

TEST_F(FileDescriptorTest, ReleasingGivesTheDescriptorUpWithoutClosing) {
  {
    FileDescriptor file(1001);
    EXPECT_EQ(file.release(), 1001);
    EXPECT_EQ(file.release(), -1);
  }
  EXPECT_THAT(system.closed, IsEmpty());
}

TEST_F(FileDescriptorTest, ResettingClosesOnce) {
  {
    FileDescriptor file(1001);
    file.reset();
    file.reset();
    EXPECT_FALSE(file);
  }
  EXPECT_THAT(system.closed, ElementsAre(1001));
}

} // namespace
} // namespace tesker
