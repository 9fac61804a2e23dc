// OperatingSystem.h - the system calls, in one place.
//
// Everything that reads or changes the file system, tells the time or looks up users goes through
// the one object of this class that is in force, so that a test can replace it: count calls, make
// them fail, or serve a file system of its own. The base class makes the real calls. Unless said
// otherwise a method answers as the call in section 2 or 3 of the manual does: -1 and errno on
// failure. Calls interrupted by a signal are resumed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <poll.h>
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

// A row of the password database (passwd(5)). A missing home is nil.
struct UserEntry {
  std::string name;
  uid_t uid;
  gid_t gid;
  std::optional<std::string> home;
};

class OperatingSystem {
public:
  virtual ~OperatingSystem() = default;

  // Status of the name relative to the directory descriptor (AT_FDCWD: the working directory).
  virtual int statAt(int directory, const char *name, bool followLinks, struct stat &status);
  virtual int statDescriptor(int descriptor, struct stat &status);
  virtual int access(const char *path, int mode);
  virtual int makeDirectory(const char *path, mode_t mode);
  virtual int changeMode(const char *path, mode_t mode);
  virtual int changeDescriptorMode(int descriptor, mode_t mode); // fchmod
  // fchown: an id of -1 leaves that one as it is.
  virtual int changeDescriptorOwner(int descriptor, uid_t user, gid_t group);
  virtual int rename(const char *oldPath, const char *newPath);
  virtual int unlink(const char *path);
  // Always close-on-exec. The path is relative to the directory descriptor.
  virtual int openAt(int directory, const char *path, int flags, mode_t mode = 0);
  int open(const char *path, int flags, mode_t mode = 0) {
    return openAt(AT_FDCWD, path, flags, mode);
  }
  virtual int close(int descriptor);
  virtual ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset);
  virtual ssize_t write(int descriptor, const void *bytes, std::size_t size);
  virtual int synchronize(int descriptor); // fsync
  // Nil and errno when the directory cannot be opened.
  virtual std::unique_ptr<DirectoryStream> openDirectory(const char *path);

  // The full path of the running program's file; nothing when the system does not tell.
  virtual std::optional<std::string> programPath();
  // Its folder, with a "/" at the end, and its name in it; empty when the system does not tell.
  std::string programFolder();
  std::string programName();

  // Whole seconds since 1970; the fraction is dropped.
  virtual std::int64_t currentTime();
  // Resumed after a signal, it waits for the rest of its time.
  virtual int poll(struct pollfd *descriptors, nfds_t count, int timeoutMilliseconds);

  virtual uid_t userId();
  virtual int supplementaryGroups(gid_t *groups, int room); // getgroups
  // Nothing when the database has no such entry.
  virtual std::optional<UserEntry> userWithId(uid_t uid);
  virtual std::optional<UserEntry> userWithName(const std::string &name);
  virtual std::optional<std::string> groupNameWithId(gid_t gid);

  // Anonymous memory of whole pages, zeroed; nil on failure. Never given back.
  virtual void *allocatePages(std::size_t size);

  // The one in force.
  static OperatingSystem &current() { return inForce_ != nullptr ? *inForce_ : real(); }

private:
  friend class ScopedOperatingSystem;
  static OperatingSystem &real();
  static OperatingSystem *inForce_; // nil until the real one is first asked for
};

// Puts another implementation in force for as long as it lives, then the one before again.
class ScopedOperatingSystem {
public:
  explicit ScopedOperatingSystem(OperatingSystem &replacement);
  ~ScopedOperatingSystem();
  ScopedOperatingSystem(const ScopedOperatingSystem &) = delete;
  ScopedOperatingSystem &operator=(const ScopedOperatingSystem &) = delete;

private:
  OperatingSystem *before_;
};

// ---- what the environment says ----

// The variable's value; nothing when it is unset or empty, which count alike everywhere.
[[nodiscard]] std::optional<std::string> environmentValue(const char *variable);

// HOME, else the home of the process's user in the password database; nothing when neither says.
[[nodiscard]] std::optional<std::string> homeDirectory();

} // namespace tesker
