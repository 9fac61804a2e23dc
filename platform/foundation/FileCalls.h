// FileCalls.h - the system calls that files, directories and open descriptors take.
//
// A part of OperatingSystem.h, which says how they answer.
#pragma once

#include <array>
#include <cstddef>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>

namespace tesker {

// An open directory; closed when it goes.
class DirectoryStream {
public:
  virtual ~DirectoryStream() = default;
  // The next entry's name, in the directory's own order and with "." and ".." among them. A NUL
  // stands behind it; valid until the next call. Nothing at the end or on an error.
  virtual std::optional<std::string_view> next() = 0;
  // The errno that ended the names before they were all told; 0 when nothing did. A directory that
  // was removed meanwhile has ended.
  virtual int error() const { return 0; }
  // The descriptor that entries can be examined relative to.
  virtual int descriptor() const = 0;
};

class FileCalls {
public:
  // What is there. The name is relative to the directory descriptor (AT_FDCWD: the working
  // directory).
  virtual int statAt(int directory, const char *name, bool followLinks, struct stat &status);
  virtual int statDescriptor(int descriptor, struct stat &status);
  virtual int access(const char *path, int mode);
  // readlink: how many bytes there are, with no NUL behind them.
  virtual ssize_t readLink(const char *path, char *target, std::size_t room);
  // As lgetxattr(2): a link is not followed.
  virtual ssize_t attribute(const char *path, const char *name, void *value, std::size_t size);

  // Changes to names.
  virtual int makeDirectory(const char *path, mode_t mode);
  virtual int makeTemporaryDirectory(char *pattern); // mkdtemp
  virtual int changeMode(const char *path, mode_t mode);
  virtual int rename(const char *oldPath, const char *newPath);
  virtual int unlinkAt(int directory, const char *name, int flags);
  int unlink(const char *path) { return unlinkAt(AT_FDCWD, path, 0); }
  int removeDirectory(const char *path) { return unlinkAt(AT_FDCWD, path, AT_REMOVEDIR); }

  // Open files. A new descriptor is always close-on-exec.
  virtual int openAt(int directory, const char *path, int flags, mode_t mode = 0);
  int open(const char *path, int flags, mode_t mode = 0) {
    return openAt(AT_FDCWD, path, flags, mode);
  }
  virtual int close(int descriptor);
  virtual ssize_t read(int descriptor, void *buffer, std::size_t size);
  virtual ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset);
  virtual ssize_t write(int descriptor, const void *bytes, std::size_t size);
  virtual int synchronize(int descriptor);                       // fsync
  virtual int lock(int descriptor, int operation);               // flock
  virtual int changeDescriptorMode(int descriptor, mode_t mode); // fchmod
  // fchown: an id of -1 leaves that one as it is.
  virtual int changeDescriptorOwner(int descriptor, uid_t user, gid_t group);
  virtual int setAttribute(int descriptor, const char *name, std::string_view value);
  virtual int removeAttribute(int descriptor, const char *name);

  // Descriptors.
  virtual int createPipe(std::array<int, 2> &ends);
  virtual int control(int descriptor, int command, int argument = 0); // fcntl
  virtual int putInPlaceOf(int descriptor, int other);                // dup3

  // Directories. Nil and errno when it cannot be opened.
  virtual std::unique_ptr<DirectoryStream> openDirectory(const char *path);
  // The next entries of an open directory, in room for a dirent64; as getdents64(2).
  virtual ssize_t readEntries(int directory, void *entries, std::size_t size);

  virtual const char *workingDirectory(char *buffer, std::size_t size); // getcwd: nil on failure
  // The path without links, "." and "..", and the full path of the running program's file; nothing
  // when the system does not tell.
  virtual std::optional<std::string> canonicalPath(const std::string &path);
  virtual std::optional<std::string> programPath();
  // The program's folder, with a "/" at the end, and its name in it; empty when the system does not
  // tell.
  std::string programFolder();
  std::string programName();

protected:
  ~FileCalls() = default;
};

} // namespace tesker
