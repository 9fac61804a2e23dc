// ReadFailures.h - what a search could not read although it is there.
//
// That a file is not there, may not be looked at or cannot be opened by its nature is an ordinary
// answer. Two other things can go wrong while files are read, and neither may pass in silence. The
// disk or the network fails (EIO, ESTALE): then something is missing from the answer, which has to
// say so. Or this process has no memory or no descriptors left: that says nothing about the file at
// all, and no answer is better than a wrong one.
//
// Who reads files hands every errno of a failed call to noteReadFailure. It is heard by the newest
// ReadFailures object, kept by anyone who gathers an answer meanwhile; without one, nothing
// happens, and the reader's own result has to do.
#pragma once

#include <cstddef>

namespace tesker {

// Whether the errno says that the process or the system has no memory or no descriptors left:
// ENOMEM, EMFILE, ENFILE.
[[nodiscard]] bool isExhaustion(int error);

class ReadFailures {
public:
  ReadFailures();
  ~ReadFailures();
  ReadFailures(const ReadFailures &) = delete;
  ReadFailures &operator=(const ReadFailures &) = delete;

  // How many calls failed in a way that is not an ordinary answer, and the errno of the first; 0
  // when none did.
  std::size_t count() const { return count_; }
  int firstError() const { return firstError_; }

private:
  friend void noteReadFailure(int error);
  ReadFailures *before_;
  std::size_t count_ = 0;
  int firstError_ = 0;
};

// Takes note of the errno of a call that examines, opens, lists or reads a file. While somebody
// listens, it raises std::bad_alloc for ENOMEM and std::system_error for EMFILE and ENFILE; it
// counts all others but ENOENT, ENOTDIR, EACCES, EPERM, ELOOP, ENAMETOOLONG, and ENXIO and ENODEV,
// which only special files have.
void noteReadFailure(int error);

// The errno that was handed in last, an ordinary answer or not; 0 when there was none. It tells why
// a reader has nothing to give, to anyone who asks right after that.
[[nodiscard]] int lastReadFailure();

} // namespace tesker
