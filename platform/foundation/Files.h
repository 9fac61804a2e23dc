// Files.h - open files and who owns them, pipes, and whole files in and out.
#pragma once

#include "platform/foundation/Deadline.h"
#include "platform/foundation/NSString.h"
#include "platform/foundation/OperatingSystem.h"
#include "platform/foundation/Result.h"

#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace tesker {

// Closes its descriptor, if it has one, when it goes. Moves, never copies.
class FileDescriptor {
public:
  FileDescriptor() = default;
  // Owns the descriptor from now on; negative means none.
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor &&other) noexcept : descriptor_(other.release()) {}
  FileDescriptor &operator=(FileDescriptor &&other) noexcept {
    if (this != &other) {
      reset();
      descriptor_ = other.release();
    }
    return *this;
  }
  FileDescriptor(const FileDescriptor &) = delete;
  FileDescriptor &operator=(const FileDescriptor &) = delete;
  ~FileDescriptor() { reset(); }

  explicit operator bool() const { return descriptor_ >= 0; }
  // The number, still owned; negative when there is none.
  int number() const { return descriptor_; }
  // Gives the descriptor up without closing it; negative when there was none.
  int release() { return std::exchange(descriptor_, -1); }
  void reset() {
    if (descriptor_ >= 0)
      OperatingSystem::current().close(release());
  }

private:
  int descriptor_ = -1;
};

// Both ends of a pipe, close-on-exec.
struct Pipe {
  FileDescriptor readEnd;
  FileDescriptor writeEnd;
};
// A new pipe whose ends lie beyond the three standard descriptors, so that making one of them a
// child's standard descriptor is a plain copy. Fails with the errno.
[[nodiscard]] Result<Pipe> createPipe();

// The same open file as a close-on-exec descriptor beyond the three standard ones, or the given one
// where it lies there already; the given one is closed otherwise. None when there is none left
// (errno says why) or none was given.
[[nodiscard]] FileDescriptor aboveStandardDescriptors(FileDescriptor descriptor);

// Writes all of the bytes, in as many parts as it takes. Fails with the errno, EIO when the system
// takes nothing and does not say why.
[[nodiscard]] Result<> writeAll(int descriptor, std::string_view bytes);

// Takes an exclusive lock of the open file (flock(2)); where it is held, tries again until the
// deadline. Fails with the errno, EWOULDBLOCK when it is held still.
[[nodiscard]] Result<> lockExclusively(int descriptor, const Deadline &deadline);

// Opens /dev/null as each of the three standard descriptors that a program was started without.
// Were they missing, the next file or socket opened would get one of their numbers, and what is
// written to standard error would go into it. To be called before anything is opened. With O_RDONLY
// they refuse to be written, so that a program whose output is lost gets to know it.
void openMissingStandardDescriptors(int mode = O_RDWR);

struct RegularFile {
  FileDescriptor descriptor;
  struct stat status;
};

// Opens a file for reading that must be a regular one, without waiting for a writer of a FIFO and
// without taking a terminal. The path is relative to the directory descriptor. Fails with the
// errno; EINVAL when it is not a regular file.
[[nodiscard]] Result<RegularFile> openRegularFile(const char *path, int directory = AT_FDCWD);

// The most bytes that contentsOfFile takes from a file unless told otherwise: what the largest text
// that travels to a master has.
inline constexpr std::size_t kLargestContents = std::size_t{1} << 30;

// The bytes of a regular file. Fails with the errno when it cannot be opened or read or is not a
// regular file, with EFBIG when it holds more than the limit. A file that shrinks or grows
// meanwhile gives what there was to read.
[[nodiscard]] Result<std::string> contentsOfFile(const NSString &path,
                                                 std::size_t limit = kLargestContents);

// Writes the bytes to a new file beside the path and renames it over the path, so that readers
// see the old or the new contents, never a part. A regular file that it takes the place of hands on
// its owner, group, access list and mode as far as this process may give them: where the owner or
// the group cannot be kept, nobody gets more rights to the contents than before. Another one gets
// mode 0666 less the umask. On failure the path is as it was and no other file is left.
[[nodiscard]] Result<> writeFileAtomically(const NSString &path, std::string_view bytes);

} // namespace tesker
