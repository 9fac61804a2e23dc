// The operations on single files: one program as a filter from the input to the output file.
#include "fileops/FileOperations.h"

#include "fileops/ChildProcess.h"
#include "platform/foundation/NSLog.h"

namespace tesker {

namespace {

// What compress answers for an input that its output would be no smaller than.
constexpr int kNotShrunk = 2;

// Runs the program with "-c" from the file to the file, and answers its exit status. The child
// opens the files, so that nothing is created where the input cannot be read. The output file is
// never removed: it may hold all that could be had.
std::optional<int> filterFile(const char *programKey, const char *inputFile,
                              const char *outputFile) {
  const Command filter(programPath(programKey), {"-c"});
  const auto child = ChildProcess::start(filter, [&] {
    const int input = openInputOrEnd(inputFile);
    const int output = createOutputOrEnd(outputFile);
    useAsStandard(input, STDIN_FILENO);
    useAsStandard(output, STDOUT_FILENO);
  });
  return child.waitForExitStatus();
}

} // namespace

bool compressZFile(const char *inputFile, const char *outputFile) {
  const auto status = filterFile("compress", inputFile, outputFile);
  if (status == kNotShrunk)
    NSLog("%s is already as compressed as it can get", {inputFile});
  return status == 0;
}

bool uncompressZFile(const char *inputFile, const char *outputFile) {
  return filterFile("uncompress", inputFile, outputFile) == 0;
}

} // namespace tesker
