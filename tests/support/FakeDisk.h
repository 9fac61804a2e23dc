// FakeDisk.h - a file system in memory under the system-call layer.
//
// For tests that say which calls a request makes, at which second, and what it does when one of
// them fails. The disk starts with an empty root directory, the super-user as the user and the
// clock at second 1000; the clock moves only by hand.
//
// Two sides. The test's own side changes the disk (addFile and so on) and looks at it (peek)
// without a trace. The other side is OperatingSystem, as the code under test sees it: every call is
// written to a log and can be made to fail. A line of the log is
//
//   lstat /a/b   stat /a/b   opendir /a   readdir /a   access 4 /a/b   chmod 644 /a   rename /a /b
//   mkdir /a     unlink /a   mmap 4096    time         getuid          getpwuid 5     getpwnam joe
//   getgrgid 5   getgroups
//
// Put it in force with ScopedOperatingSystem. Wherever something is written into a directory, its
// mtime and ctime become the clock's second; renaming also moves the ctime of what is renamed.
#pragma once

#include "platform/foundation/NSException.h"
#include "platform/foundation/OperatingSystem.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tesker::test {

// What there is to know about a file.
struct FakeStatus {
  dev_t device = 0;
  ino_t inode = 0;
  mode_t mode = 0;
  uid_t user = 0;
  gid_t group = 0;
  std::int64_t modified = 0;
  std::int64_t changed = 0;
  bool operator==(const FakeStatus &) const = default;
};

class FakeDisk final : public OperatingSystem {
public:
  // What a call does that was made to fail.
  enum class Fault { error, raise, badAlloc };
  static constexpr const char *kRaisedName = "FakeDiskException";

  FakeDisk();

  // The test's side. Paths are absolute; what is above the last name has to be there, links in it
  // are followed. Modes are permission bits; the type bits are added. All of them abort when
  // what they are asked for cannot be done, for then the test is wrong; canAdd() asks first.
  ino_t addDirectory(std::string_view path, mode_t permissions = 0755);
  ino_t addFile(std::string_view path, mode_t permissions = 0644);
  ino_t addLink(std::string_view path, std::string_view target, mode_t permissions = 0777);
  ino_t addSpecial(std::string_view path, mode_t type, mode_t permissions = 0644);
  ino_t addHardLink(std::string_view path, std::string_view newPath);
  // Another device, beginning with the directory.
  void mountOn(std::string_view path, dev_t device);
  using OperatingSystem::write;
  void write(std::string_view path); // new contents: mtime and ctime
  void setMode(std::string_view path, mode_t permissions);
  void setOwner(std::string_view path, uid_t user, gid_t group);
  void remove(std::string_view path); // with all that is in it
  void move(std::string_view path, std::string_view newPath);
  bool canAdd(std::string_view path) const; // the parent is a directory and the name is free
  std::optional<FakeStatus> peek(std::string_view path, bool followLinks) const;
  std::vector<std::string> names(std::string_view path) const;

  void tick(std::int64_t seconds = 1) { now_ += seconds; }
  std::int64_t now() const { return now_; }
  void setUser(uid_t user) { user_ = user; }
  std::vector<UserEntry> users;
  std::vector<gid_t> groups;

  // The n-th call from now on (1 is the next) fails: with the error, with an NSException named
  // kRaisedName whose reason is the call's line in the log, or with std::bad_alloc.
  void failCall(std::size_t n, Fault fault, int error = 0);
  // Whether that call was made.
  bool failed() const { return faultIn_ == 0; }
  void failNone() { faultIn_ = kNever; }

  // The calls since the last take, without "time" and "readdir", which only takeAllCalls gives.
  std::vector<std::string> takeCalls();
  std::vector<std::string> takeAllCalls();

  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override;
  int access(const char *path, int mode) override;
  int makeDirectory(const char *path, mode_t mode) override;
  int changeMode(const char *path, mode_t mode) override;
  int rename(const char *oldPath, const char *newPath) override;
  int unlinkAt(int directory, const char *name, int flags) override;
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override;
  std::int64_t currentTime() override;
  uid_t userId() override;
  int supplementaryGroups(gid_t *list, int room) override;
  std::optional<UserEntry> userWithId(uid_t uid) override;
  std::optional<UserEntry> userWithName(const std::string &name) override;
  std::optional<std::string> groupNameWithId(gid_t gid) override;
  void *allocatePages(std::size_t size) override;

private:
  class Stream;
  struct Node {
    FakeStatus status;
    std::string target; // of a link
    std::vector<std::pair<std::string, std::shared_ptr<Node>>> children;
    std::shared_ptr<Node> childNamed(std::string_view name) const;
    bool isType(mode_t type) const { return (status.mode & S_IFMT) == type; }
  };
  using NodePtr = std::shared_ptr<Node>;
  struct Place {
    NodePtr parent;
    std::string name;
  };
  static constexpr std::size_t kNever = ~std::size_t{0};

  // The node of a path; null and errno when there is none.
  NodePtr find(std::string_view path, bool followLinks) const;
  NodePtr walk(NodePtr from, std::string_view path, bool followLast, int &linksLeft) const;
  NodePtr mustFind(std::string_view path, bool followLinks) const;
  Place placeOf(std::string_view path) const;
  ino_t attach(std::string_view path, NodePtr node);
  ino_t addNew(std::string_view path, mode_t mode, std::string_view target = {});
  void touch(Node &node);
  static void detach(Node &parent, std::string_view name);

  // Notes a call; false (and errno) when it is to fail.
  bool call(const std::string &line);

  NodePtr root_;
  ino_t lastInode_ = 1;
  std::int64_t now_ = 1000;
  uid_t user_ = 0;
  std::vector<std::string> log_;
  std::size_t faultIn_ = kNever;
  Fault fault_ = Fault::error;
  int faultError_ = 0;
  std::map<int, std::string> openDirectories_; // paths by descriptor
  int nextDescriptor_ = 1000;
};

} // namespace tesker::test
