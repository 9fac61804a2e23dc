// What many calls leave behind: nothing.
#include "tests/fileops/FileOperationsTest.h"

#include <cerrno>

using namespace tesker;
using namespace tesker::test;

namespace {

class Resources : public FileOperationsTest {};

TEST_F(Resources, aThousandMixedCallsLeaveNoDescriptorAndNoZombie) {
  useFakes();
  const std::string source = directory_.writeFile("source", "the source");
  const std::string output = path("output");
  const std::string nowhere = path("missing/output");
  const std::string target = directory_.path();
  const StandardErrorCapture quiet;
  const auto before = openDescriptorNumbers();
  int succeeded = 0;
  for (int call = 0; call < 1000; ++call) {
    const bool failing = call % 2 == 1;
    const int kind = call / 2 % 10;
    SystemCalls::current().pipeError = failing && (kind == 7 || kind == 8) ? EMFILE : 0;
    SystemCalls::current().failedFork = failing && kind == 9 ? 2 : 0;
    const char *from = failing && kind != 4 ? nowhere.c_str() : source.c_str();
    const char *to = failing && kind == 4 ? nowhere.c_str() : output.c_str();
    switch (kind) {
    case 0:
      useProgram("rm", failing ? nowhere : fake("rm"));
      succeeded += destroyFile(from) ? 1 : 0;
      break;
    case 1:
      succeeded += archiveTarFile(from, to) ? 1 : 0;
      break;
    case 2:
      succeeded += unarchiveTarFile(from, failing ? from : target.c_str()) ? 1 : 0;
      break;
    case 3:
      succeeded += uncompressZFile(from, to) ? 1 : 0;
      break;
    case 4:
    case 7:
    case 9:
      succeeded += compressFile(source.c_str(), to) ? 1 : 0;
      break;
    case 5:
      succeeded += compressZFile(from, to) ? 1 : 0;
      break;
    default:
      succeeded += uncompressFile(source.c_str(), failing ? from : target.c_str()) ? 1 : 0;
    }
  }
  EXPECT_EQ(succeeded, 500);
  EXPECT_EQ(openDescriptorNumbers(), before);
  EXPECT_FALSE(hasChildren());
}

} // namespace
