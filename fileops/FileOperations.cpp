#include "fileops/FileOperations.h"

#include "fileops/ChildProcess.h"
#include "fileops/OutputCheck.h"
#include "paths/PathFunctions.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/NSLog.h"

#include <cerrno>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>

namespace tesker {

namespace {

// Where to run tar, and what to give it, for the path of a source.
struct SourcePath {
  std::string directory; // never empty: "/" for what stands directly in the root
  std::string baseName;  // what follows the last "/"; empty when nothing does

  std::string whole() const { return directory + "/" + baseName; }
};

// What a path without any "/" means.
enum class WithoutSlash { isRefused, inWorkingDirectory };

std::optional<SourcePath> inWorkingDirectory(std::string_view baseName) {
  PathBuffer directory;
  if (OperatingSystem::current().workingDirectory(directory, sizeof directory) == nullptr) {
    NSLog("Cannot find the working directory of '%s': %s", {baseName, errorText(errno)});
    return std::nullopt;
  }
  return SourcePath{directory, std::string(baseName)};
}

// Splits the path at its last "/". Nothing, and a log line, when the path does not fit a path
// buffer (1024 bytes with its NUL), when it has no "/" and that is refused, and when it has none
// and the working directory cannot be found.
std::optional<SourcePath> splitSourcePath(std::string_view path, WithoutSlash withoutSlash) {
  if (path.size() >= kPathBufferSize) {
    NSLog("The source path is longer than %d bytes: '%s'",
          {std::to_string(kPathBufferSize - 1), path});
    return std::nullopt;
  }
  const std::size_t slash = path.rfind('/');
  if (slash != std::string_view::npos)
    return SourcePath{std::string(slash == 0 ? "/" : path.substr(0, slash)),
                      std::string(path.substr(slash + 1))};
  if (withoutSlash == WithoutSlash::inWorkingDirectory)
    return inWorkingDirectory(path);
  NSLog("The source path has no directory before its name: '%s'", {path});
  return std::nullopt;
}

// Kept: the line ends in a colon, without the reason; readers of the log know it so.
constexpr const char *kCannotCreate = "cannot create '%s':";

// What compress answers for an input that its output would not be smaller than.
constexpr int kNotShrunk = 2;

// Opens a file in this process; none when that fails.
FileDescriptor openFile(const char *path, int flags) {
  return aboveStandardDescriptors(
      FileDescriptor(OperatingSystem::current().open(path, flags, 0666)));
}

// Runs the program with "-c" from the file to the file, and answers its exit status. The child
// opens the files, so that nothing is created where the input cannot be read. The output file is
// never removed: it may hold all that could be saved.
std::optional<int> filterFile(const char *programKey, const char *inputFile,
                              const char *outputFile) {
  if (!mayBeOutput(outputFile, inputFile)) {
    NSLog(kCannotOpenForWriting, {outputFile});
    return std::nullopt;
  }
  const OperationUnderWay underWay;
  const Command filter(programPath(programKey), {"-c"});
  const auto child = ChildProcess::start(filter, [&] {
    const int input = openInputOrEnd(inputFile);
    const int output = createOutputOrEnd(outputFile);
    useAsStandard(input, STDIN_FILENO);
    useAsStandard(output, STDOUT_FILENO);
  });
  return child.waitForExitStatus();
}

// What tar finds under the source's name: where the source's directory is not there, tar runs where
// the caller is.
std::string whatTarReads(const SourcePath &source) {
  struct stat status {};
  const int found =
      OperatingSystem::current().statAt(AT_FDCWD, source.whole().c_str(), false, status);
  return found == 0 ? source.whole() : source.baseName;
}

// Removes the output, unless it is a device: that was there before, and will be needed again.
void removeOutput(const char *path, int output) {
  OperatingSystem &system = OperatingSystem::current();
  struct stat status {};
  if (system.statDescriptor(output, status) == 0 && S_ISREG(status.st_mode))
    system.unlink(path);
}

// Runs tar into compress into the output; false, and logged, when any of it failed.
bool packInto(const SourcePath &source, int output) {
  Result<Pipe> pipe = createPipe();
  if (!pipe) {
    NSLog("cannot create pipe: %s", {errorText(pipe.error())});
    return false;
  }
  const Command tar(programPath("tar"), {"cf", "-", operand(source.baseName)});
  const Command compress(programPath("compress"), {"-f", "-c"});

  const auto tarChild = ChildProcess::start(tar, [&] {
    useAsStandard(pipe->writeEnd.number(), STDOUT_FILENO);
    // Kept: unlike all the others this child goes on where it is. The verdict is left to tar, which
    // fails unless something of that name is here as well.
    (void)changeDirectory(source.directory.c_str());
  });
  // Only tar may hold the write end, or compress would never see the end of its input.
  pipe->writeEnd.reset();
  const auto compressChild = ChildProcess::start(compress, [&] {
    useAsStandard(pipe->readEnd.number(), STDIN_FILENO);
    useAsStandard(output, STDOUT_FILENO);
  });
  // Only compress may hold the read end, or tar would wait for ever when compress ends early.
  pipe->readEnd.reset();
  const bool archived = tarChild.waitForSuccessOrLog();
  const bool compressed = compressChild.waitForSuccessOrLog();
  return archived && compressed;
}

} // namespace

bool destroyFile(const char *path) {
  const OperationUnderWay underWay;
  const Command rm(programPath("rm"), {"-rf", operand(path)});
  return ChildProcess::start(rm, [] {}).waitForSuccess();
}

bool archiveTarFile(const char *sourcePath, const char *archive) {
  const auto source = splitSourcePath(sourcePath, WithoutSlash::inWorkingDirectory);
  if (!source)
    return false;
  // The archive is found by the child, in the source's directory.
  const bool standsAlone = *archive == '\0' || *archive == '/';
  const std::string output = standsAlone ? archive : source->directory + "/" + archive;
  if (!mayBeOutput(output, source->whole())) {
    NSLog(kCannotCreate, {archive});
    return false;
  }
  const OperationUnderWay underWay;
  const Command tar(programPath("tar"), {"cf", archiveOperand(archive), operand(source->baseName)});
  const auto steps = [&] { changeDirectoryOrEnd(source->directory.c_str()); };
  return ChildProcess::start(tar, steps).waitForSuccess();
}

bool unarchiveTarFile(const char *archive, const char *targetDirectory) {
  const OperationUnderWay underWay;
  const Command tar(programPath("tar"), {"xpf", archiveOperand(archive)});
  const auto steps = [&] { changeDirectoryOrEnd(targetDirectory); };
  return ChildProcess::start(tar, steps).waitForSuccess();
}

bool compressZFile(const char *inputFile, const char *outputFile) {
  const auto status = filterFile("compress", inputFile, outputFile);
  if (status == kNotShrunk)
    NSLog("%s is already as compressed as it can get", {inputFile});
  return status == 0;
}

bool uncompressZFile(const char *inputFile, const char *outputFile) {
  return filterFile("uncompress", inputFile, outputFile) == 0;
}

bool compressFile(const char *sourcePath, const char *outputFile) {
  const auto source = splitSourcePath(sourcePath, WithoutSlash::isRefused);
  if (!source)
    return false;
  const bool isAllowed = mayBeOutput(outputFile, whatTarReads(*source));
  // From here on there is something to clean up.
  const OperationUnderWay underWay;
  const FileDescriptor output =
      isAllowed ? openFile(outputFile, O_WRONLY | O_CREAT | O_TRUNC) : FileDescriptor();
  if (!output) {
    NSLog(kCannotCreate, {outputFile});
    return false;
  }
  if (packInto(*source, output.number()))
    return true;
  removeOutput(outputFile, output.number());
  return false;
}

bool uncompressFile(const char *archive, const char *targetDirectory) {
  const FileDescriptor input = openFile(archive, O_RDONLY);
  if (!input) {
    // Kept: the words of a file that cannot be created, though this one cannot be opened; readers
    // of the log know one line for both.
    NSLog(kCannotCreate, {archive});
    return false;
  }
  Result<Pipe> pipe = createPipe();
  if (!pipe) {
    NSLog("cannot create pipe: %s", {errorText(pipe.error())});
    return false;
  }
  const OperationUnderWay underWay;
  const Command tar(programPath("tar"), {"xpf", "-"});
  const Command uncompress(programPath("uncompress"), {"-c"});

  // The reader first. The archive and the write end close as it executes its program.
  const auto tarChild = ChildProcess::start(tar, [&] {
    useAsStandard(pipe->readEnd.number(), STDIN_FILENO);
    changeDirectoryOrEnd(targetDirectory);
  });
  pipe->readEnd.reset();
  const auto uncompressChild = ChildProcess::start(uncompress, [&] {
    useAsStandard(input.number(), STDIN_FILENO);
    useAsStandard(pipe->writeEnd.number(), STDOUT_FILENO);
  });
  pipe->writeEnd.reset();
  // In the order of the data, so that the lines about two failures come in that order too. What was
  // extracted stays: it is the user's data, and may be all that is left of it.
  const bool uncompressed = uncompressChild.waitForSuccessOrLog();
  const bool extracted = tarChild.waitForSuccessOrLog();
  return uncompressed && extracted;
}

bool interruptFileOperation(int signal) { return OperationUnderWay::interrupt(signal); }

} // namespace tesker
