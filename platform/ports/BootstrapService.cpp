// The service side of the bootstrap names: listening under a name and accepting who looks it up.

#include "platform/ports/Bootstrap.h"
#include "platform/ports/BootstrapDirectory.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tesker {

namespace {

// Makes every directory of the path that is missing. What cannot be made is found missing, or not
// to be trusted, when the path is opened.
void makeDirectories(const std::string &path) {
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
    OperatingSystem::current().makeDirectory(path.substr(0, end).c_str(), 0700);
  OperatingSystem::current().makeDirectory(path.c_str(), 0700);
}

// Keeps other services out of the directory while a name is taken. They hold the lock for a few
// system calls; who holds it for longer is none of them and is not waited for.
class DirectoryLock {
public:
  explicit DirectoryLock(const FileDescriptor &directory) : directory_(directory.get()) {
    for (int tries = 0; tries < kTries && !isHeld_; ++tries) {
      isHeld_ = ::flock(directory_, LOCK_EX | LOCK_NB) == 0;
      if (!isHeld_)
        (void)::poll(nullptr, 0, kMillisecondsBetween);
    }
  }
  ~DirectoryLock() {
    if (isHeld_)
      ::flock(directory_, LOCK_UN);
  }
  bool isHeld() const { return isHeld_; }
  DirectoryLock(const DirectoryLock &) = delete;
  DirectoryLock &operator=(const DirectoryLock &) = delete;

private:
  static constexpr int kTries = 200;
  static constexpr int kMillisecondsBetween = 10;
  int directory_;
  bool isHeld_ = false;
};

FileDescriptor makeServiceSocket() {
  return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

const sockaddr *generic(const sockaddr_un &address) {
  return reinterpret_cast<const sockaddr *>(&address);
}

// Removes the socket under the name when nobody listens on it. Answers 0 when the name is free.
kern_return_t freeName(const FileDescriptor &directory, const std::string &name,
                       const sockaddr_un &address) {
  struct stat status {};
  if (::fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0)
    return errno == ENOENT ? BOOTSTRAP_SUCCESS : errno;
  if (!S_ISSOCK(status.st_mode))
    return BOOTSTRAP_NAME_IN_USE;
  const FileDescriptor probe = makeServiceSocket();
  if (!probe)
    return errno;
  if (::connect(probe.get(), generic(address), sizeof address) == 0 || errno != ECONNREFUSED)
    return BOOTSTRAP_NAME_IN_USE;
  return ::unlinkat(directory.get(), name.c_str(), 0) == 0 ? BOOTSTRAP_SUCCESS : errno;
}

kern_return_t listenAt(const sockaddr_un &address, FileDescriptor &listener) {
  FileDescriptor socket = makeServiceSocket();
  if (!socket || ::bind(socket.get(), generic(address), sizeof address) < 0 ||
      ::listen(socket.get(), SOMAXCONN) < 0)
    return errno;
  listener = std::move(socket);
  return BOOTSTRAP_SUCCESS;
}

} // namespace

BootstrapService::BootstrapService(FileDescriptor directory, std::string name,
                                   FileDescriptor listener)
    : directory_(std::move(directory)), name_(std::move(name)), listener_(std::move(listener)) {
  struct stat status {};
  if (::fstatat(directory_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
}

kern_return_t BootstrapService::checkIn(const std::string &directory, std::string_view name,
                                        std::unique_ptr<BootstrapService> &service) {
  makeDirectories(directory);
  FileDescriptor opened;
  if (const kern_return_t status = openBootstrapDirectory(directory, opened); status != 0)
    return status;
  const auto address = serviceAddress(opened, name);
  if (!address)
    return EINVAL;
  std::string ownName(name);
  const DirectoryLock lock(opened);
  if (!lock.isHeld())
    return EWOULDBLOCK;
  if (const kern_return_t status = freeName(opened, ownName, *address); status != 0)
    return status;
  FileDescriptor listener;
  if (const kern_return_t status = listenAt(*address, listener); status != 0)
    return status;
  service.reset(new BootstrapService(std::move(opened), std::move(ownName), std::move(listener)));
  return BOOTSTRAP_SUCCESS;
}

BootstrapService::~BootstrapService() {
  for (const port_t port : accepted_)
    port_deallocate(port);
  // Without the lock: as long as the listener is open, nobody else takes the name.
  struct stat status {};
  if (::fstatat(directory_.get(), name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      status.st_dev == device_ && status.st_ino == inode_)
    ::unlinkat(directory_.get(), name_.c_str(), 0);
}

port_t BootstrapService::acceptConnection() {
  std::erase_if(accepted_, [](port_t port) {
    const bool ended = hasHungUp(receiveDescriptor(port));
    if (ended)
      port_deallocate(port);
    return ended;
  });
  FileDescriptor socket(::accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!socket || !isTrustedPeer(socket))
    return PORT_NULL;
  const port_t port = portForReceiveRight(std::move(socket));
  if (port != PORT_NULL)
    accepted_.push_back(port);
  return port;
}

} // namespace tesker
