// SavedAnswers.h - the last answer of a search path on disk: what the next search is compared with,
// and what is known while nobody searches. Internal to the library and its command.
//
// A file for each search path, processor and rule for links, in the user's cache directory:
//
//   Applications-0123456789abcdef           the answer (SavedAnswerText.h)
//   Applications-0123456789abcdef.lock      locked (flock(2)) while the answer is written
//   Applications-0123456789abcdef.watched   locked, shared, by all who keep the answer current
//
// All of it can be thrown away at any time. A file that is damaged, somebody else's, or not what
// its name says counts as missing, and the next one takes its place. Writing is never worth waiting
// for the disk: a file that a crash has left in parts is found out by its checksum.
#pragma once

#include "catalog/SavedAnswerText.h"
#include "master/SearchOutcome.h"
#include "platform/foundation/Deadline.h"
#include "platform/foundation/Files.h"
#include "platform/foundation/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker {

// A file as it was at one time. Of two that are not equal, neither is the newer one.
struct FileVersion {
  dev_t device;
  ino_t inode;
  off_t size;
  std::int64_t modified; // nanoseconds, as below
  std::int64_t changed;
  bool operator==(const FileVersion &) const = default;
};

struct SavedAnswer {
  std::string text;
  std::vector<SearchRecord> records;
  std::int64_t time; // of the search, in seconds since 1970; only to be told to a person
  FileVersion version;
};

// Whether an answer without records is to be believed: whether the path is a directory, or, where a
// file may be searched, anything at all.
[[nodiscard]] bool isSearchPathThere(const std::string &path, bool mayBeFile);

// $XDG_CACHE_HOME/tesker, or ~/.cache/tesker; empty when neither is known.
[[nodiscard]] std::string usualStateDirectory();

class SavedAnswerFile {
public:
  // Looks at nothing. In an empty directory's name nothing is ever saved or found.
  SavedAnswerFile(std::string_view directory, const AnswerKey &key);

  // Whether there is a directory for it at all.
  bool isKept() const { return !directory_.empty(); }
  // The whole answer; nothing when there is none that is good.
  [[nodiscard]] std::optional<SavedAnswer> read() const;
  // Which file is there; nothing when there is none.
  [[nodiscard]] std::optional<FileVersion> version() const;

  // Makes the directory, too (0700). Waits until the deadline for another that is saving. Fails
  // with the errno, EWOULDBLOCK when that one is still at it; EPERM in somebody else's directory.
  Result<FileVersion> save(std::string_view text, std::int64_t time,
                           const Deadline &deadline) const;

  // Whether the file is still that version, and was written so shortly before that it need not be
  // again for the same answer: it says, too, when that was found last.
  [[nodiscard]] bool isYoung(const FileVersion &known, std::int64_t savedAt,
                             std::int64_t time) const;

  // Says that the answer is kept current for as long as the descriptor is open. Fails as save().
  [[nodiscard]] Result<FileDescriptor> markWatched(const Deadline &deadline) const;
  // Whether somebody has said so; false where that cannot be found out by the deadline.
  [[nodiscard]] bool isWatched(const Deadline &deadline) const;

private:
  std::string withEnding(const char *ending) const { return path_ + ending; }
  // Open and locked.
  Result<FileDescriptor> locked(const Deadline &deadline) const;
  Result<FileVersion> write(std::string_view text, std::int64_t time) const;

  std::string directory_; // empty: none
  std::string lines_;     // that the file begins with
  std::string path_;
};

} // namespace tesker
