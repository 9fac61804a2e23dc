// Reports.h - what is said while a desktop's files are read and written.
#pragma once

#include "platform/foundation/Result.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tesker {

// Paths are bytes, texts are display texts.
class Reports {
public:
  virtual ~Reports() = default;
  // Something that is passed over; the rest is as it should be.
  virtual void note(const std::string &path, std::string_view text) = 0;
  // Something that is lacking or was not done: the outcome is not what it should be.
  virtual void fail(const std::string &path, std::string_view text) = 0;
  // The same for an errno.
  void failFor(const std::string &path, int error);
  // For the errno of a file or directory that cannot be read: nothing where it is not there, a note
  // where that is its nature or not for this person to read, else a failure.
  void unreadable(const std::string &path, int error);
  // Whether what was done to the path has succeeded; where it has not, that is a failure.
  [[nodiscard]] bool succeeds(const std::string &path, const Result<> &result);
};

// The bytes of a file of so many at most. Nothing when it is not there or cannot be read, which is
// reported as unreadable.
[[nodiscard]] std::optional<std::string> readOrReport(const std::string &path, std::size_t most,
                                                      Reports &reports);

} // namespace tesker
