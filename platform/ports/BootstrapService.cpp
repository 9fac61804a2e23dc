#include "platform/ports/BootstrapService.h"

#include "platform/ports/Bootstrap.h"

#include <algorithm>
#include <cerrno>
#include <sys/file.h>

namespace tesker {

namespace {

// Made in a directory that hands its group on, a directory gets that bit, too; it is taken away.
// Fails with the errno, EEXIST when something is there already.
Result<> makePrivateDirectory(const std::string &path) {
  OperatingSystem &system = OperatingSystem::current();
  if (system.makeDirectory(path.c_str(), 0700) != 0)
    return Failure{errno};
  const FileDescriptor made(system.open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW));
  if (made)
    (void)system.changeDescriptorMode(made.number(), 0700);
  return {};
}

// Makes every directory of the path that is missing. Fails with the errno of the last one: those
// above it may not be this process's to make, and be there.
Result<> makeDirectories(const std::string &path) {
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1))
    (void)makePrivateDirectory(path.substr(0, end));
  return makePrivateDirectory(path);
}

// Keeps other services out of the directory while a name is taken. They hold the lock for a few
// system calls; anyone who holds it for longer is not one of them and is not waited for.
class DirectoryLock {
public:
  explicit DirectoryLock(const BootstrapDirectory &directory)
      : directory_(directory.descriptor()),
        outcome_(lockExclusively(directory_, Deadline::in(kLongestWait))) {}
  ~DirectoryLock() {
    if (outcome_)
      OperatingSystem::current().lock(directory_, LOCK_UN);
  }
  // Whether it is held; else the errno.
  const Result<> &outcome() const { return outcome_; }
  DirectoryLock(const DirectoryLock &) = delete;
  DirectoryLock &operator=(const DirectoryLock &) = delete;

private:
  static constexpr std::chrono::seconds kLongestWait{2};

  const int directory_;
  const Result<> outcome_;
};

Result<struct stat> statusOfName(const BootstrapDirectory &directory, const std::string &name) {
  struct stat status {};
  if (OperatingSystem::current().statAt(directory.descriptor(), name.c_str(), false, status) < 0)
    return Failure{errno};
  return status;
}

// Removes the socket under the name when nobody listens on it. Fails when the name is not free
// then.
Result<> freeName(const BootstrapDirectory &directory, const std::string &name,
                  const sockaddr_un &address) {
  const Result<struct stat> status = statusOfName(directory, name);
  if (!status)
    return status.error() == ENOENT ? Result<>() : status.failure();
  if (!S_ISSOCK(status->st_mode))
    return Failure{BOOTSTRAP_NAME_IN_USE};
  const FileDescriptor probe = createServiceSocket(SOCK_NONBLOCK);
  if (!probe)
    return Failure{errno};
  if (connectTo(address, probe).error() != ECONNREFUSED)
    return Failure{BOOTSTRAP_NAME_IN_USE};
  if (OperatingSystem::current().unlinkAt(directory.descriptor(), name.c_str(), 0) < 0)
    return Failure{errno};
  return {};
}

Result<FileDescriptor> listenAt(const sockaddr_un &address) {
  FileDescriptor socket = createServiceSocket(SOCK_NONBLOCK);
  if (!socket)
    return Failure{errno};
  if (const Result<> bound = bindTo(address, socket); !bound)
    return bound.failure();
  if (OperatingSystem::current().listen(socket.number()) < 0)
    return Failure{errno};
  return socket;
}

} // namespace

BootstrapService::BootstrapService(BootstrapDirectory directory, std::string name)
    : directory_(std::move(directory)), name_(std::move(name)) {
  accepted_.reserve(kMostConnections);
}

void BootstrapService::setListener(FileDescriptor listener) {
  listener_ = std::move(listener);
  if (const Result<struct stat> status = statusOfName(directory_, name_)) {
    device_ = status->st_dev;
    inode_ = status->st_ino;
  }
}

Result<std::unique_ptr<BootstrapService>> BootstrapService::checkIn(const std::string &directory,
                                                                    std::string_view name) {
  const Result<> made = makeDirectories(directory);
  Result<BootstrapDirectory> opened = BootstrapDirectory::open(directory);
  if (opened.error() == BOOTSTRAP_UNKNOWN_SERVICE && !made)
    return made.failure();
  if (!opened)
    return opened.failure();
  const auto address = opened->addressOf(name);
  if (!address)
    return Failure{EINVAL};
  // There before the name is, so that nothing can fail between the name and its owner.
  std::unique_ptr<BootstrapService> service(
      new BootstrapService(std::move(*opened), std::string(name)));
  const DirectoryLock lock(service->directory_);
  if (!lock.outcome())
    return lock.outcome().failure();
  if (const Result<> freed = freeName(service->directory_, service->name_, *address); !freed)
    return freed.failure();
  Result<FileDescriptor> listener = listenAt(*address);
  if (!listener)
    return listener.failure();
  service->setListener(std::move(*listener));
  return service;
}

BootstrapService::~BootstrapService() {
  for (const port_t port : accepted_)
    port_deallocate(port);
  if (!listener_)
    return;
  // Without the lock: as long as the listener is open, nobody else takes the name.
  const Result<struct stat> status = statusOfName(directory_, name_);
  if (status && status->st_dev == device_ && status->st_ino == inode_)
    OperatingSystem::current().unlinkAt(directory_.descriptor(), name_.c_str(), 0);
}

Result<port_t> BootstrapService::acceptConnection() {
  std::erase_if(accepted_, [](port_t port) {
    const bool ended = hasHungUp(receiveDescriptor(port));
    if (ended)
      port_deallocate(port);
    return ended;
  });
  FileDescriptor socket(OperatingSystem::current().accept(listener_.number()));
  if (!socket && errno != EAGAIN && errno != ECONNABORTED)
    return Failure{errno};
  if (!socket || accepted_.size() >= kMostConnections)
    return PORT_NULL;
  if (const Result<> trusted = checkPeer(socket); !trusted) {
    if (trusted.error() == BOOTSTRAP_NOT_PRIVILEGED)
      return PORT_NULL;
    return trusted.failure();
  }
  const port_t port = portForReceiveRight(std::move(socket));
  if (port != PORT_NULL)
    accepted_.push_back(port);
  return port;
}

} // namespace tesker
