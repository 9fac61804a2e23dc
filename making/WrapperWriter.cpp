#include "making/WrapperWriter.h"

#include "parsing/WrapperNames.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/RemoveTree.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>

namespace tesker {

namespace {

constexpr std::chrono::minutes kTimeToRemove{1};
constexpr mode_t kProgramMode = 0777;
constexpr mode_t kFileMode = 0666;

bool isName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::optional<FileFailure> failedAt(const std::string &path) { return FileFailure{path, errno}; }

std::optional<FileFailure> write(const FileDescriptor &file, const std::string &path,
                                 std::string_view bytes) {
  const Result<> written = writeAll(file.number(), bytes);
  return written ? std::nullopt : std::optional(FileFailure{path, written.error()});
}

// Piece by piece: programs may be large.
std::optional<FileFailure> copy(const FileDescriptor &file, const std::string &path,
                                const std::string &source) {
  const Result<RegularFile> opened = openRegularFile(source.c_str());
  if (!opened)
    return FileFailure{source, opened.error()};
  std::array<char, 65536> piece;
  for (;;) {
    const ssize_t got =
        OperatingSystem::current().read(opened->descriptor.number(), piece.data(), piece.size());
    if (got < 0)
      return failedAt(source);
    if (got == 0)
      return std::nullopt;
    if (auto failure = write(file, path, {piece.data(), static_cast<std::size_t>(got)}))
      return failure;
  }
}

std::optional<FileFailure> writeFile(const std::string &path, const FileContents &contents,
                                     mode_t mode) {
  OperatingSystem &system = OperatingSystem::current();
  FileDescriptor file(system.open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
  if (!file)
    return failedAt(path);
  const auto *source = std::get_if<CopyOf>(&contents);
  if (auto failure = source != nullptr ? copy(file, path, source->path)
                                       : write(file, path, std::get<std::string>(contents)))
    return failure;
  if (system.synchronize(file.number()) != 0 || system.close(file.release()) != 0)
    return failedAt(path);
  return std::nullopt;
}

} // namespace

WrapperWriter::~WrapperWriter() {
  if (!hidden_.empty())
    (void)removeTree(hidden_, Deadline::in(kTimeToRemove));
}

std::optional<FileFailure> WrapperWriter::makeFolders(const WrapperDescription &description) {
  OperatingSystem &system = OperatingSystem::current();
  std::string hidden = folder_ + "/.making-XXXXXX";
  if (system.makeTemporaryDirectory(hidden.data()) != 0)
    return failedAt(folder_);
  hidden_ = std::move(hidden);
  name_ = description.name + ".app";
  for (const std::string &path : {this->path(), this->path() + "/" + std::string(kResourcesName)})
    if (system.makeDirectory(path.c_str(), 0777) != 0)
      return failedAt(path);
  return std::nullopt;
}

std::string WrapperWriter::inPlace(const std::string &path) const {
  return !hidden_.empty() && path.starts_with(this->path())
             ? place() + path.substr(this->path().size())
             : path;
}

std::optional<FileFailure> WrapperWriter::write(const WrapperDescription &description) {
  auto failure = writeFiles(description);
  if (failure)
    failure->path = inPlace(failure->path);
  return failure;
}

std::optional<FileFailure> WrapperWriter::writeFiles(const WrapperDescription &description) {
  if (!isName(description.name))
    return FileFailure{description.name, EINVAL};
  if (auto failure = makeFolders(description))
    return failure;
  if (auto failure = writeFile(path() + "/" + description.name, description.program, kProgramMode))
    return failure;
  const std::string resources = path() + "/" + std::string(kResourcesName) + "/";
  for (const auto &[name, contents] : description.files) {
    if (!isName(name))
      return FileFailure{name, EINVAL};
    if (auto failure = writeFile(resources + name, contents, kFileMode))
      return failure;
  }
  return writeFile(resources + std::string(kInfoListName), textOf(description), kFileMode);
}

std::optional<FileFailure> WrapperWriter::putInPlace(Former former) {
  OperatingSystem &system = OperatingSystem::current();
  const std::string kept = hidden_ + "/former";
  struct stat status {};
  const bool isTaken = system.statAt(AT_FDCWD, place().c_str(), false, status) == 0;
  if (isTaken && former == Former::stays)
    return FileFailure{place(), EEXIST};
  if (isTaken && system.rename(place().c_str(), kept.c_str()) != 0)
    return failedAt(place());
  if (system.rename(path().c_str(), place().c_str()) == 0)
    return std::nullopt;
  auto failure = failedAt(place());
  if (isTaken)
    (void)system.rename(kept.c_str(), place().c_str());
  return failure;
}

} // namespace tesker
