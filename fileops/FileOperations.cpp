#include "fileops/FileOperations.h"

#include "fileops/ChildProcess.h"
#include "fileops/SourcePath.h"
#include "platform/foundation/NSLog.h"

#include <fcntl.h>

namespace tesker {

namespace {

// Opens a file in this process; negative when that fails.
FileDescriptor openFile(const char *path, int flags) {
  return FileDescriptor(
      aboveStandardDescriptors(OperatingSystem::current().open(path, flags, 0666)));
}

} // namespace

bool destroyFile(const char *path) {
  const Command rm(programPath("rm"), {"-rf", operand(path)});
  return ChildProcess::start(rm, [] {}).waitForSuccess();
}

bool archiveTarFile(const char *sourcePath, const char *archive) {
  const auto source = splitSourcePath(sourcePath, WithoutSlash::inWorkingDirectory);
  if (!source)
    return false;
  const Command tar(programPath("tar"), {"cf", archiveOperand(archive), operand(source->baseName)});
  const auto steps = [&] { changeDirectoryOrEnd(source->directory.c_str()); };
  return ChildProcess::start(tar, steps).waitForSuccess();
}

bool unarchiveTarFile(const char *archive, const char *targetDirectory) {
  const Command tar(programPath("tar"), {"xpf", archiveOperand(archive)});
  const auto steps = [&] { changeDirectoryOrEnd(targetDirectory); };
  return ChildProcess::start(tar, steps).waitForSuccess();
}

bool compressFile(const char *sourcePath, const char *outputFile) {
  const auto source = splitSourcePath(sourcePath, WithoutSlash::isRefused);
  if (!source)
    return false;
  FileDescriptor output = openFile(outputFile, O_WRONLY | O_CREAT | O_TRUNC);
  if (!output) {
    // The line ends in a colon: the reason was never shown, and readers know the line as it is.
    NSLog("cannot create '%s':", {outputFile});
    return false;
  }
  auto pipe = createPipe();
  if (!pipe) {
    NSLog("cannot create pipe: %s", {errorText()});
    output.reset();
    OperatingSystem::current().unlink(outputFile);
    return false;
  }
  const Command tar(programPath("tar"), {"cf", "-", operand(source->baseName)});
  const Command compress(programPath("compress"), {"-f", "-c"});

  const auto tarChild = ChildProcess::start(tar, [&] {
    useAsStandard(pipe->writeEnd.get(), STDOUT_FILENO);
    // Unlike all others this child carries on where it is: the verdict is left to tar, which fails
    // unless something of that name is here too.
    (void)changeDirectory(source->directory.c_str());
  });
  // Only tar may hold the write end, or compress would never see the end of its input.
  pipe->writeEnd.reset();
  const auto compressChild = ChildProcess::start(compress, [&] {
    useAsStandard(pipe->readEnd.get(), STDIN_FILENO);
    useAsStandard(output.get(), STDOUT_FILENO);
  });
  // Only compress may hold the read end, or tar would wait for ever when compress ends early.
  pipe->readEnd.reset();
  output.reset();
  const bool archived = tarChild.waitForSuccessOrLog();
  const bool compressed = compressChild.waitForSuccessOrLog();
  if (archived && compressed)
    return true;
  OperatingSystem::current().unlink(outputFile);
  return false;
}

bool uncompressFile(const char *archive, const char *targetDirectory) {
  FileDescriptor input = openFile(archive, O_RDONLY);
  if (!input) {
    // The same words as for a file that cannot be created: one line for both is what readers know.
    NSLog("cannot create '%s':", {archive});
    return false;
  }
  auto pipe = createPipe();
  if (!pipe) {
    NSLog("cannot create pipe: %s", {errorText()});
    return false;
  }
  const Command tar(programPath("tar"), {"xpf", "-"});
  const Command uncompress(programPath("uncompress"), {"-c"});

  // The reader first. The archive and the write end close as it executes its program.
  const auto tarChild = ChildProcess::start(tar, [&] {
    useAsStandard(pipe->readEnd.get(), STDIN_FILENO);
    changeDirectoryOrEnd(targetDirectory);
  });
  pipe->readEnd.reset();
  const auto uncompressChild = ChildProcess::start(uncompress, [&] {
    useAsStandard(input.get(), STDIN_FILENO);
    useAsStandard(pipe->writeEnd.get(), STDOUT_FILENO);
  });
  pipe->writeEnd.reset();
  input.reset();
  // In the order of the data, so the lines about two failures come in that order too. What was
  // extracted stays: it was the user's data, and may be all that is left of it.
  const bool uncompressed = uncompressChild.waitForSuccessOrLog();
  const bool extracted = tarChild.waitForSuccessOrLog();
  return uncompressed && extracted;
}

} // namespace tesker
