// FakeUsers.h - user and group databases of a test's own, with the look-ups written down.
#pragma once

#include "tests/support/CountingOperatingSystem.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace tesker::test {

class FakeUsers : public CountingOperatingSystem {
public:
  FakeUsers() : scope_(*this) {}

  uid_t self = 1000;
  std::vector<UserEntry> users;
  std::map<gid_t, std::string> groupNames;
  std::vector<gid_t> groups; // the supplementary ones

  uid_t userId() override {
    note("userId");
    return self;
  }
  int supplementaryGroups(gid_t *room, int size) override {
    note("supplementaryGroups");
    const auto count = static_cast<int>(groups.size());
    if (size == 0)
      return count;
    if (size < count) {
      errno = EINVAL;
      return -1;
    }
    std::copy(groups.begin(), groups.end(), room);
    return count;
  }
  std::optional<UserEntry> userWithId(uid_t uid) override {
    note("userWithId", std::to_string(uid));
    return find([uid](const UserEntry &user) { return user.uid == uid; });
  }
  std::optional<UserEntry> userWithName(const std::string &name) override {
    note("userWithName", name);
    return find([&name](const UserEntry &user) { return user.name == name; });
  }
  std::optional<std::string> groupNameWithId(gid_t gid) override {
    note("groupNameWithId", std::to_string(gid));
    const auto found = groupNames.find(gid);
    return found != groupNames.end() ? std::optional(found->second) : std::nullopt;
  }

private:
  template <class Test> std::optional<UserEntry> find(Test test) const {
    const auto found = std::find_if(users.begin(), users.end(), test);
    return found != users.end() ? std::optional(*found) : std::nullopt;
  }

  ScopedOperatingSystem scope_;
};

} // namespace tesker::test
