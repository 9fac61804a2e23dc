#include "platform/foundation/OperatingSystem.h"

#include "platform/foundation/Resumed.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <grp.h>
#include <new>
#include <pwd.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace tesker {

namespace {

// Calls one of the reentrant database functions with a buffer that grows until the row fits.
template <class Row, class Lookup>
bool findRow(Row &row, std::vector<char> &buffer, Lookup lookup) {
  constexpr std::size_t kLargestRow = std::size_t{1} << 24;
  buffer.resize(4096);
  for (;;) {
    Row *found = nullptr;
    const int error = lookup(&row, buffer.data(), buffer.size(), &found);
    if (error == EINTR)
      continue;
    if (error != ERANGE || buffer.size() >= kLargestRow)
      return error == 0 && found != nullptr;
    buffer.resize(buffer.size() * 2);
  }
}

UserEntry userEntryOf(const passwd &row) {
  UserEntry entry{row.pw_name, row.pw_uid, row.pw_gid, std::nullopt};
  if (row.pw_dir != nullptr)
    entry.home = row.pw_dir;
  return entry;
}

} // namespace

std::int64_t OperatingSystem::currentTime() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  return now.tv_sec;
}

std::chrono::steady_clock::time_point OperatingSystem::steadyTime() {
  return std::chrono::steady_clock::now();
}

int OperatingSystem::poll(struct pollfd *descriptors, nfds_t count, int timeoutMilliseconds) {
  using std::chrono::milliseconds;
  using std::chrono::steady_clock;
  const auto end = steady_clock::now() + milliseconds(timeoutMilliseconds);
  auto left = milliseconds(timeoutMilliseconds);
  return resumed([&] {
    const int ready = ::poll(descriptors, count, static_cast<int>(left.count()));
    if (ready < 0 && timeoutMilliseconds > 0)
      left = std::clamp(std::chrono::ceil<milliseconds>(end - steady_clock::now()), milliseconds(0),
                        left);
    return ready;
  });
}

uid_t OperatingSystem::userId() { return ::getuid(); }

uid_t OperatingSystem::effectiveUserId() { return ::geteuid(); }

int OperatingSystem::supplementaryGroups(gid_t *groups, int room) {
  return ::getgroups(room, groups);
}

std::optional<UserEntry> OperatingSystem::userWithId(uid_t uid) {
  passwd row{};
  std::vector<char> buffer;
  const bool found =
      findRow(row, buffer, [&](passwd *out, char *bytes, std::size_t size, passwd **result) {
        return ::getpwuid_r(uid, out, bytes, size, result);
      });
  return found ? std::optional(userEntryOf(row)) : std::nullopt;
}

std::optional<UserEntry> OperatingSystem::userWithName(const std::string &name) {
  passwd row{};
  std::vector<char> buffer;
  const bool found =
      findRow(row, buffer, [&](passwd *out, char *bytes, std::size_t size, passwd **result) {
        return ::getpwnam_r(name.c_str(), out, bytes, size, result);
      });
  return found ? std::optional(userEntryOf(row)) : std::nullopt;
}

std::optional<std::string> OperatingSystem::groupNameWithId(gid_t gid) {
  group row{};
  std::vector<char> buffer;
  const bool found =
      findRow(row, buffer, [&](group *out, char *bytes, std::size_t size, group **result) {
        return ::getgrgid_r(gid, out, bytes, size, result);
      });
  return found ? std::optional(std::string(row.gr_name)) : std::nullopt;
}

void *OperatingSystem::allocatePages(std::size_t size) {
  void *pages = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return pages == MAP_FAILED ? nullptr : pages;
}

constinit std::atomic<OperatingSystem *> OperatingSystem::inForce_ = nullptr;

OperatingSystem &OperatingSystem::real() {
  // Never destroyed: descriptors may be closed after everything else. Nor is memory asked for: a
  // lack of it is logged by way of this object.
  alignas(OperatingSystem) static std::byte place[sizeof(OperatingSystem)];
  static OperatingSystem &real = *new (place) OperatingSystem;
  OperatingSystem *none = nullptr;
  inForce_.compare_exchange_strong(none, &real); // another one may be in force by now
  return real;
}

ScopedOperatingSystem::ScopedOperatingSystem(OperatingSystem &replacement)
    : before_(OperatingSystem::inForce_.exchange(&replacement)) {}

ScopedOperatingSystem::~ScopedOperatingSystem() { OperatingSystem::inForce_ = before_; }

std::optional<std::string> environmentValue(const char *variable) {
  const char *value = std::getenv(variable);
  if (value == nullptr || *value == '\0')
    return std::nullopt;
  return value;
}

std::optional<std::string> homeDirectory() {
  if (auto home = environmentValue("HOME"))
    return home;
  OperatingSystem &system = OperatingSystem::current();
  const auto user = system.userWithId(system.userId());
  return user ? user->home : std::nullopt;
}

} // namespace tesker
