#include "tests/support/FakeDisk.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <new>

namespace tesker::test {

namespace {

constexpr int kLongestLinkChain = 40;

[[noreturn]] void wrongTest(std::string_view path) {
  std::fprintf(stderr, "FakeDisk: the test is wrong about %.*s\n", static_cast<int>(path.size()),
               path.data());
  std::abort();
}

std::string octal(mode_t mode) {
  char text[16];
  std::snprintf(text, sizeof text, "%o", mode);
  return text;
}

} // namespace

// The names as they were when the directory was opened.
class FakeDisk::Stream final : public DirectoryStream {
public:
  Stream(FakeDisk &disk, std::string path, std::vector<std::string> names)
      : disk_(disk), path_(std::move(path)), names_(std::move(names)),
        descriptor_(disk.nextDescriptor_++) {
    disk_.openDirectories_[descriptor_] = path_;
  }
  ~Stream() override { disk_.openDirectories_.erase(descriptor_); }
  Stream(const Stream &) = delete;
  Stream &operator=(const Stream &) = delete;

  std::optional<std::string_view> next() override {
    if (!disk_.call("readdir " + path_) || next_ == names_.size())
      return std::nullopt;
    return names_[next_++];
  }
  int descriptor() const override { return descriptor_; }

private:
  FakeDisk &disk_;
  std::string path_;
  std::vector<std::string> names_;
  std::size_t next_ = 0;
  int descriptor_;
};

FakeDisk::NodePtr FakeDisk::Node::childNamed(std::string_view name) const {
  for (const auto &[childName, child] : children)
    if (childName == name)
      return child;
  return nullptr;
}

FakeDisk::FakeDisk() : root_(std::make_shared<Node>()) {
  root_->status = {1, lastInode_, S_IFDIR | 0755, 0, 0, now_, now_};
}

FakeDisk::NodePtr FakeDisk::walk(NodePtr from, std::string_view path, bool followLast,
                                 int &linksLeft) const {
  NodePtr node = path.starts_with('/') ? root_ : std::move(from);
  while (!path.empty()) {
    const std::size_t slash = path.find('/');
    const std::string_view name = path.substr(0, slash);
    path.remove_prefix(slash == std::string_view::npos ? path.size() : slash + 1);
    if (name.empty() || name == ".")
      continue;
    if (!node->isType(S_IFDIR)) {
      errno = ENOTDIR;
      return nullptr;
    }
    NodePtr child = node->childNamed(name);
    if (!child) {
      errno = ENOENT;
      return nullptr;
    }
    if (child->isType(S_IFLNK) && (followLast || !path.empty())) {
      if (linksLeft-- == 0) {
        errno = ELOOP;
        return nullptr;
      }
      child = walk(node, child->target, true, linksLeft);
      if (!child)
        return nullptr;
    }
    node = std::move(child);
  }
  return node;
}

FakeDisk::NodePtr FakeDisk::find(std::string_view path, bool followLinks) const {
  if (!path.starts_with('/')) {
    errno = ENOENT;
    return nullptr;
  }
  int linksLeft = kLongestLinkChain;
  return walk(root_, path, followLinks, linksLeft);
}

FakeDisk::NodePtr FakeDisk::mustFind(std::string_view path, bool followLinks) const {
  auto node = find(path, followLinks);
  if (!node)
    wrongTest(path);
  return node;
}

FakeDisk::Place FakeDisk::placeOf(std::string_view path) const {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string_view::npos)
    wrongTest(path);
  return {find(slash == 0 ? "/" : path.substr(0, slash), true),
          std::string(path.substr(slash + 1))};
}

bool FakeDisk::canAdd(std::string_view path) const {
  const Place place = placeOf(path);
  return place.parent && place.parent->isType(S_IFDIR) && !place.parent->childNamed(place.name);
}

void FakeDisk::touch(Node &node) { node.status.modified = node.status.changed = now_; }

ino_t FakeDisk::attach(std::string_view path, NodePtr node) {
  if (!canAdd(path))
    wrongTest(path);
  const Place place = placeOf(path);
  const ino_t inode = node->status.inode;
  place.parent->children.emplace_back(place.name, std::move(node));
  touch(*place.parent);
  return inode;
}

ino_t FakeDisk::addNew(std::string_view path, mode_t mode, std::string_view target) {
  const Place place = placeOf(path);
  if (!place.parent)
    wrongTest(path);
  auto node = std::make_shared<Node>();
  node->status = {place.parent->status.device, ++lastInode_, mode, 0, 0, now_, now_};
  node->target = target;
  return attach(path, std::move(node));
}

void FakeDisk::detach(Node &parent, std::string_view name) {
  std::erase_if(parent.children, [name](const auto &child) { return child.first == name; });
}

ino_t FakeDisk::addDirectory(std::string_view path, mode_t permissions) {
  return addNew(path, S_IFDIR | permissions);
}

ino_t FakeDisk::addFile(std::string_view path, mode_t permissions) {
  return addNew(path, S_IFREG | permissions);
}

ino_t FakeDisk::addLink(std::string_view path, std::string_view target, mode_t permissions) {
  return addNew(path, S_IFLNK | permissions, target);
}

ino_t FakeDisk::addSpecial(std::string_view path, mode_t type, mode_t permissions) {
  return addNew(path, type | permissions);
}

ino_t FakeDisk::addHardLink(std::string_view path, std::string_view newPath) {
  auto node = mustFind(path, false);
  node->status.changed = now_;
  return attach(newPath, std::move(node));
}

void FakeDisk::mountOn(std::string_view path, dev_t device) {
  mustFind(path, true)->status.device = device;
}

void FakeDisk::write(std::string_view path) { touch(*mustFind(path, true)); }

void FakeDisk::setMode(std::string_view path, mode_t permissions) {
  auto node = mustFind(path, true);
  node->status.mode = (node->status.mode & S_IFMT) | permissions;
  node->status.changed = now_;
}

void FakeDisk::setOwner(std::string_view path, uid_t user, gid_t group) {
  auto node = mustFind(path, false);
  node->status.user = user;
  node->status.group = group;
  node->status.changed = now_;
}

void FakeDisk::remove(std::string_view path) {
  mustFind(path, false)->status.changed = now_;
  const Place place = placeOf(path);
  detach(*place.parent, place.name);
  touch(*place.parent);
}

void FakeDisk::move(std::string_view path, std::string_view newPath) {
  auto node = mustFind(path, false);
  const Place from = placeOf(path);
  const Place to = placeOf(newPath);
  if (!to.parent)
    wrongTest(newPath);
  detach(*to.parent, to.name);
  detach(*from.parent, from.name);
  to.parent->children.emplace_back(to.name, node);
  node->status.changed = now_;
  touch(*from.parent);
  touch(*to.parent);
}

std::optional<FakeStatus> FakeDisk::peek(std::string_view path, bool followLinks) const {
  const auto node = find(path, followLinks);
  return node ? std::optional(node->status) : std::nullopt;
}

std::vector<std::string> FakeDisk::names(std::string_view path) const {
  std::vector<std::string> result;
  if (const auto node = find(path, true))
    for (const auto &child : node->children)
      result.push_back(child.first);
  return result;
}

void FakeDisk::failCall(std::size_t n, Fault fault, int error) {
  faultIn_ = n;
  fault_ = fault;
  faultError_ = error;
}

bool FakeDisk::call(const std::string &line) {
  log_.push_back(line);
  if (faultIn_ == kNever || faultIn_ == 0 || --faultIn_ != 0)
    return true;
  if (fault_ == Fault::raise)
    throw NSException(kRaisedName, line);
  if (fault_ == Fault::badAlloc)
    throw std::bad_alloc();
  errno = faultError_;
  return false;
}

std::vector<std::string> FakeDisk::takeAllCalls() { return std::exchange(log_, {}); }

std::vector<std::string> FakeDisk::takeCalls() {
  auto calls = takeAllCalls();
  std::erase_if(calls, [](const std::string &line) {
    return line == "time" || line.starts_with("readdir ");
  });
  return calls;
}

int FakeDisk::statAt(int directory, const char *name, bool followLinks, struct stat &status) {
  std::string path = name;
  if (directory != AT_FDCWD && !path.starts_with('/')) {
    const auto open = openDirectories_.find(directory);
    path = (open != openDirectories_.end() ? open->second : "(closed)") + "/" + path;
  }
  if (!call((followLinks ? "stat " : "lstat ") + path))
    return -1;
  const auto node = find(path, followLinks);
  if (!node)
    return -1;
  status = {};
  status.st_dev = node->status.device;
  status.st_ino = node->status.inode;
  status.st_mode = node->status.mode;
  status.st_uid = node->status.user;
  status.st_gid = node->status.group;
  status.st_mtime = node->status.modified;
  status.st_ctime = node->status.changed;
  return 0;
}

int FakeDisk::access(const char *path, int mode) {
  if (!call("access " + std::to_string(mode) + " " + path))
    return -1;
  return find(path, true) ? 0 : -1;
}

int FakeDisk::makeDirectory(const char *path, mode_t mode) {
  if (!call(std::string("mkdir ") + path))
    return -1;
  if (!canAdd(path)) {
    errno = EEXIST;
    return -1;
  }
  addDirectory(path, mode);
  return 0;
}

int FakeDisk::changeMode(const char *path, mode_t mode) {
  if (!call("chmod " + octal(mode) + " " + path))
    return -1;
  if (!find(path, true))
    return -1;
  setMode(path, mode);
  return 0;
}

int FakeDisk::rename(const char *oldPath, const char *newPath) {
  if (!call(std::string("rename ") + oldPath + " " + newPath))
    return -1;
  if (!find(oldPath, false) || !placeOf(newPath).parent) {
    errno = ENOENT;
    return -1;
  }
  move(oldPath, newPath);
  return 0;
}

int FakeDisk::unlinkAt(int, const char *path, int) {
  if (!call(std::string("unlink ") + path))
    return -1;
  if (!find(path, false))
    return -1;
  remove(path);
  return 0;
}

std::unique_ptr<DirectoryStream> FakeDisk::openDirectory(const char *path) {
  if (!call(std::string("opendir ") + path))
    return nullptr;
  const auto node = find(path, true);
  if (!node)
    return nullptr;
  if (!node->isType(S_IFDIR)) {
    errno = ENOTDIR;
    return nullptr;
  }
  std::vector<std::string> all{".", ".."};
  for (const auto &child : node->children)
    all.push_back(child.first);
  return std::make_unique<Stream>(*this, path, std::move(all));
}

std::int64_t FakeDisk::currentTime() {
  // The clock cannot fail, but it can raise, as any call can.
  call("time");
  return now_;
}

uid_t FakeDisk::userId() {
  call("getuid");
  return user_;
}

int FakeDisk::supplementaryGroups(gid_t *list, int room) {
  if (!call("getgroups"))
    return -1;
  for (std::size_t i = 0; i < groups.size() && i < static_cast<std::size_t>(room); ++i)
    list[i] = groups[i];
  return static_cast<int>(groups.size());
}

std::optional<UserEntry> FakeDisk::userWithId(uid_t uid) {
  if (call("getpwuid " + std::to_string(uid)))
    for (const auto &user : users)
      if (user.uid == uid)
        return user;
  return std::nullopt;
}

std::optional<UserEntry> FakeDisk::userWithName(const std::string &name) {
  if (call("getpwnam " + name))
    for (const auto &user : users)
      if (user.name == name)
        return user;
  return std::nullopt;
}

std::optional<std::string> FakeDisk::groupNameWithId(gid_t gid) {
  call("getgrgid " + std::to_string(gid));
  return std::nullopt;
}

void *FakeDisk::allocatePages(std::size_t size) {
  return call("mmap " + std::to_string(size)) ? OperatingSystem::allocatePages(size) : nullptr;
}

} // namespace tesker::test
