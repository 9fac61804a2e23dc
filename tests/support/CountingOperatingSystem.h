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
    note("statAt", wholePath(directory, name) + (followLinks ? " follow" : " nofollow"));
    return OperatingSystem::statAt(directory, name, followLinks, status);
  }
  int statDescriptor(int descriptor, struct stat &status) override {
    note("statDescriptor", pathOf(descriptor));
    return OperatingSystem::statDescriptor(descriptor, status);
  }
  int access(const char *path, int mode) override {
    note("access", std::string(path) + " " + std::to_string(mode));
    return OperatingSystem::access(path, mode);
  }
  int makeDirectory(const char *path, mode_t mode) override {
    note("makeDirectory", path);
    return OperatingSystem::makeDirectory(path, mode);
  }
  int changeMode(const char *path, mode_t mode) override {
    note("changeMode", path);
    return OperatingSystem::changeMode(path, mode);
  }
  int changeDescriptorMode(int descriptor, mode_t mode) override {
    note("changeDescriptorMode", pathOf(descriptor));
    return OperatingSystem::changeDescriptorMode(descriptor, mode);
  }
  int changeDescriptorOwner(int descriptor, uid_t user, gid_t group) override {
    note("changeDescriptorOwner", pathOf(descriptor));
    return OperatingSystem::changeDescriptorOwner(descriptor, user, group);
  }
  int rename(const char *oldPath, const char *newPath) override {
    note("rename", std::string(oldPath) + " " + newPath);
    return OperatingSystem::rename(oldPath, newPath);
  }
  int unlink(const char *path) override {
    note("unlink", path);
    return OperatingSystem::unlink(path);
  }
  int openAt(int directory, const char *path, int flags, mode_t mode) override {
    const std::string whole = wholePath(directory, path);
    note("open", whole);
    const int descriptor = OperatingSystem::openAt(directory, path, flags, mode);
    if (descriptor >= 0)
      paths_[descriptor] = whole;
    return descriptor;
  }
  int close(int descriptor) override {
    note("close", pathOf(descriptor));
    paths_.erase(descriptor);
    return OperatingSystem::close(descriptor);
  }
  ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
    note("readAt", pathOf(descriptor));
    return OperatingSystem::readAt(descriptor, buffer, size, offset);
  }
  ssize_t write(int descriptor, const void *bytes, std::size_t size) override {
    note("write", pathOf(descriptor));
    return OperatingSystem::write(descriptor, bytes, size);
  }
  int synchronize(int descriptor) override {
    note("synchronize", pathOf(descriptor));
    return OperatingSystem::synchronize(descriptor);
  }
  std::unique_ptr<DirectoryStream> openDirectory(const char *path) override {
    note("openDirectory", path);
    auto stream = OperatingSystem::openDirectory(path);
    if (!stream)
      return nullptr;
    paths_[stream->descriptor()] = path;
    return std::make_unique<CountedStream>(*this, std::move(stream));
  }

  std::optional<std::string> programPath() override {
    note("programPath");
    return OperatingSystem::programPath();
  }
  std::int64_t currentTime() override {
    note("currentTime");
    return OperatingSystem::currentTime();
  }
  int poll(struct pollfd *descriptors, nfds_t number, int timeoutMilliseconds) override {
    note("poll");
    return OperatingSystem::poll(descriptors, number, timeoutMilliseconds);
  }
  uid_t userId() override {
    note("userId");
    return OperatingSystem::userId();
  }
  int supplementaryGroups(gid_t *groups, int room) override {
    note("supplementaryGroups");
    return OperatingSystem::supplementaryGroups(groups, room);
  }
  std::optional<UserEntry> userWithId(uid_t uid) override {
    note("userWithId", std::to_string(uid));
    return OperatingSystem::userWithId(uid);
  }
  std::optional<UserEntry> userWithName(const std::string &name) override {
    note("userWithName", name);
    return OperatingSystem::userWithName(name);
  }
  std::optional<std::string> groupNameWithId(gid_t gid) override {
    note("groupNameWithId", std::to_string(gid));
    return OperatingSystem::groupNameWithId(gid);
  }
  void *allocatePages(std::size_t size) override {
    note("allocatePages", std::to_string(size));
    return OperatingSystem::allocatePages(size);
  }

protected:
  // Writes a call down; for subclasses that answer one by themselves.
  void note(std::string_view call, std::string_view about = {}) {
    log.emplace_back(call);
    if (!about.empty())
      log.back().append(" ").append(about);
  }

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
    std::optional<std::string_view> next() override { return stream_->next(); }
    int descriptor() const override { return stream_->descriptor(); }

  private:
    CountingOperatingSystem &system_;
    std::unique_ptr<DirectoryStream> stream_;
  };

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
