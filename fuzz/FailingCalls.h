// FailingCalls.h - the system calls, of which one fails that the input has chosen, or all from that
// one on; and descriptors that run out.
#pragma once

#include "fuzz/Input.h"
#include "platform/foundation/OperatingSystem.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

// The input's next byte is the number of the call, counted from 1 (0: none), the one after it says
// how it fails. Only those of the thread that has made it do.
class FailingCalls final : public tesker::OperatingSystem {
public:
  explicit FailingCalls(Input &input) : number_(input.byte()) {
    const unsigned how = input.byte();
    allFromThen_ = how >= 128;
    error_ = kErrors[how % kErrors.size()];
  }
  bool hasFailed() const { return hasFailed_; }
  // Whether it is an answer that a file may give: it is not there, or not ours.
  bool isOrdinary() const {
    return error_ == ENOENT || error_ == EACCES || error_ == ENOTDIR || error_ == EPERM;
  }

  int statAt(int directory, const char *name, bool follow, struct stat &status) override {
    return unlessFailing([&] { return OperatingSystem::statAt(directory, name, follow, status); });
  }
  int statDescriptor(int descriptor, struct stat &status) override {
    return unlessFailing([&] { return OperatingSystem::statDescriptor(descriptor, status); });
  }
  int access(const char *path, int mode) override {
    return unlessFailing([&] { return OperatingSystem::access(path, mode); });
  }
  int makeDirectory(const char *path, mode_t mode) override {
    return unlessFailing([&] { return OperatingSystem::makeDirectory(path, mode); });
  }
  int changeMode(const char *path, mode_t mode) override {
    return unlessFailing([&] { return OperatingSystem::changeMode(path, mode); });
  }
  int changeDescriptorMode(int descriptor, mode_t mode) override {
    return unlessFailing([&] { return OperatingSystem::changeDescriptorMode(descriptor, mode); });
  }
  int changeDescriptorOwner(int descriptor, uid_t user, gid_t group) override {
    return unlessFailing(
        [&] { return OperatingSystem::changeDescriptorOwner(descriptor, user, group); });
  }
  int rename(const char *oldPath, const char *newPath) override {
    return unlessFailing([&] { return OperatingSystem::rename(oldPath, newPath); });
  }
  int unlinkAt(int directory, const char *name, int flags) override {
    return unlessFailing([&] { return OperatingSystem::unlinkAt(directory, name, flags); });
  }
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    return unlessFailing([&] { return OperatingSystem::openAt(directory, path, flags, mode); });
  }
  int close(int descriptor) override { // which leaves it closed
    const int result = OperatingSystem::close(descriptor);
    return unlessFailing([&] { return result; });
  }
  ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
    return unlessFailing([&] { return OperatingSystem::readAt(descriptor, buffer, size, offset); });
  }
  ssize_t write(int descriptor, const void *bytes, std::size_t size) override {
    return unlessFailing([&] { return OperatingSystem::write(descriptor, bytes, size); });
  }
  int synchronize(int descriptor) override {
    return unlessFailing([&] { return OperatingSystem::synchronize(descriptor); });
  }
  int lock(int descriptor, int operation) override {
    return unlessFailing([&] { return OperatingSystem::lock(descriptor, operation); });
  }
  int control(int descriptor, int command, int argument) override {
    return unlessFailing([&] { return OperatingSystem::control(descriptor, command, argument); });
  }
  int putInPlaceOf(int descriptor, int other) override {
    return unlessFailing([&] { return OperatingSystem::putInPlaceOf(descriptor, other); });
  }
  int setAttribute(int descriptor, const char *name, std::string_view value) override {
    return unlessFailing([&] { return OperatingSystem::setAttribute(descriptor, name, value); });
  }
  ssize_t readEntries(int directory, void *entries, std::size_t size) override {
    return unlessFailing([&] { return OperatingSystem::readEntries(directory, entries, size); });
  }
  std::unique_ptr<tesker::DirectoryStream> openDirectory(const char *path) override {
    return unlessFailing([] { return 0; }) < 0 ? nullptr : OperatingSystem::openDirectory(path);
  }
  std::optional<std::string> programPath() override {
    return unlessFailing([] { return 0; }) < 0 ? std::nullopt : OperatingSystem::programPath();
  }
  // Who waits for nothing but time does not wait.
  std::chrono::steady_clock::time_point steadyTime() override {
    return OperatingSystem::steadyTime() + slept_;
  }
  int poll(struct pollfd *descriptors, nfds_t count, int milliseconds) override {
    if (count == 0) {
      slept_ += std::chrono::milliseconds(milliseconds);
      milliseconds = 0;
    }
    return unlessFailing([&] { return OperatingSystem::poll(descriptors, count, milliseconds); });
  }

  int createSocket(int type) override {
    return unlessFailing([&] { return OperatingSystem::createSocket(type); });
  }
  int createSocketPair(int type, std::array<int, 2> &ends) override {
    return unlessFailing([&] { return OperatingSystem::createSocketPair(type, ends); });
  }
  int bind(int socket, const sockaddr_un &address) override {
    return unlessFailing([&] { return OperatingSystem::bind(socket, address); });
  }
  int listen(int socket) override {
    return unlessFailing([&] { return OperatingSystem::listen(socket); });
  }
  int connect(int socket, const sockaddr_un &address) override {
    return unlessFailing([&] { return OperatingSystem::connect(socket, address); });
  }
  int accept(int socket) override {
    return unlessFailing([&] { return OperatingSystem::accept(socket); });
  }
  int socketOption(int socket, int option, void *value, socklen_t size) override {
    return unlessFailing(
        [&] { return OperatingSystem::socketOption(socket, option, value, size); });
  }
  ssize_t sendMessage(int socket, const msghdr &message, int flags) override {
    return unlessFailing([&] { return OperatingSystem::sendMessage(socket, message, flags); });
  }
  ssize_t receiveMessage(int socket, msghdr &message, int flags) override {
    return unlessFailing([&] { return OperatingSystem::receiveMessage(socket, message, flags); });
  }
  int setNice(id_t thread, int nice) override {
    return unlessFailing([&] { return OperatingSystem::setNice(thread, nice); });
  }

private:
  static constexpr std::array kErrors = {EIO,    ENOENT, EACCES, ENOTDIR,      ENOMEM, EMFILE,
                                         EEXIST, ENOSPC, EPERM,  ECONNREFUSED, EINVAL};

  bool isChosen() {
    ++calls_;
    return number_ != 0 && (allFromThen_ ? calls_ >= number_ : calls_ == number_);
  }
  template <class Call> auto unlessFailing(Call call) -> decltype(call()) {
    if (std::this_thread::get_id() != thread_ || !isChosen())
      return call();
    hasFailed_ = true;
    errno = error_;
    return -1;
  }

  const std::thread::id thread_ = std::this_thread::get_id();
  unsigned number_, calls_ = 0;
  int error_;
  bool allFromThen_, hasFailed_ = false;
  std::chrono::milliseconds slept_{0};
};

// While it lives, so many more descriptors can be opened and no further ones.
class FewDescriptors {
public:
  explicit FewDescriptors(unsigned count) {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    const int lowestFree = ::dup(STDERR_FILENO);
    ::close(lowestFree);
    rlimit few = before_;
    few.rlim_cur = std::min<rlim_t>(static_cast<rlim_t>(lowestFree) + count, before_.rlim_cur);
    ::setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  FewDescriptors(const FewDescriptors &) = delete;
  FewDescriptors &operator=(const FewDescriptors &) = delete;

private:
  rlimit before_{};
};
