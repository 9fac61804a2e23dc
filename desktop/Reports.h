// Reports.h - what is said while a desktop's files are read and written.
#pragma once

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
};

} // namespace tesker
