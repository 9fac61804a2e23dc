#include "catalog/SavedAnswers.h"

#include "parsing/RecordEncoding.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Text.h"

#include <algorithm>
#include <cerrno>
#include <sys/file.h>

namespace tesker {

namespace {

// Beyond the text, which has at most as many bytes as travel.
constexpr std::size_t kLargestHeader = std::size_t{64} * 1024;

std::int64_t nanoseconds(const struct timespec &time) {
  return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

FileVersion versionOf(const struct stat &status) {
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = status.st_size,
          .modified = nanoseconds(status.st_mtim),
          .changed = nanoseconds(status.st_ctim)};
}

// Of this user, and a regular file.
bool isOurs(const struct stat &status) {
  return S_ISREG(status.st_mode) && status.st_uid == OperatingSystem::current().effectiveUserId();
}

// What there is to read, or nothing. Grows with what has come.
std::optional<std::string> contentsOf(int descriptor) {
  constexpr std::size_t kChunk = std::size_t{64} * 1024;
  std::string bytes;
  while (bytes.size() <= kLargestContents + kLargestHeader) {
    const std::size_t before = bytes.size();
    bytes.resize(before + std::max(kChunk, before));
    const ssize_t got =
        OperatingSystem::current().read(descriptor, bytes.data() + before, bytes.size() - before);
    bytes.resize(before + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0)
      return std::nullopt;
    if (got == 0)
      return bytes;
  }
  return std::nullopt;
}

// Where this process runs with the rights of another user than the one whose home it is, nothing is
// made that the latter could not use later.
Result<> makeStateDirectory(const std::string &directory) {
  OperatingSystem &system = OperatingSystem::current();
  const uid_t user = system.effectiveUserId();
  struct stat status {};
  if (system.statAt(AT_FDCWD, directory.c_str(), true, status) == 0)
    return status.st_uid == user ? Result<>() : Failure{EPERM};
  const std::string above = directory.substr(0, directory.rfind('/') + 1);
  (void)system.makeDirectory(above.c_str(), 0700);
  if (system.statAt(AT_FDCWD, above.c_str(), true, status) != 0)
    return Failure{errno};
  if (status.st_uid != user && status.st_uid != 0)
    return Failure{EPERM};
  if (system.makeDirectory(directory.c_str(), 0700) != 0 && errno != EEXIST)
    return Failure{errno};
  return {};
}

Result<FileDescriptor> openLockFile(const std::string &path) {
  FileDescriptor file(OperatingSystem::current().open(
      path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0600));
  if (!file)
    return Failure{errno};
  return file;
}

} // namespace

bool isSearchPathThere(const std::string &path, bool mayBeFile) {
  struct stat status {};
  return OperatingSystem::current().statAt(AT_FDCWD, path.c_str(), true, status) == 0 &&
         (mayBeFile || S_ISDIR(status.st_mode));
}

std::string usualStateDirectory() {
  const auto given = environmentValue("XDG_CACHE_HOME");
  if (given && given->starts_with('/'))
    return *given + "/tesker";
  const auto home = homeDirectory();
  return home && home->starts_with('/') ? *home + "/.cache/tesker" : "";
}

SavedAnswerFile::SavedAnswerFile(std::string_view directory, const AnswerKey &key)
    : directory_(withoutSlashesAtItsEnd(directory)), lines_(key.lines()),
      path_(directory_ + "/" + savedAnswerName(key.searchPath, lines_)) {}

std::optional<SavedAnswer> SavedAnswerFile::read() const {
  OperatingSystem &system = OperatingSystem::current();
  if (directory_.empty())
    return std::nullopt;
  const FileDescriptor file(
      system.open(path_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!file || system.statDescriptor(file.number(), status) != 0 || !isOurs(status))
    return std::nullopt;
  const std::optional<std::string> bytes = contentsOf(file.number());
  const auto saved = bytes ? savedAnswerIn(*bytes, lines_) : std::nullopt;
  if (!saved || EncodedRecords(saved->text).count() > kMostRecords)
    return std::nullopt;
  std::optional<std::vector<SearchRecord>> records = decodeRecords(saved->text);
  if (!records)
    return std::nullopt;
  return SavedAnswer{std::string(saved->text), std::move(*records), saved->time, versionOf(status)};
}

std::optional<FileVersion> SavedAnswerFile::version() const {
  struct stat status {};
  if (directory_.empty() ||
      OperatingSystem::current().statAt(AT_FDCWD, path_.c_str(), false, status) != 0)
    return std::nullopt;
  return versionOf(status);
}

Result<FileDescriptor> SavedAnswerFile::locked(const Deadline &deadline) const {
  if (directory_.empty())
    return Failure{ENOENT};
  if (const Result<> made = makeStateDirectory(directory_); !made)
    return made.failure();
  Result<FileDescriptor> file = openLockFile(withEnding(".lock"));
  if (file)
    if (const Result<> lock = lockExclusively(file->number(), deadline); !lock)
      return lock.failure();
  return file;
}

Result<FileVersion> SavedAnswerFile::save(std::string_view text, std::int64_t time,
                                          const Deadline &deadline) const {
  const Result<FileDescriptor> lock = locked(deadline);
  return lock ? write(text, time) : lock.failure();
}

Result<FileVersion> SavedAnswerFile::write(std::string_view text, std::int64_t time) const {
  OperatingSystem &system = OperatingSystem::current();
  const std::string beside = withEnding(".new");
  (void)system.unlink(beside.c_str()); // of one that did not come to its end
  const FileDescriptor file(
      system.open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600));
  if (!file)
    return Failure{errno};
  Result<> outcome = writeAll(file.number(), savedAnswerHeader(lines_, time, text));
  if (outcome)
    outcome = writeAll(file.number(), text);
  struct stat status {}; // a file is changed by being renamed
  if (outcome && (system.rename(beside.c_str(), path_.c_str()) != 0 ||
                  system.statDescriptor(file.number(), status) != 0))
    outcome = Failure{errno};
  if (outcome)
    return versionOf(status);
  (void)system.unlink(beside.c_str());
  return outcome.failure();
}

bool SavedAnswerFile::isYoung(const FileVersion &known, std::int64_t savedAt,
                              std::int64_t time) const {
  constexpr std::int64_t kYoung = 60; // seconds
  return time - savedAt < kYoung && version() == known;
}

// One at a time looks whether an answer is watched or says so: looking takes the lock for a moment.
Result<FileDescriptor> SavedAnswerFile::markWatched(const Deadline &deadline) const {
  const Result<FileDescriptor> lock = locked(deadline);
  if (!lock)
    return lock.failure();
  Result<FileDescriptor> mark = openLockFile(withEnding(".watched"));
  if (mark && OperatingSystem::current().lock(mark->number(), LOCK_SH | LOCK_NB) != 0)
    return Failure{errno};
  return mark;
}

bool SavedAnswerFile::isWatched(const Deadline &deadline) const {
  OperatingSystem &system = OperatingSystem::current();
  const FileDescriptor mark(directory_.empty()
                                ? -1
                                : system.open(withEnding(".watched").c_str(),
                                              O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!mark)
    return false;
  const Result<FileDescriptor> lock = locked(deadline);
  return lock && system.lock(mark.number(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

} // namespace tesker
