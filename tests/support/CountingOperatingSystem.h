// CountingOperatingSystem.h - makes the real system calls, and writes down each of them.
//
// For tests that say how much a request may cost. Put it in force with ScopedOperatingSystem.
// A call is one line of the log, its name and what it concerns:
//
//   openDirectory /dir          closeDirectory /dir         statAt /dir/name nofollow
//   open /file                  readAt /file                access /path 4
//
// What is relative to an open directory is written with the directory's path before the name, as if
// it were not; fullPathStats tells how many statuses were not relative.
#pragma once

#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

class CountingOperatingSystem : public OperatingSystem {
public:
  std::vector<std::string> log;
  std::size_t fullPathStats = 0;

  // How many calls of that name there were.
  std::size_t count(std::string_view call) const {
    return static_cast<std::size_t>(std::count_if(log.begin(), log.end(), [&](const auto &line) {
      return std::string_view(line).substr(0, line.find(' ')) == call;
    }));
  }
  // How many calls there were just like this line.
  std::size_t countLine(std::string_view line) const {
    return static_cast<std::size_t>(std::count(log.begin(), log.end(), line));
  }
  void forget() {
    log.clear();
    fullPathStats = 0;
  }

  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    if (!isRelative(directory, name))
      ++fullPathStats;
    return note("statAt", wholePath(directory, name) + (followLinks ? " follow" : " nofollow"))
               ? OperatingSystem::statAt(directory, name, followLinks, status)
               : -1;
  }
  int statDescriptor(int descriptor, struct stat &status) override {
    return note("statDescriptor", pathOf(descriptor))
               ? OperatingSystem::statDescriptor(descriptor, status)
               : -1;
  }
  int access(const char *path, int mode) override {
    return note("access", std::string(path) + " " + std::to_string(mode))
               ? OperatingSystem::access(path, mode)
               : -1;
  }
  ssize_t readLink(const char *path, char *target, std::size_t room) override {
    return note("readLink", path) ? OperatingSystem::readLink(path, target, room) : -1;
  }
  ssize_t attribute(const char *path, const char *name, void *value, std::size_t size) override {
    return note("attribute", path) ? OperatingSystem::attribute(path, name, value, size) : -1;
  }
  int makeDirectory(const char *path, mode_t mode) override {
    return note("makeDirectory", path) ? OperatingSystem::makeDirectory(path, mode) : -1;
  }
  int makeTemporaryDirectory(char *pattern) override {
    return note("makeTemporaryDirectory", pattern)
               ? OperatingSystem::makeTemporaryDirectory(pattern)
               : -1;
  }
  int changeMode(const char *path, mode_t mode) override {
    return note("changeMode", path) ? OperatingSystem::changeMode(path, mode) : -1;
  }
  int rename(const char *oldPath, const char *newPath) override {
    return note("rename", std::string(oldPath) + " " + newPath)
               ? OperatingSystem::rename(oldPath, newPath)
               : -1;
  }
  int unlinkAt(int directory, const char *name, int flags) override {
    return note(flags == AT_REMOVEDIR ? "removeDirectory" : "unlink", wholePath(directory, name))
               ? OperatingSystem::unlinkAt(directory, name, flags)
               : -1;
  }
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    const std::string whole = wholePath(directory, path);
    return note("open", whole) ? named(OperatingSystem::openAt(directory, path, flags, mode), whole)
                               : -1;
  }
  // Closes it even where the call fails, as the system does.
  int close(int descriptor) override {
    const bool succeeds = note("close", pathOf(descriptor));
    const int error = errno;
    paths_.erase(descriptor);
    const int result = OperatingSystem::close(descriptor);
    errno = succeeds ? errno : error;
    return succeeds ? result : -1;
  }
  ssize_t read(int descriptor, void *buffer, std::size_t size) override {
    return note("read", pathOf(descriptor)) ? OperatingSystem::read(descriptor, buffer, size) : -1;
  }
  ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
    return note("readAt", pathOf(descriptor))
               ? OperatingSystem::readAt(descriptor, buffer, size, offset)
               : -1;
  }
  ssize_t write(int descriptor, const void *bytes, std::size_t size) override {
    return note("write", pathOf(descriptor)) ? OperatingSystem::write(descriptor, bytes, size) : -1;
  }
  int synchronize(int descriptor) override {
    return note("synchronize", pathOf(descriptor)) ? OperatingSystem::synchronize(descriptor) : -1;
  }
  int lock(int descriptor, int operation) override {
    return note("lock", pathOf(descriptor)) ? OperatingSystem::lock(descriptor, operation) : -1;
  }
  int changeDescriptorMode(int descriptor, mode_t mode) override {
    return note("changeDescriptorMode", pathOf(descriptor))
               ? OperatingSystem::changeDescriptorMode(descriptor, mode)
               : -1;
  }
  int changeDescriptorOwner(int descriptor, uid_t user, gid_t group) override {
    return note("changeDescriptorOwner", pathOf(descriptor))
               ? OperatingSystem::changeDescriptorOwner(descriptor, user, group)
               : -1;
  }
  int setAttribute(int descriptor, const char *name, std::string_view value) override {
    return note("setAttribute", pathOf(descriptor))
               ? OperatingSystem::setAttribute(descriptor, name, value)
               : -1;
  }
  int removeAttribute(int descriptor, const char *name) override {
    return note("removeAttribute", pathOf(descriptor))
               ? OperatingSystem::removeAttribute(descriptor, name)
               : -1;
  }
  int createPipe(std::array<int, 2> &ends) override {
    return note("createPipe") ? OperatingSystem::createPipe(ends) : -1;
  }
  int control(int descriptor, int command, int argument) override {
    return note(nameOfControl(command), pathOf(descriptor))
               ? OperatingSystem::control(descriptor, command, argument)
               : -1;
  }
  int putInPlaceOf(int descriptor, int other) override {
    return note("putInPlaceOf", pathOf(descriptor))
               ? OperatingSystem::putInPlaceOf(descriptor, other)
               : -1;
  }
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    if (!note("openDirectory", path))
      return nullptr;
    auto stream = OperatingSystem::openDirectory(path);
    if (!stream)
      return nullptr;
    named(stream->descriptor(), path);
    return std::make_unique<CountedStream>(*this, std::move(stream));
  }
  ssize_t readEntries(int directory, void *entries, std::size_t size) override {
    return note("readEntries", pathOf(directory))
               ? OperatingSystem::readEntries(directory, entries, size)
               : -1;
  }
  const char *workingDirectory(char *buffer, std::size_t size) override {
    return note("workingDirectory") ? OperatingSystem::workingDirectory(buffer, size) : nullptr;
  }
  std::optional<std::string> canonicalPath(const std::string &path) override {
    return note("canonicalPath", path) ? OperatingSystem::canonicalPath(path) : std::nullopt;
  }
  std::optional<std::string> programPath() override {
    return note("programPath") ? OperatingSystem::programPath() : std::nullopt;
  }

  int createSocket(int type) override {
    return note("createSocket") ? OperatingSystem::createSocket(type) : -1;
  }
  int createSocketPair(int type, std::array<int, 2> &ends) override {
    return note("createSocketPair") ? OperatingSystem::createSocketPair(type, ends) : -1;
  }
  int bind(int socket, const sockaddr_un &address) override {
    return note("bind") ? OperatingSystem::bind(socket, address) : -1;
  }
  int listen(int socket) override { return note("listen") ? OperatingSystem::listen(socket) : -1; }
  int connect(int socket, const sockaddr_un &address) override {
    return note("connect") ? OperatingSystem::connect(socket, address) : -1;
  }
  int accept(int socket) override { return note("accept") ? OperatingSystem::accept(socket) : -1; }
  int socketOption(int socket, int option, void *value, socklen_t size) override {
    return note("socketOption", std::to_string(option))
               ? OperatingSystem::socketOption(socket, option, value, size)
               : -1;
  }
  ssize_t sendMessage(int socket, const msghdr &message, int flags) override {
    return note("sendMessage") ? OperatingSystem::sendMessage(socket, message, flags) : -1;
  }
  ssize_t receiveMessage(int socket, msghdr &message, int flags) override {
    return note("receiveMessage") ? OperatingSystem::receiveMessage(socket, message, flags) : -1;
  }

  // In the child it returns at once.
  pid_t fork() override { return note("fork") ? OperatingSystem::fork() : -1; }
  int setProcessGroup(pid_t process, pid_t group) override {
    return note("setProcessGroup") ? OperatingSystem::setProcessGroup(process, group) : -1;
  }
  int openProcess(pid_t process) override {
    return note("openProcess") ? OperatingSystem::openProcess(process) : -1;
  }
  int waitForChild(pid_t child, int options, siginfo_t &ended) override {
    return note("waitForChild") ? OperatingSystem::waitForChild(child, options, ended) : -1;
  }
  int sendSignal(pid_t process, int signal) override {
    return note("sendSignal", std::to_string(signal)) ? OperatingSystem::sendSignal(process, signal)
                                                      : -1;
  }
  std::optional<ProcessWork> work(pid_t process) override {
    return note("work") ? OperatingSystem::work(process) : std::nullopt;
  }
  int setNice(id_t thread, int nice) override {
    return note("setNice", std::to_string(nice)) ? OperatingSystem::setNice(thread, nice) : -1;
  }

  int createEventPoll() override {
    return note("createEventPoll") ? OperatingSystem::createEventPoll() : -1;
  }
  int controlEventPoll(int eventPoll, int operation, int descriptor,
                       std::uint32_t events) override {
    return note("controlEventPoll", std::to_string(operation))
               ? OperatingSystem::controlEventPoll(eventPoll, operation, descriptor, events)
               : -1;
  }
  int createTimer() override { return note("createTimer") ? OperatingSystem::createTimer() : -1; }
  int setTimer(int timer, std::chrono::nanoseconds time) override {
    return note("setTimer") ? OperatingSystem::setTimer(timer, time) : -1;
  }
  int stopTimer(int timer) override {
    return note("stopTimer") ? OperatingSystem::stopTimer(timer) : -1;
  }

  int createWatches() override {
    return note("createWatches") ? OperatingSystem::createWatches() : -1;
  }
  int addWatch(int watches, const char *path, std::uint32_t events) override {
    return note("addWatch", path) ? OperatingSystem::addWatch(watches, path, events) : -1;
  }
  int removeWatch(int watches, int watch) override {
    return note("removeWatch", std::to_string(watch)) ? OperatingSystem::removeWatch(watches, watch)
                                                      : -1;
  }

  std::int64_t currentTime() override {
    note("currentTime");
    return OperatingSystem::currentTime();
  }
  int poll(struct pollfd *descriptors, nfds_t number, int timeoutMilliseconds) override {
    return note("poll") ? OperatingSystem::poll(descriptors, number, timeoutMilliseconds) : -1;
  }
  uid_t userId() override {
    note("userId");
    return OperatingSystem::userId();
  }
  int supplementaryGroups(gid_t *groups, int room) override {
    return note("supplementaryGroups") ? OperatingSystem::supplementaryGroups(groups, room) : -1;
  }
  std::optional<UserEntry> userWithId(uid_t uid) override {
    return note("userWithId", std::to_string(uid)) ? OperatingSystem::userWithId(uid)
                                                   : std::nullopt;
  }
  std::optional<UserEntry> userWithName(const std::string &name) override {
    return note("userWithName", name) ? OperatingSystem::userWithName(name) : std::nullopt;
  }
  std::optional<std::string> groupNameWithId(gid_t gid) override {
    return note("groupNameWithId", std::to_string(gid)) ? OperatingSystem::groupNameWithId(gid)
                                                        : std::nullopt;
  }
  std::optional<std::string> machineName() override {
    return note("machineName") ? OperatingSystem::machineName() : std::nullopt;
  }
  void *allocatePages(std::size_t size) override {
    return note("allocatePages", std::to_string(size)) ? OperatingSystem::allocatePages(size)
                                                       : nullptr;
  }

protected:
  // Writes a call down; for subclasses that answer one by themselves. Whether it is to be made.
  bool note(std::string_view call, std::string_view about = {}) {
    log.emplace_back(call);
    if (!about.empty())
      log.back().append(" ").append(about);
    return mayBeMade(log.back());
  }
  // False, and errno, where the call is to fail instead. Also asked before each next name of a
  // directory, "next /dir", which is not written down.
  virtual bool mayBeMade(const std::string & /*call*/) { return true; }

private:
  // Says when the directory is closed.
  class CountedStream final : public DirectoryStream {
  public:
    CountedStream(CountingOperatingSystem &system, std::unique_ptr<DirectoryStream> stream)
        : system_(system), stream_(std::move(stream)) {}
    ~CountedStream() override {
      system_.note("closeDirectory", system_.pathOf(descriptor()));
      system_.paths_.erase(descriptor());
    }
    CountedStream(const CountedStream &) = delete;
    CountedStream &operator=(const CountedStream &) = delete;
    std::optional<std::string_view> next() override {
      if (system_.mayBeMade("next " + system_.pathOf(descriptor())))
        return stream_->next();
      error_ = errno;
      return std::nullopt;
    }
    int error() const override { return error_ != 0 ? error_ : stream_->error(); }
    int descriptor() const override { return stream_->descriptor(); }

  private:
    CountingOperatingSystem &system_;
    std::unique_ptr<DirectoryStream> stream_;
    int error_ = 0;
  };

  // The descriptor, known by the path from now on.
  int named(int descriptor, const std::string &path) {
    if (descriptor >= 0)
      paths_[descriptor] = path;
    return descriptor;
  }

  static std::string_view nameOfControl(int command) {
    if (command == F_GETFD || command == F_SETFD)
      return "descriptorFlags";
    return command == F_DUPFD_CLOEXEC ? "duplicate" : "control";
  }
  static bool isRelative(int directory, const char *path) {
    return directory != AT_FDCWD && *path != '/';
  }
  std::string wholePath(int directory, const char *path) const {
    return isRelative(directory, path) ? pathOf(directory) + "/" + path : path;
  }
  // What was opened as the descriptor; its number where it was opened by somebody else.
  std::string pathOf(int descriptor) const {
    const auto known = paths_.find(descriptor);
    return known != paths_.end() ? known->second : std::to_string(descriptor);
  }

  std::map<int, std::string> paths_;
};

} // namespace tesker::test
