#include "finding/Confinement.h"

#include "platform/foundation/Files.h"
#include "platform/foundation/OperatingSystem.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <linux/landlock.h>
#include <string>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

namespace tesker {

namespace {

constexpr std::string_view kLargestOutOfMemoryScore = "1000"; // raising it needs no right

Result<> lower(__rlimit_resource_t resource, rlim_t most) {
  struct rlimit limit {};
  if (::getrlimit(resource, &limit) != 0)
    return Failure{errno};
  limit.rlim_max = std::min(limit.rlim_max, most);
  limit.rlim_cur = std::min(limit.rlim_cur, limit.rlim_max);
  if (::setrlimit(resource, &limit) != 0)
    return Failure{errno};
  return {};
}

bool logGrowsAFile() {
  struct stat status {};
  return OperatingSystem::current().statDescriptor(STDERR_FILENO, status) == 0 &&
         S_ISREG(status.st_mode);
}

Result<> resultOf(int status) {
  if (status != 0)
    return Failure{errno};
  return {};
}

// ---- Landlock ----
// What the system's header may be too old to know.

struct Ruleset {
  std::uint64_t files;
  std::uint64_t net;
  std::uint64_t scopes;
};

constexpr std::uint64_t kRefer = 1U << 13;    // from version 2
constexpr std::uint64_t kTruncate = 1U << 14; // from version 3
constexpr std::uint64_t kDevices = 1U << 15;  // from version 5: ioctl(2)
constexpr std::uint64_t kBindAndConnect = 3;  // from version 4: TCP
constexpr std::uint64_t kScopes = 3;          // from version 6: nameless sockets, signals

constexpr std::uint64_t kFileAccesses =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_REMOVE_DIR |
    LANDLOCK_ACCESS_FS_REMOVE_FILE | LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR |
    LANDLOCK_ACCESS_FS_MAKE_REG | LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO |
    LANDLOCK_ACCESS_FS_MAKE_BLOCK | LANDLOCK_ACCESS_FS_MAKE_SYM;

// What a version can be asked for, and how much of the structure it reads.
struct LandlockVersion {
  int number;
  std::size_t size;
  Ruleset handled;
};

constexpr LandlockVersion kVersions[] = {
    {6, 24, {kFileAccesses | kRefer | kTruncate | kDevices, kBindAndConnect, kScopes}},
    {5, 16, {kFileAccesses | kRefer | kTruncate | kDevices, kBindAndConnect, 0}},
    {4, 16, {kFileAccesses | kRefer | kTruncate, kBindAndConnect, 0}},
    {3, 8, {kFileAccesses | kRefer | kTruncate, 0, 0}},
    {2, 8, {kFileAccesses | kRefer, 0, 0}},
    {1, 8, {kFileAccesses, 0, 0}},
};

// What is handled and not allowed by a rule is refused; there are no rules.
Result<> enforce(const LandlockVersion &version) {
  const FileDescriptor ruleset(
      static_cast<int>(::syscall(SYS_landlock_create_ruleset, &version.handled, version.size, 0)));
  if (!ruleset)
    return Failure{errno};
  return resultOf(static_cast<int>(::syscall(SYS_landlock_restrict_self, ruleset.number(), 0)));
}

// ---- what was reached ----

class Levels {
public:
  void add(std::string_view name, const Result<> &reached) {
    add(name, reached ? "on" : reasonOf(reached.error()));
  }
  void add(std::string_view name, const Result<int> &version) {
    add(name, version ? std::to_string(*version) : reasonOf(version.error()));
  }
  const std::string &description() const { return description_; }

private:
  void add(std::string_view name, const std::string &state) {
    description_.append(description_.empty() ? "" : ", ").append(name).append(" ").append(state);
  }
  static std::string reasonOf(int error) {
    return "off (" + std::string(std::strerror(error)) + ")";
  }

  std::string description_;
};

// In a build with sanitizers the leak check is a debugger, which no confined process lets near.
bool isConfinementWanted() {
  const auto wish = environmentValue("TESKER_SANDBOX");
#ifdef __SANITIZE_ADDRESS__
  return wish == "on";
#else
  return wish != "off";
#endif
}

} // namespace

Result<> offerToEndFirst() {
  const FileDescriptor file(OperatingSystem::current().open("/proc/self/oom_score_adj", O_WRONLY));
  if (!file)
    return Failure{errno};
  return writeAll(file.number(), kLargestOutOfMemoryScore);
}

Result<> limitResources() {
#ifndef __SANITIZE_ADDRESS__
  if (const Result<> lowered = lower(RLIMIT_AS, kMostAddressSpace); !lowered)
    return lowered;
#endif
  if (const Result<> lowered = lower(RLIMIT_CORE, 0); !lowered)
    return lowered;
  return logGrowsAFile() ? Result<>{} : lower(RLIMIT_FSIZE, 0);
}

Result<> giveUpNewPrivileges() { return resultOf(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)); }

Result<> refuseInspection() { return resultOf(::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0)); }

// A kernel may have less than its version promises, as one built without TCP, so whatever it says
// no to, less is asked for.
Result<int> restrictFileAccess() {
  int error = EOPNOTSUPP;
  for (const LandlockVersion &version : kVersions) {
    const Result<> enforced = enforce(version);
    if (enforced)
      return version.number;
    error = enforced.error();
    if (error == ENOSYS || error == EOPNOTSUPP)
      break;
  }
  return Failure{error};
}

std::string confine() {
  if (!isConfinementWanted())
    return "off";
  ::openlog(nullptr, LOG_NDELAY, LOG_USER); // as syslog(3) would by itself, but now
  Levels levels;
  levels.add("out-of-memory score", offerToEndFirst());
  levels.add("limits", limitResources());
  levels.add("no new privileges", giveUpNewPrivileges());
  levels.add("not dumpable", refuseInspection());
  levels.add("Landlock", restrictFileAccess());
  levels.add("system-call filter", filterSystemCalls());
  return levels.description();
}

} // namespace tesker
